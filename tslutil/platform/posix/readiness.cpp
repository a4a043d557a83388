// SPDX-License-Identifier: MIT
#include "tslutil/platform/readiness.h"

#include <algorithm>
#include <poll.h>

namespace tsl::platform
{

std::size_t countIdle(SocketHandle const * sockets, std::size_t count)
{
   pollfd asked[theMaxAsked];
   std::size_t const most = std::min(count, theMaxAsked);
   for (std::size_t i = 0; i < most; ++i)
      asked[i] = {sockets[i], POLLIN, 0};
   // A question that failed needn't be repeated: that costs a receive at most.
   if (most == 0 || poll(asked, most, 0) < 0)
      return 0;
   auto const isToRead = [](pollfd const & one) { return one.fd == noSocket || one.revents != 0; };
   return static_cast<std::size_t>(std::find_if(asked, asked + most, isToRead) - asked);
}

} // namespace tsl::platform
