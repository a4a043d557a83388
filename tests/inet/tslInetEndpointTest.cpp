// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetEndpoint.h"

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
using boost::asio::ip::tcp;
using boost::asio::ip::udp;

namespace
{

DtInetEndpoint endpointOf(char const * text, unsigned short port, DtInetProtocol protocol = DtInetProtoUdp,
                          DtInetAddrFamily family = DtInetFamilyUnspecified)
{
   DtString name(text);
   return DtInetEndpoint(name, port, protocol, family);
}

template<class Endpoint>
Endpoint const & boostOf(void * endpoint)
{
   return *static_cast<Endpoint const *>(endpoint);
}

TEST(DtInetEndpoint, SlotOrder)
{
   using E = DtInetEndpoint;
   std::size_t const slots[] = {slotOf(&E::hostLookup),
                                slotOf(&E::setAddress),
                                slotOf(&E::address),
                                slotOf(&E::setPort),
                                slotOf(&E::port),
                                slotOf(&E::setProtocol),
                                slotOf(&E::protocol),
                                slotOf(&E::family),
                                slotOf(&E::setEndpoint),
                                slotOf(&E::isIPv4),
                                slotOf(&E::isIPv6),
                                slotOf(&E::isTcp),
                                slotOf(&E::isUdp),
                                slotOf<int (E::*)(sockaddr_in6 *)>(&E::toSockaddr),
                                slotOf<int (E::*)(sockaddr_in *)>(&E::toSockaddr),
                                slotOf(&E::toDtString),
                                slotOf(&E::isOk),
                                slotOf(&E::getLastErrorString),
                                slotOf(&E::tcpEndpoint),
                                slotOf(&E::udpEndpoint)};
   for (std::size_t i = 0; i < std::size(slots); ++i)
      EXPECT_EQ(slots[i], 2 + i);
}

TEST(DtInetEndpoint, TextOfALiteralGivesAddressPortAndMask)
{
   struct
   {
      char const * text;
      char const * expected;
      unsigned long netmask;
      unsigned prefix;
   } const rows[] = {{"10.0.0.1", "10.0.0.1:3000(UDP)", 0xFF000000, 8},
                     {"10.0.0.1:65534", "10.0.0.1:65534(UDP)", 0xFF000000, 8},
                     // Neither the largest port nor the prefix of one host counts in text.
                     {"10.0.0.1:65535", "10.0.0.1:3000(UDP)", 0xFF000000, 8},
                     {"10.0.0.1:0", "10.0.0.1:3000(UDP)", 0xFF000000, 8},
                     {"10.0.0.1/24", "10.0.0.1:3000(UDP)", 0xFFFFFF00, 24},
                     {"10.0.0.1/31", "10.0.0.1:3000(UDP)", 0xFFFFFFFE, 31},
                     {"10.0.0.1/32", "10.0.0.1:3000(UDP)", 0xFF000000, 8},
                     {"10.0.0.1/0", "10.0.0.1:3000(UDP)", 0xFF000000, 8},
                     {"10.0.0.1/255.255.0.0", "10.0.0.1:3000(UDP)", 0xFFFF0000, 16},
                     {"10.0.0.1/1.2", "10.0.0.1:3000(UDP)", 0xFF000000, 8},
                     {"[2001:db8::1]:80", "[2001:db8::1]:80(UDP)", 0, 0},
                     {"2001:db8::1/64", "[2001:db8::1]:3000(UDP)", 0, 64},
                     {"2001:db8::1/127", "[2001:db8::1]:3000(UDP)", 0, 127},
                     {"2001:db8::1/128", "[2001:db8::1]:3000(UDP)", 0, 0},
                     {"[fe80::7%3]:any", "[fe80::7%3]:3000(UDP)", 0, 0}};
   for (auto const & row : rows)
   {
      DtInetEndpoint endpoint = endpointOf(row.text, 3000);
      EXPECT_TRUE(endpoint.isOk()) << row.text;
      EXPECT_STREQ(endpoint.toDtString(true), row.expected) << row.text;
      EXPECT_EQ(endpoint.address().netmask(), row.netmask) << row.text;
      EXPECT_EQ(endpoint.address().prefix(), row.prefix) << row.text;
   }
   DtInetEndpoint kept = endpointOf("10.0.0.1:80", 0, DtInetProtoTcp);
   DtString other("10.0.0.2");
   kept.hostLookup(other, 3000, DtInetFamilyIpv4);
   EXPECT_STREQ(kept.toDtString(true), "10.0.0.2:80(TCP)");
}

TEST(DtInetEndpoint, HostNamesAreLookedUpAndFailuresWaitToBeRead)
{
   HostTable hosts;
   hosts.add("myhost", {"10.9.8.7", "2001:db8::7"});
   hosts.add("link", {"fe80::7%3"});
   EXPECT_STREQ(endpointOf("myhost:5000", 3000, DtInetProtoTcp, DtInetFamilyIpv4).toDtString(true),
                "10.9.8.7:5000(TCP)");
   EXPECT_STREQ(endpointOf("link", 3000, DtInetProtoNone, DtInetFamilyIpv6).toDtString(true),
                "[fe80::7%3]:3000");
   EXPECT_EQ(endpointOf("link", 3000).address().scope(), 3);
   ASSERT_EQ(hosts.queries.size(), 3u);
   EXPECT_EQ(hosts.queries[0].host, "myhost");
   EXPECT_EQ(hosts.queries[0].service, "5000");
   EXPECT_EQ(hosts.queries[0].flags, AI_ADDRCONFIG | AI_NUMERICSERV);
   EXPECT_EQ(hosts.queries[0].family, AF_INET);
   EXPECT_EQ(hosts.queries[0].socketType, SOCK_STREAM);
   EXPECT_EQ(hosts.queries[1].family, AF_INET6);
   EXPECT_EQ(hosts.queries[1].socketType, SOCK_DGRAM);
   EXPECT_EQ(hosts.queries[2].family, AF_UNSPEC);

   DtInetEndpoint unknown = endpointOf("nobody", 3000);
   EXPECT_FALSE(unknown.isOk());
   EXPECT_STREQ(unknown.toDtString(), "0.0.0.0:3000");
   EXPECT_TRUE(DtInetEndpoint(unknown).isOk() == false);
   DtInetEndpoint assigned;
   assigned = unknown;
   EXPECT_TRUE(assigned.isOk());
   EXPECT_STREQ(unknown.getLastErrorString(), "Host lookup failed for nobody");
   EXPECT_TRUE(unknown.isOk());
   EXPECT_STREQ(unknown.getLastErrorString(), "");

   // UDP tells the last failure only, TCP all of them; the address and port of before stay.
   for (DtInetProtocol const protocol : {DtInetProtoUdp, DtInetProtoTcp})
   {
      DtInetEndpoint endpoint(DtInetAddr("10.0.0.1"), 80, protocol);
      for (char const * name : {"one:1", "two"})
      {
         DtString text(name);
         endpoint.hostLookup(text, 9, DtInetFamilyUnspecified);
      }
      EXPECT_STREQ(endpoint.toDtString(), "10.0.0.1:1");
      EXPECT_STREQ(endpoint.getLastErrorString(),
                   protocol == DtInetProtoUdp ? "Host lookup failed for two"
                                              : "Host lookup failed for one:1Host lookup failed for two");
   }
}

TEST(DtInetEndpoint, LocalDevicesWinOverLiteralsAndHosts)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   ASSERT_TRUE(network.ip("link add va type veth peer name vb\nlink set va up\nlink set vb up\n"
                          "addr flush dev va\naddr flush dev vb"));
   network.addAddress("va", "10.1.0.1/24");
   network.addAddress("va", "fd00::1/64");
   network.onThread(
      []
      {
         struct
         {
            char const * text;
            DtInetAddrFamily family;
            char const * expected;
            unsigned prefix;
         } const rows[] = {{"10.1.0.1", DtInetFamilyUnspecified, "10.1.0.1:3000", 24},
                           {"10.1.0.1:80", DtInetFamilyIpv4, "10.1.0.1:80", 24},
                           {"10.1.0.2", DtInetFamilyUnspecified, "10.1.0.2:3000", 8},
                           {"va", DtInetFamilyUnspecified, "10.1.0.1:3000", 24},
                           {"fd00::1", DtInetFamilyIpv4, "[fd00::1]:3000", 0},
                           {"10.1.0.1", DtInetFamilyIpv6, "[fd00::1]:3000", 0}};
         for (auto const & row : rows)
         {
            DtInetEndpoint endpoint = endpointOf(row.text, 3000, DtInetProtoUdp, row.family);
            EXPECT_STREQ(endpoint.toDtString(), row.expected) << row.text;
            if (endpoint.isIPv4())
            {
               EXPECT_EQ(endpoint.address().prefix(), row.prefix) << row.text;
            }
         }
         DtInetEndpoint bare = endpointOf("vb", 3000);
         EXPECT_STREQ(bare.toDtString(), "0.0.0.0:3000");
         EXPECT_STREQ(bare.getLastErrorString(), "Local interface device vb is inactive");
      });
}

TEST(DtInetEndpoint, SettersRebuildOnlyWhatHasAProtocol)
{
   DtInetEndpoint endpoint;
   EXPECT_EQ(endpoint.tcpEndpoint(), nullptr);
   EXPECT_EQ(endpoint.udpEndpoint(), nullptr);
   EXPECT_STREQ(endpoint.toDtString(true), "0.0.0.0:any");
   endpoint.setPort(5);
   endpoint.setAddress(DtInetAddr("10.0.0.1"));
   EXPECT_STREQ(endpoint.toDtString(), "0.0.0.0:any") << "without a protocol the text stays";
   endpoint.setProtocol(DtInetProtoTcp);
   EXPECT_STREQ(endpoint.toDtString(true), "10.0.0.1:5(TCP)");
   EXPECT_TRUE(endpoint.isTcp() && !endpoint.isUdp() && endpoint.udpEndpoint() == nullptr);
   EXPECT_EQ(boostOf<tcp::endpoint>(endpoint.tcpEndpoint()),
             tcp::endpoint(boost::asio::ip::make_address("10.0.0.1"), 5));
   endpoint.setEndpoint(DtInetProtoUdp, DtInetAddr("::%4"), 9);
   EXPECT_EQ(endpoint.tcpEndpoint(), nullptr);
   EXPECT_EQ(boostOf<udp::endpoint>(endpoint.udpEndpoint()), udp::endpoint(udp::v6(), 9));
   EXPECT_STREQ(endpoint.toDtString(), "[::%4]:9");
   sockaddr_in6 name = {};
   sockaddr_in none = {};
   EXPECT_EQ(endpoint.toSockaddr(&none), -1);
   EXPECT_EQ(endpoint.toSockaddr(&name), 0);
   EXPECT_EQ(name.sin6_port, htons(9));
   EXPECT_EQ(name.sin6_scope_id, 4u);
}

TEST(DtInetEndpoint, AssignmentLeavesAnEndpointOfTheOtherKind)
{
   DtInetEndpoint const udpOne(DtInetAddr("10.0.0.1"), 1, DtInetProtoUdp);
   DtInetEndpoint const tcpTwo(DtInetAddr("10.0.0.2"), 2, DtInetProtoTcp);
   DtInetEndpoint both(tcpTwo);
   both.toDtString();
   both = udpOne;
   EXPECT_STREQ(both.toDtString(true), "10.0.0.1:1(UDP)");
   EXPECT_TRUE(both.tcpEndpoint() != nullptr && both == udpOne && tcpTwo == both);
   DtInetEndpoint const copy(both);
   EXPECT_TRUE(tcpTwo == copy);
   both.setPort(1);
   EXPECT_FALSE(tcpTwo == both);
}

// As Boost orders its endpoints; the left side's protocol selects, and what isn't there compares as nothing.
TEST(DtInetEndpoint, OrderIsBoosts)
{
   std::vector<DtInetEndpoint> endpoints;
   for (char const * text : {"0.0.0.0", "10.0.0.1", "9.255.0.1", "255.1.0.0", "::", "::1", "fe80::1",
                             "fe80::1%3", "fe80::1%258", "fe80::1%4", "::ffff:10.0.0.1"})
      for (int const port : {0, 1, 256, 65535})
         for (DtInetProtocol const protocol : {DtInetProtoUdp, DtInetProtoTcp, DtInetProtoNone})
            endpoints.emplace_back(DtInetAddr(text), static_cast<unsigned short>(port), protocol);
   for (DtInetEndpoint & left : endpoints)
      for (DtInetEndpoint & right : endpoints)
      {
         SCOPED_TRACE(left.toDtString(true).stdString() + " and " + right.toDtString(true).stdString());
         bool equal = false;
         bool less = false;
         if (left.isUdp() && right.isUdp())
         {
            equal = boostOf<udp::endpoint>(left.udpEndpoint()) == boostOf<udp::endpoint>(right.udpEndpoint());
            less = boostOf<udp::endpoint>(left.udpEndpoint()) < boostOf<udp::endpoint>(right.udpEndpoint());
         }
         else if (left.isTcp() && right.isTcp())
         {
            equal = boostOf<tcp::endpoint>(left.tcpEndpoint()) == boostOf<tcp::endpoint>(right.tcpEndpoint());
            less = boostOf<tcp::endpoint>(left.tcpEndpoint()) < boostOf<tcp::endpoint>(right.tcpEndpoint());
         }
         ASSERT_EQ(left == right, equal);
         ASSERT_EQ(left != right, !equal);
         ASSERT_EQ(left < right, less);
         ASSERT_EQ(left > right, !equal && !less);
      }
}

TEST(DtInetEndpoint, CopiesAndAssignmentsTakeNoMemory)
{
   DtInetEndpoint const source(DtInetAddr("2001:db8::1"), 3000, DtInetProtoUdp);
   DtInetEndpoint target;
   source.toDtString();
   std::size_t const before = allocationsOfThisThread();
   DtInetEndpoint copy(source);
   target = copy;
   target.setPort(7);
   target.setAddress(DtInetAddr(0x0A000001, 0xFF000000));
   EXPECT_TRUE(copy == source && target < source);
   EXPECT_EQ(allocationsOfThisThread(), before);
}

} // namespace
