// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetAddr.h"
#include "tslutil/inet/tslInetEndpoint.h"
#include "tslutil/platform/lookup.h"

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>

#include <cstring>

/// Internal: the one place where addresses and endpoints become Asio's types. The results belong to the
/// object that is asked, and go with it.
namespace tsl
{

inline boost::asio::ip::address const & boostAddress(DtInetAddr const & address)
{
   return *static_cast<boost::asio::ip::address const *>(address.boostAddress());
}

inline boost::asio::ip::address boostAddress(platform::HostAddress const & address)
{
   if (address.family == 4)
   {
      boost::asio::ip::address_v4::bytes_type bytes;
      std::memcpy(bytes.data(), address.bytes, bytes.size());
      return boost::asio::ip::address_v4(bytes);
   }
   boost::asio::ip::address_v6::bytes_type bytes;
   std::memcpy(bytes.data(), address.bytes, bytes.size());
   return boost::asio::ip::address_v6(bytes, address.scope);
}

/// An address with the default netmask of its class.
inline DtInetAddr fromBoost(boost::asio::ip::address address)
{
   return DtInetAddr(static_cast<void *>(&address));
}

/// A port as the system's structures hold it.
inline std::uint16_t networkPort(unsigned short port)
{
   return boost::asio::detail::socket_ops::host_to_network_short(port);
}

inline unsigned short hostPort(std::uint16_t port)
{
   return boost::asio::detail::socket_ops::network_to_host_short(port);
}

/// Null unless the protocol is TCP.
inline boost::asio::ip::tcp::endpoint * boostTcpEndpoint(DtInetEndpoint & endpoint)
{
   return static_cast<boost::asio::ip::tcp::endpoint *>(endpoint.tcpEndpoint());
}

/// Null unless the protocol is UDP.
inline boost::asio::ip::udp::endpoint * boostUdpEndpoint(DtInetEndpoint & endpoint)
{
   return static_cast<boost::asio::ip::udp::endpoint *>(endpoint.udpEndpoint());
}

} // namespace tsl
