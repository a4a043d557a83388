// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Time, as the system gives it: a monotonic counter with its rate, the wall clock, and waiting.
namespace tsl::platform
{

/// What is told of the counter: a value, or the system's error number if that isn't 0; the value is 0 then.
struct Ticks
{
   std::int64_t count;
   int error;
};

/// Reads the counter, which never goes back and which no change of the wall clock touches.
Ticks readTicks();

/// How many ticks make a second. Fails as readTicks does.
Ticks ticksPerSecond();

/// The wall clock in whole milliseconds since the beginning of 1970, UTC.
std::int64_t wallClockMilliseconds();

/// Sleeps for no less than this; signals don't shorten it.
void sleepMilliseconds(std::int64_t milliseconds);

/// Gives up the processor to another thread that waits for it.
void yieldProcessor();

} // namespace tsl::platform
