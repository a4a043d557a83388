// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>

/// Threads, as the system gives them.
namespace tsl::platform
{

/// A thread that was started and neither joined nor detached.
struct Thread
{
   std::uintptr_t id = 0;
};

/// Starts `body` on a new thread of default stack size. On it all signals are blocked but those of a fault,
/// so that the application's handlers run on its own threads. False, and `thread` as it was, if the system
/// refuses.
bool startThread(Thread & thread, std::function<void()> body);

/// Waits for the end of a thread and gives back its resources. Once for each thread, unless it is detached.
void joinThread(Thread thread);

/// Has the thread give back its resources by itself at its end.
void detachThread(Thread thread);

/// Calls `start` with all signals but those of a fault blocked on this thread, as on threads that it starts
/// by whatever means.
void withSignalsBlocked(std::function<void()> const & start);

/// A number that no other living thread of the machine has.
unsigned long currentThreadNumber();

} // namespace tsl::platform
