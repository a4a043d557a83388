// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetEndpoint.h"
// The library keeps these functions to itself: the test builds its own.
#include "tslutil/inet/endpointAccess.cpp"

#include "support/allocations.h"
#include "support/hostTable.h"
#include "support/networkNamespace.h"
#include "support/slots.h"

#include <gtest/gtest.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>

#include <netdb.h>
#include <netinet/in.h>
#include <vector>

using namespace DtInetUtils;
using boost::asio::ip::make_address;
using boost::asio::ip::tcp;
using boost::asio::ip::udp;

namespace
{

DtInetEndpoint endpointOf(char const * text, DtInetProtocol protocol = DtInetProtoUdp,
                          DtInetAddrFamily family = DtInetFamilyUnspecified)
{
   DtString name(text);
   return DtInetEndpoint(name, 3000, protocol, family);
}

/// Text, netmask and prefix of the address, and what failed.
std::string describe(DtInetEndpoint endpoint)
{
   char mask[32];
   std::snprintf(mask, sizeof mask, " %08lx/%d", endpoint.address().netmask(),
                 static_cast<int>(endpoint.address().prefix()));
   bool const isOk = endpoint.isOk();
   return endpoint.toDtString(true).stdString() + mask +
          (isOk ? "" : " failed: " + endpoint.getLastErrorString().stdString());
}

TEST(DtInetEndpoint, SlotOrder)
{
   using E = DtInetEndpoint;
   int (E::*const toIpv6)(sockaddr_in6 *) = &E::toSockaddr;
   int (E::*const toIpv4)(sockaddr_in *) = &E::toSockaddr;
   EXPECT_TRUE(inSlotsFrom(2, &E::hostLookup, &E::setAddress, &E::address, &E::setPort, &E::port,
                           &E::setProtocol, &E::protocol, &E::family, &E::setEndpoint, &E::isIPv4, &E::isIPv6,
                           &E::isTcp, &E::isUdp, toIpv6, toIpv4, &E::toDtString, &E::isOk,
                           &E::getLastErrorString, &E::tcpEndpoint, &E::udpEndpoint));
}

// Neither the largest port nor the prefix of a single host counts in text.
TEST(DtInetEndpoint, TextOfALiteralGivesAddressPortAndMask)
{
   char const * const rows[][2] = {{"10.0.0.1:65534", "10.0.0.1:65534(UDP) ff000000/8"},
                                   {"10.0.0.1:65535", "10.0.0.1:3000(UDP) ff000000/8"},
                                   {"10.0.0.1/24", "10.0.0.1:3000(UDP) ffffff00/24"},
                                   {"10.0.0.1/32", "10.0.0.1:3000(UDP) ff000000/8"},
                                   {"10.0.0.1/255.255.0.0", "10.0.0.1:3000(UDP) ffff0000/16"},
                                   {"[2001:db8::1]:80", "[2001:db8::1]:80(UDP) 00000000/0"},
                                   {"2001:db8::1/127", "[2001:db8::1]:3000(UDP) 00000000/127"},
                                   {"2001:db8::1/128", "[2001:db8::1]:3000(UDP) 00000000/0"},
                                   {"[fe80::7%3]:any", "[fe80::7%3]:3000(UDP) 00000000/0"}};
   for (auto const & row : rows)
      EXPECT_EQ(describe(endpointOf(row[0])), row[1]) << row[0];
}

TEST(DtInetEndpoint, HostNamesAreLookedUp)
{
   HostTable hosts;
   hosts.addresses = {{"myhost", {"10.9.8.7", "2001:db8::7"}}, {"link", {"fe80::7%3"}}};
   EXPECT_EQ(describe(endpointOf("myhost:5000", DtInetProtoTcp, DtInetFamilyIpv4)),
             "10.9.8.7:5000(TCP) ff000000/8");
   EXPECT_EQ(describe(endpointOf("link", DtInetProtoNone, DtInetFamilyIpv6)), "[fe80::7%3]:3000 00000000/0");
   EXPECT_EQ(endpointOf("link").address().scope(), 3);
   auto const query = [](char const * what, int family, int type)
   {
      return what + std::to_string(family) + " " + std::to_string(type) + " " +
             std::to_string(AI_ADDRCONFIG | AI_NUMERICSERV);
   };
   EXPECT_EQ(hosts.queries, (std::vector<std::string>{query("myhost 5000 ", AF_INET, SOCK_STREAM),
                                                      query("link 3000 ", AF_INET6, SOCK_DGRAM),
                                                      query("link 3000 ", AF_UNSPEC, SOCK_DGRAM)}));
}

// UDP tells of the last failure only, TCP of all. Reading consumes them, and assignment leaves them behind.
TEST(DtInetEndpoint, FailuresKeepTheAddressAndWaitToBeRead)
{
   HostTable hosts;
   DtInetEndpoint unknown = endpointOf("nobody");
   EXPECT_EQ(describe(unknown), "0.0.0.0:3000(UDP) ff000000/0 failed: Host lookup failed for nobody");
   DtInetEndpoint assigned;
   assigned = unknown;
   EXPECT_TRUE(assigned.isOk() && !unknown.isOk());
   EXPECT_STREQ(unknown.getLastErrorString(), "Host lookup failed for nobody");
   EXPECT_TRUE(unknown.isOk() && unknown.getLastErrorString().isEmpty());
   DtString one("one:1"), two("two");
   DtInetEndpoint endpoints[] = {{DtInetAddr("10.0.0.1"), 80, DtInetProtoUdp},
                                 {DtInetAddr("10.0.0.1"), 80, DtInetProtoTcp}};
   for (DtInetEndpoint & endpoint : endpoints)
   {
      endpoint.hostLookup(one, 9, DtInetFamilyUnspecified);
      endpoint.hostLookup(two, 9, DtInetFamilyUnspecified);
   }
   EXPECT_EQ(describe(endpoints[0]), "10.0.0.1:1(UDP) ff000000/8 failed: Host lookup failed for two");
   EXPECT_EQ(describe(endpoints[1]),
             "10.0.0.1:1(TCP) ff000000/8 failed: Host lookup failed for one:1Host lookup failed for two");
}

using DtInetEndpointLookup = InNetwork;

TEST_F(DtInetEndpointLookup, LocalDevicesWinOverLiteralsAndHosts)
{
   ASSERT_TRUE(network->ip("link add va type veth peer name vb\nlink set va up\nlink set vb up\n"
                           "addr flush dev va\naddr flush dev vb") &&
               network->addAddress("va", "10.1.0.1/24") && network->addAddress("va", "fd00::1/64"));
   for (char const * text : {"10.1.0.1", "10.1.0.1:3000", "va"})
      EXPECT_EQ(describe(endpointOf(text)), "10.1.0.1:3000(UDP) ffffff00/24") << text;
   EXPECT_EQ(describe(endpointOf("10.1.0.2")), "10.1.0.2:3000(UDP) ff000000/8");
   EXPECT_STREQ(endpointOf("fd00::1", DtInetProtoUdp, DtInetFamilyIpv4).toDtString(), "[fd00::1]:3000");
   EXPECT_STREQ(endpointOf("10.1.0.1", DtInetProtoUdp, DtInetFamilyIpv6).toDtString(), "[fd00::1]:3000");
   DtString down("vb");
   DtInetEndpoint inactive(down, 3000, DtInetProtoUdp);
   inactive.hostLookup(down, 9, DtInetFamilyIpv4);
   EXPECT_EQ(describe(inactive), "0.0.0.0:3000(UDP) ff000000/0 failed: Local interface device vb is "
                                 "inactiveLocal interface device vb is inactive");
}

TEST(DtInetEndpoint, SettersRebuildOnlyWhatHasAProtocol)
{
   DtInetEndpoint endpoint;
   EXPECT_TRUE(endpoint.tcpEndpoint() == nullptr && endpoint.udpEndpoint() == nullptr);
   EXPECT_STREQ(endpoint.toDtString(true), "0.0.0.0:any");
   endpoint.setPort(5);
   endpoint.setAddress(DtInetAddr("10.0.0.1"));
   EXPECT_STREQ(endpoint.toDtString(), "0.0.0.0:any") << "without a protocol the text stays";
   endpoint.setProtocol(DtInetProtoTcp);
   EXPECT_STREQ(endpoint.toDtString(true), "10.0.0.1:5(TCP)");
   EXPECT_TRUE(endpoint.isTcp() && !endpoint.isUdp() && endpoint.udpEndpoint() == nullptr);
   EXPECT_EQ(*static_cast<tcp::endpoint *>(endpoint.tcpEndpoint()),
             tcp::endpoint(make_address("10.0.0.1"), 5));
   endpoint.setEndpoint(DtInetProtoUdp, DtInetAddr("::%4"), 9);
   EXPECT_TRUE(endpoint.tcpEndpoint() == nullptr &&
               *static_cast<udp::endpoint *>(endpoint.udpEndpoint()) == udp::endpoint(udp::v6(), 9));
   EXPECT_STREQ(endpoint.toDtString(), "[::%4]:9");
   sockaddr_in6 name = {};
   EXPECT_TRUE(endpoint.toSockaddr(static_cast<sockaddr_in *>(nullptr)) == -1 &&
               endpoint.toSockaddr(&name) == 0);
   EXPECT_TRUE(name.sin6_port == htons(9) && name.sin6_scope_id == 4);
}

TEST(DtInetEndpoint, AssignmentLeavesAnEndpointOfTheOtherKind)
{
   DtInetEndpoint const udpOne(DtInetAddr("10.0.0.1"), 1, DtInetProtoUdp);
   DtInetEndpoint const tcpTwo(DtInetAddr("10.0.0.2"), 2, DtInetProtoTcp);
   DtInetEndpoint both(tcpTwo);
   both.toDtString();
   both = udpOne;
   EXPECT_STREQ(both.toDtString(true) + DtInetEndpoint(both).toDtString(true),
                "10.0.0.1:1(UDP)10.0.0.1:1(UDP)");
   EXPECT_TRUE(both == udpOne && tcpTwo == both && tcpTwo == DtInetEndpoint(both));
   both.setPort(1);
   EXPECT_TRUE(tcpTwo != both);
}

TEST(DtInetEndpoint, OrderIsBoosts)
{
   std::vector<std::pair<DtInetEndpoint, udp::endpoint>> endpoints;
   for (char const * text :
        {"0.0.0.0", "10.0.0.1", "9.255.0.1", "::", "::1", "fe80::1", "fe80::1%3", "fe80::1%258"})
      for (auto const port : std::initializer_list<unsigned short>{0, 1, 256, 65535})
         for (DtInetProtocol const protocol : {DtInetProtoUdp, DtInetProtoTcp, DtInetProtoNone})
            endpoints.emplace_back(DtInetEndpoint(DtInetAddr(text), port, protocol),
                                   udp::endpoint(make_address(text), port));
   for (auto const & [left, boostLeft] : endpoints)
      for (auto const & [right, boostRight] : endpoints)
      {
         bool const comparable = left.protocol() == right.protocol() && left.protocol() != DtInetProtoNone;
         bool const equal = comparable && boostLeft == boostRight;
         bool const less = comparable && boostLeft < boostRight;
         ASSERT_TRUE((left == right) == equal && (left != right) != equal && (left < right) == less &&
                     (left > right) == (!equal && !less))
            << left.toDtString(true) << " and " << right.toDtString(true);
      }
}

// The fast paths to an endpoint.

/// The name of an address and port as the system gives it with a datagram.
sockaddr_storage nameOf(char const * address, unsigned short port)
{
   sockaddr_storage name = {};
   DtInetAddr(address).toAddrStorage(&name);
   std::uint16_t const networkPort = tsl::networkPort(port);
   std::memcpy(reinterpret_cast<char *>(&name) + offsetof(sockaddr_in, sin_port), &networkPort,
               sizeof networkPort);
   return name;
}

void setSender(DtInetEndpoint & from, sockaddr_storage const & name,
               std::size_t size = sizeof(sockaddr_storage))
{
   tsl::EndpointAccess::setSender(from, reinterpret_cast<sockaddr const *>(&name), size);
}

/// Sets a sender that has to become what setEndpoint() makes of it.
void expectSender(DtInetEndpoint & from, char const * address, unsigned short port)
{
   setSender(from, nameOf(address, port));
   DtInetEndpoint expected;
   expected.setEndpoint(DtInetProtoUdp, DtInetAddr(address), port);
   EXPECT_STREQ(from.toDtString(true), expected.toDtString(true));
   std::size_t size = 0;
   EXPECT_TRUE(from == expected && from.port() == port &&
               from.address().netmask() == expected.address().netmask() &&
               from.address().scope() == expected.address().scope() &&
               from.address().isAnyAddr() == expected.address().isAnyAddr() &&
               tsl::EndpointAccess::systemName(from, DtInetProtoTcp, size) == nullptr)
      << address;
}

// The same bytes mean the same sender only while nothing else has changed the endpoint.
TEST(EndpointAccess, ASenderIsWhatSetEndpointMakesOfIt)
{
   DtInetEndpoint const tcp(DtInetAddr("10.9.9.9"), 9, DtInetProtoTcp);
   DtInetEndpoint const masked(DtInetAddr("10.0.0.1", "255.255.255.0"), 3000, DtInetProtoUdp);
   DtInetEndpoint const none(DtInetAddr("10.9.9.9"), 9);
   DtInetEndpoint sender, copy;
   for (char const * address :
        {"10.0.0.1", "10.0.0.2", "fe80::1%3", "fe80::1%4", "::%4", "::", "0.0.0.0", "10.0.0.1"})
   {
      expectSender(sender, address, 3000);
      copy = sender;
      EXPECT_STREQ(copy.toDtString(true), sender.toDtString(true));
   }
   DtInetEndpoint from(tcp);
   for (DtInetEndpoint const & other : {sender, tcp, masked, none, sender})
   {
      from = other;
      expectSender(from, "10.0.0.1", 3000);
   }
   from.setAddress(masked.address());
   expectSender(from, "10.0.0.1", 3000);
   expectSender(from, "10.0.0.1", 3001);
   // Whoever asks for the Boost endpoint may receive into it.
   sockaddr_storage const next = nameOf("10.0.0.2", 3000);
   std::memcpy(from.udpEndpoint(), &next, sizeof(sockaddr_in));
   expectSender(from, "10.0.0.2", 3000);
   setSender(from, nameOf("fe80::1", 7), sizeof(sockaddr_in));
   EXPECT_STREQ(from.toDtString(true), "0.0.0.0:any(UDP)");
}

TEST(EndpointAccess, NothingOnTheFastPathsTakesMemory)
{
   sockaddr_storage const name = nameOf("10.0.0.1", 3000), other = nameOf("fe80::1%3", 3000);
   DtInetEndpoint const source(DtInetAddr("2001:db8::1"), 3000, DtInetProtoUdp);
   DtInetEndpoint from;
   source.toDtString();
   std::size_t const before = allocationsOfThisThread();
   for (auto const & sender : {&other, &name, &name})
      setSender(from, *sender);
   DtInetEndpoint copy(source);
   from = copy;
   from.setPort(7);
   from.setAddress(DtInetAddr(0x0A000001, 0xFF000000));
   EXPECT_TRUE(copy == source && from < source);
   EXPECT_EQ(allocationsOfThisThread(), before);
}

} // namespace
