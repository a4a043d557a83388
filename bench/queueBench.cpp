// SPDX-License-Identifier: MIT
// The queue of pointers beside what it is made of.
#include "bench/compare.h"

#include "tslutil/thread/tslLockfreeQueue.h"

#include <boost/lockfree/spsc_queue.hpp>

#include <cstddef>
#include <thread>

namespace
{

typedef boost::lockfree::spsc_queue<void *> BoostQueue;

constexpr unsigned int theCapacity = 1024;

void comparePairs(Bench & bench)
{
   DtLockfreeQueueImpl ours(theCapacity);
   BoostQueue theirs(theCapacity);
   void * value = &bench;
   bench.run(
      [&]
      {
         ours._push(value);
         ours._pop(value);
      },
      [&]
      {
         theirs.push(value);
         theirs.pop(value);
         benchmark::DoNotOptimize(value);
      });
}

/// Carries pointers from a thread of its own to the caller's.
template<class Push, class Pop>
void carry(Push push, Pop pop)
{
   constexpr std::size_t count = 200000;
   std::thread producer(
      [&]
      {
         int object = 0;
         for (std::size_t i = 0; i < count; ++i)
            while (!push(&object))
               std::this_thread::yield();
      });
   void * value = nullptr;
   for (std::size_t i = 0; i < count; ++i)
      while (!pop(value))
         std::this_thread::yield();
   producer.join();
}

void compareThreads(Bench & bench)
{
   DtLockfreeQueueImpl ours(theCapacity);
   BoostQueue theirs(theCapacity);
   bench.blockSize = 1;
   bench.run(
      [&]
      {
         carry([&](void * value) { return ours._push(value); },
               [&](void *& value) { return ours._pop(value) != 0; });
      },
      [&]
      {
         carry([&](void * value) { return theirs.push(value); },
               [&](void *& value) { return theirs.pop(value); });
      });
}

bool const added =
   addComparison({"DtLockfreeQueue, push and pop", "boost::lockfree", 3.15, 0}, comparePairs) &&
   addComparison({"DtLockfreeQueue, 200,000 between threads", "boost::lockfree", 0.8, -1, true},
                 compareThreads);

} // namespace
