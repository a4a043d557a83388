// SPDX-License-Identifier: MIT
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/// What the library's way is held against. A file adds its comparisons when the program is loaded:
///
///    bool const added = addComparison({"DtString of 10 characters", "std::string", 1.0, 0},
///                                     [](Bench & bench)
///                                     {
///                                        bench.run([] { benchmark::DoNotOptimize(DtString("0123456789")); },
///                                                  [] { benchmark::DoNotOptimize(std::string("0123456789"));
///                                                  });
///                                     });
struct Comparison
{
   std::string path;
   std::string yardstick;
   /// The time of the path over that of the yardstick is to be this at most, or with `atLeast` the inverse,
   /// how many times as fast the path is, this at least.
   double goal;
   /// Memory allocations per call, at most; negative if they don't count.
   double allocationGoal = -1;
   bool atLeast = false;
};

/// One comparison's measuring. Blocks of both alternate in one process, and the median of the pairs counts:
/// whatever slows the machine down meets both.
class Bench
{
public:
   explicit Bench(benchmark::State & state) : myState(state) {}

   /// How many calls a block has; 0, as at first, for as many as take about two milliseconds. What prepares a
   /// block, such as sending what is to be received, runs before its time is taken and is told that number.
   std::size_t blockSize = 0;
   std::function<void(std::size_t)> prepare;

   /// Measures. Both are called without arguments, as often.
   template<class Ours, class Theirs>
   void run(Ours ours, Theirs theirs)
   {
      if (blockSize == 0)
         calibrate(theirs);
      block(ours);
      block(theirs);
      for (auto _ : myState)
      {
         (void)_;
         double const first = block(ours);
         myAllocations += myBlockAllocations;
         double const second = block(theirs);
         myState.SetIterationTime(first);
         ourTimes.push_back(first / static_cast<double>(blockSize));
         ratios.push_back(first / second);
      }
   }

   /// Measures by `pair`, which runs both once and answers the seconds of ours and of theirs, by any clock.
   template<class Pair>
   void runPairs(Pair pair)
   {
      blockSize = 1;
      for (auto _ : myState)
      {
         (void)_;
         auto const [ours, theirs] = pair();
         myState.SetIterationTime(ours);
         ourTimes.push_back(ours);
         ratios.push_back(ours / theirs);
      }
   }

   /// The medians: seconds a call, and ours over theirs.
   double seconds() const { return median(ourTimes); }
   double ratio() const { return median(ratios); }
   double allocationsPerCall() const
   {
      return static_cast<double>(myAllocations) / static_cast<double>(ratios.size() * blockSize);
   }

private:
   /// Allocations of this program so far, on all threads.
   static std::size_t allocations();
   static double median(std::vector<double> values);

   /// The seconds that a block takes; its allocations are counted.
   template<class Body>
   double block(Body & body)
   {
      if (prepare)
         prepare(blockSize);
      std::size_t const before = allocations();
      auto const begin = std::chrono::steady_clock::now();
      for (std::size_t i = 0; i < blockSize; ++i)
         body();
      auto const end = std::chrono::steady_clock::now();
      myBlockAllocations = allocations() - before;
      return std::chrono::duration<double>(end - begin).count();
   }

   template<class Body>
   void calibrate(Body & body)
   {
      for (blockSize = 1; block(body) < 0.002; blockSize *= 2)
         continue;
   }

   benchmark::State & myState;
   std::vector<double> ourTimes;
   std::vector<double> ratios;
   std::size_t myBlockAllocations = 0;
   std::size_t myAllocations = 0;
};

/// Adds a comparison to the table. Always true, so that it may initialise a variable.
bool addComparison(Comparison const & comparison, std::function<void(Bench &)> const & measure);
