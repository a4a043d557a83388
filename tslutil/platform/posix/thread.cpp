// SPDX-License-Identifier: MIT
#include "tslutil/platform/thread.h"

#include <csignal>
#include <cstring>
#include <memory>
#include <pthread.h>
#include <unistd.h>
#include <utility>

namespace tsl::platform
{

namespace
{

void * enter(void * bodyPointer)
{
   std::unique_ptr<std::function<void()>> const body(static_cast<std::function<void()> *>(bodyPointer));
   (*body)();
   return nullptr;
}

static_assert(sizeof(pthread_t) <= sizeof(Thread::id));

pthread_t systemThread(Thread thread)
{
   pthread_t result;
   std::memcpy(&result, &thread.id, sizeof result);
   return result;
}

/// Blocks all signals but those of a fault on the calling thread for a scope.
class BlockedSignals
{
public:
   BlockedSignals()
   {
      sigset_t all;
      sigfillset(&all);
      for (int const fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT})
         sigdelset(&all, fault);
      pthread_sigmask(SIG_BLOCK, &all, &before);
   }
   ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
   BlockedSignals(BlockedSignals const &) = delete;
   BlockedSignals & operator=(BlockedSignals const &) = delete;

private:
   sigset_t before;
};

} // namespace

bool startThread(Thread & thread, std::function<void()> body)
{
   auto owned = std::make_unique<std::function<void()>>(std::move(body));
   BlockedSignals const blocked;
   pthread_t started;
   if (pthread_create(&started, nullptr, enter, owned.get()) != 0)
      return false;
   owned.release();
   std::memcpy(&thread.id, &started, sizeof started);
   return true;
}

void joinThread(Thread thread)
{
   pthread_join(systemThread(thread), nullptr);
}

void detachThread(Thread thread)
{
   pthread_detach(systemThread(thread));
}

void withSignalsBlocked(std::function<void()> const & start)
{
   BlockedSignals const blocked;
   start();
}

unsigned long currentThreadNumber()
{
   return static_cast<unsigned long>(gettid());
}

} // namespace tsl::platform
