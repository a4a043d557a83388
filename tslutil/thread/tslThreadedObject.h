// SPDX-License-Identifier: MIT
#pragma once

// The thread kit. A DtRunnable is the body of a thread, a DtThreadStart what a thread executes (a runnable or
// a plain function), a DtThread owns one system thread and the flag that asks its body to end, and a
// DtThreadedObject owns a runnable and the thread that runs it. Stopping is cooperative: a body ends by
// returning, once it sees its flag. Threads start with all signals blocked but those of a fault.

#include "tslutil/thread/tslMutex.h"
#include "tslutil/tslutilExport.h"

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <memory>

/// The result of DtThread's operations.
enum DtThreadStatus : int
{
   DtThreadSuccess = 0,
   DtThreadCreateFailed = 1,
   DtThreadJoinFailed = 2
};

/// The body of a thread, by derivation.
class TSLUTIL_EXPORT DtRunnable
{
public:
   DtRunnable();
   /// Copies which flag is looked at.
   DtRunnable(DtRunnable const & other);
   /// The same.
   DtRunnable & operator=(DtRunnable const & other);

   // Virtual operations, in slot order.

   virtual ~DtRunnable();
   /// The body: works until timeToStop is true, or returns by itself.
   virtual void run() = 0;
   /// Called once on the stopping thread, while the body runs: for bodies that can be blocked where they
   /// don't look at timeToStop. Does nothing here.
   virtual void stop();

   /// Whether the body is to return. Only to be called from run.
   bool timeToStop();

protected:
   /// Calls run, with `stopFlag` for timeToStop to look at meanwhile.
   void execute(bool volatile * stopFlag);

   /// What timeToStop looks at: a flag of the thread that executes the body, null while none does. Other
   /// threads write it: it is to be read and written atomically.
   std::atomic<bool volatile *> timeToStopFlag;

private:
   friend class DtThreadStart;

   int executions;
};

/// What a thread executes. A value; owns nothing.
class TSLUTIL_EXPORT DtThreadStart
{
public:
   /// Executes a runnable, which must outlive the execution.
   explicit DtThreadStart(DtRunnable * runnable);
   /// Executes `function` with `data` and the flag that asks it to end. Other threads write the flag: it is
   /// to be read afresh each time.
   DtThreadStart(void (*function)(void *, bool volatile *), void * data);
   /// Executes the same.
   DtThreadStart(DtThreadStart const & other) = default;
   /// The same.
   DtThreadStart & operator=(DtThreadStart const & other);

   /// Runs the body on the calling thread.
   void execute(bool volatile * stopFlag);
   /// Calls the runnable's hook; a function has none.
   void stop();

private:
   DtRunnable * runnable;
   void (*function)(void *, bool volatile *);
   void * data;
};

struct DtThreadControl;

/// One system thread and the flag that asks its body to end. Made for one start.
class TSLUTIL_EXPORT DtThread
{
public:
   /// `what` must not be empty.
   explicit DtThread(boost::shared_ptr<DtThreadStart> what);
   DtThread(DtThread const &) = delete;
   DtThread & operator=(DtThread const &) = delete;

   // Virtual operations, in slot order.

   /// Stops a started thread and waits for it.
   virtual ~DtThread();
   /// Starts the thread. Refused by the system, it answers DtThreadCreateFailed. Not guarded against a second
   /// call, which makes a second thread and forgets the first; both use the same flag.
   virtual DtThreadStatus start();

   /// Runs the body on the calling thread and answers DtThreadSuccess when it has returned. Such a body ends
   /// by itself only: stop has no effect on it.
   DtThreadStatus startInCurrentThread();

   /// The life of the thread: executes the body, between setting and clearing what isRunning tells.
   void run();

   /// Sets the flag and calls the hook, unless that was done; then, if `wait`, joins and forgets the thread.
   /// Nothing on a thread that was not started.
   void stop(bool wait);

   /// Waits until the thread has ended, looking every 0.1 s and not at once. Never returns on a thread that
   /// is not started.
   DtThreadStatus join() const;

   /// Whether there is a thread: from start until a waiting stop.
   bool hasStarted() const;

   /// Whether the body is being executed.
   bool isRunning() const;

   /// The thread's handle; null without one.
   void * threadId() const;

   /// A number that tells the calling thread from all others, in spite of its name no handle.
   static unsigned long GetCurrentThreadHandle();

protected:
   /// Whether the flag is set, as it is until the start.
   bool stopped();

private:
   friend class DtThreadedObject;

   static void abandon(std::shared_ptr<DtThread> thread);

   std::atomic<void *> threadHandle;
   bool volatile stopFlag;
   bool runningFlag;
   boost::shared_ptr<DtThreadStart> threadStart;
   mutable DtMutex mutex;
   std::shared_ptr<DtThreadControl> control;
};

/// Owns a runnable and the thread that runs it, and makes a new thread at each start. Its operations may be
/// called from any thread but the body's own, and throw on misuse. A runnable lives until its body has
/// returned, even if this object is gone by then.
class TSLUTIL_EXPORT DtThreadedObject
{
public:
   /// Without a runnable.
   DtThreadedObject();
   /// Holds `runnable`; starts nothing.
   explicit DtThreadedObject(boost::shared_ptr<DtRunnable> runnable);
   DtThreadedObject(DtThreadedObject const &) = delete;
   DtThreadedObject & operator=(DtThreadedObject const &) = delete;

   /// Stops a running thread and waits for it. A thread that was stopped without waiting goes on to its end.
   virtual ~DtThreadedObject();

   /// Starts a thread; one stopped without waiting is waited for first. Throws DtInvalidInput without a
   /// runnable, DtThreadAlreadyRunning if running. A thread that the system refuses is not reported.
   void start();

   /// Asks the body to end, and waits for that if `wait`; the body must not call locking operations of this
   /// object then. Throws DtThreadNotStarted if there is no thread: before the first start and after a
   /// waiting stop.
   void stop(bool wait);

   /// Waits for the body to return, looking every 0.1 s and not at once; another thread may stop it
   /// meanwhile. Nothing without a thread.
   void join();

   /// Replaces the runnable. Throws DtThreadAlreadyRunning if running, DtInvalidInput on null.
   void setRunnableObject(boost::shared_ptr<DtRunnable> runnable);
   /// The runnable, or null.
   boost::shared_ptr<DtRunnable> runnableObject() const;

   /// Whether start was called and neither stop nor join since; stays true after the body has returned.
   bool running() const;

protected:
   /// Sets what running tells.
   void setRunning(bool value);

private:
   void makeThread();
   void deleteThread();

   bool runningFlag;
   boost::shared_ptr<DtRunnable> myRunnable;
   std::shared_ptr<DtThread> thread;
   std::atomic<bool> hasThread;
   mutable DtMutex mutex;
};
