// SPDX-License-Identifier: MIT
// Who hears what: several sockets on one port of a host with two interfaces, on the wire and on the host
// itself.
#include "tslutil/inet/tslInetUdpSocket.h"

#include "support/loopbackPeer.h"
#include "support/networkNamespace.h"
#include "support/watchdog.h"
#include "tslutil/inet/tslInetDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>

namespace
{

constexpr unsigned short thePort = 3000;
constexpr unsigned long theFlags = DtInetSockFlagsDefault | DtInetSockFlagNonBlocking;
char const theEnd[] = "end";

DtInetEndpoint udp(char const * address, unsigned short port)
{
   return {DtInetAddr(address), port, DtInetProtoUdp};
}

/// What a socket has heard up to the end mark.
std::string heard(DtInetUdpSocket & socket)
{
   std::string all;
   char bytes[100];
   bool isOver = false;
   eventually(
      [&]
      {
         for (int got = 0; !isOver && (got = socket.recv(bytes, sizeof bytes)) != 0;)
         {
            EXPECT_GT(got, 0) << socket.getLastErrorString();
            std::string const text(bytes, static_cast<std::size_t>(std::max(got, 0)));
            isOver = got < 0 || text == theEnd;
            all += isOver ? "" : text;
         }
         return isOver;
      });
   EXPECT_TRUE(isOver) << "the end mark is missing";
   return all;
}

/// A host with two interfaces, "eth1" and "eth2", each linked to an interface of the same name of another
/// host. The test runs on the first.
class Reach : public testing::TestWithParam<bool>
{
protected:
   void SetUp() override
   {
      SKIP_BECAUSE(NetworkNamespace::whyNot());
      near.emplace();
      far.emplace();
      for (std::string const number : {"1", "2"})
      {
         std::string const name = "eth" + number;
         ASSERT_TRUE(NetworkNamespace::connect(*near, name, *far, name));
         near->addAddress(name, "10.1." + number + ".1/24");
         far->addAddress(name, "10.1." + number + ".2/24");
         near->addAddress(name, "fd00:" + number + "::1/64");
         far->addAddress(name, "fd00:" + number + "::2/64");
      }
      // A second network on the first link.
      near->addAddress("eth1", "10.1.9.1/24");
      far->addAddress("eth1", "10.1.9.2/24");
      near->addAddress("eth1", "fd00:9::1/64");
      far->addAddress("eth1", "fd00:9::2/64");
      inside.emplace(*near);
   }

   /// A peer on the other host.
   std::unique_ptr<LoopbackPeer> farPeer(std::string const & address)
   {
      NetworkNamespace::Inside const there(*far);
      return std::make_unique<LoopbackPeer>(address);
   }

   std::optional<NetworkNamespace> near;
   std::optional<NetworkNamespace> far;
   std::optional<NetworkNamespace::Inside> inside;
};

struct Row
{
   char const * what;
   /// A sender: 1 and 2 are on the other host by its addresses on the two links, 0 is on the host itself.
   int sender;
   char const * to;
   /// Of the sockets a on eth1, b on eth2 and w on none.
   char const * hearers;
};

// Group 1 is joined by a on eth1, group 2 by w on eth2, and group 3 by a foreign socket on eth1.
Row const theIpv4Rows[] = {
   {"unicast to eth1", 1, "10.1.1.1", "a"},
   {"unicast to eth2", 2, "10.1.2.1", "b"},
   {"unicast to eth1 from the host itself", 0, "10.1.1.1", "a"},
   {"unicast to eth2 from the host itself", 0, "10.1.2.1", "b"},
   {"unicast to loopback", 0, "127.0.0.1", "w"},
   {"unicast to another address of eth1", 1, "10.1.9.1", ""},
   {"subnet broadcast on eth1", 1, "10.1.1.255", "aw"},
   {"subnet broadcast on eth2", 2, "10.1.2.255", "bw"},
   {"subnet broadcast on eth1 from the host itself", 0, "10.1.1.255", "aw"},
   {"broadcast to the second network of eth1", 1, "10.1.9.255", "aw"},
   {"broadcast to the second network from the host itself", 0, "10.1.9.255", "aw"},
   {"limited broadcast on eth1", 1, "255.255.255.255", "aw"},
   {"limited broadcast on eth2", 2, "255.255.255.255", "bw"},
   {"group 1 on eth1", 1, "239.1.1.1", "a"},
   {"group 1 on eth1 from the host itself", 0, "239.1.1.1", "a"},
   {"group 1 on eth2", 2, "239.1.1.1", ""},
   {"group 2 on eth2", 2, "239.1.1.2", "w"},
   {"group 2 on eth1", 1, "239.1.1.2", ""},
   {"group 3 on eth1", 1, "239.1.1.3", ""},
   {"group 3 on eth1 from the host itself", 0, "239.1.1.3", ""},
};

Row const theIpv6Rows[] = {
   {"unicast to eth1", 1, "fd00:1::1", "a"},
   {"unicast to eth2", 2, "fd00:2::1", "b"},
   {"unicast to eth1 from the host itself", 0, "fd00:1::1", "a"},
   {"unicast to eth2 from the host itself", 0, "fd00:2::1", "b"},
   {"unicast to loopback", 0, "::1", "w"},
   {"unicast to another address of eth1", 1, "fd00:9::1", ""},
   {"all nodes of eth1", 1, "ff02::1%eth1", ""},
   {"group 1 on eth1", 1, "ff15::1", "a"},
   {"group 1 on eth1 from the host itself", 0, "ff15::1", "a"},
   {"group 1 on eth2", 2, "ff15::1", ""},
   {"group 2 on eth2", 2, "ff15::2", "w"},
   {"group 2 on eth1", 1, "ff15::2", ""},
   {"group 3 on eth1", 1, "ff15::3", ""},
   {"group 3 on eth1 from the host itself", 0, "ff15::3", ""},
};

TEST_P(Reach, SocketsOfOnePortHearWhatIsForThem)
{
   bool const isIpv6 = GetParam();
   Watchdog const watchdog;
   DtInetDevice eth1(DtString(isIpv6 ? "fd00:1::1" : "10.1.1.1"));
   DtInetDevice eth2(DtString(isIpv6 ? "fd00:2::1" : "10.1.2.1"));
   std::string const group = isIpv6 ? "ff15::" : "239.1.1.";
   DtInetEndpoint const anywhere = udp(isIpv6 ? "fd00:1::2" : "10.1.1.2", 9);
   DtInetUdpSocket a(anywhere, thePort, &eth1, theFlags);
   DtInetUdpSocket b(anywhere, thePort, &eth2, theFlags);
   DtInetUdpSocket w(anywhere, thePort, nullptr, theFlags);
   for (DtInetUdpSocket * const socket : {&a, &b, &w})
      ASSERT_TRUE(socket->isOk()) << socket->getLastErrorString();
   ASSERT_TRUE(a.joinMulticastGroup(DtInetAddr((group + "1").c_str()), &eth1)) << a.getLastErrorString();
   ASSERT_TRUE(w.joinMulticastGroup(DtInetAddr((group + "2").c_str()), &eth2)) << w.getLastErrorString();
   LoopbackPeer host(isIpv6 ? "::" : "0.0.0.0");
   host.join(group + "3", "eth1");
   auto const far1 = farPeer(isIpv6 ? "fd00:1::2" : "10.1.1.2");
   auto const far2 = farPeer(isIpv6 ? "fd00:2::2" : "10.1.2.2");
   LoopbackPeer * const senders[] = {&host, far1.get(), far2.get()};

   auto const check = [&](Row const & row)
   {
      std::string const leavingBy = row.sender == 2 ? "eth2" : "eth1";
      {
         NetworkNamespace::Inside const there(row.sender == 0 ? *near : *far);
         senders[row.sender]->send("x", row.to, thePort, leavingBy);
      }
      far1->send(theEnd, isIpv6 ? "fd00:1::1" : "10.1.1.1", thePort);
      far2->send(theEnd, isIpv6 ? "fd00:2::1" : "10.1.2.1", thePort);
      host.send(theEnd, isIpv6 ? "::1" : "127.0.0.1", thePort);
      std::string hearers;
      for (auto const & [name, socket] : {std::pair("a", &a), std::pair("b", &b), std::pair("w", &w)})
         hearers += heard(*socket) == "x" ? name : "";
      EXPECT_EQ(hearers, row.hearers) << row.what;
   };
   if (isIpv6)
      std::for_each(std::begin(theIpv6Rows), std::end(theIpv6Rows), check);
   else
      std::for_each(std::begin(theIpv4Rows), std::end(theIpv4Rows), check);
}

// What it sends carries the device's address and its port, wherever it goes; and what comes back is heard.
TEST_P(Reach, DeviceGivesItsAddressToWhatIsSent)
{
   bool const isIpv6 = GetParam();
   Watchdog const watchdog;
   std::string const own = isIpv6 ? "fd00:1::1" : "10.1.1.1";
   std::string const group = isIpv6 ? "ff15::1" : "239.1.1.1";
   for (unsigned long const extra : {0ul, 0x300ul})
   {
      DtInetDevice eth1(DtString(own.c_str()));
      DtInetUdpSocket socket(udp(isIpv6 ? "fd00:2::2" : "10.1.2.2", 9), 0, &eth1, theFlags | extra);
      ASSERT_TRUE(socket.isOk()) << socket.getLastErrorString();
      EXPECT_STREQ(socket.localEndpoint().address().toDtString(), own.c_str());
      ASSERT_NE(socket.localPort(), 0);
      LoopbackPeer otherAddress(isIpv6 ? "fd00:2::1" : "10.1.2.1");
      LoopbackPeer loopback(isIpv6 ? "::1" : "127.0.0.1");
      auto const neighbour = farPeer(isIpv6 ? "fd00:1::2" : "10.1.1.2");
      auto const listener = farPeer(isIpv6 ? "::" : "0.0.0.0");
      {
         NetworkNamespace::Inside const there(*far);
         listener->join(group, "eth1");
      }
      std::pair<LoopbackPeer *, std::string> const targets[] = {
         {neighbour.get(), isIpv6 ? "fd00:1::2" : "10.1.1.2"},
         {&otherAddress, isIpv6 ? "fd00:2::1" : "10.1.2.1"},
         {&loopback, isIpv6 ? "::1" : "127.0.0.1"},
         {listener.get(), group},
         {listener.get(), isIpv6 ? group : "255.255.255.255"},
         {listener.get(), isIpv6 ? group : "10.1.1.255"},
      };
      char text[] = "hello";
      for (auto const & [peer, address] : targets)
      {
         DtInetEndpoint to = udp(address.c_str(), peer->port());
         EXPECT_EQ(socket.sendTo(text, 5, to), 5) << address << ": " << socket.getLastErrorString();
         EXPECT_EQ(peer->receive(), "hello") << address;
         EXPECT_EQ(peer->senderAddress(), own) << address;
         EXPECT_EQ(peer->senderPort(), socket.localPort()) << address;
      }
      DtInetEndpoint from;
      neighbour->send("back", own, socket.localPort());
      char bytes[10];
      EXPECT_TRUE(eventually([&] { return socket.recvFrom(bytes, sizeof bytes, from) == 4; }));
      EXPECT_EQ(from.port(), neighbour->port());
   }
}

// On one link two addresses, and the socket chosen to be the second.
TEST_P(Reach, ConnectedSocketHearsItsPeerOnly)
{
   bool const isIpv6 = GetParam();
   Watchdog const watchdog;
   std::string const own = isIpv6 ? "fd00:9::1" : "10.1.9.1";
   DtInetDevice second(DtString(own.c_str()));
   auto const peer = farPeer(isIpv6 ? "fd00:1::2" : "10.1.1.2");
   auto const stranger = farPeer(isIpv6 ? "fd00:1::2" : "10.1.1.2");
   for (DtInetDevice * const device : {&second, static_cast<DtInetDevice *>(nullptr)})
   {
      DtInetUdpSocket socket(udp(isIpv6 ? "fd00:1::2" : "10.1.1.2", peer->port()), 0, device, theFlags);
      ASSERT_TRUE(socket.connectToDestination()) << socket.getLastErrorString();
      EXPECT_EQ(socket.state(), DtInetSockConnected);
      unsigned short const port = socket.localPort();
      std::string const target(socket.localEndpoint().address().toDtString());
      EXPECT_EQ(target, device != nullptr ? own : isIpv6 ? "fd00:1::1" : "10.1.1.1");
      stranger->send("1", target, port);
      peer->send("2", target, port);
      peer->send(theEnd, target, port);
      EXPECT_EQ(heard(socket), "2");
      char text[] = "x";
      EXPECT_EQ(socket.send(text, 1), 1);
      EXPECT_EQ(peer->receive(), "x");
      EXPECT_EQ(peer->senderPort(), port);
      // Unconnected again it keeps its port, hears all, and still sends to its destination.
      EXPECT_TRUE(socket.disconnect()) << socket.getLastErrorString();
      EXPECT_EQ(socket.state(), DtInetSockConnected);
      stranger->send("3", target, port);
      peer->send(theEnd, target, port);
      EXPECT_EQ(heard(socket), "3");
      EXPECT_EQ(socket.send(text, 1), 1);
      EXPECT_EQ(peer->receive(), "x");
      EXPECT_EQ(peer->senderPort(), port);
      EXPECT_TRUE(socket.closeSocket()) << socket.getLastErrorString();
   }
}

INSTANTIATE_TEST_SUITE_P(Families, Reach, testing::Bool(),
                         [](auto const & family) { return family.param ? "Ipv6" : "Ipv4"; });

// A port of a device is the socket's alone, unless all who have it are ready to share it.
TEST_F(Reach, PortIsSharedOnlyIfAllAgree)
{
   unsigned long const exclusive = theFlags & ~static_cast<unsigned long>(DtInetSockFlagReuseAddress);
   DtInetDevice eth1(DtString("eth1"));
   DtInetDevice eth2(DtString("eth2"));
   struct
   {
      DtInetDevice * first;
      unsigned long firstFlags;
      DtInetDevice * second;
      unsigned long secondFlags;
      bool isShared;
   } const rows[] = {
      {&eth1, theFlags, &eth1, theFlags, true},     {&eth1, theFlags, &eth1, exclusive, false},
      {&eth1, exclusive, &eth1, theFlags, false},   {&eth1, exclusive, nullptr, theFlags, false},
      {nullptr, exclusive, &eth1, theFlags, false}, {nullptr, theFlags, &eth1, theFlags, true},
   };
   DtInetEndpoint const anywhere = udp("10.1.1.2", 9);
   for (auto const & row : rows)
   {
      DtInetUdpSocket first(anywhere, thePort, row.first, row.firstFlags);
      ASSERT_TRUE(first.isOk()) << first.getLastErrorString();
      EXPECT_EQ(first.getReuseAddressOption(), row.firstFlags == theFlags);
      DtInetUdpSocket second(anywhere, thePort, row.second, row.secondFlags);
      EXPECT_EQ(second.isOk(), row.isShared) << &row - rows;
      EXPECT_EQ(second.getLastError(), row.isShared ? 0 : 10048);
   }
}

// A port that the system chooses is nobody else's, also among sockets that share what they are told to have.
TEST(ReachOnLoopback, PortOfTheSystemsChoiceIsSharedWithNobody)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace const host;
   NetworkNamespace::Inside const inside(host);
   std::ofstream("/proc/sys/net/ipv4/ip_local_port_range") << "40000 40000" << std::flush;
   DtInetDevice lo(DtString("lo"));
   for (DtInetDevice * const first : {&lo, static_cast<DtInetDevice *>(nullptr)})
      for (DtInetDevice * const second : {&lo, static_cast<DtInetDevice *>(nullptr)})
      {
         DtInetUdpSocket socket(udp("127.0.0.1", 9), 0, first, theFlags);
         EXPECT_EQ(socket.localPort(), 40000);
         DtInetUdpSocket other(udp("127.0.0.1", 9), 0, second, theFlags);
         EXPECT_EQ(other.getLastError(), 10048);
      }
}

TEST_F(Reach, BroadcastDestinationBecomesThatOfTheDevice)
{
   Watchdog const watchdog;
   DtInetDevice eth1(DtString("eth1"));
   DtInetAddr const generic("10.255.255.255", "255.0.0.0");
   DtInetUdpSocket socket(DtInetEndpoint(generic, 3100, DtInetProtoUdp), 0, &eth1, theFlags);
   ASSERT_TRUE(socket.isOk()) << socket.getLastErrorString();
   EXPECT_STREQ(socket.destination().toDtString(), "10.1.1.255:3100");
   EXPECT_STREQ(socket.localEndpoint().toDtString(true), "10.1.1.1:3100(UDP)");
   DtInetUdpSocket nodes(udp("ff02::1", 3101), 0, &eth1, theFlags);
   ASSERT_TRUE(nodes.isOk()) << nodes.getLastErrorString();
   far->onThread(
      [&]
      {
         LoopbackPeer peer("10.1.1.2");
         peer.send("1", "10.1.1.255", 3100);
         peer.send(theEnd, "10.1.1.255", 3100);
         LoopbackPeer peer6("fd00:1::2");
         peer6.send("2", "ff02::1%eth1", 3101);
         peer6.send(theEnd, "ff02::1%eth1", 3101);
      });
   EXPECT_EQ(heard(socket), "1");
   EXPECT_EQ(heard(nodes), "2");
}

/// A host with loopback and nothing else.
TEST(ReachOnLoopback, DeviceHearsAllThatIsOnIt)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace const host;
   NetworkNamespace::Inside const inside(host);
   Watchdog const watchdog;
   DtInetDevice lo(DtString("lo"));
   DtInetUdpSocket group(udp("239.1.1.1", thePort), 0, &lo, theFlags);
   DtInetUdpSocket unicast(udp("127.0.0.1", 9), thePort, &lo, theFlags);
   DtInetUdpSocket ipv6(udp("::1", 9), thePort, &lo, theFlags);
   for (DtInetUdpSocket * const socket : {&group, &unicast, &ipv6})
      ASSERT_TRUE(socket->isOk()) << socket->getLastErrorString();
   char text[] = "12345";
   // Its own multicast, and a broadcast to all on the port; which of the two gets unicast, is the system's.
   EXPECT_EQ(group.send(text, 1), 1) << group.getLastErrorString();
   DtInetEndpoint broadcast = udp("127.255.255.255", thePort);
   EXPECT_EQ(unicast.sendTo(text + 1, 1, broadcast), 1) << unicast.getLastErrorString();
   DtInetEndpoint all = udp("255.255.255.255", thePort);
   EXPECT_EQ(unicast.sendTo(text + 2, 1, all), 1) << unicast.getLastErrorString();
   std::strcpy(text, theEnd);
   EXPECT_EQ(unicast.sendTo(text, 3, broadcast), 3);
   EXPECT_EQ(heard(group), "123");
   EXPECT_EQ(heard(unicast), "23");
   DtInetEndpoint self = udp("::1", thePort);
   EXPECT_EQ(ipv6.sendTo(text, 3, self), 3) << ipv6.getLastErrorString();
   EXPECT_EQ(heard(ipv6), "");
   EXPECT_TRUE(group.dropMulticastGroup(DtInetAddr("239.1.1.1"), nullptr)) << group.getLastErrorString();
}

// Without any route, groups and broadcasts to all leave by the default device.
TEST(ReachOnLoopback, GroupWithoutARouteLeavesByTheDefaultDevice)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace const host;
   NetworkNamespace::Inside const inside(host);
   Watchdog const watchdog;
   LoopbackPeer peer("0.0.0.0");
   peer.join("239.1.1.1", "lo");
   for (unsigned long const extra : {0ul, 0x200ul})
   {
      DtInetUdpSocket socket(udp("127.0.0.1", 9), 0, nullptr, theFlags | extra);
      for (char const * const address : {"239.1.1.1", "255.255.255.255"})
      {
         DtInetEndpoint to = udp(address, peer.port());
         std::vector<char> bytes{'h', 'i'};
         DtInetSockChain chain{&bytes};
         EXPECT_EQ(socket.sendTo(bytes.data(), 2, to), 2) << socket.getLastErrorString();
         EXPECT_EQ(socket.sendChainTo(chain, to), 2) << socket.getLastErrorString();
         EXPECT_EQ(peer.receive(), "hi") << address;
         EXPECT_EQ(peer.receive(), "hi") << address;
      }
   }
}

} // namespace
