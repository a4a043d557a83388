// SPDX-License-Identifier: MIT
#include "tslutil/base/tslString.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <memory>
#include <sstream>

namespace
{

TEST(DtStringStreams, ReadWordsAndQuotedText)
{
   std::string const longWord(300, 'w');
   std::string const rows[][3] = {{"  one two", "one", " two"},
                                  {"\"one\" two", "one", " two"},
                                  {"\"a  b\t\n c\" d", "a b c", " d"},
                                  {"\"a b \" c", "a b ", " c"},
                                  {"\" a\" c", "", " a\" c"},
                                  {"a\"b c", "a\"b", " c"},
                                  {"\"a b", "a b", ""},
                                  {"\"a", "a", ""},
                                  {"", "", ""},
                                  {longWord, longWord.substr(45), longWord.substr(255)}};
   for (auto const & [input, expected, rest] : rows)
   {
      std::istringstream in(input);
      DtString text("before");
      in >> text;
      EXPECT_EQ(text.stdString(), expected) << input;
      in.clear();
      EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), rest) << input;
   }
   std::ostringstream out;
   out << std::setw(4) << DtString("ab") << DtString();
   EXPECT_EQ(out.str(), "  ab");
}

/// Assigns in capitals and appends with a mark.
struct Loud : DtString
{
   DtString & operator=(char const * text) override { return DtString::operator=(text), toUpper(), *this; }
   DtString & operator+=(char const * text) override
   {
      return DtString::operator+=(text), DtString::operator+=("!");
   }
};

TEST(DtStringStreams, ReadThroughTheSlots)
{
   std::istringstream in("\"a b\"");
   Loud text;
   in >> text;
   EXPECT_STREQ(text, "A !b!");
}

TEST(DtStringHelpers, ChangeTheFirstCharacter)
{
   std::array<char const *, 4> const rows[] = {{"ABc", "aBc", "ABc", "ABc"}, {"A1", "a1", "A1", "A1"},
                                               {"aB", "aB", "AB", "aB"},     {"Abc", "abc", "Abc", "abc"},
                                               {"A", "a", "A", "a"},         {"", "", "", ""}};
   for (auto const & [text, lower, upper, conditional] : rows)
   {
      EXPECT_STREQ(DtFirstCharToLower(text), lower);
      EXPECT_STREQ(DtFirstCharToUpper(text), upper);
      EXPECT_STREQ(DtFirstCharToLowerConditional(text), conditional);
   }
}

TEST(DtStringHelpers, ReplaceSubstrings)
{
   EXPECT_TRUE(DtContainsSubstring("abc", "bc") && DtContainsSubstring("abc", "") &&
               !DtContainsSubstring("abc", "x"));
   EXPECT_STREQ(DtReplaceSubstring("a-b-c", "-", "==") + DtReplaceSubstring(" abc", "", "x") +
                   DtReplaceSubstring(" abc", "x", "y") + DtReplaceAllSubstrings(" a-b-c", "-", "=="),
                "a==b-cx abc abc a==b==c");
   // From the front again after each: what arises is replaced as well.
   EXPECT_STREQ(DtReplaceAllSubstrings("aabb", "ab", ""), "");
   EXPECT_EQ(DtReplaceAllSubstrings(std::string(400, '-'), "-", "abc").size(), 1200);
   DtString const text("x" + std::string(510, 'a'));
   EXPECT_EQ(DtReplaceSubstring(text, "x", "y").size(), 511);
   EXPECT_EQ(DtReplaceSubstring(text + "more", "z", "y").size(), 515);
   EXPECT_EXIT(DtReplaceSubstring(text, "x", "yz"), testing::KilledBySignal(SIGABRT), "DtReplaceSubstring: ");
}

TEST(DtStringHelpers, CopyAndChangePlainText)
{
   EXPECT_EQ(DtStrdup(nullptr), nullptr);
   std::unique_ptr<char[]> const copy(DtStrdup("@AZ[`az{\xC4\xE4"));
   EXPECT_EQ(DtToLower(copy.get()), copy.get());
   EXPECT_STREQ(copy.get(), "@az[`az{\xC4\xE4");
   EXPECT_EQ(DtToUpper(copy.get()), copy.get());
   EXPECT_STREQ(copy.get(), "@AZ[`AZ{\xC4\xE4");
   EXPECT_EQ(DtToLower(nullptr), nullptr);
}

TEST(DtStringHelpers, ResizeInStepsOfFourAndZeroWhatIsNew)
{
   char * buffer = nullptr;
   int size = 99;
   EXPECT_TRUE(DtResizeString(buffer, size, 4) == 0 && size == 8);
   // More memory than it tells of, none of it zero.
   char * const before = buffer = static_cast<char *>(std::memset(std::realloc(buffer, 64), '#', 64));
   EXPECT_EQ(DtResizeString(buffer, size, 7), 0);
   for (int wanted : {-1, INT_MIN, INT_MAX - 1, INT_MAX})
      EXPECT_EQ(DtResizeString(buffer, size, wanted), -1);
   EXPECT_TRUE(buffer == before && size == 8);
   EXPECT_EQ(DtResizeString(buffer, size, 8), 0);
   EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(size)), std::string("########\0\0\0\0", 12));
   std::free(buffer);
}

} // namespace
