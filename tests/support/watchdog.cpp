// SPDX-License-Identifier: MIT
#include "support/watchdog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

Watchdog::Watchdog(double seconds)
{
   auto watch = [seconds, gone = left.get_future()]
   {
      if (gone.wait_for(std::chrono::duration<double>(seconds)) == std::future_status::ready)
         return;
      testing::TestInfo const * const test = testing::UnitTest::GetInstance()->current_test_info();
      std::fprintf(stderr, "%s.%s is stuck: not done in %g s\n", test ? test->test_suite_name() : "",
                   test ? test->name() : "", seconds);
      std::abort();
   };
   thread = std::thread(std::move(watch));
}

Watchdog::~Watchdog()
{
   left.set_value();
   thread.join();
}

bool eventually(std::function<bool()> const & condition, double seconds)
{
   auto const end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
   bool isTrue = condition();
   for (; !isTrue && std::chrono::steady_clock::now() < end; isTrue = condition())
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
   return isTrue;
}
