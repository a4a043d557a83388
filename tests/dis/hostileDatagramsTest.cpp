// SPDX-License-Identifier: MIT
#include "disKit.h"
#include "fuzz/hostileRoad.h"
#include "tslutil/base/tslNotify.h"

#include <array>
#include <cstdlib>
#include <random>

namespace
{

/// A recorded datagram with some of its bytes, mostly of headers, changed, cut, repeated or joined to others.
std::string mutate(std::vector<std::string> const & recordings, std::mt19937 & random)
{
   auto const below = [&](std::size_t end) { return random() % end; };
   std::string bytes = recordings[below(recordings.size())];
   for (std::size_t change = below(6); change-- > 0 && !bytes.empty();)
   {
      std::size_t const at = below(bytes.size()), kind = below(6);
      std::size_t const field = std::array<std::size_t, 5>{0, 2, 8, 9, 10}[below(5)];
      if (kind == 0)
         bytes[at] = static_cast<char>(random());
      else if (kind == 1)
         bytes[std::min(field, bytes.size() - 1)] = static_cast<char>(random());
      else if (kind == 2)
         bytes[std::min(8 * (at / 8) + field, bytes.size() - 1)] = static_cast<char>(below(80));
      else if (kind == 3)
         bytes.resize(at);
      else
         bytes += kind == 4 ? bytes.substr(at) : recordings[below(recordings.size())];
   }
   return bytes;
}

TEST(DtDisSocketHostile, GoodPdusComeThroughBetweenMutatedDatagrams)
{
   std::vector<std::string> recordings;
   for (char const * name : {"singles-s1", "bundles-s1", "edges-s1", "coupled-turn"})
      for (std::string & payload : payloadsOf(name))
         recordings.push_back(std::move(payload));
   char const * const wish = std::getenv("DIS_HOSTILE_DATAGRAMS");
   std::mt19937 random(8);
   HostileRoad road;
   int const level = std::exchange(DtNotifyLevel, 0);
   for (int left = wish != nullptr ? std::atoi(wish) : 20000; left > 0; --left)
      ASSERT_TRUE(road.survives(mutate(recordings, random))) << left;
   DtNotifyLevel = level;
}

} // namespace
