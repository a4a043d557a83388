// SPDX-License-Identifier: MIT
#include "tslutil/platform/readiness.h"

#include <algorithm>
#include <poll.h>

namespace tsl::platform
{

void findReadable(SocketHandle const * sockets, bool * isReady, std::size_t count)
{
   pollfd asked[theMaxAsked];
   std::size_t const askable = std::min(count, theMaxAsked);
   for (std::size_t i = 0; i < askable; ++i)
      asked[i] = {sockets[i], POLLIN, 0};
   // An interrupted question has no answer, and needn't be repeated: that costs a receive at most.
   bool const isAnswered = poll(asked, askable, 0) >= 0;
   for (std::size_t i = 0; i < count; ++i)
      isReady[i] = i >= askable || !isAnswered || sockets[i] == noSocket || asked[i].revents != 0;
}

} // namespace tsl::platform
