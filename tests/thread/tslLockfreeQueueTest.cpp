// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslLockfreeQueue.h"

#include "support/allocations.h"

#include <gtest/gtest.h>

#include <new>
#include <thread>
#include <vector>

namespace
{

TEST(DtLockfreeQueue, HoldsItsCapacityForAllHandlesWithoutAllocating)
{
   char bytes[1000];
   for (unsigned int capacity : {0u, 1u, 2u, 1000u})
   {
      DtLockfreeQueueImpl queue(capacity), other(1);
      // Only one handle of a queue is destroyed.
      alignas(DtLockfreeQueueImpl) unsigned char memory[sizeof(DtLockfreeQueueImpl)];
      DtLockfreeQueueImpl & handle = *new (memory) DtLockfreeQueueImpl(other);
      handle = queue;
      AllocationCount const use;
      for (int round = 0; round < 3; ++round)
      {
         void * value = &other;
         bool right = queue._empty();
         for (unsigned int i = 0; i < capacity; ++i)
            right &= queue._push(bytes + i);
         right &= !handle._push(&other) && handle._empty() == (capacity == 0);
         for (unsigned int i = 0; i < capacity; ++i)
            right &= handle._pop(value) == 1 && value == bytes + i;
         right &= queue._pop(value) == 0;
         EXPECT_TRUE(right && value == (capacity == 0 ? static_cast<void *>(&other) : bytes + capacity - 1));
      }
      EXPECT_TRUE(queue._push(bytes) == (capacity > 0) && use.here() == 0);
   }
}

TEST(DtLockfreeQueue, CarriesPointersBetweenTwoThreadsInOrder)
{
   // What a pointer refers to is written ahead of the push and read behind the pop.
   std::vector<std::size_t> objects(50000);
   DtLockfreeQueueImpl queue(1000);
   auto const produce = [&]
   {
      for (std::size_t i = 0; i < objects.size(); ++i)
         for (objects[i] = i; !queue._push(&objects[i]);)
            std::this_thread::yield();
   };
   std::thread producer(produce);
   std::size_t inOrder = 0;
   for (std::size_t & object : objects)
   {
      void * value = nullptr;
      while (queue._pop(value) == 0)
         std::this_thread::yield();
      inOrder += value == &object && *static_cast<std::size_t *>(value) == inOrder;
   }
   producer.join();
   EXPECT_TRUE(inOrder == objects.size() && queue._empty());
}

} // namespace
