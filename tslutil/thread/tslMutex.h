// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

#include <mutex>

/// The recursive lock of the library. A thread that holds it may take it again and must release it as often.
/// Every operation is one call to the platform's lock; there is no timeout.
class TSLUTIL_EXPORT DtMutex
{
public:
   /// An unlocked lock.
   DtMutex();

   // Virtual operations, in slot order.

   /// Releases the lock's resources, without regard to any holder.
   virtual ~DtMutex();
   /// Blocks until the calling thread holds the lock.
   virtual void lock();
   /// Takes the lock if that is possible at once; true if it did. A thread that holds it already succeeds.
   virtual bool tryLock();
   /// Releases one hold of the calling thread.
   virtual void unlock();

protected:
   // Locks are not copied: the copy is no lock, and assignment leaves both as they are.
   /// A new lock, held by nobody.
   DtMutex(DtMutex const &);
   /// Changes nothing.
   DtMutex & operator=(DtMutex const &);

private:
   std::recursive_mutex myMutex;
};

/// Holds a DtMutex for a scope. Used by one thread.
class DtScopedLock
{
public:
   /// Takes `mutex`, which must outlive this guard, if `lockNow` is true.
   DtScopedLock(DtMutex & mutex, bool lockNow) : myMutex(mutex), isLocked(false)
   {
      if (lockNow)
         lock();
   }

   ~DtScopedLock()
   {
      if (isLocked)
         unlock();
   }

   DtScopedLock(DtScopedLock const &) = delete;
   DtScopedLock & operator=(DtScopedLock const &) = delete;

   /// Takes the mutex unless this guard holds it already.
   void lock()
   {
      if (!isLocked)
      {
         myMutex.lock();
         isLocked = true;
      }
   }

   /// Releases the mutex if this guard holds it.
   void unlock()
   {
      if (isLocked)
      {
         myMutex.unlock();
         isLocked = false;
      }
   }

   /// Whether this guard holds the mutex.
   bool locked() const { return isLocked; }

   /// The guard's own address while it holds the mutex, else null.
   operator void const *() const { return isLocked ? this : nullptr; }

private:
   DtMutex & myMutex;
   bool isLocked;
};

/// A scope guard for a caller with a pair of plain functions in place of a mutex. The copy is what begins;
/// every destruction ends, also that of an object which has not begun.
class TSLUTIL_EXPORT DtScopedSequenceLock
{
public:
   /// Copies the functions and their argument, and begins.
   DtScopedSequenceLock(DtScopedSequenceLock const & other);

   /// Copies the functions and their argument, and calls neither.
   DtScopedSequenceLock & operator=(DtScopedSequenceLock const & other);

   /// Ends.
   virtual ~DtScopedSequenceLock();

protected:
   /// Stores the two functions, either of which may be null, and their argument. Does not begin.
   DtScopedSequenceLock(void * data, void (*begin)(void *), void (*end)(void *));

private:
   void (*beginFunction)(void *);
   void (*endFunction)(void *);
   void * data;
};
