// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/socketAccess.h"
#include "tslutil/platform/socketError.h"

#include <exception>

namespace tsl
{

/// Runs the opening of a socket, which answers the system's error number, and records its failure: as
/// `operation`, `what` and the message. Overrides of virtual setters may throw; an exception that isn't an
/// error code is recorded as `operation` and its own text.
template<class Open>
bool openGuarded(DtInetSocket & socket, char const * operation, char const * what, Open const & open)
{
   constexpr int theBadArgument = 10022;
   auto const fail = [&](int code, DtString const & text)
   { return bool(SocketAccess::fail(socket, code, DtString(operation) + text)); };
   try
   {
      int const error = open();
      return error == 0 || fail(errorNumber(error), DtString(what) + errorMessage(error));
   }
   catch (boost::system::error_code const & error)
   {
      return fail(platform::socketErrorNumber(error), DtString(what) + error.message());
   }
   catch (std::exception const & exception)
   {
      return fail(theBadArgument, exception.what());
   }
}

} // namespace tsl
