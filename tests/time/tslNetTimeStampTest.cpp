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
   std::string line;
   std::getline(rows, line);
   unsigned long word;
   int kind, count = 0;
   double seconds;
   for (std::string bytes; rows >> word >> bytes >> kind >> seconds; ++count)
   {
      DtNetTimeStamp const stamp(seconds, DtTimeStampType(kind));
      EXPECT_EQ(static_cast<unsigned long>(stamp), word);
      EXPECT_EQ(inMemory(stamp), std::stoul(bytes, nullptr, 16));
      DtNetU32 const received(static_cast<std::uint32_t>(word));
      DtNetTimeStamp read;
      std::memcpy(static_cast<void *>(&read), &received, sizeof read);
      EXPECT_EQ(read.time(), seconds) << word;
      EXPECT_EQ(read.type(), kind) << word;
   }
   EXPECT_EQ(count, 1363);
}

TEST(DtNetTimeStamp, DropsHoursCutsNegativeTimesAndKeepsTheType)
{
   double const nan = std::nan(""), infinite = std::numeric_limits<double>::infinity();
   struct Row
   {
      double seconds;
      unsigned long word;
   } const rows[] = {{1800.0, 0x80000000},
                     {0.0, 0},
                     {3600.0, 0},
                     {-3600.0, 0},
                     {-1800.0, 0x80000000},
                     {-900.0, 0xC0000000},
                     {-4500.0, 0xC0000000},
                     {900.0, 0x40000000},
                     {1e-6, 0},
                     {-1e-6, 0},
                     {-2e-6, 0xFFFFFFFE},
                     {1800.0 + 3600e9, 0x80000000},
                     {nan, 0},
                     {infinite, 0},
                     {-infinite, 0},
                     {1e300, 0}};
   for (Row const & row : rows)
      for (int const type : {0, 1})
      {
         DtNetTimeStamp stamp(0, DtTimeStampType(type));
         stamp.setTime(row.seconds);
         EXPECT_EQ(static_cast<unsigned long>(stamp), row.word + static_cast<unsigned>(type)) << row.seconds;
         EXPECT_EQ(stamp.type(), type);
         stamp.setType(DtTimeStampType(2)); // neither of the two: relative
         EXPECT_EQ(static_cast<unsigned long>(stamp), row.word);
      }
   EXPECT_EQ(static_cast<unsigned long>(DtNetTimeStamp(3661.5, DtTimeStampAbsolute)),
             static_cast<unsigned long>(DtNetTimeStamp(61.5, DtTimeStampAbsolute)));
   for (double seconds = 0; seconds < 7200; seconds += 1.37)
   {
      double const lost = std::fmod(seconds, 3600.0) - DtNetTimeStamp(seconds, DtTimeStampRelative).time();
      EXPECT_TRUE(lost > -1e-9 && lost < 1.68e-6) << seconds;
   }
}

TEST(DtNetTimeStamp, FollowsTheByteOrdering)
{
   DtNetTimeStamp const stamp(1800.0, DtTimeStampAbsolute);
   EXPECT_EQ(inMemory(stamp), 0x80000001u);
   DtSetNetworkByteOrdering(DtHostByteOrder);
   EXPECT_EQ(static_cast<unsigned long>(stamp), 0x01000080u);
   EXPECT_EQ(inMemory(DtNetTimeStamp(1800.0, DtTimeStampAbsolute)), 0x01000080u);
   DtSetNetworkByteOrdering(DtNetByteOrder);
   EXPECT_EQ(static_cast<unsigned long>(DtNetTimeStamp()), 0u);
}

} // namespace
