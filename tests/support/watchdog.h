// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <future>
#include <thread>

/// Ends the test program, with the running test's name, if the scope isn't left in time: for what would hang
/// rather than fail. The limit is for a loaded machine under a sanitizer; nothing waits for it.
class Watchdog
{
public:
   explicit Watchdog(double seconds = 60.0);
   ~Watchdog();
   Watchdog(Watchdog const &) = delete;
   Watchdog & operator=(Watchdog const &) = delete;

private:
   std::promise<void> left;
   std::thread thread;
};

/// Waits until `condition` holds, and returns true; false if it doesn't hold in time.
bool eventually(std::function<bool()> const & condition, double seconds = 20.0);
