// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetTcpSocket.h"
#include "tslutil/inet/tslInetUdpSocket.h"

#include "support/loopbackPeer.h"
#include "support/networkNamespace.h"
#include "support/watchdog.h"
#include "tslutil/inet/tslInetDevice.h"

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/resource.h>
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

/// What a socket tells of its last error: code, state, and the text, if any, behind the name of the class,
/// which has to be there.
inline std::string told(DtInetSocket & socket)
{
   std::string const name =
                        dynamic_cast<DtInetTcpSocket *>(&socket) ? "DtInetTcpSocket::" : "DtInetUdpSocket::",
                     text = socket.getLastErrorString().stdString();
   char const * const states[] = {" error",     " none",       " created", " open",
                                  " listening", " connecting", "",         " connected",
                                  "",           " terminated", " closed"};
   std::string const told = std::to_string(socket.getLastError()) + states[socket.state() + 1];
   bool const isNamed = text.compare(0, name.size(), name) == 0;
   return text.empty() ? told : told + (isNamed ? " " + text.substr(name.size()) : " ? " + text);
}

/// The same behind the answer that the socket has just given, 0 for false.
inline std::string told(int answer, DtInetSocket & socket)
{
   return std::to_string(answer) + ", " + told(socket);
}

/// A number of a table, in hex behind 0x.
template<class Number>
Number as(std::string const & text)
{
   return static_cast<Number>(std::stoul(text, nullptr, 0));
}

/// Sets a limit of this process, as far as the system lets it, and answers what it was.
inline rlim_t limit(decltype(RLIMIT_NOFILE) what, rlim_t now)
{
   rlimit both{};
   getrlimit(what, &both);
   rlim_t const before = std::exchange(both.rlim_cur, std::min(now, both.rlim_max));
   EXPECT_EQ(setrlimit(what, &both), 0);
   return before;
}

/// Notes the setters that its opening goes through, and fails in one of them if asked to.
template<class Socket>
struct Watched : Socket
{
   using Socket::Socket;
   // clang-format off
   bool setNonBlockingOption(bool on) override { return note('b', on) && Socket::setNonBlockingOption(on); }
   bool setReuseAddressOption(bool on) override { return note('r', on) && Socket::setReuseAddressOption(on); }
   bool setSendBufferSize(unsigned long size) override { return note('s', size) && Socket::setSendBufferSize(size); }
   bool setReceiveBufferSize(unsigned long size) override { return note('v', size) && Socket::setReceiveBufferSize(size); }
   // clang-format on
   bool note(char what, unsigned long value)
   {
      calls += what + std::to_string(value) + " ";
      return what == failing ? throw boost::system::system_error(boost::asio::error::no_memory) : true;
   }

   std::string calls;
   char failing = ' ';
};

/// Reaches what a socket keeps protected.
struct OpenUdpSocket : DtInetUdpSocket
{
   using DtInetSocket::fail, DtInetSocket::myCallbacks, DtInetSocket::myDestination,
      DtInetSocket::myLocalEndpoint, DtInetSocket::refuse, DtInetUdpSocket::DtInetUdpSocket,
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
