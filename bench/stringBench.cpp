// SPDX-License-Identifier: MIT
#include "bench/compare.h"

#include "tslutil/base/tslString.h"

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

bool const added[] = {
   addConstruction(10, 1.0, 0),   addConstruction(40, 0.35, 0), addConstruction(63, 0.35, 0),
   addConstruction(100, 1.05, 1), addCopy(10, 0.8, 0),          addCopy(40, 0.25, 0),
   addCopy(63, 0.25, 0),          addCopy(100, 1.05, 1),
};

} // namespace
