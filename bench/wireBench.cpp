// SPDX-License-Identifier: MIT
// Wire values beside the system's own conversion.
#include "bench/compare.h"

#include "tslutil/base/tslNetTypes.h"

#include <arpa/inet.h>

#include <array>
#include <utility>

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

/// Converts field by field without a loop, as code that reads a PDU does; else it would be measured how well
/// the processor guesses the end of the loop.
template<class Wire, class Convert, std::size_t... fields>
void each(Record<Wire> & record, Convert convert, std::index_sequence<fields...>)
{
   benchmark::DoNotOptimize(record);
   (convert(record.host[fields], record.wire[fields]), ...);
   benchmark::ClobberMemory();
}

template<class Wire, class Convert>
void each(Record<Wire> & record, Convert convert)
{
   each(record, convert, std::make_index_sequence<theFields>());
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
