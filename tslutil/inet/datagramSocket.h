// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/chainCore.h"
#include "tslutil/inet/lazySocket.h"
#include "tslutil/platform/datagram.h"

#include <boost/asio/ip/udp.hpp>

#include <atomic>

namespace tsl
{

/// The name of an endpoint that has protocol UDP; of size 0 for any other.
inline platform::SocketName nameOf(DtInetEndpoint const & endpoint)
{
   return nameOf(endpoint, DtInetProtoUdp);
}

/// The code of an error of a datagram socket. That a peer refused a datagram counts as a reset, 10054.
int datagramErrorNumber(int error);

/// One system socket for datagrams, with which DtInetUdpSocket and the send socket of DtDisSocket work. Used
/// by one thread at a time, but one may send and another receive. Errors are the system's numbers.
///
/// A send or a receive is one system call and takes no memory. Unless the socket is non-blocking, it waits.
class DatagramSocket : public LazySocket<boost::asio::ip::udp>
{
public:
   using LazySocket::LazySocket;

   /// Opens a socket, without the options that a caller may want, that hears only the groups which it joins.
   int open(boost::asio::ip::udp const & protocol);

   /// Binds to address and port of an endpoint that has protocol UDP. Port 0 gets a port that no other socket
   /// has, also if the address is to be shared.
   int bind(DtInetEndpoint const & local);

   /// Connects to a peer, which can't be the any-address or port 0. A send to it then goes the short way.
   int connect(DtInetEndpoint const & peer);
   /// Connects to no peer. The port stays.
   int disconnect();

   /// For a bound socket that only sends: it takes no datagram away from a socket with the same port, and can
   /// still send to any address.
   int makeDeaf(std::uint32_t interfaceIndex);

   /// Sends one datagram to an endpoint that has protocol UDP. The any-address and port 0 are refused. What
   /// is for a group or for all hosts, and has no route, leaves by the default device.
   platform::Transfer sendTo(void const * data, std::size_t size, DtInetEndpoint const & to);
   /// The same for a chain, gathered by the system, of which the first 64 vectors count.
   platform::Transfer sendTo(DtInetSockChain const & chain, DtInetEndpoint const & to);

   /// Sends the first of some datagrams, as many as the system takes without waiting: how many, or the error
   /// of the very first.
   platform::Transfer sendBatch(platform::Datagram const * datagrams, std::size_t count);

   /// Receives one datagram and, unless `from` is null, its sender. A larger one than the memory is an error.
   platform::Transfer receive(void * data, std::size_t size, platform::SocketName * from)
   {
      platform::Transfer const got = platform::receiveDatagram(handle(), data, size, from);
      return got.error == 0 || neverWaits() ? got : receiveAgain(got, data, size, from);
   }
   /// The same into the first 64 vectors of a chain.
   platform::Transfer receive(DtInetSockChain const & chain, platform::SocketName * from);

private:
   [[gnu::cold]] platform::Transfer receiveAgain(platform::Transfer const & first, void * data,
                                                 std::size_t size, platform::SocketName * from);
   template<class Send>
   platform::Transfer sendNamed(DtInetEndpoint const & to, Send const & send);
   template<class Send>
   platform::Transfer sendAgain(platform::Transfer const & first, sockaddr const * name, std::size_t size,
                                Send const & send);
   std::uint32_t defaultInterface(sockaddr const * to);

   // The peer of a connected socket; of size 0 without one.
   platform::SocketName myPeer;
   // The interfaces that broadcasts and groups without a route leave by; 0 until one has been needed.
   std::atomic<std::uint32_t> myDefaultInterface[2] = {};
};

} // namespace tsl
