// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/tslInetUdpSocket.h"
#include "tslutil/inet/udpEngine.h"
#include "tslutil/platform/datagramScope.h"

#include <boost/asio/ip/udp.hpp>

#include <memory>
#include <utility>
#include <vector>

namespace tsl
{

/// Whether more than one socket may hear what is sent to an address.
inline bool isForMany(DtInetAddr const & address)
{
   return address.isBroadcast() || address.isMulticast();
}

} // namespace tsl

/// What a UDP socket holds. Without a device, one system socket sends and receives. With a device, it only
/// receives, from the device's interface, and a second one sends, bound to the device's address and to the
/// same port: a socket that is bound to an interface can't reach all of the host, and one that is bound to an
/// address hears no broadcasts.
struct DtInetUdpSocketImpl
{
   typedef boost::asio::ip::udp Udp;

   explicit DtInetUdpSocketImpl(DtInetUdpSocket & socketOwner) : owner(socketOwner) {}

   /// The one to send on.
   tsl::DatagramSocket & outgoing() { return sender.isOpen() ? sender : socket; }
   /// The one to receive on.
   tsl::DatagramSocket & incoming() { return second == nullptr ? socket : *second; }

   /// The engine, which is made when something needs it.
   tsl::Engine<Udp> & engineMade()
   {
      if (engine == nullptr)
         makeEngine();
      return *engine;
   }

   /// Sends bytes or a chain at once, or by the engine if the socket's flags say so.
   template<class... Message>
   tsl::platform::Transfer send(unsigned long flags, DtInetEndpoint const & to, Message const &... message)
   {
      return (flags & DtInetSockFlagAsyncSend) == 0 ? outgoing().sendTo(message..., to)
                                                    : engineMade().put(message..., to);
   }

   /// Receives into memory or a chain, from the socket or, if the socket's flags say so, from the engine.
   template<class... Memory>
   tsl::platform::Transfer receive(unsigned long flags, tsl::platform::SocketName * from,
                                   Memory const &... memory)
   {
      bool const isDirect = (flags & DtInetSockFlagAsyncReceive) == 0;
      return __builtin_expect(isDirect, true) ? incoming().receive(memory..., from)
                                              : engineMade().take(memory..., from);
   }

   /// Opens the system sockets for the family of an endpoint, two of them if `withSender`.
   int open(DtInetEndpoint const & local, bool withSender);

   /// Binds to any address of the host.
   int bind(DtInetEndpoint const & local);
   /// Binds to an address of an interface.
   int bind(DtInetEndpoint const & local, std::uint32_t interfaceIndex);

   /// Has the socket hear one peer only, and no longer so.
   int connect(DtInetEndpoint const & local, DtInetEndpoint const & peer);
   int disconnect();

   // Where a socket option goes, as tsl::setOption() and tsl::getOption() want it: to both sockets, and read
   // from the one that receives.

   bool isOpen() const { return socket.isOpen(); }

   template<class Option>
   int set(Option const & option)
   {
      int const error = socket.set(option);
      return error == 0 && sender.isOpen() ? sender.set(option) : error;
   }

   template<class Option>
   int get(Option & option)
   {
      return socket.get(option);
   }

   DtInetUdpSocket & owner;
   tsl::IoService service;
   tsl::DatagramSocket socket{service};
   tsl::DatagramSocket sender{service};
   /// A foreign socket to receive on, null for none.
   std::unique_ptr<tsl::DatagramSocket> second;
   std::unique_ptr<tsl::Engine<Udp>> engine;

   /// What the interface lets through; without an interface its number is 0.
   tsl::platform::InterfaceFilter filter{};
   /// The group and the local interface address of each joined group.
   std::vector<std::pair<DtInetAddr, DtInetAddr>> memberships;
   /// Stands in where an endpoint is wanted that nobody looks at.
   DtInetEndpoint nowhere;
   /// As it was asked for; 0 if it wasn't.
   int receiveBufferSize = 0;

private:
   [[gnu::cold]] void makeEngine();
   int hearPeer(tsl::platform::SocketName const & peer);
   int bindSender(DtInetEndpoint const & local);
};

/// Receives as recvToChainFrom() does into a chain of one vector, without callbacks.
inline DtInetSockRcvStatus DtInetUdpSocket::receivePiece(char * data, std::size_t size, DtInetEndpoint & from)
{
   tsl::platform::SocketName sender;
   tsl::platform::Transfer const got = myImpl->receive(myFlags, &sender, data, size);
   if (got.error != 0)
      return failedPieceReceive(got.error);
   if (got.count != 0)
   {
      tsl::EndpointAccess::setSender(from, sender);
      countReceived(got.count);
   }
   return DtInetSockRcvStatus(got.count);
}
