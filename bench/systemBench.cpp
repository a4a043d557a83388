// SPDX-License-Identifier: MIT
#include "bench/compare.h"
#include "tslutil/base/tslList.h"
#include "tslutil/thread/tslThreadedObject.h"
#include "tslutil/time/tslClock.h"

#include <boost/make_shared.hpp>

#include <chrono>
#include <ctime>
#include <iterator>
#include <list>
#include <pthread.h>
#include <thread>

namespace
{

/// Adding to a list that holds ten, and removing what was added.
void compareLists(Bench & bench)
{
   int value = 0;
   DtList ours;
   std::list<void *> theirs(10, &value);
   for (int i = 0; i < 10; ++i)
      ours.add(&value);
   bench.run([&] { ours.remove(ours.add(&value)); },
             [&]
             {
                theirs.push_back(&value);
                theirs.erase(std::prev(theirs.end()));
             });
}

void compareLocks(Bench & bench)
{
   DtMutex mutex;
   DtMutex * ours = &mutex;
   benchmark::DoNotOptimize(ours);
   pthread_mutexattr_t recursive;
   pthread_mutexattr_init(&recursive);
   pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
   pthread_mutex_t theirs;
   pthread_mutex_init(&theirs, &recursive);
   bench.run(
      [&]
      {
         ours->lock();
         ours->unlock();
      },
      [&]
      {
         pthread_mutex_lock(&theirs);
         pthread_mutex_unlock(&theirs);
      });
}

/// A reading of a clock through its slot, beside one of the system's clock.
template<class Reading>
void compareClock(Bench & bench, Reading read)
{
   DtClock clock;
   DtClock * ours = &clock;
   benchmark::DoNotOptimize(ours);
   bench.run([&] { benchmark::DoNotOptimize(read(*ours)); },
             []
             {
                timespec now;
                clock_gettime(CLOCK_MONOTONIC, &now);
                benchmark::DoNotOptimize(now);
             });
}

void compareApproximateTime(Bench & bench)
{
   compareClock(bench, [](DtClock const & clock) { return clock.approximateElapsedRealTime(); });
}

void compareAbsoluteTime(Bench & bench)
{
   compareClock(bench, [](DtClock const & clock) { return clock.absRealTime(); });
}

class Body : public DtRunnable
{
public:
   void run() override
   {
      while (!timeToStop())
         DtSleep(0.001);
   }
};

/// Ending a thread takes one look after 0.1 s, never two.
void compareEnds(Bench & bench)
{
   DtThreadedObject object(boost::make_shared<Body>());
   bench.blockSize = 1;
   bench.run(
      [&]
      {
         object.start();
         object.stop(true);
      },
      [] { std::this_thread::sleep_for(std::chrono::milliseconds(100)); });
}

bool const added =
   addComparison({"DtList, add and remove", "std::list", 0.35, 0.0}, compareLists) &&
   addComparison({"DtMutex, lock and unlock", "pthread, recursive", 1.35, 0.0}, compareLocks) &&
   addComparison({"DtClock, approximate time", "clock_gettime", 0.1, 0.0}, compareApproximateTime) &&
   addComparison({"DtClock, absolute time", "clock_gettime", 1.2, 0.0}, compareAbsoluteTime) &&
   addComparison({"DtThreadedObject, start and stop", "0.1 s", 1.05}, compareEnds);

} // namespace
