// SPDX-License-Identifier: MIT
#include "tslutil/time/tslClock.h"

#include "support/capturedStream.h"
#include "support/signalStorm.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

namespace
{

constexpr double wait = 0.2, wellUnder = 0.1;

/// The wall clock, cut to whole milliseconds.
auto const wallSeconds = []
{
   return double(std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1)) / 1000.0;
};

TEST(DtClock, RefreshesTheApproximateTimeBySetSimTimeAndStartsAgainByInit)
{
   struct Noting : DtClock
   {
      void setSimTime(double seconds) override { DtClock::setSimTime(noted = seconds); }
      double noted = -1.0;
   } clock;
   CapturedStream const quiet;
   DtSleep(wait);
   EXPECT_LT(std::fabs(clock.approximateElapsedRealTime()), wellUnder);
   clock.setSimTime(500.0);
   double const approximate = clock.approximateElapsedRealTime(), before = clock.absRealTime();
   EXPECT_TRUE(approximate > wellUnder && approximate <= clock.elapsedRealTime()) << approximate;
   clock.setUseSimTimeForApproxRealTime();
   EXPECT_EQ(clock.approximateElapsedRealTime(), approximate);
   clock.setSimTime(500.0);
   EXPECT_EQ(clock.approximateElapsedRealTime(), 500.0);
   clock.clearUseSimTimeForApproxRealTime();
   clock.setSimTime(600.0);
   EXPECT_TRUE(clock.approximateElapsedRealTime() < 500.0 && clock.simTime() == 600.0);
   clock.init();
   EXPECT_EQ(clock.noted, 0.0);
   EXPECT_LT(std::max(clock.elapsedRealTime(), clock.approximateElapsedRealTime()), wellUnder);
   EXPECT_NEAR(clock.absRealTime(), before, wellUnder);
   EXPECT_FALSE(clock.isSimTimeSet());
   clock.setSimTime(0.0);
   EXPECT_TRUE(clock.isSimTimeSet());
}

TEST(DtClock, ReadsTheWallClockInMillisecondsWithoutTheCounter)
{
   DtClock clock;
   EXPECT_NEAR(clock.absRealTime(), wallSeconds(), 2.0);
   EXPECT_NEAR(DtAbsRealTime(), wallSeconds(), 2.0);
   clock.setUsePerfCounter(false);
   for (int i = 0; i < 20; ++i)
   {
      double const before = wallSeconds(), wall = clock.absRealTime();
      EXPECT_TRUE(wall >= before && wall <= wallSeconds()) << wall - before;
      DtSleep(0.001);
   }
}

TEST(DtTimeInit, GivesTheFunctionsTheirClockOnce)
{
   CapturedStream const captured;
   ASSERT_EQ(DtObsoleteGlobalClock, nullptr);
   DtSetSimTime(3.0);
   DtIsSimTimeSet();
   EXPECT_EQ(DtGetSimTime() + DtGetElapsedRealTime() + DtGetApproximateElapsedRealTime(), 0.0);
   ASSERT_EQ(captured.text(), "");
   DtTimeInit();
   DtClock * const clock = DtObsoleteGlobalClock;
   DtTimeInit();
   ASSERT_EQ(DtObsoleteGlobalClock, clock);
   DtIsSimTimeSet();
   clock->setUseSimTimeForApproxRealTime();
   DtSetSimTime(3.0);
   DtIsSimTimeSet();
   EXPECT_EQ(captured.textAt(2), "User error: DtSetSimTime was never called.\n"
                                 "         You must call DtSetSimTime once per frame\n");
   EXPECT_TRUE(DtGetSimTime() == 3.0 && DtGetApproximateElapsedRealTime() == 3.0 &&
               DtGetElapsedRealTime() > 0.0);
}

TEST(DtSleep, IsCutToMillisecondsAndBoundedAndNotShortenedBySignals)
{
   DtClock const clock;
   for (double const seconds : {0.0004, 0.000999, 0.0, -1.0, -1e300, std::nan("")})
      for (int i = 0; i < 200; ++i)
         DtSleep(seconds);
   EXPECT_LT(clock.elapsedRealTime(), wellUnder);
   static std::atomic<bool> woke(false);
   for (double const seconds : {1e9, 1e300, HUGE_VAL})
      std::thread([seconds] { woke = (DtSleep(seconds), true); }).detach();
   SignalStorm const storm;
   double const begin = clock.elapsedRealTime();
   DtSleep(0.1009);
   EXPECT_GT(clock.elapsedRealTime() - begin, 0.0999);
   EXPECT_GT(storm.count(), 0);
   EXPECT_FALSE(woke);
}

} // namespace
