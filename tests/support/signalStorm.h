// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <pthread.h>
#include <signal.h>
#include <thread>

/// Interrupts a thread a thousand times a second with a signal that isn't to restart calls: whatever waits
/// has to go on. One at a time.
///
///    SignalStorm const storm;   // over the calling thread
///    EXPECT_EQ(socket.recv(bytes, 5), 5);
class SignalStorm
{
public:
   explicit SignalStorm(pthread_t target = pthread_self());
   ~SignalStorm();
   SignalStorm(SignalStorm const &) = delete;
   SignalStorm & operator=(SignalStorm const &) = delete;

   /// How many signals have been handled so far.
   int count() const;

private:
   struct sigaction myBefore;
   std::atomic<bool> isOver{false};
   std::thread myThread;
};
