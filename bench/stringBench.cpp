// SPDX-License-Identifier: MIT
#include "bench/compare.h"

#include "tslutil/base/tslString.h"
#include "tslutil/base/tslStringPattern.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <strings.h>

namespace
{

char const * digits(std::size_t length)
{
   static std::string const all(200, '7');
   return all.c_str() + all.size() - length;
}

/// The text, in a way that the compiler can't know it by the next call.
char const * fresh(char const * text)
{
   benchmark::DoNotOptimize(text);
   return text;
}

bool addConstruction(std::size_t length, double goal, double allocations)
{
   return addComparison(
      {"DtString of " + std::to_string(length) + " characters", "std::string", goal, allocations},
      [length](Bench & bench)
      {
         char const * const text = digits(length);
         bench.run([=] { benchmark::DoNotOptimize(DtString(fresh(text))); },
                   [=] { benchmark::DoNotOptimize(std::string(fresh(text))); });
      });
}

template<class String>
void copy(String & original)
{
   benchmark::DoNotOptimize(original);
   benchmark::DoNotOptimize(String(original));
}

bool addCopy(std::size_t length, double goal, double allocations)
{
   return addComparison({"DtString copy of " + std::to_string(length), "std::string", goal, allocations},
                        [length](Bench & bench)
                        {
                           DtString ours(digits(length));
                           std::string theirs(digits(length));
                           bench.run([&] { copy(ours); }, [&] { copy(theirs); });
                        });
}

/// Half of the text, and the other half behind it.
template<class String>
void join(char const * text, std::string const & front)
{
   String joined(fresh(front.c_str()));
   joined += fresh(text + front.size());
   benchmark::DoNotOptimize(joined);
}

bool addJoin(std::size_t length, double goal, double allocations)
{
   return addComparison(
      {"DtString of two halves of " + std::to_string(length), "std::string", goal, allocations},
      [length](Bench & bench)
      {
         char const * const text = digits(length);
         std::string const front(text, length / 2);
         bench.run([&] { join<DtString>(text, front); }, [&] { join<std::string>(text, front); });
      });
}

/// Text that grows exactly and keeps no length, written by hand.
class ExactText
{
public:
   ExactText() { inPlace[0] = '\0'; }
   ExactText(ExactText const &) = delete;
   ExactText & operator=(ExactText const &) = delete;
   ~ExactText()
   {
      if (text != inPlace)
         delete[] text;
   }

   void operator+=(char const * more)
   {
      std::size_t const old = std::strlen(text), added = std::strlen(more);
      if (old + added + 1 > capacity)
      {
         capacity = old + added + 1;
         char * const block = new char[capacity];
         std::memcpy(block, text, old);
         if (text != inPlace)
            delete[] text;
         text = block;
      }
      std::memcpy(text + old, more, added + 1);
   }

private:
   char inPlace[64];
   char * text = inPlace;
   std::size_t capacity = sizeof inPlace;
};

template<class String>
void grow()
{
   String text;
   for (int i = 0; i < 64; ++i)
      text += fresh("0123456789abcdef");
   benchmark::DoNotOptimize(text);
}

void compareToInt(Bench & bench)
{
   DtString const ours("1234567");
   bench.run([&] { benchmark::DoNotOptimize(ours.toInt()); },
             [] { benchmark::DoNotOptimize(std::strtol(fresh("1234567"), nullptr, 0)); });
}

template<class Number>
void compareFromNumber(Bench & bench, Number number, char const * format)
{
   bench.run(
      [=]
      {
         Number fresh = number;
         benchmark::DoNotOptimize(fresh);
         benchmark::DoNotOptimize(DtString(fresh));
      },
      [=]
      {
         char text[32];
         std::snprintf(text, sizeof text, format, number);
         benchmark::DoNotOptimize(text);
      });
}

/// A pattern of 8 characters behind 10 KiB of others.
void compareSearch(Bench & bench)
{
   std::string text;
   for (unsigned i = 0; text.size() < 10240; i = i * 1103515245 + 12345)
      text += static_cast<char>('a' + (i >> 16) % 20);
   std::string const pattern("xyzzyxxy");
   text += pattern;
   DtStringPatternMatch const ours{DtString(text), DtString(pattern)};
   std::boyer_moore_horspool_searcher const theirs(pattern.begin(), pattern.end());
   bench.run([&] { benchmark::DoNotOptimize(ours.indexOfOccurence(0)); },
             [&] { benchmark::DoNotOptimize(std::search(text.begin(), text.end(), theirs)); });
}

void compareUpper(Bench & bench)
{
   DtString ours("The quick brown fox jumps over the dog.");
   std::string theirs(ours.stdString());
   bench.run(
      [&]
      {
         ours.toUpper();
         benchmark::ClobberMemory();
      },
      [&]
      {
         for (char & c : theirs)
            if (std::isalpha(static_cast<unsigned char>(c)))
               c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
         benchmark::DoNotOptimize(theirs.data());
         benchmark::ClobberMemory();
      });
}

void compareCases(Bench & bench)
{
   DtString const ours("HLAobjectRoot.BaseEntity"), other("hlaOBJECTroot.baseENTITY");
   bench.run([&] { benchmark::DoNotOptimize(ours.caseCompare(other)); },
             [&] { benchmark::DoNotOptimize(strcasecmp(fresh(ours.c_str()), other.c_str())); });
}

bool const added[] = {
   addConstruction(10, 1.0, 0),
   addConstruction(40, 0.35, 0),
   addConstruction(63, 0.35, 0),
   addConstruction(100, 1.05, 1),
   addCopy(10, 0.8, 0),
   addCopy(40, 0.25, 0),
   addCopy(63, 0.25, 0),
   addCopy(100, 1.05, 1),
   addJoin(10, 1.3, 0),
   addJoin(40, 0.45, 0),
   addJoin(63, 0.45, 0),
   addJoin(100, 0.75, 1),
   addComparison({"DtString, 64 appends of 16", "the same by hand", 1.05, 61},
                 [](Bench & bench) { bench.run(grow<DtString>, grow<ExactText>); }),
   addComparison({"DtString to int", "strtol", 1.5, 0}, compareToInt),
   addComparison({"DtString of an int", "snprintf", 0.35, 0},
                 [](Bench & bench) { compareFromNumber(bench, 1234567, "%d"); }),
   addComparison({"DtString of a double", "snprintf", 0.35, 0},
                 [](Bench & bench) { compareFromNumber(bench, 1234.5678, "%.13g"); }),
   addComparison({"DtStringPatternMatch, 8 in 10 KiB", "std::boyer_moore_horspool_searcher", 0.1, 0},
                 compareSearch),
   addComparison({"DtString to upper case, 39 characters", "isalpha and toupper", 0.4, 0}, compareUpper),
   addComparison({"DtString::caseCompare, 24 characters", "strcasecmp", 1.5, 0}, compareCases),
};

} // namespace
