// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

/// How the system finds hosts by name, and how it reads loosely written address text.
namespace tsl::platform
{

/// One address of a host.
struct HostAddress
{
   /// 4 or 6.
   int family;
   /// In network order; the first four for family 4.
   unsigned char bytes[16];
   /// Of family 6; 0 for none.
   std::uint32_t scope;
};

enum class HostTraffic
{
   any,
   stream,
   datagram
};

/// What to look up.
struct HostQuery
{
   /// Null or empty together with a service means this host.
   char const * host;
   /// A decimal port, null or empty for none.
   char const * service;
   /// 4 or 6; any other value for both.
   int family;
   HostTraffic traffic;
};

/// Replaces `found` by the addresses of a host, the system's preferred one first, and answers 0; else the
/// system's result number (`EAI_`), with `found` empty. Asks for the families that the machine has addresses
/// of, and where that finds nothing for all. Blocks for as long as the look-up takes. The outcome is noted
/// for lastSocketErrorNumber().
int lookUpHost(HostQuery const & query, std::vector<HostAddress> & found);

/// The value, in host order, of IPv4 text in any form that the system knows: up to four parts, each decimal,
/// octal or hexadecimal. 0xFFFFFFFF for text that is no address.
std::uint32_t looseIpv4(char const * text);

} // namespace tsl::platform
