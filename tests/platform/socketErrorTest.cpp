// SPDX-License-Identifier: MIT
#include "tslutil/platform/socketError.h"

#include <boost/asio/error.hpp>
#include <gtest/gtest.h>

#include <cerrno>
#include <netdb.h>
#include <utility>

namespace
{

using namespace tsl::platform;
namespace error = boost::asio::error;
using boost::system::error_code;

TEST(SocketError, NumbersOfErrorCodesGoByTheirCategory)
{
   std::pair<error_code, int> const rows[] = {
      {error::connection_refused, 10061},
      {error::would_block, 10035},
      {error::try_again, 10035},
      {error::in_progress, 10036},
      {error::broken_pipe, 10054},
      {error::operation_aborted, 995},
      {error::no_permission, 5},
      {error::no_descriptors, 10024},
      {error::eof, 2},
      {error::host_not_found, 11001},
      {error::host_not_found_try_again, 11002},
      {error::no_recovery, 11003},
      {error::no_data, 11004},
      {error::service_not_found, 10109},
      {error::socket_type_not_supported, 10044},
      {error_code(EHOSTUNREACH, boost::system::generic_category()), 10065},
      {error_code(ENFILE, boost::system::system_category()), 10024},
      {error_code(EXDEV, boost::system::system_category()), EXDEV},
      {error_code(), 0},
   };
   for (auto const & [code, number] : rows)
      EXPECT_EQ(socketErrorNumber(code), number) << code.message();
}

TEST(SocketError, TheLastErrorIsTheLaterOfSystemCallAndLookup)
{
   errno = ECONNREFUSED;
   noteLookupResult(EAI_NONAME);
   EXPECT_EQ(lastSocketErrorNumber(errno), 11001);
   noteLookupResult(EAI_MEMORY);
   EXPECT_EQ(lastSocketErrorNumber(errno), 14);
   errno = ETIMEDOUT;
   noteLookupResult(EAI_SYSTEM);
   EXPECT_EQ(lastSocketErrorNumber(errno), 10060);
   noteLookupResult(0);
   EXPECT_EQ(lastSocketErrorNumber(errno), 10060);
   noteLookupResult(EAI_AGAIN);
   noteLookupResult(0);
   EXPECT_EQ(lastSocketErrorNumber(errno), 0);
   EXPECT_EQ(resolverErrorNumber(EAI_NODATA), 11004);
   EXPECT_EQ(resolverErrorNumber(0), 0);
}

} // namespace
