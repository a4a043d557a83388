// SPDX-License-Identifier: MIT
/// A record as a list of named texts, for telling two of them apart and for showing them.
#pragma once

#include "tools/fomRecords.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>
#include <vector>

typedef std::vector<std::pair<std::string, std::string>> FomFields;

/// A real number as its shortest text.
inline std::string realText(float number)
{
   char text[32];
   return std::string(text, std::to_chars(text, text + sizeof text, number).ptr);
}

/// The records of a set in the order of their document.
template<class Set>
std::vector<typename Set::value_type> inDocumentOrder(Set const & set)
{
   std::vector<typename Set::value_type> rows(set.begin(), set.end());
   std::sort(rows.begin(), rows.end(), [](auto const & a, auto const & b) { return a->place < b->place; });
   return rows;
}

/// A visitor that lists a record's fields.
class FieldLister
{
public:
   explicit FieldLister(FomFields & list, std::string before = "") : fields(list), prefix(std::move(before))
   {
   }

   void text(char const * name, DtString const & value) { add(name, value.stdString()); }
   void number(char const * name, std::int64_t value) { add(name, std::to_string(value)); }
   void real(char const * name, float value) { add(name, realText(value)); }
   void flag(char const * name, bool value) { add(name, value ? "Yes" : "No"); }

   template<std::size_t size>
   void choice(char const * name, std::int64_t value, char const * const (&choices)[size])
   {
      add(name, value >= 0 && value < std::int64_t(size) ? choices[value] : std::to_string(value));
   }

   void list(char const * name, std::vector<DtString> const & values)
   {
      std::string all;
      for (DtString const & value : values)
         all += (all.empty() ? "" : " ") + value.stdString();
      add(name, all);
   }

   template<class Set>
   void rows(char const * name, Set const & set)
   {
      int place = 0;
      for (auto const & row : inDocumentOrder(set))
      {
         FieldLister inner(fields, prefix + name + " " + std::to_string(++place) + " ");
         describe(inner, *row);
      }
   }

private:
   void add(std::string const & name, std::string const & value)
   {
      if (!value.empty())
         fields.emplace_back(prefix + name, value);
   }

   FomFields & fields;
   std::string prefix;
};

template<class Record>
FomFields fieldsOf(Record const & record)
{
   FomFields fields;
   FieldLister lister(fields);
   describe(lister, const_cast<Record &>(record)); // a lister changes nothing
   return fields;
}

/// What differs, as "rate 10 against 20, units ..."; empty if nothing does. Free texts (semantics) count if
/// told.
std::string differences(FomFields const & here, FomFields const & there, bool withSemantics);
