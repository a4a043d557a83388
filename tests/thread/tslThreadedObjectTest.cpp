// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslThreadedObject.h"

#include "support/slots.h"
#include "support/watchdog.h"
#include "tslutil/base/tslException.h"
#include "tslutil/time/tslClock.h"

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

/// A body that runs until it is asked to stop, or until it is released where it minds nobody.
class Body : public DtRunnable
{
public:
   explicit Body(bool minds = true) : minding(minds) {}

   void run() override
   {
      Body copy(minding);
      static_cast<DtRunnable &>(copy) = *this;
      ++runs;
      most = std::max(most.load(), ++active);
      while (!released && !(minding && timeToStop() && copy.timeToStop()))
         DtSleep(0.001);
      --active;
   }
   void stop() override
   {
      ++hooks;
      hookThread = DtThread::GetCurrentThreadHandle();
      if (hookThrows)
         throw std::runtime_error("hook");
   }

   bool const minding;
   bool hookThrows = false;
   std::atomic<bool> released{false};
   std::atomic<int> runs{0}, hooks{0}, active{0}, most{0};
   std::atomic<unsigned long> hookThread{0};
};

/// The message and the place of what `action` throws.
template<class Exception>
std::string thrownBy(std::function<void()> const & action)
{
   try
   {
      action();
   }
   catch (Exception const & exception)
   {
      return exception.what().stdString() + " at " + exception.where().string();
   }
   return "nothing";
}

double secondsOf(std::function<void()> const & action)
{
   auto const begin = std::chrono::steady_clock::now();
   action();
   return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

boost::shared_ptr<DtThreadStart> startOf(DtRunnable & runnable)
{
   return boost::make_shared<DtThreadStart>(&runnable);
}

TEST(ThreadKit, SlotOrder)
{
   EXPECT_EQ(slotOf(&DtRunnable::run), 2u);
   EXPECT_EQ(slotOf(&DtRunnable::stop), 3u);
   EXPECT_EQ(slotOf(&DtThread::start), 2u);
}

TEST(DtThreadedObject, ThrowsOnMisuse)
{
   Watchdog const watchdog;
   auto const body = boost::make_shared<Body>();
   DtThreadedObject object;
   object.join();
   EXPECT_THAT(thrownBy<DtInvalidInput>([&] { object.start(); }),
               AllOf(StartsWith("DtInvalidInput: Runnable pointer may not be null. at void "
                                "DtThreadedObject::start() [tslThreadedObject.cpp:"),
                     HasSubstr("] ")));
   EXPECT_THAT(thrownBy<DtThreadNotStarted>([&] { object.stop(true); }),
               StartsWith("DtThreadNotStarted: Thread must be started to be stopped. at "));
   EXPECT_THAT(thrownBy<DtInvalidInput>([&] { object.setRunnableObject(nullptr); }),
               StartsWith("DtInvalidInput: Input may not be null. at "));
   object.setRunnableObject(body);
   EXPECT_EQ(object.runnableObject(), body);
   object.start();
   EXPECT_THAT(
      thrownBy<DtThreadAlreadyRunning>([&] { object.start(); }),
      StartsWith("DtThreadAlreadyRunning: Thread already running. at void DtThreadedObject::start()"));
   EXPECT_THAT(thrownBy<DtThreadAlreadyRunning>([&] { object.setRunnableObject(nullptr); }),
               StartsWith("DtThreadAlreadyRunning: Thread already running. at "));
   object.stop(true);
   EXPECT_EQ(body->active, 0);
   EXPECT_THROW(object.stop(false), DtThreadNotStarted);
}

TEST(DtThreadedObject, CountsAsRunningUntilStopOrJoin)
{
   Watchdog const watchdog;
   auto const body = boost::make_shared<Body>();
   body->released = true;
   DtThreadedObject object(body);
   object.start();
   EXPECT_TRUE(eventually([&] { return body->runs == 1 && body->active == 0; }));
   EXPECT_TRUE(object.running());
   EXPECT_THROW(object.start(), DtThreadAlreadyRunning);
   EXPECT_GE(secondsOf([&] { object.join(); }), 0.1);
   EXPECT_FALSE(object.running());
   EXPECT_EQ(body->hooks, 0);
   object.start();
   EXPECT_EQ(body->hooks, 1);
   object.stop(false);
   EXPECT_FALSE(object.running());
   EXPECT_EQ(body->hooks, 2);
   object.stop(true);
   EXPECT_EQ(body->hooks, 2);
   object.stop(true);
}

TEST(DtThreadedObject, WaitsForTheOldThreadBeforeItMakesTheNext)
{
   Watchdog const watchdog;
   auto const body = boost::make_shared<Body>();
   DtThreadedObject object(body);
   for (int i = 0; i < 3; ++i)
   {
      object.start();
      EXPECT_TRUE(eventually([&] { return body->active == 1; }));
      object.stop(false);
   }
   object.start();
   EXPECT_TRUE(eventually([&] { return body->runs == 4; }));
   object.stop(true);
   EXPECT_EQ(body->most, 1);
   EXPECT_EQ(body->hooks, 4);
   EXPECT_EQ(body->hookThread, DtThread::GetCurrentThreadHandle());
}

TEST(DtThreadedObject, KeepsTheRunnableUntilItsBodyHasReturned)
{
   Watchdog const watchdog;
   auto * const plain = new Body(false);
   boost::shared_ptr<Body> owner(plain);
   boost::weak_ptr<Body> const seen(owner);
   {
      DtThreadedObject object(owner);
      object.start();
      EXPECT_TRUE(eventually([&] { return plain->active == 1; }));
      object.stop(false);
      object.setRunnableObject(boost::make_shared<Body>());
      owner.reset();
   }
   EXPECT_FALSE(seen.expired());
   plain->released = true;
   EXPECT_TRUE(eventually([&] { return seen.expired(); }));
}

TEST(DtThreadedObject, IsDestroyedInSpiteOfAHookThatThrows)
{
   Watchdog const watchdog;
   auto body = boost::make_shared<Body>();
   body->hookThrows = true;
   boost::weak_ptr<Body> const seen(body);
   {
      DtThreadedObject object(body);
      object.start();
      EXPECT_THROW(object.stop(true), std::runtime_error);
      EXPECT_TRUE(object.running());
      object.stop(true);
      body->runs = 0;
      object.start();
      EXPECT_TRUE(eventually([&] { return body->runs == 1; }));
   }
   EXPECT_EQ(body->hooks, 2);
   body.reset();
   EXPECT_TRUE(eventually([&] { return seen.expired(); }));
}

TEST(DtThreadedObject, IsStoppedByOneThreadWhileAnotherJoins)
{
   Watchdog const watchdog;
   auto const body = boost::make_shared<Body>();
   DtThreadedObject object(body);
   object.start();
   std::thread joiner([&] { object.join(); });
   DtSleep(0.05);
   object.stop(true);
   joiner.join();
   EXPECT_FALSE(object.running());
}

/// The size of this process in MiB, which a thread that isn't given back keeps its stack in.
double processSize()
{
   double pages = 0;
   std::ifstream("/proc/self/statm") >> pages;
   return pages * 4096 / (1 << 20);
}

/// Starts and ends 300 threads that nobody waits for, and 150 that are waited for.
void startAndEndThreads()
{
   auto const body = boost::make_shared<Body>();
   body->released = true;
   for (int i = 0; i < 300; ++i)
   {
      DtThreadedObject object(body);
      object.start();
      object.stop(false);
      // Now and then the body has returned by then.
      ASSERT_TRUE(i % 50 != 0 || eventually([&] { return body->runs == i + 1 && body->active == 0; }));
   }
   EXPECT_TRUE(eventually([&] { return body.use_count() == 1; }));
   auto const startAndWait = [&]
   {
      DtThreadedObject object(body);
      object.start();
   };
   std::vector<std::thread> owners;
   for (int i = 0; i < 150; ++i)
      owners.emplace_back(startAndWait);
   for (std::thread & owner : owners)
      owner.join();
   EXPECT_EQ(body->runs, 450);
}

TEST(DtThreadedObject, GivesAllThreadsBack)
{
   Watchdog const watchdog;
   startAndEndThreads();
   double const before = processSize();
   startAndEndThreads();
   EXPECT_LT(processSize() - before, 600.0);
}

TEST(DtThread, RunsAFunctionThatSeesTheFlagOnly)
{
   Watchdog const watchdog;
   std::atomic<unsigned long> number(0);
   auto const function = [](void * data, bool volatile * flag)
   {
      *static_cast<std::atomic<unsigned long> *>(data) = DtThread::GetCurrentThreadHandle();
      while (!__atomic_load_n(flag, __ATOMIC_ACQUIRE))
         DtSleep(0.001);
   };
   DtThread thread(boost::make_shared<DtThreadStart>(function, &number));
   EXPECT_FALSE(thread.hasStarted());
   thread.stop(true);
   EXPECT_EQ(thread.start(), DtThreadSuccess);
   EXPECT_TRUE(eventually([&] { return thread.isRunning() && number != 0; }));
   EXPECT_TRUE(thread.hasStarted());
   EXPECT_NE(thread.threadId(), nullptr);
   EXPECT_NE(number, DtThread::GetCurrentThreadHandle());
   thread.stop(false);
   EXPECT_EQ(thread.join(), DtThreadSuccess);
   EXPECT_FALSE(thread.isRunning());
   EXPECT_TRUE(thread.hasStarted());
   EXPECT_GE(secondsOf([&] { thread.stop(true); }), 0.1);
   EXPECT_EQ(thread.threadId(), nullptr);
}

TEST(DtThread, RunsOnTheCallersThreadWhereStopHasNoEffect)
{
   struct Within : Body
   {
      void run() override
      {
         EXPECT_TRUE(thread->isRunning());
         EXPECT_FALSE(thread->hasStarted());
         thread->stop(true);
         EXPECT_FALSE(timeToStop());
      }
      DtThread * thread = nullptr;
   } body;
   DtThread thread(startOf(body));
   body.thread = &thread;
   EXPECT_EQ(thread.startInCurrentThread(), DtThreadSuccess);
   EXPECT_FALSE(thread.isRunning());
   EXPECT_EQ(body.hooks, 0);
}

/// Shows the flag.
struct OpenThread : DtThread
{
   using DtThread::DtThread;
   using DtThread::stopped;
};

TEST(DtThread, JoinEndsWithAThreadThatHasEndedOnly)
{
   Watchdog const watchdog;
   Body body;
   body.released = true;
   OpenThread thread(startOf(body));
   EXPECT_TRUE(thread.stopped());
   std::atomic<bool> joined(false);
   std::thread joiner([&] { joined = thread.join() == DtThreadSuccess; });
   DtSleep(0.35);
   EXPECT_FALSE(joined);
   thread.start();
   EXPECT_FALSE(thread.stopped());
   joiner.join();
   EXPECT_TRUE(joined);
}

TEST(DtThread, OutlivesBothBodiesOfASecondStart)
{
   struct LongAtFirst : Body
   {
      void run() override
      {
         if (++entered == 2)
            return;
         Body::run();
         DtSleep(0.4);
         left = true;
      }
      std::atomic<int> entered{0};
      std::atomic<bool> left{false};
   } body;
   Watchdog const watchdog;
   {
      DtThread thread(startOf(body));
      thread.start();
      void * const first = thread.threadId();
      EXPECT_TRUE(eventually([&] { return body.active == 1; }));
      thread.start();
      EXPECT_NE(thread.threadId(), first);
      EXPECT_TRUE(eventually([&] { return body.entered == 2 && !thread.isRunning(); }));
      EXPECT_EQ(body.active, 1);
   }
   EXPECT_TRUE(body.left);
   EXPECT_EQ(body.hooks, 1);
}

/// Has the system refuse threads: nothing has room for such a stack.
class NoThreads
{
public:
   NoThreads()
   {
      pthread_getattr_default_np(&before);
      pthread_attr_t huge;
      pthread_getattr_default_np(&huge);
      pthread_attr_setstacksize(&huge, std::size_t(1) << 47);
      pthread_setattr_default_np(&huge);
      pthread_attr_destroy(&huge);
   }
   ~NoThreads()
   {
      pthread_setattr_default_np(&before);
      pthread_attr_destroy(&before);
   }

private:
   pthread_attr_t before;
};

TEST(ThreadKit, TellsARefusedThreadByStatusOnly)
{
   Watchdog const watchdog;
   auto const body = boost::make_shared<Body>();
   NoThreads const none;
   OpenThread thread(startOf(*body));
   EXPECT_EQ(thread.start(), DtThreadCreateFailed);
   EXPECT_FALSE(thread.hasStarted());
   EXPECT_FALSE(thread.stopped());
   DtThreadedObject object(body);
   object.start();
   EXPECT_TRUE(object.running());
   object.stop(false);
   object.start();
   object.stop(true);
   EXPECT_EQ(body->runs + body->hooks, 0);
}

} // namespace
