// SPDX-License-Identifier: MIT
#include "tslutil/base/tslStringBuffer.h"

#include "tslutil/base/tslNetTypes.h"
#include "tslutil/base/tslString.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

namespace
{

using namespace std::string_literals;

TEST(DtStringBuffer, WritesEachFormAndNothingIfItDoesNotFit)
{
   std::string const forms[] = {"\0\0\0\3abc"s, "abc", "abc\0"s, "abc\0"s, "abc", "abc", "abc", ""};
   for (int number = -1; number < 8; ++number)
   {
      std::string const & bytes = forms[number < 0 ? 7 : number];
      DtStringEncodingType const type = DtStringEncodingType(number);
      int const size = static_cast<int>(bytes.size());
      std::string buffer(bytes.size() + 1, '#');
      EXPECT_EQ(DtStringToBuffer(type, &buffer[0], size - 1, "abc"), 0);
      EXPECT_EQ(buffer, std::string(bytes.size() + 1, '#'));
      EXPECT_EQ(DtStringToBuffer(type, &buffer[0], size, "abc"), size);
      EXPECT_EQ(buffer, bytes + "#");
      EXPECT_EQ(DtStringGetNetPadding(type), std::max(size - 3, 0));

      DtString read("before");
      bool const readable = number >= 0 && number < 6;
      EXPECT_EQ(DtStringFromBuffer(type, &read, bytes.c_str(), size), readable ? size : 0);
      EXPECT_STREQ(read, readable ? "abc" : "before");
   }
}

TEST(DtStringBuffer, ReadsDoubtfulBuffersAsTold)
{
   // Form, wide, bytes of which up to eight behind the size may be read, size; bytes used, text.
   std::tuple<int, bool, std::string, int, int, std::string> const rows[] = {
      // The bound of a counted string is that of the buffer with another count field.
      {0, false, "\0\0\0\6abcdef"s, 2, 10, "abcdef"},
      {0, false, "\0\0\0\7abcdefg"s, 2, 0, "before"},
      {0, false, "\xff\xff\xff\xff"s, 100, 0, "before"},
      {0, false, "\0\0\0\1a"s, -1, 0, "before"},
      // A wide string ends at a zero unit, and its count is used all the same.
      {0, true, "\0\0\0\4\0a\1b\0\0"s, 0, 12, "ab"},
      {0, true, "\x7f\xff\xff\xff\0\0"s, 0, 2, ""},
      {0, true, "\xff\xff\xff\xff"s, 0, 2, ""},
      // A terminated one may lack its NUL.
      {2, false, "abc"s, 2, 3, "ab"},
      {2, false, "a\0c"s, 3, 2, "a"},
      {3, false, "abc"s, 0, 7, "before"},
      {1, false, "abc"s, 2, 2, "ab"},
      {5, false, "abc"s, 0, 0, ""}};
   for (auto const & [type, wide, bytes, size, used, text] : rows)
   {
      DtString read("before");
      std::vector<char> const buffer(bytes.begin(), bytes.end());
      EXPECT_EQ(DtStringFromBuffer(DtStringEncodingType(type), &read, buffer.data(), size, wide), used)
         << bytes;
      EXPECT_EQ(read.stdString(), text) << bytes;
   }
}

TEST(DtStringBuffer, CountsFollowTheOrderingAndTheirLengthTheReader)
{
   char buffer[10] = "#########";
   DtString read;
   EXPECT_EQ(DtStringToBuffer(DtStringCounted, buffer, 7, "ab", true), 0);
   EXPECT_EQ(DtStringToBuffer(DtStringCounted, buffer, 8, "ab", true), 8);
   EXPECT_EQ(std::string(buffer, 9), "\0\0\0\2\0a\0b#"s);
   EXPECT_EQ(DtStringFromBuffer(DtStringCounted, &read, buffer, 8, true), 8);
   EXPECT_STREQ(read, "ab");
   DtSetNetworkByteOrdering(DtHostByteOrder);
   EXPECT_EQ(DtStringToBuffer(DtStringCounted, buffer, 6, "ab"), 6);
   EXPECT_EQ(std::string(buffer, 6), "\2\0\0\0ab"s);
   // The characters are written high byte first in either ordering, but not read so.
   EXPECT_EQ(DtStringToBuffer(DtStringCounted, buffer, 8, "ab", true), 8);
   EXPECT_EQ(std::string(buffer, 8), "\2\0\0\0\0a\0b"s);
   EXPECT_EQ(DtStringFromBuffer(DtStringCounted, &read, "\1\0\0\0c\0", 6, true), 6);
   EXPECT_STREQ(read, "c");
   DtSetNetworkByteOrdering(DtNetByteOrder);
   DtVariableArraySizeLength = 6;
   EXPECT_EQ(DtStringFromBuffer(DtStringCounted, &read, "\0\0\0\2##xy", 8), 8);
   EXPECT_STREQ(read, "xy");
   EXPECT_EQ(DtStringGetNetPadding(DtStringCounted), 6);
   DtVariableArraySizeLength = 4;
}

} // namespace
