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

/// What writing a text into so many bytes gives: the result, and those bytes and the one behind them.
std::pair<int, std::string> written(DtStringEncodingType type, int size, char const * text, bool wide = false)
{
   std::string buffer(static_cast<std::size_t>(size) + 1, '#');
   int const result = DtStringToBuffer(type, &buffer[0], size, text, wide);
   return {result, buffer};
}

/// What reading gives: the result, and the text, "before" if it was left alone.
std::pair<int, std::string> read(DtStringEncodingType type, std::string const & bytes, int size,
                                 bool wide = false)
{
   DtString text("before");
   std::vector<char> const buffer(bytes.begin(), bytes.end());
   int const result = DtStringFromBuffer(type, &text, buffer.data(), size, wide);
   return {result, text.stdString()};
}

TEST(DtStringBuffer, WritesEachFormAndNothingIfItDoesNotFit)
{
   std::string const forms[] = {"\0\0\0\3abc"s, "abc", "abc\0"s, "abc\0"s, "abc", "abc", "abc", ""};
   for (int number = -1; number < 8; ++number)
   {
      std::string const & bytes = forms[number < 0 ? 7 : number];
      DtStringEncodingType const type = DtStringEncodingType(number);
      int const size = static_cast<int>(bytes.size());
      EXPECT_TRUE(size == 0 ||
                  written(type, size - 1, "abc") == std::pair(0, std::string(bytes.size(), '#')));
      EXPECT_EQ(written(type, size, "abc"), std::pair(size, bytes + "#"));
      EXPECT_EQ(DtStringGetNetPadding(type), std::max(size - 3, 0));
      bool const readable = number >= 0 && number < 6;
      EXPECT_EQ(read(type, bytes + '\0', size), readable ? std::pair(size, "abc"s) : std::pair(0, "before"s));
   }
   EXPECT_EQ(DtStringToBuffer(DtStringEncodingType(7), nullptr, -1, "abc"), 0);
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
      EXPECT_EQ(read(DtStringEncodingType(type), bytes, size, wide), std::pair(used, text)) << bytes;
}

TEST(DtStringBuffer, CountsFollowTheOrderingAndTheirLengthTheReader)
{
   EXPECT_EQ(written(DtStringCounted, 7, "ab", true), std::pair(0, "########"s));
   EXPECT_EQ(written(DtStringCounted, 8, "ab", true), std::pair(8, "\0\0\0\2\0a\0b#"s));
   EXPECT_EQ(read(DtStringCounted, "\0\0\0\2\0a\0b"s, 8, true), std::pair(8, "ab"s));
   DtSetNetworkByteOrdering(DtHostByteOrder);
   EXPECT_EQ(written(DtStringCounted, 6, "ab"), std::pair(6, "\2\0\0\0ab#"s));
   // The characters are written high byte first in either ordering, but not read so.
   EXPECT_EQ(written(DtStringCounted, 8, "ab", true), std::pair(8, "\2\0\0\0\0a\0b#"s));
   EXPECT_EQ(read(DtStringCounted, "\1\0\0\0c\0"s, 6, true), std::pair(6, "c"s));
   DtSetNetworkByteOrdering(DtNetByteOrder);
   DtVariableArraySizeLength = 6;
   EXPECT_EQ(read(DtStringCounted, "\0\0\0\2##xy"s, 8), std::pair(8, "xy"s));
   EXPECT_EQ(DtStringGetNetPadding(DtStringCounted), 6);
   DtVariableArraySizeLength = 4;
}

} // namespace
