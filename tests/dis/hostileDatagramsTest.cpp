// SPDX-License-Identifier: MIT
#include "fuzz/hostileRoad.h"
#include "recording.h"
#include "tslutil/base/tslNotify.h"

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace
{

/// A recorded datagram with some of its bytes, mostly of its headers, changed, cut, repeated or joined.
std::string mutate(std::vector<std::string> const & recorded, std::mt19937 & random)
{
   auto const below = [&](std::size_t end) { return random() % end; };
   std::string bytes = recorded[below(recorded.size())];
   for (std::size_t change = below(6); change-- > 0 && !bytes.empty();)
   {
      std::size_t const at = below(bytes.size());
      std::size_t const field = std::vector<std::size_t>{0, 2, 8, 9, 10}[below(5)];
      switch (below(6))
      {
      case 0:
         bytes[at] = static_cast<char>(random());
         break;
      case 1:
         bytes[std::min(field, bytes.size() - 1)] = static_cast<char>(random());
         break;
      case 2:
         bytes[std::min(8 * (at / 8) + field, bytes.size() - 1)] = static_cast<char>(below(80));
         break;
      case 3:
         bytes.resize(at);
         break;
      case 4:
         bytes += bytes.substr(at);
         break;
      default:
         bytes += recorded[below(recorded.size())];
      }
   }
   return bytes;
}

TEST(DtDisSocketHostile, GoodPdusComeThroughBetweenMutatedDatagrams)
{
   std::vector<std::string> recorded;
   for (char const * name : {"singles-s1", "bundles-s1", "edges-s1", "coupled-turn"})
      for (std::string & payload : payloadsOf(name))
         recorded.push_back(std::move(payload));
   char const * const wish = std::getenv("DIS_HOSTILE_DATAGRAMS");
   std::mt19937 random(8);
   HostileRoad road;
   int const level = std::exchange(DtNotifyLevel, 0);
   for (int left = wish != nullptr ? std::atoi(wish) : 20000; left > 0; --left)
      ASSERT_TRUE(road.survives(mutate(recorded, random))) << left;
   DtNotifyLevel = level;
}

} // namespace
