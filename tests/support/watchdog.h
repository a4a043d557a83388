// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <thread>
#include <unistd.h>

/// Ends the test program by SIGALRM if the scope isn't left in time: for what would hang rather than fail.
/// The test is the one that ran last. The limit is for a loaded machine under a sanitizer; nothing waits for
/// it.
struct Watchdog
{
   explicit Watchdog(double seconds = 60.0) : outer(alarm(static_cast<unsigned>(seconds))) {}
   ~Watchdog() { alarm(outer); }
   Watchdog(Watchdog &&) = delete;
   unsigned const outer; ///< what was left to a watchdog around this one
};

/// Waits until `condition` holds, and returns true; false if it doesn't hold in time.
inline bool eventually(std::function<bool()> const & condition, double seconds = 20.0)
{
   auto const end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
   bool isTrue = condition();
   for (; !isTrue && std::chrono::steady_clock::now() < end; isTrue = condition())
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
   return isTrue;
}
