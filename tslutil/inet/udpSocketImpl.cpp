// SPDX-License-Identifier: MIT
#include "tslutil/inet/udpSocketImpl.h"

#include <boost/asio/ip/v6_only.hpp>

using boost::asio::socket_base;
using tsl::nameOf;
using tsl::platform::SocketName;

namespace
{

DtInetEndpoint anyAddress(DtInetEndpoint const & local, unsigned short port)
{
   return {DtInetAddr::inaddrAny(local.family()), port, DtInetProtoUdp};
}

// A port that no socket of the host has, at whatever address.
int findFreePort(DtInetEndpoint const & local, unsigned short & port)
{
   tsl::IoService service;
   tsl::DatagramSocket probe(service);
   int error = probe.open(local.isIPv6() ? boost::asio::ip::udp::v6() : boost::asio::ip::udp::v4());
   if (error == 0)
      error = probe.bind(anyAddress(local, 0));
   return error != 0 ? error : probe.localPort(port);
}

} // namespace

void DtInetUdpSocketImpl::makeEngine()
{
   engine = std::make_unique<tsl::Engine<Udp>>(service, &owner);
}

int DtInetUdpSocketImpl::open(DtInetEndpoint const & local, bool withSender)
{
   Udp const protocol = local.isIPv6() ? Udp::v6() : Udp::v4();
   int const error = socket.open(protocol);
   return error == 0 && withSender ? sender.open(protocol) : error;
}

int DtInetUdpSocketImpl::bind(DtInetEndpoint const & local)
{
   return socket.bind(local);
}

// The interface comes first, so that nothing else is heard meanwhile.
int DtInetUdpSocketImpl::bind(DtInetEndpoint const & local, std::uint32_t interfaceIndex)
{
   filter.interfaceIndex = interfaceIndex;
   filter.local = nameOf(local);
   filter.netmask = static_cast<std::uint32_t>(local.address().netmask());
   int error = tsl::platform::hearInterfaceOnly(socket.handle(), filter);
   // What comes to the host by IPv4 isn't for an IPv6 address, and stays for others.
   if (error == 0 && local.isIPv6())
      error = socket.set(boost::asio::ip::v6_only(true));
   unsigned short port = local.port();
   if (error == 0 && port == 0)
      error = findFreePort(local, port);
   if (error == 0)
      error = socket.bind(anyAddress(local, port));
   if (error == 0)
      error = bindSender(DtInetEndpoint(local.address(), port, DtInetProtoUdp));
   return error != 0 ? error : sender.makeDeaf(interfaceIndex);
}

// The two share the port with each other, and with others only if that was asked for.
int DtInetUdpSocketImpl::bindSender(DtInetEndpoint const & local)
{
   socket_base::reuse_address asked;
   int error = get(asked);
   if (error == 0)
      error = set(socket_base::reuse_address(true));
   if (error == 0)
      error = sender.bind(local);
   return error != 0 ? error : set(asked);
}

// With an interface the filter stands in for a connection: connecting would bind the socket to the address
// that the system prefers, which needn't be the one chosen. Whether a way leads to the peer, a trial tells.
int DtInetUdpSocketImpl::connect(DtInetEndpoint const & local, DtInetEndpoint const & peer)
{
   if (!sender.isOpen())
      return socket.connect(peer);
   tsl::DatagramSocket trial(service);
   int error = trial.open(sender.protocol());
   if (error == 0)
      error = trial.bind(DtInetEndpoint(local.address(), 0, DtInetProtoUdp));
   if (error == 0)
      error = trial.connect(peer);
   return error != 0 ? error : hearPeer(nameOf(peer));
}

int DtInetUdpSocketImpl::disconnect()
{
   return sender.isOpen() ? hearPeer(SocketName()) : socket.disconnect();
}

int DtInetUdpSocketImpl::hearPeer(SocketName const & peer)
{
   filter.peer = peer;
   return tsl::platform::hearInterfaceOnly(socket.handle(), filter);
}
