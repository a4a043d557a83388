// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

/// The other end of a conversation in datagrams, on the system's own calls: nothing of the library is in what
/// it sends or hears. Made in the calling thread's network, on loopback by default; failures of its own fail
/// the test.
///
///    LoopbackPeer peer;
///    peer.send("ping", "127.0.0.1", socket.localPort());
///    EXPECT_EQ(peer.receive(), "pong");
class LoopbackPeer
{
public:
   /// Bound to an address of this host, IPv4 or IPv6 ("fe80::1%eth0"), and a port, 0 for one that the system
   /// chooses.
   explicit LoopbackPeer(std::string const & address = "127.0.0.1", unsigned short port = 0);
   ~LoopbackPeer();
   LoopbackPeer(LoopbackPeer &&) = delete;

   unsigned short port() const;

   /// Sends one datagram; `leavingBy` names the interface for a group.
   void send(std::string const & bytes, std::string const & address, unsigned short port,
             std::string const & leavingBy = "");

   /// The bytes of the next datagram; nothing if none arrives in time.
   std::optional<std::string> receive(double seconds = 5.0);

   /// The address and port that the last datagram came from.
   std::string const & senderAddress() const { return lastSender; }
   unsigned short senderPort() const { return lastPort; }

   /// Joins a group on an interface.
   void join(std::string const & group, std::string const & interfaceName);

private:
   int descriptor;
   bool isIpv6;
   std::string lastSender;
   unsigned short lastPort = 0;
};

/// A port of loopback that no socket has, for the moment.
unsigned short unusedPort();
