// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"

#include <cstdint>

/// Finds the occurrences of a pattern in a text, one after the other. Both are copies of this object's own.
/// An object belongs to one thread at a time.
class TSLUTIL_EXPORT DtStringPatternMatch
{
public:
   /// The entries of the skip table, one for each byte value.
   static constexpr int theSkipTableSize = 256;

   /// Empty text and pattern.
   DtStringPatternMatch();
   /// Copies both.
   DtStringPatternMatch(DtString const & string, DtString const & pattern);
   /// A deep copy.
   DtStringPatternMatch(DtStringPatternMatch const & other);
   /// The same.
   DtStringPatternMatch & operator=(DtStringPatternMatch const & other);

   // Virtual operations, in slot order.

   /// Sets the pattern, but only while there is a text: set the text first.
   virtual void setPattern(DtString const & pattern);
   /// The text that is looked for.
   virtual DtString const & pattern() const;
   /// Sets the text; the pattern stays.
   virtual void setString(DtString const & string);
   /// The text that is searched.
   virtual DtString const & string() const;
   /// The index of the first occurrence at or after `start`; -1 if there is none, -2 if the text or the
   /// pattern is empty. A `start` ahead of the text counts as 0, or finds nothing if the pattern would end
   /// there too.
   virtual int indexOfOccurence(int start = 0) const;
   virtual ~DtStringPatternMatch();

protected:
   /// Makes the skip table of the pattern, which must not be empty: for each byte how far a search may move
   /// when that byte lies under the pattern's last one. The entry of the last byte itself is negated.
   void buildSkipTable();

   /// The text that is searched.
   DtString myString;
   /// The text that is looked for.
   DtString myPattern;
   /// theSkipTableSize entries that this object owns, or null.
   std::int32_t * mySkipTable;
};
