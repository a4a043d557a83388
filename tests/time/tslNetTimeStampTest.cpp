// SPDX-License-Identifier: MIT
#include "tslutil/time/tslNetTimeStamp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <string>

namespace
{

/// The bytes in memory, first one first.
unsigned long inMemory(DtNetTimeStamp const & stamp)
{
   unsigned char bytes[4];
   std::memcpy(bytes, &stamp, sizeof bytes);
   return (bytes[0] * 256ul + bytes[1]) * 65536ul + bytes[2] * 256ul + bytes[3];
}

TEST(DtNetTimeStamp, ReadsAndWritesRecordedWords)
{
   std::ifstream rows(TEST_DATA_DIR "/dis/timestamps.tsv");
   std::string bytes;
   std::getline(rows, bytes);
   unsigned word, count = 0;
   int kind;
   for (double seconds; rows >> word >> bytes >> kind >> seconds; ++count)
   {
      DtNetTimeStamp const stamp(seconds, DtTimeStampType(kind));
      EXPECT_TRUE(+stamp == word && inMemory(stamp) == std::stoul(bytes, nullptr, 16)) << word;
      DtNetU32 const received(word);
      DtNetTimeStamp read;
      std::memcpy(static_cast<void *>(&read), &received, sizeof read);
      EXPECT_TRUE(read.time() == seconds && read.type() == kind) << word;
   }
   EXPECT_EQ(count, 1363u);
}

TEST(DtNetTimeStamp, DropsHoursCutsNegativeTimesKeepsTheTypeAndFollowsTheByteOrdering)
{
   double const infinite = std::numeric_limits<double>::infinity();
   // clang-format off
   std::pair<double, unsigned long> const rows[] = {
      {1800.0, 0x80000000}, {0.0, 0}, {3600.0, 0}, {-3600.0, 0}, {900.0, 0x40000000}, {-1800.0, 0x80000000},
      {-900.0, 0xC0000000}, {-4500.0, 0xC0000000}, {1e-6, 0}, {-1e-6, 0}, {-2e-6, 0xFFFFFFFE},
      {1800.0 + 3600e9, 0x80000000}, {std::nan(""), 0}, {infinite, 0}, {-infinite, 0}, {1e300, 0},
      {3661.5, DtNetTimeStamp(61.5, DtTimeStampRelative)}};
   // clang-format on
   for (auto const & [seconds, word] : rows)
      for (unsigned const type : {0u, 1u})
      {
         DtNetTimeStamp stamp(0, DtTimeStampType(type));
         stamp.setTime(seconds);
         EXPECT_EQ(+stamp, word + type) << seconds;
         stamp.setType(DtTimeStampType(2)); // neither of the two: relative
         EXPECT_EQ(+stamp, word);
      }
   for (double seconds = 0; seconds < 7200; seconds += 1.37)
   {
      double const lost = std::fmod(seconds, 3600.0) - DtNetTimeStamp(seconds, DtTimeStampRelative).time();
      EXPECT_TRUE(lost > -1e-9 && lost < 1.68e-6) << seconds;
   }
   DtNetTimeStamp const stamp(1800.0, DtTimeStampAbsolute);
   DtSetNetworkByteOrdering(DtHostByteOrder);
   EXPECT_EQ(+stamp, 0x01000080u);
   EXPECT_EQ(inMemory(DtNetTimeStamp(1800.0, DtTimeStampAbsolute)), 0x01000080u);
   DtSetNetworkByteOrdering(DtNetByteOrder);
}

} // namespace
