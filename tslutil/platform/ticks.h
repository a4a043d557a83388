// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Time, as the system gives it: a monotonic counter with its rate, the wall clock, and waiting.
namespace tsl::platform
{

/// Reads the counter, which never goes back and which no change of the wall clock touches. 0, or the system's
/// error number; `ticks` is left alone then.
int readTicks(std::int64_t & ticks);

/// The rate of the counter, in ticks a second. Fails as readTicks does.
int readTickRate(std::int64_t & ticksPerSecond);

/// The wall clock in whole milliseconds since the beginning of 1970, UTC.
std::int64_t wallClockMilliseconds();

/// Sleeps for no less than this; signals don't shorten it.
void sleepMilliseconds(std::int64_t milliseconds);

/// Gives up the processor to another thread that waits for it.
void yieldProcessor();

} // namespace tsl::platform
