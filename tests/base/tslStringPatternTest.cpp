// SPDX-License-Identifier: MIT
#include "tslutil/base/tslStringPattern.h"

#include "support/slots.h"

#include <gtest/gtest.h>

#include <random>

namespace
{

TEST(DtStringPatternMatch, SlotOrder)
{
   typedef DtStringPatternMatch P;
   std::size_t const slots[] = {slotOf(&P::setPattern), slotOf(&P::pattern), slotOf(&P::setString),
                                slotOf(&P::string), slotOf(&P::indexOfOccurence)};
   for (std::size_t i = 0; i < std::size(slots); ++i)
      EXPECT_EQ(slots[i], i);
}

TEST(DtStringPatternMatch, FindsTheFirstOccurrenceFromAnyStart)
{
   std::mt19937 random(1);
   for (int round = 0; round < 300; ++round)
   {
      std::string text(1 + random() % 40, 'a');
      std::string pattern(1 + random() % 4, 'a');
      for (char & c : text)
         c = static_cast<char>('a' + random() % 2);
      for (char & c : pattern)
         c = static_cast<char>('a' + random() % 2);
      DtStringPatternMatch const match{DtString(text), DtString(pattern)};
      for (int start = -6; start < static_cast<int>(text.size()) + 3; ++start)
      {
         std::size_t const found = text.find(pattern, static_cast<std::size_t>(std::max(start, 0)));
         // Below 0 the first probe is the byte under the pattern's end: it must lie in the text.
         bool const probes = start - 1 + static_cast<int>(pattern.size()) >= 0;
         ASSERT_EQ(match.indexOfOccurence(start),
                   probes && found != std::string::npos ? static_cast<int>(found) : -1)
            << text << " " << pattern << " " << start;
      }
   }
}

TEST(DtStringPatternMatch, TakesAPatternOnlyBehindAText)
{
   DtStringPatternMatch match;
   EXPECT_EQ(match.indexOfOccurence(0), -2);
   match.setPattern("b");
   EXPECT_TRUE(match.pattern().isEmpty());
   match.setString("abc");
   EXPECT_EQ(match.indexOfOccurence(0), -2);
   match.setPattern("b");
   EXPECT_EQ(match.indexOfOccurence(0), 1);
   match.setString("xxxb");
   EXPECT_EQ(match.indexOfOccurence(0), 3);
   match.setPattern("");
   EXPECT_EQ(match.indexOfOccurence(0), -2);
   DtStringPatternMatch textless("", "b");
   textless.setString("ab");
   EXPECT_EQ(textless.indexOfOccurence(0), 1);
}

struct Table : DtStringPatternMatch
{
   using DtStringPatternMatch::DtStringPatternMatch;
   using DtStringPatternMatch::mySkipTable;
};

TEST(DtStringPatternMatch, KeepsASkipTableOfItsOwn)
{
   EXPECT_EQ(Table("", "abcab").mySkipTable, nullptr);
   Table match("text", "abcab");
   Table copy(match);
   match.setPattern("xy");
   EXPECT_EQ(match.mySkipTable[int{'a'}], 2);
   EXPECT_EQ(match.mySkipTable[int{'y'}], -2);
   EXPECT_EQ(copy.mySkipTable[int{'a'}], 1);
   EXPECT_EQ(copy.mySkipTable[int{'b'}], -3);
   EXPECT_EQ(copy.mySkipTable[int{'c'}], 2);
   EXPECT_EQ(copy.mySkipTable[int{'x'}], 5);
   copy = match;
   EXPECT_EQ(copy.mySkipTable[int{'y'}], -2);
   EXPECT_NE(copy.mySkipTable, match.mySkipTable);
}

} // namespace
