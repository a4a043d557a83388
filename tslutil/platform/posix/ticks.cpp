// SPDX-License-Identifier: MIT
#include "tslutil/platform/ticks.h"

#include <cerrno>
#include <ctime>
#include <sched.h>

namespace tsl::platform
{

namespace
{
constexpr std::int64_t nanosecondsPerSecond = 1000000000;
} // namespace

Ticks readTicks()
{
   timespec now;
   if (clock_gettime(CLOCK_MONOTONIC, &now) != 0)
      return {0, errno};
   return {std::int64_t(now.tv_sec) * nanosecondsPerSecond + now.tv_nsec, 0};
}

Ticks ticksPerSecond()
{
   return {nanosecondsPerSecond, 0};
}

std::int64_t wallClockMilliseconds()
{
   timespec now;
   clock_gettime(CLOCK_REALTIME, &now);
   return std::int64_t(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void sleepMilliseconds(std::int64_t milliseconds)
{
   timespec end;
   clock_gettime(CLOCK_MONOTONIC, &end);
   end.tv_sec += time_t(milliseconds / 1000);
   end.tv_nsec += long(milliseconds % 1000) * 1000000;
   if (end.tv_nsec >= nanosecondsPerSecond)
   {
      end.tv_nsec -= nanosecondsPerSecond;
      ++end.tv_sec;
   }
   // Until a point in time, so that an interruption by a signal costs nothing.
   while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR)
   {
   }
}

void yieldProcessor()
{
   sched_yield();
}

} // namespace tsl::platform
