// SPDX-License-Identifier: MIT
// Who hears what: several sockets on one port of a host with two interfaces, on the wire and on the host
// itself.
#include "inet/socketKit.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <optional>

namespace
{

using namespace socketKit;

constexpr unsigned short thePort = 3000;
constexpr unsigned long theFlags = theNonBlocking;
char const theEnd[] = "end";

DtInetEndpoint udp(std::string const & address, unsigned short port)
{
   return {DtInetAddr(address.c_str()), port, DtInetProtoUdp};
}

/// What a socket has heard up to the end mark.
std::string heard(DtInetUdpSocket & socket)
{
   std::string all, text;
   auto const next = [&]
   {
      char bytes[100];
      int const got = socket.recv(bytes, sizeof bytes);
      text.assign(bytes, static_cast<std::size_t>(std::max(got, 0)));
      return got != 0;
   };
   while (eventually(next) && !text.empty() && text != theEnd)
      all += text;
   EXPECT_EQ(text, theEnd) << told(socket);
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
      ASSERT_TRUE(NetworkNamespace::connect(*near, "eth1", *far, "eth1"));
      ASSERT_TRUE(NetworkNamespace::connect(*near, "eth2", *far, "eth2"));
      // 9 is a second network on the first link.
      for (std::string const number : {"1", "2", "9"})
      {
         std::string const name = number == "2" ? "eth2" : "eth1";
         near->addAddress(name, "10.1." + number + ".1/24");
         far->addAddress(name, "10.1." + number + ".2/24");
         near->addAddress(name, "fd00:" + number + "::1/64");
         far->addAddress(name, "fd00:" + number + "::2/64");
      }
      inside.emplace(*near);
   }

   /// A peer on the other host, in a group on its first link if that is named.
   std::unique_ptr<LoopbackPeer> farPeer(std::string const & address, std::string const & joined = "")
   {
      NetworkNamespace::Inside const there(*far);
      auto peer = std::make_unique<LoopbackPeer>(address);
      if (!joined.empty())
         peer->join(joined, "eth1");
      return peer;
   }

   /// Names of this family: a host's address on a link, this host being 1, a group, loopback, and any
   /// address.
   std::string at(int link, int host) const
   {
      std::string const onLink = std::to_string(link), number = std::to_string(host);
      return isIpv6() ? "fd00:" + onLink + "::" + number : "10.1." + onLink + "." + number;
   }
   std::string group(int number) const { return (isIpv6() ? "ff15::" : "239.1.1.") + std::to_string(number); }
   std::string self() const { return isIpv6() ? "::1" : "127.0.0.1"; }
   std::string any() const { return isIpv6() ? "::" : "0.0.0.0"; }
   static bool isIpv6() { return GetParam(); }

   Watchdog const watchdog;
   std::optional<NetworkNamespace> near, far;
   std::optional<NetworkNamespace::Inside> inside;
};

// Group 1 is joined by a on eth1, group 2 by w on eth2, and group 3 by a foreign socket on eth1.
// clang-format off
struct
{
   char const * what;
   int sender; ///< 1 and 2 are on the other host by its addresses on the two links, 0 is on the host itself.
   char const * toIpv4;
   char const * toIpv6;
   char const * hearers; ///< Of the sockets a on eth1, b on eth2 and w on none.
} const theRows[] = {
   {"unicast to eth1", 1, "10.1.1.1", "fd00:1::1", "a"},
   {"unicast to eth2", 2, "10.1.2.1", "fd00:2::1", "b"},
   {"unicast to eth1 from the host itself", 0, "10.1.1.1", "fd00:1::1", "a"},
   {"unicast to eth2 from the host itself", 0, "10.1.2.1", "fd00:2::1", "b"},
   {"unicast to loopback", 0, "127.0.0.1", "::1", "w"},
   {"unicast to another address of eth1", 1, "10.1.9.1", "fd00:9::1", ""},
   {"subnet broadcast on eth1", 1, "10.1.1.255", nullptr, "aw"},
   {"subnet broadcast on eth2", 2, "10.1.2.255", nullptr, "bw"},
   {"subnet broadcast on eth1 from the host itself", 0, "10.1.1.255", nullptr, "aw"},
   {"broadcast to the second network of eth1", 1, "10.1.9.255", nullptr, "aw"},
   {"broadcast to the second network from the host itself", 0, "10.1.9.255", nullptr, "aw"},
   {"limited broadcast on eth1", 1, "255.255.255.255", nullptr, "aw"},
   {"limited broadcast on eth2", 2, "255.255.255.255", nullptr, "bw"},
   {"all nodes of eth1", 1, nullptr, "ff02::1%eth1", ""},
   {"group 1 on eth1", 1, "239.1.1.1", "ff15::1", "a"},
   {"group 1 on eth1 from the host itself", 0, "239.1.1.1", "ff15::1", "a"},
   {"group 1 on eth2", 2, "239.1.1.1", "ff15::1", ""},
   {"group 2 on eth2", 2, "239.1.1.2", "ff15::2", "w"},
   {"group 2 on eth1", 1, "239.1.1.2", "ff15::2", ""},
   {"group 3 on eth1", 1, "239.1.1.3", "ff15::3", ""},
   {"group 3 on eth1 from the host itself", 0, "239.1.1.3", "ff15::3", ""},
};
// clang-format on

TEST_P(Reach, SocketsOfOnePortHearWhatIsForThem)
{
   DtInetDevice eth1(DtString(at(1, 1).c_str())), eth2(DtString(at(2, 1).c_str()));
   DtInetEndpoint const anywhere = udp(at(1, 2), 9);
   DtInetUdpSocket a(anywhere, thePort, &eth1, theFlags), b(anywhere, thePort, &eth2, theFlags),
      w(anywhere, thePort, nullptr, theFlags);
   ASSERT_TRUE(a.isOk() && b.isOk() && w.isOk());
   ASSERT_TRUE(a.joinMulticastGroup(DtInetAddr(group(1).c_str()), &eth1)) << told(a);
   ASSERT_TRUE(w.joinMulticastGroup(DtInetAddr(group(2).c_str()), &eth2)) << told(w);
   LoopbackPeer host(any());
   host.join(group(3), "eth1");
   auto const far1 = farPeer(at(1, 2)), far2 = farPeer(at(2, 2));
   LoopbackPeer * const senders[] = {&host, far1.get(), far2.get()};
   for (auto const & row : theRows)
   {
      char const * const to = isIpv6() ? row.toIpv6 : row.toIpv4;
      if (to == nullptr)
         continue;
      {
         NetworkNamespace::Inside const there(row.sender == 0 ? *near : *far);
         senders[row.sender]->send("x", to, thePort, row.sender == 2 ? "eth2" : "eth1");
      }
      far1->send(theEnd, at(1, 1), thePort);
      far2->send(theEnd, at(2, 1), thePort);
      host.send(theEnd, self(), thePort);
      std::string hearers;
      for (auto const & [name, socket] : {std::pair("a", &a), std::pair("b", &b), std::pair("w", &w)})
         hearers += heard(*socket) == "x" ? name : "";
      EXPECT_EQ(hearers, row.hearers) << row.what;
   }
}

// What it sends carries the device's address and its port, wherever it goes; and what comes back is heard.
TEST_P(Reach, DeviceGivesItsAddressToWhatIsSent)
{
   std::string const own = at(1, 1);
   for (unsigned long const extra : {0ul, 0x300ul})
   {
      DtInetDevice eth1(DtString(own.c_str()));
      DtInetUdpSocket socket(udp(at(2, 2), 9), 0, &eth1, theFlags | extra);
      ASSERT_TRUE(socket.isOk() && socket.localPort() != 0) << told(socket);
      EXPECT_STREQ(socket.localEndpoint().address().toDtString(), own.c_str());
      LoopbackPeer otherAddress(at(2, 1)), ofLoopback(self());
      auto const neighbour = farPeer(at(1, 2)), listener = farPeer(any(), group(1));
      std::pair<LoopbackPeer *, std::string> const targets[] = {
         {neighbour.get(), at(1, 2)},
         {&otherAddress, at(2, 1)},
         {&ofLoopback, self()},
         {listener.get(), group(1)},
         {listener.get(), isIpv6() ? group(1) : "255.255.255.255"},
         {listener.get(), isIpv6() ? group(1) : "10.1.1.255"}};
      char text[] = "hello";
      for (auto const & [peer, address] : targets)
      {
         DtInetEndpoint to = udp(address, peer->port());
         EXPECT_EQ(socket.sendTo(text, 5, to), 5) << address << ": " << told(socket);
         EXPECT_EQ(peer->receive(), "hello") << address;
         EXPECT_TRUE(peer->senderAddress() == own && peer->senderPort() == socket.localPort()) << address;
      }
      DtInetEndpoint from;
      neighbour->send("back", own, socket.localPort());
      EXPECT_TRUE(eventually([&] { return socket.recvFrom(text, sizeof text, from) == 4; }));
      EXPECT_EQ(from.port(), neighbour->port());
   }
}

// On one link two addresses, and the socket chosen to be the second.
TEST_P(Reach, ConnectedSocketHearsItsPeerOnly)
{
   DtInetDevice second(DtString(at(9, 1).c_str()));
   auto const peer = farPeer(at(1, 2)), stranger = farPeer(at(1, 2));
   for (DtInetDevice * const device : {&second, static_cast<DtInetDevice *>(nullptr)})
   {
      DtInetUdpSocket socket(udp(at(1, 2), peer->port()), 0, device, theFlags);
      ASSERT_TRUE(socket.connectToDestination()) << told(socket);
      unsigned short const port = socket.localPort();
      std::string const target(socket.localEndpoint().address().toDtString());
      EXPECT_EQ(target, at(device != nullptr ? 9 : 1, 1));
      // Unconnected again it keeps its port, hears all, and still sends to its destination.
      for (bool const isConnected : {true, false})
      {
         EXPECT_TRUE(isConnected || socket.disconnect()) << told(socket);
         EXPECT_EQ(socket.state(), DtInetSockConnected);
         stranger->send("1", target, port);
         peer->send("2", target, port);
         peer->send(theEnd, target, port);
         EXPECT_EQ(heard(socket), isConnected ? "2" : "12");
         char text[] = "x";
         EXPECT_TRUE(socket.send(text, 1) == 1 && peer->receive() == "x" && peer->senderPort() == port);
      }
      EXPECT_TRUE(socket.closeSocket()) << told(socket);
   }
}

INSTANTIATE_TEST_SUITE_P(Families, Reach, testing::Bool(),
                         [](auto const & family) { return family.param ? "Ipv6" : "Ipv4"; });

// A port of a device is the socket's alone, unless all who have it are ready to share it.
TEST_F(Reach, PortIsSharedOnlyIfAllAgree)
{
   unsigned long const exclusive = theFlags & ~static_cast<unsigned long>(DtInetSockFlagReuseAddress);
   DtInetDevice eth1(DtString("eth1"));
   std::tuple<DtInetDevice *, unsigned long, DtInetDevice *, unsigned long, bool> const rows[] = {
      {&eth1, theFlags, &eth1, theFlags, true},     {&eth1, theFlags, &eth1, exclusive, false},
      {&eth1, exclusive, &eth1, theFlags, false},   {&eth1, exclusive, nullptr, theFlags, false},
      {nullptr, exclusive, &eth1, theFlags, false}, {nullptr, theFlags, &eth1, theFlags, true},
   };
   DtInetEndpoint const anywhere = udp("10.1.1.2", 9);
   for (auto const & [firstDevice, firstFlags, secondDevice, secondFlags, isShared] : rows)
   {
      DtInetUdpSocket first(anywhere, thePort, firstDevice, firstFlags);
      ASSERT_TRUE(first.isOk()) << told(first);
      EXPECT_EQ(first.getReuseAddressOption(), firstFlags == theFlags);
      DtInetUdpSocket second(anywhere, thePort, secondDevice, secondFlags);
      EXPECT_EQ(std::pair(second.isOk(), second.getLastError()), std::pair(isShared, isShared ? 0 : 10048));
   }
}

/// A host with loopback and nothing else.
struct ReachOnLoopback : InNetwork
{
   Watchdog const watchdog;
   DtInetDevice lo{DtString("lo")};
};

// A port that the system chooses is nobody else's, also among sockets that share what they are told to have.
TEST_F(ReachOnLoopback, PortOfTheSystemsChoiceIsSharedWithNobody)
{
   std::ofstream("/proc/sys/net/ipv4/ip_local_port_range") << "40000 40000" << std::flush;
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
   DtInetDevice eth1(DtString("eth1"));
   DtInetAddr const generic("10.255.255.255", "255.0.0.0");
   DtInetUdpSocket socket(DtInetEndpoint(generic, 3100, DtInetProtoUdp), 0, &eth1, theFlags);
   ASSERT_TRUE(socket.isOk()) << told(socket);
   EXPECT_STREQ(socket.destination().toDtString(), "10.1.1.255:3100");
   EXPECT_STREQ(socket.localEndpoint().toDtString(true), "10.1.1.1:3100(UDP)");
   DtInetUdpSocket nodes(udp("ff02::1", 3101), 0, &eth1, theFlags);
   ASSERT_TRUE(nodes.isOk()) << told(nodes);
   NetworkNamespace::Inside const there(*far);
   LoopbackPeer peer("10.1.1.2"), peer6("fd00:1::2");
   for (char const * const text : {"1", theEnd})
   {
      peer.send(text, "10.1.1.255", 3100);
      peer6.send(text, "ff02::1%eth1", 3101);
   }
   EXPECT_EQ(heard(socket) + heard(nodes), "11");
}

TEST_F(ReachOnLoopback, DeviceHearsAllThatIsOnIt)
{
   DtInetUdpSocket group(udp("239.1.1.1", thePort), 0, &lo, theFlags);
   DtInetUdpSocket unicast(udp("127.0.0.1", 9), thePort, &lo, theFlags);
   DtInetUdpSocket ipv6(udp("::1", 9), thePort, &lo, theFlags);
   for (DtInetUdpSocket * const socket : {&group, &unicast, &ipv6})
      ASSERT_TRUE(socket->isOk()) << told(*socket);
   char text[] = "123end";
   DtInetEndpoint broadcast = udp("127.255.255.255", thePort), all = udp("255.255.255.255", thePort);
   DtInetEndpoint self = udp("::1", thePort);
   // Its own multicast, and a broadcast to all on the port; which of the two gets unicast, is the system's.
   EXPECT_EQ(told(group.send(text, 1), group), "1, 0 open ? ");
   EXPECT_EQ(told(unicast.sendTo(text + 1, 1, broadcast), unicast), "1, 0 open ? ");
   EXPECT_EQ(told(unicast.sendTo(text + 2, 1, all), unicast), "1, 0 open ? ");
   EXPECT_TRUE(unicast.sendTo(text + 3, 3, broadcast) == 3 && ipv6.sendTo(text + 3, 3, self) == 3);
   EXPECT_EQ(heard(group) + " " + heard(unicast) + heard(ipv6), "123 23");
   EXPECT_TRUE(group.dropMulticastGroup(DtInetAddr("239.1.1.1"), nullptr)) << told(group);
}

// Without any route, groups and broadcasts to all leave by the default device.
TEST_F(ReachOnLoopback, GroupWithoutARouteLeavesByTheDefaultDevice)
{
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
         EXPECT_TRUE(socket.sendTo(bytes.data(), 2, to) == 2 && socket.sendChainTo(chain, to) == 2)
            << told(socket);
         EXPECT_TRUE(peer.receive() == "hi" && peer.receive() == "hi") << address;
      }
   }
}

} // namespace
