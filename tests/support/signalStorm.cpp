// SPDX-License-Identifier: MIT
#include "support/signalStorm.h"

#include <chrono>

namespace
{

std::atomic<int> theCount;

} // namespace

SignalStorm::SignalStorm(pthread_t target)
{
   theCount = 0;
   struct sigaction action = {};
   action.sa_handler = [](int) { ++theCount; };
   sigaction(SIGUSR2, &action, &myBefore);
   myThread = std::thread(
      [this, target]
      {
         for (; !isOver; std::this_thread::sleep_for(std::chrono::milliseconds(1)))
            pthread_kill(target, SIGUSR2);
      });
}

SignalStorm::~SignalStorm()
{
   isOver = true;
   myThread.join();
   sigaction(SIGUSR2, &myBefore, nullptr);
}

int SignalStorm::count() const
{
   return theCount;
}
