// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslMutex.h"

#include "support/slots.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

bool otherThreadGets(DtMutex & mutex)
{
   bool got = false;
   std::thread(
      [&]
      {
         got = mutex.tryLock();
         if (got)
            mutex.unlock();
      })
      .join();
   return got;
}

TEST(DtMutex, SlotOrder)
{
   EXPECT_EQ(slotOf(&DtMutex::lock), 2u);
   EXPECT_EQ(slotOf(&DtMutex::tryLock), 3u);
   EXPECT_EQ(slotOf(&DtMutex::unlock), 4u);
}

TEST(DtMutex, IsReleasedAfterAsManyUnlocksAsLocks)
{
   DtMutex mutex;
   mutex.lock();
   EXPECT_TRUE(mutex.tryLock());
   mutex.unlock();
   EXPECT_FALSE(otherThreadGets(mutex));
   mutex.unlock();
   EXPECT_TRUE(otherThreadGets(mutex));
}

/// Counts the calls that reach the mutex through its slots.
class CountingMutex : public DtMutex
{
public:
   void lock() override { ++locks; }
   void unlock() override { ++unlocks; }
   int locks = 0;
   int unlocks = 0;
};

TEST(DtScopedLock, LocksAndUnlocksOnceThroughTheSlots)
{
   CountingMutex mutex;
   {
      DtScopedLock guard(mutex, true);
      guard.lock();
      EXPECT_TRUE(guard.locked());
      EXPECT_EQ(static_cast<void const *>(guard), &guard);
      guard.unlock();
      EXPECT_EQ(static_cast<void const *>(guard), nullptr);
   }
   EXPECT_EQ(mutex.locks, 1);
   EXPECT_EQ(mutex.unlocks, 1);
   {
      DtScopedLock idle(mutex, false);
      EXPECT_FALSE(idle.locked());
   }
   EXPECT_EQ(mutex.locks, 1);
   EXPECT_EQ(mutex.unlocks, 1);
}

struct Calls
{
   int begins = 0;
   int ends = 0;
};

void begin(void * calls)
{
   ++static_cast<Calls *>(calls)->begins;
}

void end(void * calls)
{
   ++static_cast<Calls *>(calls)->ends;
}

class Sequence : public DtScopedSequenceLock
{
public:
   Sequence(Calls & calls, void (*first)(void *), void (*last)(void *))
      : DtScopedSequenceLock(&calls, first, last)
   {
   }
};

TEST(DtScopedSequenceLock, OnlyCopiesBeginAndAllEnd)
{
   Calls calls;
   {
      Sequence original(calls, begin, end);
      EXPECT_EQ(calls.begins, 0);
      DtScopedSequenceLock copy(original);
      EXPECT_EQ(calls.begins, 1);
   }
   EXPECT_EQ(calls.begins, 1);
   EXPECT_EQ(calls.ends, 2);
}

TEST(DtScopedSequenceLock, AssignmentRunsNothingAndTakesTheFunctions)
{
   Calls source;
   Calls target;
   {
      Sequence from(source, nullptr, end);
      Sequence to(target, begin, nullptr);
      static_cast<DtScopedSequenceLock &>(to) = from;
      DtScopedSequenceLock copy(from);
   }
   EXPECT_EQ(source.begins + target.begins + target.ends, 0);
   EXPECT_EQ(source.ends, 3);
}

} // namespace
