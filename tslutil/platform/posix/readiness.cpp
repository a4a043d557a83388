// SPDX-License-Identifier: MIT
#include "tslutil/platform/readiness.h"

#include <algorithm>
#include <poll.h>

namespace tsl::platform
{

std::size_t countIdle(SocketHandle const * sockets, std::size_t count)
{
   pollfd asked[theMaxAsked];
   std::size_t most = 0;
   for (; most < std::min(count, theMaxAsked) && sockets[most] != noSocket; ++most)
      asked[most] = {sockets[most], POLLIN, 0};
   int const busy = most == 0 ? 0 : poll(asked, most, 0);
   if (busy == 0)
      return most;
   // A question that failed needn't be repeated: that costs a receive at most.
   if (busy < 0)
      return 0;
   auto const isToRead = [](pollfd const & one) { return one.revents != 0; };
   return static_cast<std::size_t>(std::find_if(asked, asked + most, isToRead) - asked);
}

bool isIdle(SocketHandle socket)
{
   pollfd asked{socket, POLLIN, 0};
   return socket != noSocket && poll(&asked, 1, 0) == 0;
}

} // namespace tsl::platform
