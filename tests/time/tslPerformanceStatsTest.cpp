// SPDX-License-Identifier: MIT
#include "tslutil/time/tslPerformanceStats.h"
#include "tslutil/time/tslTimedSection.h"

#include "support/slots.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>
#include <utility>
#include <vector>

namespace
{

TEST(DtPerformanceStats, AveragesAWindowAndWhatWentBefore)
{
   struct Row
   {
      std::vector<std::pair<int, double>> samples; // how often, and which
      double average, minimum, maximum;
   } const rows[] = {
      {{{1, 4.0}, {2, -2.0}}, 0.0, -2.0, 4.0},
      {{{1000, 1.0}, {1, 3.0}}, 1003.0 / 1001.0, 1.0, 3.0},
      // At each further end of a window, the new half and the old count the same; the extremes are of all.
      {{{1000, 8.0}, {1000, 2.0}}, (8000.0 + 2000.0) / 2000.0, 2.0, 8.0},
      {{{1000, 8.0}, {1000, 2.0}, {1, 4.0}}, (5000.0 + 4.0) / 1001.0, 2.0, 8.0},
      {{{1000, 8.0}, {1000, 2.0}, {1000, 3.0}, {1, 1.0}}, (4000.0 + 1.0) / 1001.0, 1.0, 8.0},
   };
   DtPerformanceStats stats;
   DtPerformanceStats const & constant = stats;
   for (Row const & row : rows)
   {
      EXPECT_TRUE(std::isnan(constant.avg(4)));
      EXPECT_EQ(constant.last(4) + constant.minimum(4) + constant.maximum(4), 0.0);
      for (auto const & [often, sample] : row.samples)
         for (int i = 0; i < often; ++i)
            stats.addTime(4, sample);
      EXPECT_EQ(constant.avg(4), row.average);
      EXPECT_TRUE(constant.minimum(4) == row.minimum && constant.maximum(4) == row.maximum);
      EXPECT_TRUE(constant.last(4) == row.samples.back().second && constant.stats().size() == 5);
      stats.resetAllStats();
   }
   stats.stat(2).addTime(7.0);
   EXPECT_TRUE(constant.stat(6).last() == 0.0 && constant.last(2) == 7.0 && stats.stats().size() == 7);
}

TEST(DtTimedSection, MeasuresLapsFromTheLatestStart)
{
   EXPECT_TRUE(inSlotsFrom(0, &DtTimedSection::start, &DtTimedSection::stop, &DtTimedSection::duration,
                           &DtTimedLappingSection::lap, &DtTimedLappingSection::durationSegment,
                           &DtTimedLappingSection::getCurrentLap));
   auto const now = []
   { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); };
   DtTimedLappingSection section;
   EXPECT_EQ(section.duration(), 0.0);
   for (unsigned int index : {0u, 1u, ~0u})
      EXPECT_EQ(section.durationSegment(index), -1.0);
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
   EXPECT_EQ(section.getCurrentLap(), 2u);
   EXPECT_TRUE(section.durationSegment(0) < 0.0 && section.duration() < 0.0);
}

} // namespace
