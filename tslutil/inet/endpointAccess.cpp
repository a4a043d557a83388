// SPDX-License-Identifier: MIT
#include "tslutil/inet/endpointAccess.h"

#include "tslutil/inet/boostAddress.h"

#include <cstddef>
#include <cstring>
#include <new>

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

// Addresses and ports in network order compare by their bytes.
template<class Left, class Right>
int compareBytes(Left const & left, Right const & right)
{
   static_assert(sizeof left == sizeof right);
   return std::memcmp(&left, &right, sizeof left);
}

int compareIpv4(sockaddr const * left, sockaddr const * right)
{
   auto const l = copyOf<sockaddr_in>(left);
   auto const r = copyOf<sockaddr_in>(right);
   int const byAddress = compareBytes(l.sin_addr, r.sin_addr);
   return byAddress != 0 ? byAddress : compareBytes(l.sin_port, r.sin_port);
}

int compareIpv6(sockaddr const * left, sockaddr const * right)
{
   auto const l = copyOf<sockaddr_in6>(left);
   auto const r = copyOf<sockaddr_in6>(right);
   if (int const byAddress = compareBytes(l.sin6_addr, r.sin6_addr))
      return byAddress;
   if (l.sin6_scope_id != r.sin6_scope_id)
      return l.sin6_scope_id < r.sin6_scope_id ? -1 : 1;
   return compareBytes(l.sin6_port, r.sin6_port);
}

/// Orders names as Boost orders its endpoints: by family, address, scope, port.
int compare(sockaddr const * left, sockaddr const * right)
{
   bool const isLeftIpv4 = left->sa_family == AF_INET;
   if (isLeftIpv4 != (right->sa_family == AF_INET))
      return isLeftIpv4 ? -1 : 1;
   return isLeftIpv4 ? compareIpv4(left, right) : compareIpv6(left, right);
}

/// Whether both endpoints have a name of a protocol and their order holds.
template<class Holds>
bool compareNames(DtInetEndpoint const & left, DtInetEndpoint const & right, DtInetProtocol protocol,
                  Holds const & holds)
{
   std::size_t size = 0;
   sockaddr const * const leftName = tsl::EndpointAccess::systemName(left, protocol, size);
   sockaddr const * const rightName = tsl::EndpointAccess::systemName(right, protocol, size);
   return leftName != nullptr && rightName != nullptr && holds(compare(leftName, rightName));
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
   std::size_t const telling = tellingSize(sender, size);
   if (from.isSender && telling != 0 && std::memcmp(from.myUdpEndpoint, sender, telling) == 0)
      return;
   from.myPort = 0;
   if (telling == 0)
      from.myAddress = DtInetAddr(0UL, 0UL);
   else if (sender->sa_family == AF_INET)
   {
      auto const name = copyOf<sockaddr_in>(sender);
      from.myAddress = DtInetAddr(name);
      from.myPort = tsl::hostPort(name.sin_port);
   }
   else
   {
      auto const name = copyOf<sockaddr_in6>(sender);
      from.myAddress = DtInetAddr(name);
      from.myPort = tsl::hostPort(name.sin6_port);
   }
   from.myProtocol = DtInetProtoUdp;
   from.initEndpoint();
   // An any-address loses its scope in the Boost endpoint, so that the bytes are no proof next time.
   from.isSender = telling != 0 && std::memcmp(from.myUdpEndpoint, sender, telling) == 0;
}

bool EndpointAccess::equal(DtInetEndpoint const & left, DtInetEndpoint const & right)
{
   return compareNames(left, right, left.myProtocol, [](int order) { return order == 0; });
}

bool EndpointAccess::less(DtInetEndpoint const & left, DtInetEndpoint const & right)
{
   return compareNames(left, right, left.myProtocol, [](int order) { return order < 0; });
}

} // namespace tsl
