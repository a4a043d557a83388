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

TEST(SocketError, NumbersOfErrorCodesGoByTheirCategory)
{
   using boost::system::error_code;
   std::pair<error_code, int> const rows[] = {
      {error::connection_refused, 10061},
      {error::would_block, 10035},
      {error::in_progress, 10036},
      {error::broken_pipe, 10054},
      {error::operation_aborted, 995},
      {error::no_permission, 5},
      {error::no_descriptors, 10024},
      {error::eof, 2},
      {error::host_not_found, 11001},
      {error::no_data, 11004},
      {error::service_not_found, 10109},
      {error_code(), 0},
      {error_code(EHOSTUNREACH, boost::system::generic_category()), 10065},
      {error_code(EXDEV, boost::system::system_category()), EXDEV}};
   for (auto const & [code, number] : rows)
      EXPECT_EQ(socketErrorNumber(code), number) << code.message();
}

TEST(SocketError, TheLastErrorIsTheLaterOfSystemCallAndLookup)
{
   auto const lastAfter = [](int systemError, int lookupResult)
   {
      errno = systemError;
      noteLookupResult(lookupResult);
      return lastSocketErrorNumber(errno);
   };
   EXPECT_EQ(lastAfter(ECONNREFUSED, EAI_NONAME), 11001);
   EXPECT_EQ(lastAfter(0, EAI_MEMORY), 14);
   EXPECT_EQ(lastAfter(ETIMEDOUT, EAI_SYSTEM), 10060);
   EXPECT_EQ(lastAfter(ETIMEDOUT, 0), 10060);
   EXPECT_EQ(lastAfter(11002, 0), 0);
   EXPECT_EQ(resolverErrorNumber(EAI_NODATA), 11004);
}

} // namespace
