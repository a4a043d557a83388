// SPDX-License-Identifier: MIT
#include "tslutil/inet/readHandle.h"

#include "tslutil/platform/event.h"

#include <atomic>
#include <cstdint>
#include <mutex>

namespace tsl
{

namespace
{

constexpr int theNone = -1;

// The one event of the process, never closed: sockets of any thread may signal it.
std::atomic<int> theEvent(theNone);
std::atomic<bool> isSignalled(false);
std::mutex theMaking;

} // namespace

void * readHandle()
{
   std::lock_guard<std::mutex> const lock(theMaking);
   if (theEvent.load() == theNone)
   {
      theEvent.store(platform::makeEvent());
      if (theEvent.load() != theNone && isSignalled.exchange(false))
         platform::signalEvent(theEvent.load());
   }
   int const event = theEvent.load();
   return event == theNone ? nullptr : reinterpret_cast<void *>(static_cast<std::intptr_t>(event));
}

// The order matters: whoever makes the event looks at the flag behind it.
void signalReadHandle()
{
   if (theEvent.load() == theNone && !isSignalled.load())
      isSignalled.store(true);
   int const event = theEvent.load();
   if (event != theNone)
      platform::signalEvent(event);
}

} // namespace tsl
