// SPDX-License-Identifier: MIT
#include "tslutil/time/tslClock.h"

#include "tslutil/base/tslNotify.h"
#include "tslutil/platform/ticks.h"

#include <mutex>
#include <ostream>

namespace
{

constexpr auto relaxed = std::memory_order_relaxed;

void warnOfCounter(int error, char const * call)
{
   DtWarn << "Error " << error << " when calling " << call << " " << std::endl;
}

/// The global clock, for readers that may run beside its creation.
DtClock * globalClock()
{
   return __atomic_load_n(&DtObsoleteGlobalClock, __ATOMIC_ACQUIRE);
}

} // namespace

DtClock::DtClock()
   : startTime(0.0),
     mySimTime(0.0),
     approximateTime(0.0),
     simTimeSet(false),
     useSimTime(false),
     useCounter(true),
     counterReady(false),
     counterBase(0.0),
     secondsPerTick(0.0)
{
   tsl::platform::Ticks const rate = tsl::platform::ticksPerSecond();
   if (rate.error != 0)
      warnOfCounter(rate.error, "QueryPerformanceFrequency");
   secondsPerTick = 1.0 / double(rate.count);
   DtClock::init();
}

DtClock::~DtClock() = default;

void DtClock::init()
{
   startTime.store(absRealTime(), relaxed);
   if (useCounter.load(relaxed))
   {
      tsl::platform::Ticks const ticks = tsl::platform::readTicks();
      if (ticks.error != 0)
         warnOfCounter(ticks.error, "QueryPerformanceCounter");
      else
         counterBase.store(double(ticks.count), relaxed);
   }
   // Behind the new base, so that the approximate time begins at about zero on a later call, too.
   setSimTime(0.0);
   simTimeSet.store(false, relaxed);
   // Ready also after a failure.
   counterReady.store(true, relaxed);
}

double DtClock::simTime() const
{
   return mySimTime.load(relaxed);
}

void DtClock::setSimTime(double seconds)
{
   mySimTime.store(seconds, relaxed);
   simTimeSet.store(true, relaxed);
   approximateTime.store(useSimTime.load(relaxed) ? seconds : elapsedRealTime(), relaxed);
}

bool DtClock::isSimTimeSet() const
{
   if (simTimeSet.load(relaxed))
      return true;
   DtInfo("User error: DtSetSimTime was never called.\n         You must call DtSetSimTime once per frame\n");
   return false;
}

double DtClock::elapsedRealTime() const
{
   return absRealTime() - startTime.load(relaxed);
}

double DtClock::approximateElapsedRealTime() const
{
   return approximateTime.load(relaxed);
}

bool DtClock::useSimTimeForApproxRealTime() const
{
   return useSimTime.load(relaxed);
}

void DtClock::setUseSimTimeForApproxRealTime()
{
   useSimTime.store(true, relaxed);
}

void DtClock::clearUseSimTimeForApproxRealTime()
{
   useSimTime.store(false, relaxed);
}

double DtClock::absRealTime() const
{
   if (!useCounter.load(relaxed) || !counterReady.load(relaxed))
      return double(tsl::platform::wallClockMilliseconds()) / 1000.0;
   tsl::platform::Ticks const ticks = tsl::platform::readTicks();
   if (ticks.error != 0)
   {
      warnOfCounter(ticks.error, "QueryPerformanceCounter");
      return 0.0;
   }
   return (double(ticks.count) - counterBase.load(relaxed)) * secondsPerTick + startTime.load(relaxed);
}

bool DtClock::usePerfCounter() const
{
   return useCounter.load(relaxed);
}

void DtClock::setUsePerfCounter(bool use)
{
   useCounter.store(use, relaxed);
}

DtClock * DtObsoleteGlobalClock = nullptr;

void DtTimeInit()
{
   static std::mutex & creation = *new std::mutex;
   std::lock_guard<std::mutex> const guard(creation);
   if (DtObsoleteGlobalClock == nullptr)
      __atomic_store_n(&DtObsoleteGlobalClock, new DtClock, __ATOMIC_RELEASE);
}

void DtSetSimTime(double seconds)
{
   if (DtClock * const clock = globalClock())
      clock->setSimTime(seconds);
}

double DtGetSimTime()
{
   DtClock * const clock = globalClock();
   return clock != nullptr ? clock->simTime() : 0.0;
}

double DtGetElapsedRealTime()
{
   DtClock * const clock = globalClock();
   return clock != nullptr ? clock->elapsedRealTime() : 0.0;
}

double DtGetApproximateElapsedRealTime()
{
   DtClock * const clock = globalClock();
   return clock != nullptr ? clock->approximateElapsedRealTime() : 0.0;
}

void DtIsSimTimeSet()
{
   if (DtClock * const clock = globalClock())
      clock->isSimTimeSet();
}

double DtAbsRealTime()
{
   return DtClock().absRealTime();
}

void DtSleep(double seconds)
{
   // Neither true of a NaN. The bound keeps the conversion within range; it is longer than any wait.
   constexpr double longestMilliseconds = 1e15;
   if (!(seconds > 0.0))
      return;
   double const milliseconds = seconds * 1000.0;
   auto const whole = std::int64_t(milliseconds < longestMilliseconds ? milliseconds : longestMilliseconds);
   if (whole > 0)
      tsl::platform::sleepMilliseconds(whole);
}

void DtYield()
{
   tsl::platform::yieldProcessor();
}
