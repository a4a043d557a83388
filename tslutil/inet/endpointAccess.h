// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetEndpoint.h"

#include <cstddef>

struct sockaddr;

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
};

} // namespace tsl
