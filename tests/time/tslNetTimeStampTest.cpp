// SPDX-License-Identifier: MIT
#include "tslutil/time/tslNetTimeStamp.h"

#include "support/tsv.h"

#include <cmath>

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
   for (Fields const & row : tableOf("dis/timestamps.tsv"))
   {
      auto const word = static_cast<unsigned>(std::stoul(row[0]));
      int const kind = std::stoi(row[2]);
      double const seconds = std::stod(row[3]);
      DtNetTimeStamp const stamp(seconds, DtTimeStampType(kind));
      EXPECT_TRUE(+stamp == word && inMemory(stamp) == std::stoul(row[1], nullptr, 16)) << word;
      DtNetU32 const received(word);
      DtNetTimeStamp read;
      std::memcpy(static_cast<void *>(&read), &received, sizeof read);
      EXPECT_TRUE(read.time() == seconds && read.type() == kind) << word;
   }
}

TEST(DtNetTimeStamp, DropsHoursCutsNegativeTimesKeepsTheTypeAndFollowsTheByteOrdering)
{
   for (Fields const & row : tableOf("time/timestamps.tsv"))
      for (unsigned const type : {0u, 1u})
      {
         DtNetTimeStamp stamp(0, DtTimeStampType(type));
         unsigned long const word = std::stoul(row[1], nullptr, 16);
         stamp.setTime(std::stod(row[0]));
         EXPECT_EQ(+stamp, word + type) << row[0];
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
