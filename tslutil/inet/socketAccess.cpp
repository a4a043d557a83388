// SPDX-License-Identifier: MIT
#include "tslutil/inet/socketAccess.h"

#include "tslutil/platform/socketError.h"

#include <boost/asio/error.hpp>

namespace tsl
{

boost::system::error_code errorCode(int error)
{
   if (error < 0)
      return {-error, boost::asio::error::get_misc_category()};
   return {error, boost::system::system_category()};
}

int errorNumber(int error)
{
   return platform::socketErrorNumber(errorCode(error));
}

DtString errorMessage(int error)
{
   return DtString(errorCode(error).message());
}

} // namespace tsl
