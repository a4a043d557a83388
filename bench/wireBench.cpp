// SPDX-License-Identifier: MIT
// Wire values beside the system's own conversion.
#include "bench/compare.h"

#include "tslutil/base/tslNetTypes.h"

#include <arpa/inet.h>

#include <array>

namespace
{

constexpr std::size_t theFields = 27;

/// Host numbers and their wire form, as a PDU of so many fields has it.
template<class Wire>
struct Record
{
   std::array<std::uint32_t, theFields> host{};
   std::array<Wire, theFields> wire{};
};

template<class Wire, class Convert>
void each(Record<Wire> & record, Convert convert)
{
   benchmark::DoNotOptimize(record);
   for (std::size_t i = 0; i < theFields; ++i)
      convert(record.host[i], record.wire[i]);
   benchmark::ClobberMemory();
}

bool const toWire = addComparison(
   {"27 fields to the wire", "htonl", 1.9, 0},
   [](Bench & bench)
   {
      Record<DtNetU32> ours;
      Record<std::uint32_t> theirs;
      bench.run([&] { each(ours, [](std::uint32_t host, DtNetU32 & wire) { wire = host; }); },
                [&] { each(theirs, [](std::uint32_t host, std::uint32_t & wire) { wire = htonl(host); }); });
   });

bool const fromWire = addComparison(
   {"27 fields from the wire", "ntohl", 1.9, 0},
   [](Bench & bench)
   {
      Record<DtNetU32> ours;
      Record<std::uint32_t> theirs;
      bench.run(
         [&] { each(ours, [](std::uint32_t & host, DtNetU32 const & wire) { host = wire; }); },
         [&] { each(theirs, [](std::uint32_t & host, std::uint32_t const & wire) { host = ntohl(wire); }); });
   });

} // namespace
