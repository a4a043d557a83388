// SPDX-License-Identifier: MIT
#include "tslutil/base/tslStringBuffer.h"

#include "tslutil/base/tslNetTypes.h"
#include "tslutil/base/tslString.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

using namespace std::string_literals;

TEST(DtStringBuffer, WritesEachFormAndNothingIfItDoesNotFit)
{
   struct
   {
      int type;
      bool wide;
      std::string bytes;
      int padding;
   } const rows[] = {{0, false, "\0\0\0\3abc"s, 4},
                     {0, true, "\0\0\0\3\0a\0b\0c"s, 4},
                     {1, false, "abc", 0},
                     {2, false, "abc\0"s, 1},
                     {3, true, "abc\0"s, 1},
                     {4, false, "abc", 0},
                     {5, false, "abc", 0},
                     {6, false, "abc", 0},
                     {7, false, "", 0},
                     {-1, false, "", 0}};
   for (auto const & row : rows)
   {
      DtStringEncodingType const type = DtStringEncodingType(row.type);
      int const size = static_cast<int>(row.bytes.size());
      std::vector<char> buffer(row.bytes.size() + 1, '#');
      EXPECT_EQ(DtStringToBuffer(type, buffer.data(), size, "abc", row.wide), size);
      EXPECT_EQ(std::string(buffer.data(), row.bytes.size()), row.bytes);
      EXPECT_EQ(buffer.back(), '#');
      std::fill(buffer.begin(), buffer.end(), '#');
      EXPECT_EQ(DtStringToBuffer(type, buffer.data(), size - 1, "abc", row.wide), 0);
      EXPECT_EQ(std::string(buffer.data(), buffer.size()), std::string(buffer.size(), '#'));
      EXPECT_EQ(DtStringGetNetPadding(type), row.padding);

      DtString read("before");
      bool const readable = row.type >= 0 && row.type < 6;
      EXPECT_EQ(DtStringFromBuffer(type, &read, row.bytes.c_str(), size, row.wide), readable ? size : 0);
      EXPECT_STREQ(read, readable ? "abc" : "before");
   }
}

TEST(DtStringBuffer, ReadsDoubtfulBuffersAsTold)
{
   struct
   {
      int type;
      bool wide;
      std::string bytes; // Four bytes of slack behind the size may be read.
      int size;
      int used;
      std::string text;
   } const rows[] = {
      // The bound of a counted string is that of the buffer with another count field.
      {0, false, "\0\0\0\6abcdef"s, 2, 10, "abcdef"},
      {0, false, "\0\0\0\7abcdefg"s, 2, 0, "before"},
      {0, false, "\xff\xff\xff\xff"s, 100, 0, "before"},
      {0, false, "\0\0\0\1a"s, -1, 0, "before"},
      // A wide string ends at a zero unit, and its count is used all the same.
      {0, true, "\0\0\0\4\0a\1b\0\0"s, 0, 12, "ab"},
      {0, true, "\x7f\xff\xff\xff\0\0"s, 0, 2, ""},
      {0, true, "\xff\xff\xff\xff"s, 0, 2, ""},
      {2, false, "abc"s, 2, 3, "ab"},
      {2, false, "a\0c"s, 3, 2, "a"},
      {3, false, "abc"s, 0, 7, "before"},
      {1, false, "abc"s, 2, 2, "ab"},
      {5, false, "abc"s, 0, 0, ""},
   };
   for (auto const & row : rows)
   {
      DtString read("before");
      std::vector<char> const bytes(row.bytes.begin(), row.bytes.end());
      EXPECT_EQ(DtStringFromBuffer(DtStringEncodingType(row.type), &read, bytes.data(), row.size, row.wide),
                row.used)
         << row.bytes;
      EXPECT_EQ(read.stdString(), row.text) << row.bytes;
   }
}

TEST(DtStringBuffer, CountsFollowTheOrderingAndTheirLengthTheReader)
{
   DtSetNetworkByteOrdering(DtHostByteOrder);
   char buffer[10] = {};
   DtString read;
   EXPECT_EQ(DtStringToBuffer(DtStringCounted, buffer, 6, "ab"), 6);
   EXPECT_EQ(std::string(buffer, 6), "\2\0\0\0ab"s);
   // The characters are written high byte first in either ordering, but not read so.
   EXPECT_EQ(DtStringToBuffer(DtStringCounted, buffer, 8, "ab", true), 8);
   EXPECT_EQ(std::string(buffer, 8), "\2\0\0\0\0a\0b"s);
   EXPECT_EQ(DtStringFromBuffer(DtStringCounted, &read, "\1\0\0\0a\0", 6, true), 6);
   EXPECT_STREQ(read, "a");
   DtSetNetworkByteOrdering(DtNetByteOrder);
   DtVariableArraySizeLength = 6;
   EXPECT_EQ(DtStringFromBuffer(DtStringCounted, &read, "\0\0\0\2##xy", 8), 8);
   EXPECT_STREQ(read, "xy");
   EXPECT_EQ(DtStringGetNetPadding(DtStringCounted), 6);
   DtVariableArraySizeLength = 4;
}

} // namespace
