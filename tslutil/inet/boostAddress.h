// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetAddr.h"
#include "tslutil/inet/tslInetEndpoint.h"

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>

/// Internal: the one place where addresses and endpoints become Asio's types. The results belong to the
/// object that is asked, and go with it.
namespace tsl
{

inline boost::asio::ip::address const & boostAddress(DtInetAddr const & address)
{
   return *static_cast<boost::asio::ip::address const *>(address.boostAddress());
}

/// An address with the default netmask of its class.
inline DtInetAddr fromBoost(boost::asio::ip::address address)
{
   return DtInetAddr(static_cast<void *>(&address));
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
