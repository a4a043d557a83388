// SPDX-License-Identifier: MIT
#include "support/watchdog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

Watchdog::Watchdog(double seconds) : thread([this, seconds] { watch(seconds); }) {}

Watchdog::~Watchdog()
{
   {
      std::lock_guard<std::mutex> const guard(mutex);
      done = true;
   }
   left.notify_all();
   thread.join();
}

void Watchdog::watch(double seconds)
{
   std::unique_lock<std::mutex> guard(mutex);
   if (left.wait_for(guard, std::chrono::duration<double>(seconds), [this] { return done; }))
      return;
   testing::TestInfo const * const test = testing::UnitTest::GetInstance()->current_test_info();
   std::fprintf(stderr, "%s.%s is stuck: not done in %g s\n", test ? test->test_suite_name() : "",
                test ? test->name() : "", seconds);
   std::abort();
}

bool eventually(std::function<bool()> const & condition, double seconds)
{
   auto const end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
   while (!condition())
   {
      if (std::chrono::steady_clock::now() >= end)
         return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
   }
   return true;
}
