// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetTcpSocket.h"
#include "tslutil/inet/tslInetUdpSocket.h"

#include "support/loopbackPeer.h"
#include "support/networkNamespace.h"
#include "support/watchdog.h"
#include "tslutil/inet/tslInetDevice.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// What the tests of sockets share.
namespace socketKit
{

inline constexpr unsigned long theNonBlocking = DtInetSockFlagsDefault | DtInetSockFlagNonBlocking;
inline constexpr unsigned long theAsync =
   DtInetSockFlagsDefault | DtInetSockFlagAsyncReceive | DtInetSockFlagAsyncSend | DtInetSockFlagNonBlocking;

inline DtInetEndpoint loopback(unsigned short port = 9, DtInetProtocol protocol = DtInetProtoUdp)
{
   return {DtInetAddr("127.0.0.1"), port, protocol};
}

/// What a socket tells of its last error: code, state, and the text behind the name of the class, which has
/// to be there.
inline std::string told(DtInetSocket & socket)
{
   std::string const name =
                        dynamic_cast<DtInetTcpSocket *>(&socket) ? "DtInetTcpSocket::" : "DtInetUdpSocket::",
                     text = socket.getLastErrorString().stdString();
   std::string const states[] = {" error ",      " none ", " created ",   " open ", " listening ",
                                 " connecting ", "",       " connected ", "",       " terminated ",
                                 " closed "};
   return std::to_string(socket.getLastError()) + states[socket.state() + 1] +
          (text.compare(0, name.size(), name) == 0 ? text.substr(name.size()) : "? " + text);
}

/// The same behind the answer that the socket has just given, 0 for false.
inline std::string told(int answer, DtInetSocket & socket)
{
   return std::to_string(answer) + ", " + told(socket);
}

/// Reaches what a socket keeps protected.
struct OpenUdpSocket : DtInetUdpSocket
{
   using DtInetSocket::fail, DtInetSocket::findAndRemoveCallback, DtInetSocket::myCallbacks,
      DtInetSocket::myDestination, DtInetSocket::myLocalEndpoint, DtInetSocket::myTerminationCode,
      DtInetSocket::myTerminationText, DtInetSocket::refuse, DtInetUdpSocket::DtInetUdpSocket,
      DtInetUdpSocket::setSecondUdpSocket;
};

/// A test with a peer of the system's own, which must not hang.
struct WithPeer : testing::Test
{
   /// Has the peer send a datagram to a socket.
   void deliver(std::string const & bytes, DtInetSocket const & to)
   {
      peer.send(bytes, "127.0.0.1", to.localPort());
   }

   Watchdog const watchdog{240};
   LoopbackPeer peer;
};

/// A chain of vectors, each filled with the bytes of a text.
struct Chain
{
   explicit Chain(std::vector<std::string> const & texts)
   {
      for (std::string const & text : texts)
         pieces.emplace_back(text.begin(), text.end());
      for (std::vector<char> & piece : pieces)
         chain.push_back(&piece);
   }

   std::string text() const
   {
      std::string all;
      for (std::vector<char> const & piece : pieces)
         all.append(piece.begin(), piece.end());
      return all;
   }

   std::vector<std::vector<char>> pieces;
   DtInetSockChain chain;
};

/// A socket's counters, as pairs of packets and bytes.
struct Counters
{
   explicit Counters(DtInetSocket const & socket)
      : sent{socket.totalPacketsSent(), socket.totalBytesSent()},
        received{socket.totalPacketsReceived(), socket.totalBytesReceived()}
   {
   }

   std::pair<std::uint64_t, std::uint64_t> sent;
   std::pair<std::uint64_t, std::uint64_t> received;
};

typedef std::pair<std::uint64_t, std::uint64_t> Count;

} // namespace socketKit
