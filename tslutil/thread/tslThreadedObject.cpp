// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslThreadedObject.h"

#include "tslutil/base/throw.h"
#include "tslutil/platform/thread.h"
#include "tslutil/time/tslClock.h"

namespace
{

// The exit code of a thread that lives, of one that has ended, and of one that nobody owns any more.
constexpr int stillActive = 259;
constexpr int ended = 0;
constexpr int abandoned = -1;

constexpr double lookInterval = 0.1;

/// Guards the executions of all runnables as they begin and end.
DtMutex & executionsMutex()
{
   static DtMutex & mutex = *new DtMutex;
   return mutex;
}

} // namespace

/// What a DtThread and its system thread share; the handle points to it.
struct DtThreadControl
{
   tsl::platform::Thread thread;
   std::atomic<int> exitCode{stillActive};
   std::atomic<bool> givenBack{false};
   /// The thread that a second start put out of sight.
   std::shared_ptr<DtThreadControl> previous;
   /// The object, while the thread alone keeps it.
   std::shared_ptr<DtThread> self;

   /// Waits for the end of the system thread, once.
   void reap()
   {
      if (!givenBack.exchange(true))
         tsl::platform::joinThread(thread);
   }

   /// The last act of the thread: behind it the DtThread may be gone.
   void finish()
   {
      if (exitCode.exchange(ended) == abandoned)
         self.reset();
   }
};

DtRunnable::DtRunnable() : timeToStopFlag(nullptr), executions(0) {}

DtRunnable::DtRunnable(DtRunnable const & other) : timeToStopFlag(other.timeToStopFlag.load()), executions(0)
{
}

DtRunnable & DtRunnable::operator=(DtRunnable const & other)
{
   timeToStopFlag = other.timeToStopFlag.load();
   return *this;
}

DtRunnable::~DtRunnable() = default;

void DtRunnable::stop() {}

bool DtRunnable::timeToStop()
{
   return __atomic_load_n(timeToStopFlag.load(), __ATOMIC_ACQUIRE);
}

void DtRunnable::execute(bool volatile * stopFlag)
{
   // The flag goes with its thread and is not to be looked at later. Of two bodies that a second start let
   // run side by side, the last one forgets it.
   struct Execution
   {
      Execution(DtRunnable & body, bool volatile * flag) : runnable(body)
      {
         DtScopedLock const guard(executionsMutex(), true);
         ++runnable.executions;
         runnable.timeToStopFlag = flag;
      }
      ~Execution()
      {
         DtScopedLock const guard(executionsMutex(), true);
         if (--runnable.executions == 0)
            runnable.timeToStopFlag = nullptr;
      }
      DtRunnable & runnable;
   } const execution(*this, stopFlag);
   run();
}

DtThreadStart::DtThreadStart(DtRunnable * body) : runnable(body), function(nullptr), data(nullptr) {}

DtThreadStart::DtThreadStart(void (*body)(void *, bool volatile *), void * argument)
   : runnable(nullptr), function(body), data(argument)
{
}

DtThreadStart & DtThreadStart::operator=(DtThreadStart const & other) = default;

void DtThreadStart::execute(bool volatile * stopFlag)
{
   if (function != nullptr)
      function(data, stopFlag);
   else
      runnable->execute(stopFlag);
}

void DtThreadStart::stop()
{
   if (function == nullptr)
      runnable->stop();
}

// A thread that has not started counts as stopped.
DtThread::DtThread(boost::shared_ptr<DtThreadStart> what)
   : threadHandle(nullptr), stopFlag(true), runningFlag(false), threadStart(what)
{
}

DtThread::~DtThread()
{
   if (hasStarted())
      stop(true);
   // Bodies that a second start put out of sight use this object too.
   for (std::shared_ptr<DtThreadControl> each = control; each != nullptr; each = each->previous)
      each->reap();
}

DtThreadStatus DtThread::start()
{
   __atomic_store_n(&stopFlag, false, __ATOMIC_RELEASE);
   auto const started = std::make_shared<DtThreadControl>();
   auto const life = [this, started]
   {
      // Also on the way of a thread that is made to exit within its body.
      std::unique_ptr<DtThreadControl, void (*)(DtThreadControl *)> const finish(
         started.get(), [](DtThreadControl * ending) { ending->finish(); });
      run();
   };
   if (!tsl::platform::startThread(started->thread, life))
      return DtThreadCreateFailed;
   started->previous = control;
   control = started;
   threadHandle = started.get();
   return DtThreadSuccess;
}

DtThreadStatus DtThread::startInCurrentThread()
{
   __atomic_store_n(&stopFlag, false, __ATOMIC_RELEASE);
   run();
   return DtThreadSuccess;
}

void DtThread::run()
{
   DtScopedLock guard(mutex, true);
   runningFlag = true;
   guard.unlock();
   threadStart->execute(&stopFlag);
   guard.lock();
   runningFlag = false;
}

void DtThread::stop(bool wait)
{
   if (!hasStarted())
      return;
   {
      DtScopedLock const guard(mutex, true);
      if (!stopped())
      {
         __atomic_store_n(&stopFlag, true, __ATOMIC_RELEASE);
         threadStart->stop();
      }
   }
   if (wait)
   {
      join();
      threadHandle = nullptr;
   }
}

DtThreadStatus DtThread::join() const
{
   // Looking at a missing thread fails, which doesn't end the wait: it is over only with a thread that ended.
   DtThreadControl * waitedFor = nullptr;
   do
   {
      DtSleep(lookInterval);
      if (waitedFor == nullptr)
         waitedFor = static_cast<DtThreadControl *>(threadHandle.load());
   } while (waitedFor == nullptr || waitedFor->exitCode == stillActive);
   waitedFor->reap();
   return DtThreadSuccess;
}

bool DtThread::hasStarted() const
{
   return threadHandle != nullptr;
}

bool DtThread::isRunning() const
{
   DtScopedLock const guard(mutex, true);
   return runningFlag;
}

void * DtThread::threadId() const
{
   return threadHandle;
}

unsigned long DtThread::GetCurrentThreadHandle()
{
   return tsl::platform::currentThreadNumber();
}

bool DtThread::stopped()
{
   DtScopedLock const guard(mutex, true);
   return __atomic_load_n(&stopFlag, __ATOMIC_ACQUIRE);
}

/// Leaves a thread to itself: it and what it executes are deleted when its body has returned, here and now if
/// it has. Nothing is called on the body.
void DtThread::abandon(std::shared_ptr<DtThread> thread)
{
   std::shared_ptr<DtThreadControl> const control = thread->control;
   if (control == nullptr)
      return;
   bool const givenBack = control->givenBack.exchange(true);
   thread->threadHandle = nullptr;
   control->self = std::move(thread);
   int expected = stillActive;
   if (!control->exitCode.compare_exchange_strong(expected, abandoned))
      control->self.reset();
   if (!givenBack)
      tsl::platform::detachThread(control->thread);
}

DtThreadedObject::DtThreadedObject() : runningFlag(false), hasThread(false) {}

DtThreadedObject::DtThreadedObject(boost::shared_ptr<DtRunnable> runnable)
   : runningFlag(false), myRunnable(runnable), hasThread(false)
{
}

DtThreadedObject::~DtThreadedObject()
{
   try
   {
      if (running() && hasThread)
         stop(true);
   }
   catch (...)
   {
      // Destruction goes on.
   }
   if (thread != nullptr)
      DtThread::abandon(std::move(thread));
}

void DtThreadedObject::start()
{
   DtScopedLock const guard(mutex, true);
   if (myRunnable == nullptr)
      DtTHROW(DtInvalidInput, "Runnable pointer may not be null.");
   if (running())
      DtTHROW(DtThreadAlreadyRunning, "Thread already running.");
   setRunning(true);
   deleteThread();
   try
   {
      makeThread();
   }
   catch (DtException const & cause)
   {
      setRunning(false);
      deleteThread();
      throw DtThreadCreationError("DtThreadCreationError: Failed to start.", BOOST_CURRENT_FUNCTION,
                                  tsl::sourceFileName(__FILE__).string(), __LINE__, &cause);
   }
}

void DtThreadedObject::makeThread()
{
   // The start holds the runnable for as long as its body may be executed or its hook called.
   boost::shared_ptr<DtRunnable> const held = myRunnable;
   boost::shared_ptr<DtThreadStart> const what(new DtThreadStart(held.get()),
                                               [held](DtThreadStart * start) { delete start; });
   thread = std::make_shared<DtThread>(what);
   hasThread = true;
   // A refused thread is not reported: callers see a running object whose body never runs.
   thread->start();
}

void DtThreadedObject::deleteThread()
{
   if (thread != nullptr)
      thread->stop(true);
   thread.reset();
   hasThread = false;
}

void DtThreadedObject::stop(bool wait)
{
   if (!hasThread)
      DtTHROW(DtThreadNotStarted, "Thread must be started to be stopped.");
   DtScopedLock const guard(mutex, true);
   if (running())
   {
      if (wait)
         deleteThread();
      else if (thread != nullptr)
         thread->stop(false);
   }
   setRunning(false);
}

void DtThreadedObject::join()
{
   if (!hasThread)
      return;
   if (running())
   {
      // Held, since the object is not locked meanwhile and a waiting stop takes the thread away.
      DtScopedLock guard(mutex, true);
      std::shared_ptr<DtThread> const joined = thread;
      guard.unlock();
      if (joined != nullptr)
         joined->join();
   }
   setRunning(false);
}

void DtThreadedObject::setRunnableObject(boost::shared_ptr<DtRunnable> runnable)
{
   DtScopedLock const guard(mutex, true);
   if (running())
      DtTHROW(DtThreadAlreadyRunning, "Thread already running.");
   if (runnable == nullptr)
      DtTHROW(DtInvalidInput, "Input may not be null.");
   myRunnable = runnable;
}

boost::shared_ptr<DtRunnable> DtThreadedObject::runnableObject() const
{
   DtScopedLock const guard(mutex, true);
   return myRunnable;
}

bool DtThreadedObject::running() const
{
   DtScopedLock const guard(mutex, true);
   return runningFlag;
}

void DtThreadedObject::setRunning(bool value)
{
   DtScopedLock const guard(mutex, true);
   runningFlag = value;
}
