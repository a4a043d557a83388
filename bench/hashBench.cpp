// SPDX-License-Identifier: MIT
// Hash lists beside the standard's table, with keys that are kept from one look-up to the next.
#include "bench/compare.h"

#include "tslutil/base/tslHashlist.h"

#include <cstddef>
#include <list>
#include <string>
#include <unordered_map>
#include <utility>

namespace
{

std::string entityName(std::size_t i)
{
   return "entity-" + std::to_string(i * 7919 % 100000);
}

/// As an exercise names what takes part: a class, a site and a number.
std::string vehicleName(std::size_t i)
{
   static char const * const classes[] = {"GroundVehicle", "Aircraft", "SurfaceVessel", "Human", "Munition"};
   return std::string(classes[i % 5]) + " " + std::to_string(1 + i % 7) + "/" + std::to_string(i);
}

/// The same keys for both sides; look-ups go through them in turn.
struct Keys
{
   explicit Keys(std::size_t count, std::string (*name)(std::size_t) = entityName)
   {
      for (std::size_t i = 0; i < count; ++i)
      {
         texts.push_back(name(i));
         ours.emplace_back(texts.back().c_str());
      }
   }

   std::size_t next()
   {
      place = place + 1 < texts.size() ? place + 1 : 0;
      return place;
   }

   std::vector<std::string> texts;
   std::vector<DtStringHashKey> ours;
   std::size_t place = 0;
};

void compareLookups(Bench & bench, Keys keys)
{
   DtHashlist table;
   std::unordered_map<std::string, void *> map;
   for (std::size_t i = 0; i < keys.texts.size(); ++i)
   {
      table.add(keys.ours[i], &table);
      map[keys.texts[i]] = &table;
   }
   Keys others = keys;
   bench.run([&] { benchmark::DoNotOptimize(table.lookup(keys.ours[keys.next()])); },
             [&] { benchmark::DoNotOptimize(map.find(others.texts[others.next()])->second); });
}

/// What gives the same from the standard's parts: a table of places in two lists.
class Ordered
{
public:
   void add(std::string const & key, void * value)
   {
      auto const place = table.emplace(key, std::make_pair(values.end(), keys.end())).first;
      place->second = {values.insert(values.end(), value), keys.insert(keys.end(), &place->first)};
   }

   void remove(std::string const & key)
   {
      auto const place = table.find(key);
      values.erase(place->second.first);
      keys.erase(place->second.second);
      table.erase(place);
   }

private:
   typedef std::list<void *> Values;
   typedef std::list<std::string const *> Texts;

   Values values;
   Texts keys;
   std::unordered_map<std::string, std::pair<Values::iterator, Texts::iterator>> table;
};

/// Keys that are there already stay; others are added and removed again.
void compareChanges(Bench & bench)
{
   Keys kept(100, vehicleName), keys(100);
   DtHashlist table;
   Ordered ordered;
   for (std::size_t i = 0; i < kept.texts.size(); ++i)
   {
      table.add(kept.ours[i], &table);
      ordered.add(kept.texts[i], &table);
   }
   Keys others = keys;
   bench.run(
      [&]
      {
         DtStringHashKey const & key = keys.ours[keys.next()];
         table.add(key, &table);
         table.remove(key);
      },
      [&]
      {
         std::string const & key = others.texts[others.next()];
         ordered.add(key, &table);
         ordered.remove(key);
      });
}

bool addLookups(std::string const & path, std::size_t count, double goal,
                std::string (*name)(std::size_t) = entityName)
{
   return addComparison({path, "std::unordered_map", goal, 0},
                        [=](Bench & bench) { compareLookups(bench, Keys(count, name)); });
}

bool const added[] = {
   addLookups("DtHashlist, look-up in 100", 100, 0.6),
   addLookups("DtHashlist, look-up in 1,000", 1000, 1.0),
   addLookups("DtHashlist, look-up in 10,000", 10000, 15.0),
   addLookups("DtHashlist, look-up of vehicles, 100", 100, 0.6, vehicleName),
   addLookups("DtHashlist, look-up of vehicles, 1,000", 1000, 1.0, vehicleName),
   addLookups("DtHashlist, look-up of vehicles, 10,000", 10000, 15.0, vehicleName),
   addLookups("DtHashlist, look-up of 100 characters", 100, 1.0,
              [](std::size_t i) { return std::string(95, 'x') + entityName(i).substr(7); }),
   addComparison({"DtHashlist, add and remove", "std::unordered_map, two std::list", 1.6, 0},
                 compareChanges)};

} // namespace
