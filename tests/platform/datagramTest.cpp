// SPDX-License-Identifier: MIT
#include "tslutil/platform/datagram.h"

#include "support/loopbackPeer.h"
#include "tslutil/platform/datagramScope.h"
#include "tslutil/platform/event.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using namespace tsl::platform;

SocketName ipv4(char const * address, unsigned short port)
{
   sockaddr_in name{};
   name.sin_family = AF_INET;
   name.sin_port = htons(port);
   inet_pton(AF_INET, address, &name.sin_addr);
   return {reinterpret_cast<sockaddr const *>(&name), sizeof name};
}

SocketName ipv6(char const * address, unsigned short port)
{
   sockaddr_in6 name{};
   name.sin6_family = AF_INET6;
   name.sin6_port = htons(port);
   inet_pton(AF_INET6, address, &name.sin6_addr);
   return {reinterpret_cast<sockaddr const *>(&name), sizeof name};
}

/// A prepared socket, bound if it is given a name.
struct Socket
{
   explicit Socket(SocketName const & local)
   {
      int const family = local.data()->sa_family;
      EXPECT_EQ(openSocket(family, SOCK_DGRAM, 0, handle), 0);
      EXPECT_EQ(prepareDatagramSocket(handle, family == AF_INET6), 0);
      EXPECT_EQ(bindSocket(handle, local.data(), local.size), 0);
   }
   ~Socket() { EXPECT_EQ(closeSocket(handle), 0); }

   unsigned short port() const
   {
      SocketName name;
      EXPECT_EQ(localSocketName(handle, name), 0);
      return portOf(name);
   }

   bool hears() const
   {
      char bytes[10];
      pollfd wanted{handle, POLLIN, 0};
      return poll(&wanted, 1, 100) == 1 && receiveDatagram(handle, bytes, sizeof bytes, nullptr).error == 0;
   }

   SocketHandle handle = noSocket;
};

TEST(PlatformSocket, IsNotInheritedAndTellsWhatCanBeAPeer)
{
   Socket const socket(ipv4("127.0.0.1", 0));
   EXPECT_EQ(fcntl(socket.handle, F_GETFD), FD_CLOEXEC);
   EXPECT_EQ(shutdownSocket(socket.handle), 0);
   EXPECT_EQ(checkPeer(ipv4("127.0.0.1", 1).data()), 0);
   EXPECT_EQ(checkPeer(ipv6("::1", 1).data()), 0);
   for (SocketName const & name : {ipv4("127.0.0.1", 0), ipv4("0.0.0.0", 1), ipv6("::1", 0), ipv6("::", 1)})
      EXPECT_EQ(checkPeer(name.data()), EADDRNOTAVAIL);
   EXPECT_EQ(checkPeer(nullptr), EDESTADDRREQ);
   EXPECT_EQ(closeSocket(noSocket), EBADF);
}

TEST(PlatformSocket, KeepsItsPortWhenItIsDisconnected)
{
   for (bool const isIpv6 : {false, true})
   {
      Socket const socket(isIpv6 ? ipv6("::", 0) : ipv4("0.0.0.0", 0));
      unsigned short const port = socket.port();
      SocketName const peer = isIpv6 ? ipv6("::1", 9) : ipv4("127.0.0.1", 9);
      ASSERT_EQ(connectSocket(socket.handle, peer.data(), peer.size), 0);
      EXPECT_EQ(disconnectDatagramSocket(socket.handle), 0);
      EXPECT_EQ(socket.port(), port);
      LoopbackPeer stranger(isIpv6 ? "::1" : "127.0.0.1");
      stranger.send("x", isIpv6 ? "::1" : "127.0.0.1", port);
      EXPECT_TRUE(socket.hears());
   }
}

TEST(PlatformSocket, IsDeafAndStillSends)
{
   for (bool const isIpv6 : {false, true})
   {
      char const * const own = isIpv6 ? "::1" : "127.0.0.1";
      Socket const socket(isIpv6 ? ipv6(own, 0) : ipv4(own, 0));
      LoopbackPeer peer(own);
      ASSERT_EQ(makeDeaf(socket.handle, if_nametoindex("lo")), 0);
      peer.send("x", own, socket.port());
      EXPECT_FALSE(socket.hears());
      SocketName const to = isIpv6 ? ipv6(own, peer.port()) : ipv4(own, peer.port());
      EXPECT_EQ(sendDatagram(socket.handle, "y", 1, to.data(), to.size).count, 1);
      EXPECT_EQ(peer.receive(), "y");
      EXPECT_EQ(peer.senderPort(), socket.port());
   }
}

// Where the system doesn't bind it to an interface, as here to one that isn't there, the filter does alone
// what it can: unicast for the address, and of groups what comes by the interface.
TEST(PlatformSocket, HearsItsAddressByTheFilterAlone)
{
   constexpr std::uint32_t theMissing = 0xFFFFFFF0;
   for (std::uint32_t const index : {theMissing, std::uint32_t(if_nametoindex("lo"))})
   {
      Socket const socket(ipv4("0.0.0.0", 0));
      InterfaceFilter filter{index, ipv4("127.0.0.1", 0), 0xFF000000, {}};
      ASSERT_EQ(hearInterfaceOnly(socket.handle, filter), 0);
      LoopbackPeer peer;
      auto const hearsAt = [&](char const * address)
      {
         peer.send("x", address, socket.port());
         return socket.hears();
      };
      EXPECT_TRUE(hearsAt("127.0.0.1"));
      EXPECT_FALSE(hearsAt("127.0.0.2"));
      EXPECT_EQ(hearsAt("127.255.255.255"), index != theMissing);
      filter.peer = ipv4("127.0.0.1", peer.port());
      ASSERT_EQ(hearInterfaceOnly(socket.handle, filter), 0);
      EXPECT_TRUE(hearsAt("127.0.0.1"));
      filter.peer = ipv4("127.0.0.1", static_cast<unsigned short>(peer.port() ^ 1));
      ASSERT_EQ(hearInterfaceOnly(socket.handle, filter), 0);
      EXPECT_FALSE(hearsAt("127.0.0.1"));
   }
}

TEST(PlatformDatagrams, ComeAndGoInBatches)
{
   Socket const receiver(ipv4("127.0.0.1", 0));
   Socket const sender(ipv4("127.0.0.1", 0));
   SocketName const to = ipv4("127.0.0.1", receiver.port());
   char text[] = "abcdefghij";
   Datagram out[5] = {{text, 1, to, false},
                      {text, 2, to, false},
                      {text, 0, to, false},
                      {text, 70000, to, false},
                      {text, 3, to, false}};
   EXPECT_EQ(sendDatagrams(sender.handle, out, 5).count, 3);
   EXPECT_EQ(sendDatagrams(sender.handle, out + 3, 2).error, EMSGSIZE);
   EXPECT_EQ(sendDatagrams(sender.handle, out + 4, 1).count, 1);
   char memory[5][2];
   Datagram in[5];
   for (int i = 0; i < 5; ++i)
   {
      in[i].data = memory[i];
      in[i].size = sizeof memory[i];
   }
   ASSERT_EQ(receiveDatagrams(receiver.handle, in, 5).count, 4);
   std::size_t const sizes[] = {1, 2, 0, 2};
   for (int i = 0; i < 4; ++i)
   {
      EXPECT_EQ(in[i].size, sizes[i]);
      EXPECT_EQ(in[i].isCut, i == 3);
      EXPECT_EQ(in[i].name, ipv4("127.0.0.1", sender.port()));
      EXPECT_EQ(std::memcmp(memory[i], text, sizes[i]), 0);
   }
   Transfer const none = receiveDatagrams(receiver.handle, in, 5);
   EXPECT_TRUE(isWouldBlock(none.error));
   EXPECT_EQ(none.count, 0);
}

TEST(PlatformEvent, IsNumberedFrom3AndResetByReading)
{
   int const kept = dup(0);
   close(0);
   int const event = makeEvent();
   dup2(kept, 0);
   close(kept);
   ASSERT_GE(event, 3);
   std::uint64_t value = 0;
   EXPECT_EQ(read(event, &value, sizeof value), -1);
   signalEvent(event);
   signalEvent(event);
   EXPECT_EQ(read(event, &value, sizeof value), 8);
   EXPECT_EQ(read(event, &value, sizeof value), -1);
   close(event);
}

} // namespace
