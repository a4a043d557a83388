// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <pthread.h>
#include <signal.h>
#include <thread>

/// Interrupts the thread that makes it a thousand times a second with a signal that isn't to restart calls:
/// whatever waits has to go on. One at a time.
///
///    SignalStorm const storm;
///    EXPECT_EQ(socket.recv(bytes, 5), 5);
struct SignalStorm
{
   SignalStorm()
   {
      handled = 0;
      struct sigaction action = {};
      action.sa_handler = [](int) { ++handled; };
      sigaction(SIGUSR2, &action, &before);
      thread = std::thread(
         [this, target = pthread_self()]
         {
            for (; !isOver; std::this_thread::sleep_for(std::chrono::milliseconds(1)))
               pthread_kill(target, SIGUSR2);
         });
   }

   ~SignalStorm()
   {
      isOver = true;
      thread.join();
      sigaction(SIGUSR2, &before, nullptr);
   }

   /// How many signals have been handled so far.
   int count() const { return handled; }

   static inline std::atomic<int> handled;
   struct sigaction before;
   std::atomic<bool> isOver{false};
   std::thread thread;
};
