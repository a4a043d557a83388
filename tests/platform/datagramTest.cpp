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

SocketName named(std::string const & address, unsigned short port)
{
   sockaddr_in ipv4{AF_INET, htons(port), {}, {}};
   if (inet_pton(AF_INET, address.c_str(), &ipv4.sin_addr) == 1)
      return {reinterpret_cast<sockaddr const *>(&ipv4), sizeof ipv4};
   sockaddr_in6 ipv6{AF_INET6, htons(port), 0, {}, 0};
   EXPECT_EQ(inet_pton(AF_INET6, address.c_str(), &ipv6.sin6_addr), 1);
   return {reinterpret_cast<sockaddr const *>(&ipv6), sizeof ipv6};
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
   Socket const socket(named("127.0.0.1", 0));
   EXPECT_TRUE(fcntl(socket.handle, F_GETFD) == FD_CLOEXEC && shutdownSocket(socket.handle) == 0);
   for (SocketName const & name : {named("127.0.0.1", 1), named("::1", 1)})
      EXPECT_EQ(checkPeer(name.data()), 0);
   for (SocketName const & name :
        {named("127.0.0.1", 0), named("0.0.0.0", 1), named("::1", 0), named("::", 1)})
      EXPECT_EQ(checkPeer(name.data()), EADDRNOTAVAIL);
   EXPECT_TRUE(checkPeer(nullptr) == EDESTADDRREQ && closeSocket(noSocket) == EBADF);
}

// Where the system doesn't bind it to an interface, as here to one that isn't there, the filter does alone
// what it can: unicast for the address, and of groups what comes by the interface.
TEST(PlatformSocket, HearsItsAddressByTheFilterAlone)
{
   constexpr std::uint32_t theMissing = 0xFFFFFFF0;
   for (std::uint32_t const index : {theMissing, std::uint32_t(if_nametoindex("lo"))})
   {
      Socket const socket(named("0.0.0.0", 0));
      InterfaceFilter filter{index, named("127.0.0.1", 0), 0xFF000000, {}};
      LoopbackPeer peer;
      auto const hears = [&](char const * address)
      {
         EXPECT_EQ(hearInterfaceOnly(socket.handle, filter), 0);
         peer.send("x", address, socket.port());
         return socket.hears();
      };
      EXPECT_TRUE(hears("127.0.0.1"));
      EXPECT_FALSE(hears("127.0.0.2"));
      EXPECT_EQ(hears("127.255.255.255"), index != theMissing);
      filter.peer = named("127.0.0.1", peer.port());
      EXPECT_TRUE(hears("127.0.0.1"));
      filter.peer = named("127.0.0.1", static_cast<unsigned short>(peer.port() ^ 1));
      EXPECT_FALSE(hears("127.0.0.1"));
   }
}

TEST(PlatformDatagrams, ComeAndGoInBatches)
{
   Socket const receiver(named("127.0.0.1", 0)), sender(named("127.0.0.1", 0));
   SocketName const to = named("127.0.0.1", receiver.port());
   std::string text = "abcdefghij" + std::string(70000, 'k');
   Datagram out[5], in[5];
   std::size_t const outSizes[] = {1, 2, 0, 70000, 3}, sizes[] = {1, 2, 0, 2};
   char memory[5][2];
   for (int i = 0; i < 5; ++i)
   {
      out[i] = {text.data(), outSizes[i], to, false};
      in[i].data = memory[i];
      in[i].size = sizeof memory[i];
   }
   EXPECT_EQ(sendDatagrams(sender.handle, out, 5).count, 3);
   EXPECT_EQ(sendDatagrams(sender.handle, out + 3, 2).error, EMSGSIZE);
   EXPECT_EQ(sendDatagrams(sender.handle, out + 4, 1).count, 1);
   ASSERT_EQ(receiveDatagrams(receiver.handle, in, 5).count, 4);
   for (int i = 0; i < 4; ++i)
   {
      EXPECT_EQ(std::pair(in[i].size, in[i].isCut), std::pair(sizes[i], i == 3));
      EXPECT_EQ(in[i].name, named("127.0.0.1", sender.port()));
      EXPECT_EQ(std::memcmp(memory[i], text.data(), sizes[i]), 0);
   }
   Transfer const none = receiveDatagrams(receiver.handle, in, 5);
   EXPECT_TRUE(isWouldBlock(none.error) && none.count == 0);
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
