// SPDX-License-Identifier: MIT
#include "tslutil/platform/thread.h"

#include <gtest/gtest.h>

#include <csignal>
#include <pthread.h>
#include <string>
#include <thread>

using namespace tsl::platform;

namespace
{

/// The signals that the calling thread doesn't block, by number.
std::string openSignals()
{
   sigset_t blocked;
   pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
   std::string open;
   // Those that the C library keeps for itself, and the two that nobody can block, are left out.
   for (int each = 1; each <= SIGRTMAX; ++each)
   {
      bool const kept = each == SIGKILL || each == SIGSTOP || (each >= 32 && each < SIGRTMIN);
      if (!kept && sigismember(&blocked, each) == 0)
         open += std::to_string(each) + " ";
   }
   return open;
}

TEST(PlatformThread, LetsFaultsThroughAndNoOtherSignal)
{
   std::string const before = openSignals();
   std::string const faults = "4 5 6 7 8 11 ";
   std::string inside;
   Thread thread;
   ASSERT_TRUE(startThread(thread, [&] { inside = openSignals(); }));
   joinThread(thread);
   EXPECT_EQ(inside, faults);
   std::string child;
   withSignalsBlocked([&] { std::thread([&] { child = openSignals(); }).join(); });
   EXPECT_EQ(child, faults);
   EXPECT_THROW(withSignalsBlocked([] { throw 1; }), int);
   EXPECT_EQ(openSignals(), before);
}

TEST(PlatformThread, HasANumberOfItsOwn)
{
   unsigned long first = 0;
   unsigned long second = 0;
   Thread one, other;
   ASSERT_TRUE(startThread(one, [&] { first = currentThreadNumber(); }));
   ASSERT_TRUE(startThread(other, [&] { second = currentThreadNumber(); }));
   EXPECT_NE(one.id, other.id);
   joinThread(one);
   joinThread(other);
   EXPECT_NE(first, second);
   EXPECT_NE(first, currentThreadNumber());
}

} // namespace
