// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"

#include <cstdint>

/// Internal: the one conversion of address literals and the arithmetic of IPv4 masks. Values are in host
/// order, IPv6 bytes in network order.
namespace tsl
{

/// Reads four decimal parts; false, and no change, for anything else.
bool ipv4FromText(DtString const & text, std::uint32_t & address);

/// Reads colon form, with any zone behind a "%"; false, and no change, for anything else.
bool ipv6FromText(DtString const & text, unsigned char (&bytes)[16]);

/// The netmask that goes with the class of an address; all ones for classes D and E.
std::uint32_t classNetmask(std::uint32_t address);

/// Whether all host bits are set, and there are at least two of them.
bool isBroadcastUnder(std::uint32_t address, std::uint32_t netmask, std::uint64_t prefixLen);

constexpr bool isIpv4Multicast(std::uint32_t address)
{
   return address >> 28 == 0xE;
}

/// Whether the bytes are those of ff??::1.
bool isAllNodesOfSomeScope(unsigned char const * bytes);

constexpr std::uint32_t theIpv4Loopback = 0x7F000001;

} // namespace tsl
