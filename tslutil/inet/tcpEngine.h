// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/engine.h"
#include "tslutil/inet/streamSocket.h"

#include <boost/asio/ip/tcp.hpp>

#include <limits>

namespace tsl
{

/// How the engine of a TCP socket reads and writes. A message is a block as it arrived, or was sent.
template<>
struct EngineTraits<boost::asio::ip::tcp>
{
   typedef StreamSocket Socket;
   static constexpr std::size_t theBatch = 1;
   // What follows a gap would be no stream.
   static constexpr int theLoss = std::numeric_limits<int>::max();

   static int name(DtInetEndpoint const &, platform::SocketName &) { return 0; }

   static platform::Transfer read(Socket & socket, platform::Datagram * block, std::size_t);
   static platform::Transfer write(Socket & socket, platform::Datagram const * blocks, std::size_t count,
                                   std::size_t & begun);
};

extern template class Engine<boost::asio::ip::tcp>;

} // namespace tsl
