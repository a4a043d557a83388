// SPDX-License-Identifier: MIT
// Who hears what: several sockets on one port of a host with two interfaces, on the wire and on the host
// itself.
#include "inet/socketKit.h"
#include "inet/steps.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace
{

using namespace socketKit;

constexpr unsigned short thePort = 3000;
char const theEnd[] = "end";

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

// Group 1 is joined by a on eth1, group 2 by w on eth2, and group 3 by a foreign socket on eth1. Of the
// senders 1 and 2 are on the other host by its addresses on the two links, 0 is on the host itself.
TEST_P(Reach, SocketsOfOnePortHearWhatIsForThem)
{
   DtInetDevice eth1(DtString(at(1, 1).c_str())), eth2(DtString(at(2, 1).c_str()));
   DtInetEndpoint const anywhere = endpointOf(at(1, 2) + " 9");
   DtInetUdpSocket a(anywhere, thePort, &eth1, theNonBlocking), b(anywhere, thePort, &eth2, theNonBlocking),
      w(anywhere, thePort, nullptr, theNonBlocking);
   ASSERT_TRUE(a.isOk() && b.isOk() && w.isOk());
   ASSERT_TRUE(a.joinMulticastGroup(DtInetAddr(group(1).c_str()), &eth1)) << told(a);
   ASSERT_TRUE(w.joinMulticastGroup(DtInetAddr(group(2).c_str()), &eth2)) << told(w);
   LoopbackPeer host(any());
   host.join(group(3), "eth1");
   auto const far1 = farPeer(at(1, 2)), far2 = farPeer(at(2, 2));
   LoopbackPeer * const senders[] = {&host, far1.get(), far2.get()};
   for (Fields const & row : tableOf("inet/reach.tsv"))
   {
      std::size_t const sender = std::stoul(row[1]);
      std::string const to = row[isIpv6() ? 3 : 2];
      if (to.empty())
         continue;
      {
         NetworkNamespace::Inside const there(sender == 0 ? *near : *far);
         senders[sender]->send("x", to, thePort, sender == 2 ? "eth2" : "eth1");
      }
      far1->send(theEnd, at(1, 1), thePort);
      far2->send(theEnd, at(2, 1), thePort);
      host.send(theEnd, self(), thePort);
      std::string hearers;
      for (auto const & [name, socket] : {std::pair("a", &a), std::pair("b", &b), std::pair("w", &w)})
         hearers += heard(*socket) == "x" ? name : "";
      EXPECT_EQ(hearers, row[4]) << row[0];
   }
}

// What it sends carries the device's address and its port, wherever it goes; and what comes back is heard.
TEST_P(Reach, DeviceGivesItsAddressToWhatIsSent)
{
   std::string const own = at(1, 1);
   for (unsigned long const extra : {0ul, 0x300ul})
   {
      DtInetDevice eth1(DtString(own.c_str()));
      DtInetUdpSocket socket(endpointOf(at(2, 2) + " 9"), 0, &eth1, theNonBlocking | extra);
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
         DtInetEndpoint to = endpointOf(address + " " + std::to_string(peer->port()));
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
      DtInetUdpSocket socket(endpointOf(at(1, 2) + " " + std::to_string(peer->port())), 0, device,
                             theNonBlocking);
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

// A broadcast destination becomes that of the device, and is heard there.
TEST_P(Reach, BroadcastDestinationIsThatOfTheDevice)
{
   DtInetDevice eth1(DtString("eth1"));
   DtInetUdpSocket socket(endpointOf(isIpv6() ? "ff02::1 3000" : "10.255.255.255 3000"), 0, &eth1,
                          theNonBlocking);
   auto const peer = farPeer(at(1, 2));
   NetworkNamespace::Inside const there(*far);
   for (char const * const text : {"1", theEnd})
      peer->send(text, isIpv6() ? "ff02::1%eth1" : "10.1.1.255", thePort);
   EXPECT_EQ(heard(socket), "1");
}

INSTANTIATE_TEST_SUITE_P(Families, Reach, testing::Bool(),
                         [](auto const & family) { return family.param ? "Ipv6" : "Ipv4"; });

} // namespace
