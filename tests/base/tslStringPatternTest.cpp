// SPDX-License-Identifier: MIT
#include "tslutil/base/tslStringPattern.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

TEST(DtStringPatternMatch, TakesAPatternOnlyBehindATextAndKeepsItBehindAnother)
{
   DtStringPatternMatch match, textless("", "b");
   match.setPattern("b");
   EXPECT_TRUE(match.pattern().isEmpty());
   match.setString("abc");
   EXPECT_EQ(match.indexOfOccurence(0), -2);
   match.setPattern("b");
   match.setString("xxxb");
   textless.setString("ab");
   EXPECT_EQ(match.indexOfOccurence(0) + textless.indexOfOccurence(0), 4);
   match.setPattern("");
   EXPECT_EQ(match.indexOfOccurence(0), -2);
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
