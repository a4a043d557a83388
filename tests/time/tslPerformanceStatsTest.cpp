// SPDX-License-Identifier: MIT
#include "tslutil/time/tslPerformanceStats.h"
#include "tslutil/time/tslTimedSection.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

namespace
{

TEST(DtPerformanceStats, AveragesAWindowAndWhatWentBefore)
{
   DtPerformanceStats stats;
   DtPerformanceStats const & constant = stats;
   // clang-format off
   // How often comes which sample. At each further end of a window, the new half and the old count the same; the
   // extremes are of all.
   struct { std::vector<std::pair<int, double>> samples; double average, minimum, maximum; } const rows[] = {
      {{{1, 4.0}, {2, -2.0}}, 0.0, -2.0, 4.0}, {{{1000, 1.0}, {1, 3.0}}, 1003.0 / 1001.0, 1.0, 3.0},
      {{{1000, 8.0}, {1000, 2.0}}, (8000.0 + 2000.0) / 2000.0, 2.0, 8.0},
      {{{1000, 8.0}, {1000, 2.0}, {1, 4.0}}, (5000.0 + 4.0) / 1001.0, 2.0, 8.0},
      {{{1000, 8.0}, {1000, 2.0}, {1000, 3.0}, {1, 1.0}}, (4000.0 + 1.0) / 1001.0, 1.0, 8.0}};
   // clang-format on
   for (auto const & [samples, average, minimum, maximum] : rows)
   {
      EXPECT_TRUE(std::isnan(constant.avg(4)));
      EXPECT_EQ(constant.last(4) + constant.minimum(4) + constant.maximum(4), 0.0);
      for (auto const & [often, sample] : samples)
         for (int i = 0; i < often; ++i)
            stats.addTime(4, sample);
      EXPECT_EQ(constant.avg(4), average);
      EXPECT_TRUE(constant.minimum(4) == minimum && constant.maximum(4) == maximum &&
                  constant.last(4) == samples.back().second && constant.stats().size() == 5);
      stats.resetAllStats();
   }
   stats.stat(2).addTime(7.0);
   EXPECT_TRUE(constant.stat(5).last() == 0.0 && constant.last(2) == 7.0 && stats.stats().size() == 6);
}

TEST(DtTimedSection, MeasuresLapsFromTheLatestStart)
{
   auto const now = []
   { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); };
   DtTimedLappingSection section;
   EXPECT_TRUE(section.duration() == 0.0 && section.durationSegment(0) == -1.0 &&
               section.durationSegment(~0u) == -1.0);
   double const beforeStart = now();
   section.start();
   double const afterStart = now();
   std::this_thread::sleep_for(std::chrono::milliseconds(5));
   section.lap();
   double const betweenLaps = now();
   section.lap();
   section.stop();
   EXPECT_GE(section.durationSegment(0), 0.005);
   EXPECT_GE(section.durationSegment(1), betweenLaps - afterStart - 1e-6);
   EXPECT_GE(section.duration(), section.durationSegment(1));
   EXPECT_LE(section.duration(), now() - beforeStart + 1e-6);
   // Laps stay, and are measured from the new start, which lies behind them.
   section.start();
   EXPECT_TRUE(section.getCurrentLap() == 2 && section.durationSegment(2) == -1.0 &&
               section.durationSegment(0) < 0.0 && section.duration() < 0.0);
}

} // namespace
