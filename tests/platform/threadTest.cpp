// SPDX-License-Identifier: MIT
#include "tslutil/platform/thread.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <thread>

using namespace tsl::platform;

namespace
{

/// The signals that the calling thread doesn't block, of those that can be blocked.
std::string openSignals()
{
   sigset_t blocked;
   pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
   std::string open;
   for (int each = 1; each <= SIGRTMAX; each = each == 31 ? SIGRTMIN : each + 1)
      if (each != SIGKILL && each != SIGSTOP && sigismember(&blocked, each) == 0)
         open += std::to_string(each) + " ";
   return open;
}

TEST(PlatformThread, LetsFaultsThroughAndNoOtherSignal)
{
   std::string const before = openSignals();
   std::string inside, child;
   unsigned long number = currentThreadNumber();
   Thread thread;
   ASSERT_TRUE(startThread(thread, [&] { inside = openSignals(), number -= currentThreadNumber(); }));
   joinThread(thread);
   EXPECT_EQ(inside, "4 5 6 7 8 11 ");
   EXPECT_NE(number, 0u);
   withSignalsBlocked([&] { std::thread([&] { child = openSignals(); }).join(); });
   EXPECT_EQ(child, inside);
   EXPECT_THROW(withSignalsBlocked([] { throw 1; }), int);
   EXPECT_EQ(openSignals(), before);
}

} // namespace
