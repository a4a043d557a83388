// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslThreadedObject.h"

#include "support/watchdog.h"
#include "tslutil/base/tslException.h"
#include "tslutil/time/tslClock.h"

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <pthread.h>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{

/// A body that does its task or, without one, runs until it is asked to stop, or, where it minds nobody,
/// until it is released.
struct Body : DtRunnable
{
   void run() override { task ? task() : linger(); }
   void linger()
   {
      ++runs;
      sideBySide = ++active > 1 || sideBySide;
      while (!released && !(minding && timeToStop()))
         DtSleep(0.001);
      --active;
   }
   void stop() override
   {
      hookThread = DtThread::GetCurrentThreadHandle();
      if (++hooks && hookThrows)
         throw std::runtime_error("hook");
   }
   std::function<void()> task;
   std::atomic<bool> minding{true}, released{false}, sideBySide{false}, hookThrows{false};
   std::atomic<int> runs{0}, hooks{0}, active{0};
   std::atomic<unsigned long> hookThread{0};
};

/// Shows the flag.
struct OpenThread : DtThread
{
   explicit OpenThread(DtRunnable & body) : DtThread(boost::make_shared<DtThreadStart>(&body)) {}
   using DtThread::stopped;
};

struct ThreadKit : testing::Test
{
   Watchdog const watchdog;
   boost::shared_ptr<Body> body{boost::make_shared<Body>()};
   DtThreadedObject object{body};
};

/// An exception of this class whose text and place begin so.
template<class Exception>
auto throwsWith(std::string const & text)
{
   auto const told = [](Exception const & thrown)
   { return (thrown.what() + " at " + thrown.where()).stdString(); };
   return testing::Throws<Exception>(testing::ResultOf(told, testing::StartsWith(text)));
}

#define THROWS(exception, text) throwsWith<exception>(#exception ": " text " at ")

TEST_F(ThreadKit, ThrowsOnMisuse)
{
   DtThreadedObject empty;
   empty.join();
   EXPECT_THAT([&] { empty.start(); },
               throwsWith<DtInvalidInput>("DtInvalidInput: Runnable pointer may not be null. at "
                                          "void DtThreadedObject::start() [tslThreadedObject.cpp:"));
   EXPECT_THAT([&] { empty.stop(true); },
               THROWS(DtThreadNotStarted, "Thread must be started to be stopped."));
   EXPECT_THAT([&] { empty.setRunnableObject(nullptr); }, THROWS(DtInvalidInput, "Input may not be null."));
   empty.setRunnableObject(body);
   EXPECT_EQ(empty.runnableObject(), body);
   object.start();
   auto const isRunning = THROWS(DtThreadAlreadyRunning, "Thread already running.");
   EXPECT_THAT([&] { object.start(); }, isRunning);
   EXPECT_THAT([&] { object.setRunnableObject(nullptr); }, isRunning);
   object.stop(true);
   EXPECT_EQ(body->active, 0);
   EXPECT_THROW(object.stop(false), DtThreadNotStarted);
}

TEST_F(ThreadKit, CountsAsRunningUntilStopOrJoinAndWaitsForTheOldThread)
{
   body->released = true;
   object.start();
   EXPECT_TRUE(eventually([&] { return body->runs == 1 && body->active == 0; }));
   EXPECT_TRUE(object.running());
   EXPECT_THROW(object.start(), DtThreadAlreadyRunning);
   DtClock const clock;
   object.join();
   EXPECT_GT(clock.elapsedRealTime(), 0.0999);
   EXPECT_TRUE(!object.running() && body->hooks == 0);
   body->released = false;
   object.start();
   EXPECT_EQ(body->hooks, 1);
   std::thread joiner([&] { object.join(); });
   DtSleep(0.05);
   object.stop(true);
   joiner.join();
   EXPECT_TRUE(!object.running() && body->hooks == 2);
   // The old thread is waited for ahead of the next.
   for (int i = 3; i <= 5; ++i)
   {
      object.start();
      EXPECT_TRUE(eventually([&] { return body->runs == i; }));
      object.stop(false);
      object.stop(true);
   }
   EXPECT_TRUE(!body->sideBySide && body->hooks == 5);
   EXPECT_EQ(body->hookThread, DtThread::GetCurrentThreadHandle());
}

TEST_F(ThreadKit, KeepsTheRunnableUntilItsBodyHasReturned)
{
   Body * const plain = body.get();
   boost::weak_ptr<Body> const seen(body);
   plain->minding = false;
   plain->hookThrows = true;
   {
      DtThreadedObject swallowing(body);
      swallowing.start();
      object.start();
      EXPECT_TRUE(eventually([&] { return plain->active == 2; }));
   }
   // What the hook throws was swallowed by the destructor, and reaches the caller of stop.
   EXPECT_THROW(object.stop(true), std::runtime_error);
   object.stop(false);
   object.setRunnableObject(boost::make_shared<Body>());
   body.reset();
   EXPECT_TRUE(plain->hooks == 2 && !seen.expired());
   plain->released = true;
   object.start();
   EXPECT_TRUE(eventually([&] { return seen.expired(); }));
}

/// The process's address space in MiB.
double addressSpace()
{
   double pages = 0;
   std::ifstream("/proc/self/statm") >> pages;
   return pages / 256;
}

/// Starts and ends so many threads that nobody waits for, and half as many that are waited for.
void startMany(boost::shared_ptr<Body> const & body, int count)
{
   int const before = body->runs;
   for (int i = 1; i <= count; ++i)
   {
      DtThreadedObject object(body);
      object.start(), object.stop(false);
      // Now and then the body has returned by then.
      EXPECT_TRUE(i % 50 != 0 || eventually([&] { return body->runs == before + i && body->active == 0; }));
   }
   std::atomic<int> left(count / 2);
   auto const own = [&]
   {
      while (left-- > 0)
         DtThreadedObject(body).start();
   };
   std::vector<std::future<void>> owners(100);
   for (std::future<void> & owner : owners)
      owner = std::async(std::launch::async, own);
   owners.clear();
   EXPECT_EQ(body->runs, before + count + count / 2);
}

// A thread that isn't given back keeps its stack in the address space, of eight MiB.
TEST_F(ThreadKit, GivesAllThreadsBack)
{
   body->released = true;
   startMany(body, 300);
   double const before = addressSpace();
   startMany(body, 300);
   EXPECT_LT(addressSpace(), before + 600.0);
   EXPECT_TRUE(eventually([&] { return body.use_count() == 2; }));
}

TEST_F(ThreadKit, RunsAFunctionThatSeesTheFlagAndJoinsItOnceItHasEnded)
{
   std::atomic<unsigned long> number(0);
   auto const function = [](void * data, bool volatile * flag)
   {
      *static_cast<std::atomic<unsigned long> *>(data) = DtThread::GetCurrentThreadHandle();
      while (!__atomic_load_n(flag, __ATOMIC_ACQUIRE))
         DtSleep(0.001);
   };
   DtThread thread(boost::make_shared<DtThreadStart>(function, &number));
   // Joining goes on for as long as there is no thread to look at, too.
   std::future<DtThreadStatus> joined = std::async(std::launch::async, [&] { return thread.join(); });
   DtSleep(0.35);
   EXPECT_EQ(thread.start(), DtThreadSuccess);
   EXPECT_TRUE(eventually([&] { return thread.isRunning() && number != 0; }));
   EXPECT_NE(number, DtThread::GetCurrentThreadHandle());
   EXPECT_EQ(joined.wait_for(std::chrono::milliseconds(250)), std::future_status::timeout);
   thread.stop(false);
   EXPECT_TRUE(joined.get() == DtThreadSuccess && thread.hasStarted() && !thread.isRunning());
   thread.stop(true);
   EXPECT_EQ(thread.threadId(), nullptr);
}

TEST_F(ThreadKit, StopsNothingThatRunsOnTheCallersThread)
{
   OpenThread thread(*body);
   body->task = [&]
   {
      thread.stop(true);
      EXPECT_TRUE(thread.isRunning() && !thread.hasStarted() && !thread.stopped() && !body->timeToStop());
   };
   EXPECT_TRUE(thread.stopped());
   EXPECT_EQ(thread.startInCurrentThread(), DtThreadSuccess);
   EXPECT_TRUE(!thread.isRunning() && body->hooks == 0);
}

TEST_F(ThreadKit, OutlivesBothBodiesOfASecondStart)
{
   std::atomic<int> entered(0);
   std::atomic<bool> isLeft(false);
   body->task = [&]
   {
      if (++entered == 2)
         return;
      body->linger();
      DtSleep(0.4);
      isLeft = true;
   };
   {
      OpenThread thread(*body);
      thread.start();
      EXPECT_TRUE(eventually([&] { return body->active == 1; }));
      thread.start();
      EXPECT_TRUE(eventually([&] { return entered == 2 && !thread.isRunning(); }));
   }
   EXPECT_TRUE(isLeft && body->hooks == 1);
   // A body that begins as another one ends sees its flag all the same; most runs show it if not.
   body->task = [this]
   {
      for (int i = 0; i < 1000 && !body->timeToStop();)
         ++i;
   };
   for (int round = 0; round < 3; ++round)
   {
      OpenThread thread(*body);
      for (int i = 0; i < 1000; ++i)
         EXPECT_EQ(thread.start(), DtThreadSuccess);
   }
}

TEST_F(ThreadKit, TellsOfARefusalByStatusOnly)
{
   // Nothing has room for such a stack.
   pthread_attr_t before, huge;
   pthread_getattr_default_np(&before), pthread_getattr_default_np(&huge);
   pthread_attr_setstacksize(&huge, std::size_t(1) << 47);
   pthread_setattr_default_np(&huge);
   OpenThread thread(*body);
   EXPECT_EQ(thread.start(), DtThreadCreateFailed);
   object.start();
   EXPECT_TRUE(!thread.hasStarted() && !thread.stopped() && object.running());
   object.stop(true);
   EXPECT_EQ(body->runs + body->hooks, 0);
   pthread_setattr_default_np(&before);
   pthread_attr_destroy(&before), pthread_attr_destroy(&huge);
}

} // namespace
