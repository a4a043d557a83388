// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetUdpSocket.h"

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

inline DtInetEndpoint loopback(unsigned short port, DtInetProtocol protocol = DtInetProtoUdp)
{
   return {DtInetAddr("127.0.0.1"), port, protocol};
}

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
   explicit Counters(DtInetUdpSocket const & socket)
      : sent{socket.totalPacketsSent(), socket.totalBytesSent()},
        received{socket.totalPacketsReceived(), socket.totalBytesReceived()}
   {
   }

   std::pair<std::uint64_t, std::uint64_t> sent;
   std::pair<std::uint64_t, std::uint64_t> received;
};

typedef std::pair<std::uint64_t, std::uint64_t> Count;

} // namespace socketKit
