// SPDX-License-Identifier: MIT
#include "tslutil/base/tslStringPattern.h"

#include "support/slots.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{

TEST(DtStringPatternMatch, SlotOrder)
{
   typedef DtStringPatternMatch P;
   EXPECT_TRUE(inSlotsFrom(0, &P::setPattern, &P::pattern, &P::setString, &P::string, &P::indexOfOccurence));
}

TEST(DtStringPatternMatch, FindsTheFirstOccurrenceFromAnyStartAndTakesAPatternOnlyBehindAText)
{
   DtStringPatternMatch match;
   match.setPattern("b");
   EXPECT_TRUE(match.pattern().isEmpty());
   // A null pattern is not set; below 0 the byte under the pattern's end must lie in the text.
   std::tuple<char const *, char const *, int, int> const rows[] = {
      {"", nullptr, 0, -2},        {"abc", nullptr, 0, -2},  {"abc", "b", 0, 1},
      {"xxxb", nullptr, 0, 3},     {"xxxb", nullptr, 3, 3},  {"xxxb", nullptr, 4, -1},
      {"xxxb", nullptr, 5, -1},    {"b", nullptr, -1, -1},   {"abaabab", "abab", 0, 3},
      {"abaabab", nullptr, -3, 3}, {"abab", nullptr, -3, 0}, {"abab", nullptr, -4, -1},
      {"abab", nullptr, 1, -1},    {"xxxxba", "ba", 4, 4},   {"xxxb", "", 0, -2}};
   for (auto const & [text, pattern, start, index] : rows)
   {
      match.setString(text);
      if (pattern != nullptr)
         match.setPattern(pattern);
      EXPECT_EQ(match.indexOfOccurence(start), index) << text << start;
   }
   DtStringPatternMatch textless("", "b");
   textless.setString("ab");
   EXPECT_EQ(textless.indexOfOccurence(0), 1);
}

struct Table : DtStringPatternMatch
{
   using DtStringPatternMatch::DtStringPatternMatch;

   std::string entries(std::string const & letters) const
   {
      std::string text;
      for (char letter : letters)
         text += std::to_string(mySkipTable[int{letter}]) + ' ';
      return text;
   }
};

TEST(DtStringPatternMatch, KeepsASkipTableOfItsOwn)
{
   Table match("text", "abcab");
   Table copy(match);
   match.setPattern("xy");
   EXPECT_EQ(match.entries("axy"), "2 1 -2 ");
   EXPECT_EQ(copy.entries("abcx"), "1 -3 2 5 ");
   copy = match;
   match.setPattern("a");
   EXPECT_EQ(copy.entries("axy"), "2 1 -2 ");
}

} // namespace
