// SPDX-License-Identifier: MIT
#include "tslutil/inet/readHandle.h"

#include "tslutil/platform/event.h"

#include <cstdint>
#include <mutex>

namespace tsl
{

// The one event of the process, never closed: sockets of any thread may signal it.
std::atomic<int> theReadEvent(theQuietEvent);

namespace
{

std::mutex theMaking;

} // namespace

void * readHandle()
{
   std::lock_guard<std::mutex> const lock(theMaking);
   if (theReadEvent.load() < 0)
   {
      int const made = platform::makeEvent();
      if (made >= 0 && theReadEvent.exchange(made) == theDueEvent)
         platform::signalEvent(made);
   }
   int const event = theReadEvent.load();
   return event < 0 ? nullptr : reinterpret_cast<void *>(static_cast<std::intptr_t>(event));
}

void signalReadEvent()
{
   int event = theQuietEvent;
   if (!theReadEvent.compare_exchange_strong(event, theDueEvent) && event != theDueEvent)
      platform::signalEvent(event);
}

} // namespace tsl
