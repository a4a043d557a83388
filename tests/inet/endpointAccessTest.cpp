// SPDX-License-Identifier: MIT
// The library keeps these functions to itself: the test builds its own.
#include "tslutil/inet/endpointAccess.cpp"

#include "support/allocations.h"

#include <gtest/gtest.h>

namespace
{

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
   DtInetEndpoint sender;
   for (char const * address :
        {"10.0.0.1", "10.0.0.2", "fe80::1%3", "fe80::1%4", "::%4", "::", "0.0.0.0", "10.0.0.1"})
      expectSender(sender, address, 3000);
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
