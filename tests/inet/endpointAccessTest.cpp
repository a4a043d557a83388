// SPDX-License-Identifier: MIT
// The library keeps these functions to itself: the test builds its own.
#include "tslutil/inet/endpointAccess.cpp"

#include "support/allocations.h"

#include <gtest/gtest.h>

using tsl::EndpointAccess;

namespace
{

template<class Name>
sockaddr const * general(Name const & name)
{
   return reinterpret_cast<sockaddr const *>(&name);
}

template<class Name>
void setSender(DtInetEndpoint & from, Name const & name)
{
   EndpointAccess::setSender(from, general(name), sizeof name);
}

sockaddr_in ipv4Name(std::uint32_t address, unsigned short port)
{
   sockaddr_in name = {};
   DtInetAddr(address, 0).toSockaddr(&name);
   name.sin_port = tsl::networkPort(port);
   return name;
}

sockaddr_in6 ipv6Name(char const * address, unsigned short port)
{
   sockaddr_in6 name = {};
   DtInetAddr(address).toSockaddr(&name);
   name.sin6_port = tsl::networkPort(port);
   return name;
}

/// Whether an endpoint is what setEndpoint() makes of a sender.
void expectSender(DtInetEndpoint & from, char const * address, unsigned short port)
{
   DtInetEndpoint expected;
   expected.setEndpoint(DtInetProtoUdp, DtInetAddr(address), port);
   EXPECT_TRUE(from == expected);
   EXPECT_STREQ(from.toDtString(true), expected.toDtString(true));
   EXPECT_EQ(from.port(), port);
   EXPECT_EQ(from.address().netmask(), expected.address().netmask());
   EXPECT_EQ(from.address().prefix(), expected.address().prefix());
   EXPECT_EQ(from.address().scope(), expected.address().scope());
   EXPECT_EQ(from.address().isAnyAddr(), expected.address().isAnyAddr());
   EXPECT_EQ(from.tcpEndpoint(), nullptr);
}

TEST(EndpointAccess, ASenderIsWhatSetEndpointMakesOfIt)
{
   DtInetEndpoint from(DtInetAddr("10.9.9.9"), 9, DtInetProtoTcp);
   setSender(from, ipv4Name(0x0A000001, 3000));
   expectSender(from, "10.0.0.1", 3000);
   setSender(from, ipv4Name(0x0A000001, 3001));
   expectSender(from, "10.0.0.1", 3001);
   setSender(from, ipv6Name("fe80::1%3", 3000));
   expectSender(from, "fe80::1%3", 3000);
   setSender(from, ipv6Name("fe80::1%4", 3000));
   expectSender(from, "fe80::1%4", 3000);
   setSender(from, ipv6Name("::%4", 7));
   expectSender(from, "::%4", 7);
   setSender(from, ipv6Name("::", 7));
   expectSender(from, "::", 7);
   sockaddr_in6 cut = ipv6Name("fe80::1", 7);
   EndpointAccess::setSender(from, general(cut), sizeof(sockaddr_in));
   expectSender(from, "0.0.0.0", 0);
   setSender(from, ipv4Name(0xC0A80001, 1));
   EndpointAccess::setSender(from, nullptr, 0);
   expectSender(from, "0.0.0.0", 0);
}

// The same bytes mean the same sender only while nothing else has changed the endpoint.
TEST(EndpointAccess, WhatChangedSinceIsSetAgain)
{
   sockaddr_in const name = ipv4Name(0x0A000001, 3000);
   DtInetEndpoint const tcp(DtInetAddr("10.9.9.9"), 9, DtInetProtoTcp);
   DtInetEndpoint const masked(DtInetAddr("10.0.0.1", "255.255.255.0"), 3000, DtInetProtoUdp);
   DtInetEndpoint const none(DtInetAddr("10.9.9.9"), 9);
   DtInetEndpoint sender;
   setSender(sender, name);
   DtInetEndpoint from(tcp);
   from = sender;
   setSender(from, name);
   expectSender(from, "10.0.0.1", 3000);
   for (DtInetEndpoint const * other : {&masked, &none, &tcp})
   {
      setSender(from, name);
      from = *other;
      setSender(from, name);
      expectSender(from, "10.0.0.1", 3000);
   }
   setSender(from, name);
   from.setAddress(masked.address());
   setSender(from, name);
   expectSender(from, "10.0.0.1", 3000);
   // The caller of udpEndpoint() may have received into it.
   setSender(from, name);
   sockaddr_in const next = ipv4Name(0x0A000002, 3000);
   std::memcpy(from.udpEndpoint(), &next, sizeof next);
   setSender(from, next);
   expectSender(from, "10.0.0.2", 3000);
}

TEST(EndpointAccess, SettingASenderTakesNoMemoryAndKeepsItsTextIfItIsTheSame)
{
   sockaddr_in const name = ipv4Name(0x0A000001, 3000);
   sockaddr_in6 const other = ipv6Name("fe80::1%3", 3000);
   DtInetEndpoint from;
   setSender(from, name);
   char const * const text = from.toDtString().c_str();
   std::size_t const before = allocationsOfThisThread();
   setSender(from, other);
   setSender(from, name);
   setSender(from, name);
   EXPECT_EQ(allocationsOfThisThread(), before);
   EXPECT_STREQ(from.toDtString(), "10.0.0.1:3000");
   EXPECT_EQ(from.toDtString().c_str(), text);
   std::size_t size = 0;
   sockaddr const * const bytes = EndpointAccess::systemName(from, DtInetProtoUdp, size);
   ASSERT_EQ(size, sizeof name);
   EXPECT_EQ(std::memcmp(bytes, &name, size), 0);
   EXPECT_EQ(EndpointAccess::systemName(from, DtInetProtoTcp, size), nullptr);
   EXPECT_EQ(EndpointAccess::systemName(from, DtInetProtoNone, size), nullptr);
}

} // namespace
