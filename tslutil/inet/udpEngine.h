// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/datagramSocket.h"
#include "tslutil/inet/engine.h"

#include <boost/asio/ip/udp.hpp>

namespace tsl
{

/// How the engine of a UDP socket reads and writes.
template<>
struct EngineTraits<boost::asio::ip::udp>
{
   typedef DatagramSocket Socket;
   static constexpr std::size_t theBatch = 32;
   static constexpr int theLoss = 1;

   static int name(DtInetEndpoint const & peer, platform::SocketName & name)
   {
      name = nameOf(peer);
      return platform::checkPeer(name.size == 0 ? nullptr : name.data());
   }

   static platform::Transfer read(Socket & socket, platform::Datagram * datagrams, std::size_t count)
   {
      return platform::receiveDatagrams(socket.handle(), datagrams, count);
   }

   static platform::Transfer write(Socket & socket, platform::Datagram const * datagrams, std::size_t count,
                                   std::size_t &)
   {
      return socket.sendBatch(datagrams, count);
   }
};

extern template class Engine<boost::asio::ip::udp>;

} // namespace tsl
