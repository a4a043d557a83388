// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslMutex.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

TEST(DtMutex, IsReleasedAfterAsManyUnlocksAsLocks)
{
   DtMutex mutex;
   mutex.lock();
   EXPECT_TRUE(mutex.tryLock());
   mutex.unlock();
   std::thread([&] { EXPECT_FALSE(mutex.tryLock()); }).join();
   mutex.unlock();
   std::thread([&] { EXPECT_TRUE(mutex.tryLock()), mutex.unlock(); }).join();
}

/// Counts the calls that reach the mutex through its slots.
struct CountingMutex : DtMutex
{
   void lock() override { ++locks; }
   void unlock() override { ++unlocks; }
   int locks = 0, unlocks = 0;
};

TEST(DtScopedLock, LocksAndUnlocksOnceThroughTheSlots)
{
   CountingMutex mutex;
   {
      DtScopedLock guard(mutex, true);
      guard.lock();
      EXPECT_TRUE(guard.locked() && static_cast<void const *>(guard) == &guard);
      guard.unlock();
      EXPECT_EQ(static_cast<void const *>(guard), nullptr);
      EXPECT_FALSE(DtScopedLock(mutex, false).locked());
   }
   EXPECT_TRUE(mutex.locks == 1 && mutex.unlocks == 1);
   DtScopedLock(mutex, true).lock();
   EXPECT_TRUE(mutex.locks == 2 && mutex.unlocks == 2);
}

/// Its data are two counts, of the beginnings and of the ends.
struct Sequence : DtScopedSequenceLock
{
   typedef void (*Call)(void *);
   Sequence(int * counts, Call first, Call last) : DtScopedSequenceLock(counts, first, last) {}
   static void begin(void * counts) { ++static_cast<int *>(counts)[0]; }
   static void end(void * counts) { ++static_cast<int *>(counts)[1]; }
};

TEST(DtScopedSequenceLock, OnlyCopiesBeginAndAllEnd)
{
   int calls[2] = {}, others[2] = {};
   {
      Sequence const original(calls, Sequence::begin, Sequence::end);
      EXPECT_EQ(calls[0], 0);
      DtScopedSequenceLock const copy(original);
      EXPECT_EQ(calls[0], 1);
      Sequence const source(others, nullptr, Sequence::end);
      Sequence target(calls, Sequence::begin, nullptr);
      static_cast<DtScopedSequenceLock &>(target) = source;
      DtScopedSequenceLock const withoutBegin(source);
   }
   EXPECT_TRUE(calls[0] == 1 && calls[1] == 2 && others[1] == 3);
}

} // namespace
