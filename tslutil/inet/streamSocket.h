// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/chainCore.h"
#include "tslutil/inet/lazySocket.h"
#include "tslutil/platform/stream.h"

#include <boost/asio/ip/tcp.hpp>

namespace tsl
{

/// The error of a receive that finds the stream at its end.
constexpr int theEndOfStream = -boost::asio::error::eof;

/// A system socket of TCP with two options that Boost's object keeps a mark of. The marks go with the socket
/// when it becomes a Boost socket.
template<class Boost>
class MarkedSocket : public LazySocket<boost::asio::ip::tcp, Boost>
{
   typedef LazySocket<boost::asio::ip::tcp, Boost> Base;
   typedef boost::asio::socket_base::enable_connection_aborted AbortReport;

public:
   using Base::Base;
   using Base::get;
   using Base::set;

   int set(boost::asio::socket_base::linger const & option);
   int set(AbortReport const & option);
   int get(AbortReport & option);

   /// Binds to address and port of an endpoint that has protocol TCP.
   int bind(DtInetEndpoint const & local);

   Boost & boostSocket();

private:
   template<class Option>
   int setBoosts(Option const & option);

   bool hasLinger = false;
   bool isAbortReported = false;
};

/// One end of a stream, with which DtInetTcpSocket works. Used by one thread at a time, but one may send and
/// another receive once it is connected. Errors are the system's numbers, and theEndOfStream.
///
/// A send or a receive is one system call as a rule and takes no memory. Unless the socket is non-blocking,
/// it waits. While a connect is under way or after it was refused, either says not_connected.
class StreamSocket : public MarkedSocket<boost::asio::ip::tcp::socket>
{
public:
   using MarkedSocket::MarkedSocket;

   /// Connects to an endpoint that has protocol TCP. A non-blocking socket answers in_progress, as a rule.
   int connect(DtInetEndpoint const & peer);

   /// Sends all the bytes; a non-blocking socket those that the system takes.
   platform::Transfer send(void const * data, std::size_t size)
   {
      // As Boost has it, no bytes are no operation.
      if (size == 0 && !isConnecting)
         return {0, 0};
      platform::Transfer const sent = platform::sendStream(handle(), data, size);
      if (sent.error != 0 || static_cast<std::size_t>(sent.count) != size)
         return sendRest(data, size, sent);
      isConnecting = false;
      return sent;
   }
   /// The same for the first 64 vectors of a chain.
   platform::Transfer send(DtInetSockChain const & chain);

   /// Receives what has arrived; 0 bytes only for no room.
   platform::Transfer receive(void * data, std::size_t size)
   {
      if (size == 0)
         return {0, 0};
      platform::Transfer const got = platform::receiveStream(handle(), data, size);
      if (got.count == 0)
         return receiveLater(data, size, got);
      isConnecting = false;
      return got;
   }
   /// The same into the first 64 vectors of a chain.
   platform::Transfer receive(DtInetSockChain const & chain);

   /// The code of an error. On a stream that was connected, a network that fails has lost the peer, 10060.
   int errorNumber(int error) const;

private:
   // The parts of send() and receive() that are seldom needed stand elsewhere: between two system calls there
   // is little room in the processor's caches.
   [[gnu::cold]] platform::Transfer sendRest(void const * data, std::size_t size,
                                             platform::Transfer const & sent);
   platform::Transfer receiveLater(void * data, std::size_t size, platform::Transfer const & got);
   platform::Transfer sendRest(platform::Slice * slices, std::size_t count, platform::Transfer sent);
   platform::Transfer received(platform::Transfer const & got);
   int meaningOf(int error);

   // Until a connect that is under way is known to have come to something.
   bool isConnecting = false;
};

/// A socket that listens for connections, also while connections to its port fade from earlier.
class ListeningSocket : public MarkedSocket<boost::asio::ip::tcp::acceptor>
{
public:
   using MarkedSocket::MarkedSocket;

   /// Binds and listens.
   int listen(DtInetEndpoint const & local, int backlog);

   /// Takes the next connection; unless the socket is non-blocking, waits for one. Connections that were
   /// given up before are passed over if it waits, or an error if that was chosen.
   int accept(platform::SocketHandle & accepted, platform::SocketName & peer);
};

/// Opens a stream socket or a listener that children don't inherit; IPv6 ones reach IPv4 hosts too.
int openStream(StreamSocket & socket, bool isIpv6);
int openStream(ListeningSocket & socket, bool isIpv6);

} // namespace tsl
