// SPDX-License-Identifier: MIT
#include "tslutil/platform/event.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace tsl::platform
{

namespace
{

// Below are the standard streams, and 0 would look like no handle.
constexpr int theFirstHandle = 3;

} // namespace

int makeEvent()
{
   int const made = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
   if (made == -1 || made >= theFirstHandle)
      return made;
   int const moved = fcntl(made, F_DUPFD_CLOEXEC, theFirstHandle);
   close(made);
   return moved;
}

void signalEvent(int event)
{
   std::uint64_t const one = 1;
   while (write(event, &one, sizeof one) == -1 && errno == EINTR)
   {
   }
}

} // namespace tsl::platform
