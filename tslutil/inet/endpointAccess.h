// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetEndpoint.h"
#include "tslutil/platform/socket.h"

#include <cstddef>
#include <cstring>

namespace tsl
{

/// Internal: how sockets read and write endpoints on their fast paths. Nothing here takes memory, blocks or
/// calls a virtual operation.
struct EndpointAccess
{
   /// Makes `from` the UDP endpoint at the address that a datagram came from, scope included, with the
   /// default netmask of the address; its error stays. Costs a comparison if `from` is that already. A null
   /// `sender`, and one of an unknown family or too small, give the IPv4 any-address and port 0.
   static void setSender(DtInetEndpoint & from, sockaddr const * sender, std::size_t size);

   /// The same for the name that came with a datagram, of size 0 if none did.
   static void setSender(DtInetEndpoint & from, platform::SocketName const & sender)
   {
      if (!__builtin_expect(isFrom(from, sender), true))
         setSender(from, sender.size == 0 ? nullptr : sender.data(), sender.size);
   }

   /// Assigns an endpoint, which most often has the sender of the one before.
   static void assign(DtInetEndpoint & target, DtInetEndpoint const & endpoint)
   {
      if (!haveSameSender(target, endpoint))
         target = endpoint;
   }

   /// Whether both are UDP endpoints with the same name. Others may be equal() all the same.
   static bool haveSameUdpName(DtInetEndpoint const & left, DtInetEndpoint const & right)
   {
      return left.myProtocol == DtInetProtoUdp && right.myProtocol == DtInetProtoUdp && left.hasUdpEndpoint &&
             right.hasUdpEndpoint && isSameName(left.myUdpEndpoint, right.myUdpEndpoint);
   }

   /// Whether both were last set to senders, and to the same one, so that nothing tells them apart.
   static bool haveSameSender(DtInetEndpoint const & left, DtInetEndpoint const & right)
   {
      return left.isSender && right.isSender && isSameName(left.myUdpEndpoint, right.myUdpEndpoint);
   }

   /// The endpoint of a protocol at an address that the system tells, scope included.
   static DtInetEndpoint endpointOf(sockaddr const * name, std::size_t size, DtInetProtocol protocol);

   /// The bytes of the Boost endpoint of a protocol as the system's calls take them, and their number; null
   /// if the endpoint doesn't have it. Valid until the endpoint changes.
   static sockaddr const * systemName(DtInetEndpoint const & endpoint, DtInetProtocol protocol,
                                      std::size_t & size);

   /// DtInetEndpoint::isOk() for an endpoint that must not change.
   static bool isOk(DtInetEndpoint const & endpoint) { return !endpoint.hasFailed; }

   /// The comparisons of the Boost endpoints of a protocol; false if either side lacks it.
   static bool equal(DtInetEndpoint const & left, DtInetEndpoint const & right);
   static bool less(DtInetEndpoint const & left, DtInetEndpoint const & right);

private:
   static constexpr std::size_t theNameSize = sizeof platform::SocketName::bytes;
   static constexpr std::size_t theIpv4NameSize = 16;
   /// Family, port and IPv4 address come first in a name, and are all that tells IPv4 senders apart.
   static constexpr std::size_t theIpv4TellingSize = 8;

   /// Whether what endpoints hold are the same bytes, which are 0 behind an IPv4 name.
   static bool isSameName(unsigned char const * left, unsigned char const * right)
   {
      // Pieces of 8, the last of which overlap, are plain comparisons.
      auto const isSame = [=](std::size_t at) { return std::memcmp(left + at, right + at, 8) == 0; };
      return isSame(0) && isSame(8) && isSame(16) && isSame(theNameSize - 8);
   }

   /// Whether an endpoint is known to be what setSender() would make of it.
   static bool isFrom(DtInetEndpoint const & from, platform::SocketName const & sender)
   {
      std::size_t const size = theIpv4TellingSize;
      if (!from.isSender || std::memcmp(from.myUdpEndpoint, sender.bytes, size) != 0)
         return false;
      return sender.size == theIpv4NameSize ||
             (sender.size == theNameSize &&
              std::memcmp(from.myUdpEndpoint + size, sender.bytes + size, theNameSize - size) == 0);
   }
};

} // namespace tsl
