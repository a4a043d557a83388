// SPDX-License-Identifier: MIT
#include "tslutil/inet/endpointAccess.h"

#include "tslutil/inet/boostAddress.h"

#include <cstddef>
#include <cstring>
#include <new>

static_assert(sizeof(sockaddr_in6) == sizeof tsl::platform::SocketName::bytes, "a name fills its room");

namespace
{

/// How many bytes of a name tell one sender from another; 0 if it is no name of an IP endpoint.
std::size_t tellingSize(sockaddr const * name, std::size_t size)
{
   if (name == nullptr || size < sizeof(sockaddr_in))
      return 0;
   if (name->sa_family == AF_INET)
      return offsetof(sockaddr_in, sin_zero);
   return name->sa_family == AF_INET6 && size >= sizeof(sockaddr_in6) ? sizeof(sockaddr_in6) : 0;
}

template<class Name>
Name copyOf(void const * bytes)
{
   Name name;
   std::memcpy(&name, bytes, sizeof name);
   return name;
}

int compareNumbers(std::uint64_t left, std::uint64_t right)
{
   return left < right ? -1 : left > right;
}

/// Address and port as one number in their order.
std::uint64_t numberOf(sockaddr_in const & name)
{
   return std::uint64_t(boost::asio::detail::socket_ops::network_to_host_long(name.sin_addr.s_addr)) << 16 |
          tsl::hostPort(name.sin_port);
}

/// Scope and port as one number in their order.
std::uint64_t numberOf(sockaddr_in6 const & name)
{
   return std::uint64_t(name.sin6_scope_id) << 16 | tsl::hostPort(name.sin6_port);
}

int compareIpv6(sockaddr_in6 const & left, sockaddr_in6 const & right)
{
   int const byAddress = std::memcmp(&left.sin6_addr, &right.sin6_addr, sizeof left.sin6_addr);
   return byAddress != 0 ? byAddress : compareNumbers(numberOf(left), numberOf(right));
}

/// Orders names as Boost orders its endpoints: by family, address, scope, port.
int compare(sockaddr const * left, sockaddr const * right)
{
   bool const isLeftIpv4 = left->sa_family == AF_INET;
   if (isLeftIpv4 != (right->sa_family == AF_INET))
      return isLeftIpv4 ? -1 : 1;
   if (isLeftIpv4)
      return compareNumbers(numberOf(copyOf<sockaddr_in>(left)), numberOf(copyOf<sockaddr_in>(right)));
   return compareIpv6(copyOf<sockaddr_in6>(left), copyOf<sockaddr_in6>(right));
}

/// Whether names are the same endpoint's.
bool isSame(sockaddr const * left, sockaddr const * right)
{
   if (left->sa_family != AF_INET)
      return compare(left, right) == 0;
   // An IPv4 name is this short, and most are.
   return std::memcmp(left, right, offsetof(sockaddr_in, sin_zero)) == 0;
}

/// Whether both endpoints have a name of a protocol, and a comparison of these holds.
template<class Holds>
bool compareNames(DtInetEndpoint const & left, DtInetEndpoint const & right, DtInetProtocol protocol,
                  Holds const & holds)
{
   std::size_t size = 0;
   sockaddr const * const leftName = tsl::EndpointAccess::systemName(left, protocol, size);
   sockaddr const * const rightName = tsl::EndpointAccess::systemName(right, protocol, size);
   return leftName != nullptr && rightName != nullptr && holds(leftName, rightName);
}

/// Address and port of a name; of telling size 0, the IPv4 any-address and port 0.
void readName(sockaddr const * name, std::size_t telling, DtInetAddr & address, unsigned short & port)
{
   port = 0;
   if (telling == 0)
      address = DtInetAddr(0UL, 0UL);
   else if (name->sa_family == AF_INET)
   {
      auto const ipv4 = copyOf<sockaddr_in>(name);
      address = DtInetAddr(ipv4);
      port = tsl::hostPort(ipv4.sin_port);
   }
   else
   {
      auto const ipv6 = copyOf<sockaddr_in6>(name);
      address = DtInetAddr(ipv6);
      port = tsl::hostPort(ipv6.sin6_port);
   }
}

template<class Endpoint>
sockaddr const * nameOf(unsigned char const * storage, std::size_t & size)
{
   auto const & endpoint = *std::launder(reinterpret_cast<Endpoint const *>(storage));
   size = endpoint.size();
   return endpoint.data();
}

} // namespace

namespace tsl
{

sockaddr const * EndpointAccess::systemName(DtInetEndpoint const & endpoint, DtInetProtocol protocol,
                                            std::size_t & size)
{
   if (protocol == DtInetProtoUdp && endpoint.hasUdpEndpoint)
      return nameOf<boost::asio::ip::udp::endpoint>(endpoint.myUdpEndpoint, size);
   if (protocol == DtInetProtoTcp && endpoint.hasTcpEndpoint)
      return nameOf<boost::asio::ip::tcp::endpoint>(endpoint.myTcpEndpoint, size);
   return nullptr;
}

void EndpointAccess::setSender(DtInetEndpoint & from, sockaddr const * sender, std::size_t size)
{
   static_assert(theIpv4NameSize == sizeof(sockaddr_in) &&
                 theIpv4TellingSize == offsetof(sockaddr_in, sin_zero));
   std::size_t const telling = tellingSize(sender, size);
   if (from.isSender && telling != 0 && std::memcmp(from.myUdpEndpoint, sender, telling) == 0)
      return;
   readName(sender, telling, from.myAddress, from.myPort);
   from.myProtocol = DtInetProtoUdp;
   from.initEndpoint();
   // An any-address loses its scope in the Boost endpoint, so that the bytes are no proof next time.
   from.isSender = telling != 0 && std::memcmp(from.myUdpEndpoint, sender, telling) == 0;
}

DtInetEndpoint EndpointAccess::endpointOf(sockaddr const * name, std::size_t size, DtInetProtocol protocol)
{
   DtInetAddr address;
   unsigned short port = 0;
   readName(name, tellingSize(name, size), address, port);
   return {address, port, protocol};
}

bool EndpointAccess::equal(DtInetEndpoint const & left, DtInetEndpoint const & right)
{
   return compareNames(left, right, left.myProtocol, isSame);
}

bool EndpointAccess::less(DtInetEndpoint const & left, DtInetEndpoint const & right)
{
   auto const isLess = [](sockaddr const * leftName, sockaddr const * rightName)
   { return compare(leftName, rightName) < 0; };
   return compareNames(left, right, left.myProtocol, isLess);
}

} // namespace tsl
