// SPDX-License-Identifier: MIT
#include "bench/compare.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace
{

constexpr int thePairs = 101;

std::atomic<std::size_t> theAllocations{0};

struct Row
{
   Comparison comparison;
   double seconds;
   double ratio;
   double allocations;

   double measured() const { return comparison.atLeast ? 1 / ratio : ratio; }
   bool isReached() const
   {
      bool const isFast = comparison.atLeast ? measured() >= comparison.goal : measured() <= comparison.goal;
      return isFast && (comparison.allocationGoal < 0 || allocations <= comparison.allocationGoal);
   }
};

std::vector<Row> & rows()
{
   static std::vector<Row> all;
   return all;
}

void printRow(Row const & row)
{
   Comparison const & comparison = row.comparison;
   char goal[32];
   std::snprintf(goal, sizeof goal, "%s %.2f", comparison.atLeast ? ">=" : "<=", comparison.goal);
   std::printf("%-44s %-32s %10.1f %8.3f %-9s %11.3f %7s\n", comparison.path.c_str(),
               comparison.yardstick.c_str(), row.seconds * 1e9, row.measured(), goal, row.allocations,
               row.isReached() ? "yes" : "NO");
}

/// The table takes the place of Google Benchmark's report.
class Silent : public benchmark::BenchmarkReporter
{
public:
   bool ReportContext(Context const &) override { return true; }
   void ReportRuns(std::vector<Run> const &) override {}
};

} // namespace

void * operator new(std::size_t size)
{
   theAllocations.fetch_add(1, std::memory_order_relaxed);
   if (void * const memory = std::malloc(size == 0 ? 1 : size))
      return memory;
   throw std::bad_alloc();
}

void operator delete(void * memory) noexcept
{
   std::free(memory);
}

void operator delete(void * memory, std::size_t) noexcept
{
   std::free(memory);
}

std::size_t Bench::allocations()
{
   return theAllocations.load(std::memory_order_relaxed);
}

double Bench::median(std::vector<double> values)
{
   auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
   std::nth_element(values.begin(), middle, values.end());
   return *middle;
}

bool addComparison(Comparison const & comparison, std::function<void(Bench &)> const & measure)
{
   auto const body = [=](benchmark::State & state)
   {
      Bench bench(state);
      measure(bench);
      rows().push_back({comparison, bench.seconds(), bench.ratio(), bench.allocationsPerCall()});
      printRow(rows().back());
      std::fflush(stdout);
   };
   benchmark::RegisterBenchmark(comparison.path.c_str(), body)->Iterations(thePairs)->UseManualTime();
   return true;
}

int main(int argc, char ** argv)
{
   benchmark::Initialize(&argc, argv);
   if (benchmark::ReportUnrecognizedArguments(argc, argv))
      return 2;
   std::printf("%-44s %-32s %10s %8s %-9s %11s %7s\n", "path", "compared with", "ns", "ratio", "goal",
               "allocations", "reached");
   Silent reporter;
   benchmark::RunSpecifiedBenchmarks(&reporter);
   auto const missed =
      std::count_if(rows().begin(), rows().end(), [](Row const & row) { return !row.isReached(); });
   std::printf("%zu comparisons, %zu goals missed\n", rows().size(), static_cast<std::size_t>(missed));
   return 0;
}
