// SPDX-License-Identifier: MIT
#include "tslutil/base/tslStringPattern.h"

#include <algorithm>
#include <cstring>

DtStringPatternMatch::DtStringPatternMatch() : mySkipTable(nullptr) {}

DtStringPatternMatch::DtStringPatternMatch(DtString const & string, DtString const & pattern)
   : myString(string), myPattern(pattern), mySkipTable(nullptr)
{
   if (!myString.isEmpty() && !myPattern.isEmpty())
      buildSkipTable();
}

DtStringPatternMatch::DtStringPatternMatch(DtStringPatternMatch const & other)
   : myString(other.myString), myPattern(other.myPattern), mySkipTable(nullptr)
{
   if (other.mySkipTable != nullptr)
      mySkipTable = std::copy_n(other.mySkipTable, theSkipTableSize, new std::int32_t[theSkipTableSize]) -
                    theSkipTableSize;
}

DtStringPatternMatch & DtStringPatternMatch::operator=(DtStringPatternMatch const & other)
{
   DtStringPatternMatch copy(other);
   myString = copy.myString;
   myPattern = copy.myPattern;
   std::swap(mySkipTable, copy.mySkipTable);
   return *this;
}

DtStringPatternMatch::~DtStringPatternMatch()
{
   delete[] mySkipTable;
}

void DtStringPatternMatch::setPattern(DtString const & pattern)
{
   // Meant: without a text the pattern is dropped.
   if (myString.isEmpty())
      return;
   myPattern = pattern;
   if (!myPattern.isEmpty())
      buildSkipTable();
}

DtString const & DtStringPatternMatch::pattern() const
{
   return myPattern;
}

void DtStringPatternMatch::setString(DtString const & string)
{
   myString = string;
}

DtString const & DtStringPatternMatch::string() const
{
   return myString;
}

void DtStringPatternMatch::buildSkipTable()
{
   std::int32_t const length = myPattern.size();
   if (mySkipTable == nullptr)
      mySkipTable = new std::int32_t[theSkipTableSize];
   std::fill_n(mySkipTable, theSkipTableSize, length);
   for (std::int32_t i = 0; i < length - 1; ++i)
      mySkipTable[static_cast<unsigned char>(myPattern[i])] = length - 1 - i;
   std::int32_t & last = mySkipTable[static_cast<unsigned char>(myPattern[length - 1])];
   last = -last;
}

int DtStringPatternMatch::indexOfOccurence(int start) const
{
   if (myString.isEmpty() || myPattern.isEmpty())
      return -2;
   bool const endsAheadOfText = start < 0 && start - 1LL + myPattern.size() < 0;
   if (endsAheadOfText || (start > 0 && start > myString.size()))
      return -1;
   // The run time's search finds the same index as a walk by the skip table, many times faster.
   char const * const text = myString.string();
   char const * const found = std::strstr(text + std::max(start, 0), myPattern.string());
   return found == nullptr ? -1 : static_cast<int>(found - text);
}
