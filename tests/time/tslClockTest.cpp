// SPDX-License-Identifier: MIT
#include "tslutil/time/tslClock.h"

#include "support/capturedStream.h"
#include "support/slots.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <iterator>
#include <pthread.h>
#include <thread>

namespace
{

constexpr double wait = 0.2;
constexpr double wellUnder = 0.1;

double secondsOf(void (*action)())
{
   auto const begin = std::chrono::steady_clock::now();
   action();
   return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// The wall clock, cut to whole milliseconds.
double wallSeconds()
{
   auto const now = std::chrono::system_clock::now().time_since_epoch();
   return double(std::chrono::floor<std::chrono::milliseconds>(now).count()) / 1000.0;
}

TEST(DtClock, SlotOrder)
{
   std::size_t const slots[] = {
      slotOf(&DtClock::init),
      slotOf(&DtClock::simTime),
      slotOf(&DtClock::setSimTime),
      slotOf(&DtClock::isSimTimeSet),
      slotOf(&DtClock::elapsedRealTime),
      slotOf(&DtClock::approximateElapsedRealTime),
      slotOf(&DtClock::useSimTimeForApproxRealTime),
      slotOf(&DtClock::setUseSimTimeForApproxRealTime),
      slotOf(&DtClock::clearUseSimTimeForApproxRealTime),
      slotOf(&DtClock::absRealTime),
   };
   for (std::size_t i = 0; i < std::size(slots); ++i)
      EXPECT_EQ(slots[i], i + 2);
}

TEST(DtClock, ComplainsUntilTheSimulationTimeIsSet)
{
   CapturedStream captured;
   DtClock clock;
   EXPECT_EQ(clock.simTime(), 0.0);
   EXPECT_FALSE(clock.isSimTimeSet());
   EXPECT_EQ(captured.textAt(2), "User error: DtSetSimTime was never called.\n"
                                 "         You must call DtSetSimTime once per frame\n");
   captured.clear();
   clock.setSimTime(0.0);
   EXPECT_TRUE(clock.isSimTimeSet());
   EXPECT_EQ(captured.text(), "");
}

TEST(DtClock, RefreshesTheApproximateTimeBySetSimTimeOnly)
{
   DtClock clock;
   DtSleep(wait);
   EXPECT_LT(std::fabs(clock.approximateElapsedRealTime()), wellUnder);
   clock.setSimTime(500.0);
   double const approximate = clock.approximateElapsedRealTime();
   EXPECT_GT(approximate, wellUnder);
   EXPECT_LE(approximate, clock.elapsedRealTime());
   clock.setUseSimTimeForApproxRealTime();
   EXPECT_TRUE(clock.useSimTimeForApproxRealTime());
   EXPECT_EQ(clock.approximateElapsedRealTime(), approximate);
   clock.setSimTime(500.0);
   EXPECT_EQ(clock.approximateElapsedRealTime(), 500.0);
   clock.clearUseSimTimeForApproxRealTime();
   clock.setSimTime(600.0);
   EXPECT_LT(clock.approximateElapsedRealTime(), 500.0);
   EXPECT_EQ(clock.simTime(), 600.0);
}

TEST(DtClock, StartsAgainByInit)
{
   struct Noting : DtClock
   {
      void setSimTime(double seconds) override
      {
         noted = seconds;
         DtClock::setSimTime(seconds);
      }
      double noted = -1.0;
   } clock;
   DtSleep(wait);
   clock.setSimTime(7.0);
   EXPECT_GT(clock.elapsedRealTime(), wellUnder);
   double const before = clock.absRealTime();
   clock.init();
   EXPECT_EQ(clock.noted, 0.0);
   EXPECT_LT(clock.elapsedRealTime(), wellUnder);
   EXPECT_LT(clock.approximateElapsedRealTime(), wellUnder);
   EXPECT_NEAR(clock.absRealTime(), before, wellUnder);
   CapturedStream const captured;
   EXPECT_FALSE(clock.isSimTimeSet());
}

TEST(DtClock, ReadsTheWallClockInMillisecondsWithoutTheCounter)
{
   DtClock clock;
   EXPECT_TRUE(clock.usePerfCounter());
   double const counted = clock.absRealTime();
   clock.setUsePerfCounter(false);
   for (int i = 0; i < 20; ++i)
   {
      double const before = wallSeconds();
      double const wall = clock.absRealTime();
      EXPECT_GE(wall, before);
      EXPECT_LE(wall, wallSeconds());
      DtSleep(0.001);
   }
   EXPECT_NEAR(counted, wallSeconds(), 2.0);
   EXPECT_NEAR(DtAbsRealTime(), wallSeconds(), 1.0);
}

TEST(DtTimeInit, GivesTheFunctionsTheirClockOnce)
{
   CapturedStream captured;
   ASSERT_EQ(DtObsoleteGlobalClock, nullptr);
   DtSetSimTime(3.0);
   DtIsSimTimeSet();
   EXPECT_EQ(DtGetSimTime() + DtGetElapsedRealTime() + DtGetApproximateElapsedRealTime(), 0.0);
   EXPECT_EQ(captured.text(), "");
   DtTimeInit();
   DtClock * const clock = DtObsoleteGlobalClock;
   ASSERT_NE(clock, nullptr);
   DtTimeInit();
   EXPECT_EQ(DtObsoleteGlobalClock, clock);
   DtIsSimTimeSet();
   EXPECT_NE(captured.text(), "");
   clock->setUseSimTimeForApproxRealTime();
   DtSetSimTime(3.0);
   EXPECT_EQ(DtGetSimTime(), 3.0);
   EXPECT_EQ(DtGetApproximateElapsedRealTime(), 3.0);
   EXPECT_GT(DtGetElapsedRealTime(), 0.0);
}

TEST(DtSleep, CutsToMillisecondsAndKeepsWithinRange)
{
   double const shortest = secondsOf(
      []
      {
         for (double const seconds : {0.0004, 0.000999, 0.0, -1.0, -1e300, std::nan("")})
            for (int i = 0; i < 200; ++i)
               DtSleep(seconds);
      });
   EXPECT_LT(shortest, wellUnder);
   EXPECT_GE(secondsOf([] { DtSleep(0.0259); }), 0.025);
   static std::atomic<bool> woke(false);
   for (double const seconds : {1e9, 1e300, HUGE_VAL})
      std::thread([seconds] { woke = (DtSleep(seconds), true); }).detach();
   DtSleep(wellUnder);
   EXPECT_FALSE(woke);
}

TEST(DtSleep, IsNotShortenedBySignals)
{
   struct sigaction before;
   struct sigaction action = {};
   action.sa_handler = [](int) {};
   sigaction(SIGUSR1, &action, &before);
   std::thread disturber(
      [sleeper = pthread_self()]
      {
         for (int i = 0; i < 5; ++i)
         {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            pthread_kill(sleeper, SIGUSR1);
         }
      });
   EXPECT_GE(secondsOf([] { DtSleep(0.1); }), 0.1);
   disturber.join();
   sigaction(SIGUSR1, &before, nullptr);
}

} // namespace
