// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tcpEngine.h"
#include "tslutil/inet/tslInetTcpSocket.h"

#include <memory>
#include <optional>
#include <type_traits>

/// What a TCP socket holds: the end of a stream or a listener, and neither before a connection was accepted
/// into it.
struct DtInetTcpSocketImpl
{
   typedef boost::asio::ip::tcp Tcp;

   explicit DtInetTcpSocketImpl(DtInetTcpSocket & socketOwner) : owner(socketOwner) {}

   /// The socket, which is made if there is none yet.
   tsl::StreamSocket & socketMade() { return socket ? *socket : socket.emplace(service); }

   /// The engine, which is made when something needs it.
   tsl::Engine<Tcp> & engineMade();

   /// Sends bytes or a chain at once, or by the engine if the socket's flags say so.
   template<class... Message>
   tsl::platform::Transfer send(unsigned long flags, DtInetEndpoint const & to, Message const &... message)
   {
      return (flags & DtInetSockFlagAsyncSend) == 0 ? socket->send(message...)
                                                    : engineMade().put(message..., to);
   }

   /// Receives into memory or a chain, from the socket or, if the socket's flags say so, from the engine.
   template<class... Memory>
   tsl::platform::Transfer receive(unsigned long flags, Memory const &... memory)
   {
      return (flags & DtInetSockFlagAsyncReceive) == 0 ? socket->receive(memory...)
                                                       : engineMade().take(memory..., nullptr);
   }

   // Where a socket option goes, as tsl::setOption() and tsl::getOption() want it.

   bool isListening() const { return acceptor && acceptor->isOpen(); }
   bool isOpen() const { return isListening() || (socket && socket->isOpen()); }

   template<class Option>
   int set(Option const & option)
   {
      if (std::is_same_v<Option, boost::asio::socket_base::receive_low_watermark>)
         hasWatermark = true;
      return isListening() ? acceptor->set(option) : socket->set(option);
   }

   template<class Option>
   int get(Option & option)
   {
      return isListening() ? acceptor->get(option) : socket->get(option);
   }

   // A listener and what it accepts keep sharing the address, whatever is asked for: while one of these
   // connections fades, the listener could not be started again.

   int set(boost::asio::socket_base::reuse_address const & option)
   {
      isReuseAsked = option.value();
      return keepsReuse ? 0 : socket->set(option);
   }

   int get(boost::asio::socket_base::reuse_address & option)
   {
      option = isReuseAsked;
      return keepsReuse ? 0 : socket->get(option);
   }

   /// The system's socket, of either kind.
   tsl::platform::SocketHandle handle() const
   {
      if (acceptor)
         return acceptor->handle();
      return socket ? socket->handle() : tsl::platform::noSocket;
   }

   int localName(tsl::platform::SocketName & name) const
   {
      return tsl::platform::localSocketName(handle(), name);
   }

   DtInetTcpSocket & owner;
   tsl::IoService service;
   std::optional<tsl::ListeningSocket> acceptor;
   std::optional<tsl::StreamSocket> socket;

   // With what the socket needs for every call close in front.

   /// Whether a receive low watermark was set, also one that a listener has passed on.
   bool hasWatermark = false;
   bool keepsReuse = false;
   bool isReuseAsked = false;
   /// The family that a listener listens on; 0 of others.
   DtInetUtils::DtInetAddrFamily family = DtInetUtils::DtInetFamilyUnspecified;
   std::unique_ptr<tsl::Engine<Tcp>> engine;
};

namespace tsl
{

/// How the manager of connections reaches what a TCP socket keeps to itself.
struct TcpSocketAccess
{
   static DtInetTcpSocketImpl & impl(DtInetTcpSocket & socket) { return *socket.myImpl; }
};

} // namespace tsl
