// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetAddr.h"

#include "support/capturedStream.h"
#include "support/hostTable.h"
#include "support/slots.h"
#include "tslutil/base/tslException.h"
#include "tslutil/base/tslNotify.h"

#include <gtest/gtest.h>

#include <boost/asio/ip/address.hpp>

#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <typeinfo>

using namespace DtInetUtils;

namespace
{

sockaddr_in6 systemName(char const * address, std::uint32_t scope)
{
   sockaddr_in6 name = {};
   name.sin6_family = AF_INET6;
   auto const bytes = boost::asio::ip::make_address_v6(address).to_bytes();
   std::memcpy(&name.sin6_addr, bytes.data(), bytes.size());
   name.sin6_scope_id = scope;
   return name;
}

TEST(DtInetAddr, SlotOrder)
{
   using A = DtInetAddr;
   std::size_t const slots[] = {slotOf(&A::toDtString),
                                slotOf(&A::family),
                                slotOf(&A::isIPv4),
                                slotOf(&A::isIPv6),
                                slotOf(&A::setNetmask),
                                slotOf(&A::netmask),
                                slotOf(&A::setPrefixLen),
                                slotOf(&A::prefix),
                                slotOf(&A::isMulticast),
                                slotOf(&A::isBroadcast),
                                slotOf(&A::isLoopback),
                                slotOf(&A::isAnyAddr),
                                slotOf(&A::getBroadcastAddr),
                                slotOf(&A::getLoopbackAddr),
                                slotOf<int (A::*)(sockaddr_in6 *) const>(&A::toSockaddr),
                                slotOf<int (A::*)(sockaddr_in *) const>(&A::toSockaddr),
                                slotOf(&A::toAddrStorage),
                                slotOf(&A::toU128),
                                slotOf(&A::toULong),
                                slotOf(&A::setScope),
                                slotOf(&A::scope),
                                slotOf<void const * (A::*)() const>(&A::boostAddress),
                                slotOf<void * (A::*)()>(&A::boostAddress)};
   for (std::size_t i = 0; i < std::size(slots); ++i)
      EXPECT_EQ(slots[i], 2 + i);
}

// Flags: B broadcast, M multicast, L loopback, A any.
std::string flagsOf(DtInetAddr const & address)
{
   return std::string(address.isBroadcast() ? "B" : "") + (address.isMulticast() ? "M" : "") +
          (address.isLoopback() ? "L" : "") + (address.isAnyAddr() ? "A" : "");
}

TEST(DtInetAddr, TextGivesAddressMaskAndKind)
{
   struct
   {
      char const * text;
      char const * maskOrPrefix;
      char const * expected;
      unsigned long netmask;
      unsigned prefix;
      char const * flags;
   } const rows[] = {{"", "", "0.0.0.0", 0xFF000000, 8, "A"},
                     {nullptr, nullptr, "0.0.0.0", 0xFF000000, 8, "A"},
                     {"LocalHost", nullptr, "127.0.0.1", 0xFF000000, 8, "L"},
                     {"LOOPBACK", nullptr, "127.0.0.1", 0xFF000000, 8, "L"},
                     {"InAddr_Any", nullptr, "0.0.0.0", 0xFF000000, 8, "A"},
                     {"in6addr_any", nullptr, "::", 0, 0, "A"},
                     {"127.0.0.2", nullptr, "127.0.0.2", 0xFF000000, 8, ""},
                     {"192.168.1.255", "255.255.255.0", "192.168.1.255", 0xFFFFFF00, 24, "B"},
                     // A plain prefix length has no effect: the class default holds.
                     {"192.168.1.255", "24", "192.168.1.255", 0xFFFFFF00, 24, "B"},
                     {"10.0.0.255", "24", "10.0.0.255", 0xFF000000, 8, ""},
                     {"10.0.0.255", "-256", "10.0.0.255", 0xFFFFFF00, 24, "B"},
                     {"10.0.0.3", "255.255.255.254", "10.0.0.3", 0xFFFFFFFE, 31, ""},
                     {"10.0.0.3", "255.255.255.252", "10.0.0.3", 0xFFFFFFFC, 30, "B"},
                     {"255.255.255.255", nullptr, "255.255.255.255", 0xFFFFFFFF, 32, ""},
                     {"172.16.255.255", nullptr, "172.16.255.255", 0xFFFF0000, 16, "B"},
                     {"224.0.0.1", nullptr, "224.0.0.1", 0xFFFFFFFF, 32, "M"},
                     {"240.0.0.1", nullptr, "240.0.0.1", 0xFFFFFFFF, 32, ""},
                     {"::1", "64", "::1", 0, 0, "L"},
                     {"2001:DB8::1", "255.255.0.0", "2001:db8::1", 0, 16, ""},
                     {"FF02::1", nullptr, "ff02::1", 0, 0, "BM"},
                     {"ff12::1", nullptr, "ff12::1", 0, 0, "BM"},
                     {"FF01::1", nullptr, "ff01::1", 0, 0, "M"},
                     {"ff02::101", nullptr, "ff02::101", 0, 0, "M"},
                     {"fe80::1%3", nullptr, "fe80::1%3", 0, 0, ""},
                     // A zone of nonsense is no scope; one too large is cut to the 32 bits that a scope has.
                     {"2001:db8::1%nonsense", nullptr, "2001:db8::1", 0, 0, ""},
                     {"2001:db8::1%-1", nullptr, "2001:db8::1%4294967295", 0, 0, ""}};
   for (auto const & row : rows)
   {
      DtInetAddr const address(row.text, row.maskOrPrefix);
      EXPECT_STREQ(address.toDtString(), row.expected);
      EXPECT_EQ(address.netmask(), row.netmask) << row.expected;
      EXPECT_EQ(address.prefix(), row.prefix) << row.expected;
      EXPECT_EQ(flagsOf(address), row.flags) << row.expected;
      EXPECT_STREQ(DtInetAddr(DtString(row.text), DtString(row.maskOrPrefix)).toDtString(), row.expected);
   }
}

TEST(DtInetAddr, ValuesAndSystemNamesGiveAddresses)
{
   sockaddr_storage storage = {};
   sockaddr_in6 const link = systemName("fe80::1", 7);
   DtInetAddr const scoped(link, 64);
   EXPECT_STREQ(scoped.toDtString(), "fe80::1%7");
   EXPECT_EQ(scoped.scope(), 7);
   EXPECT_EQ(scoped.prefix(), 64u);
   std::memcpy(&storage, &link, sizeof link);
   DtInetAddr const scopeless(storage, 64);
   EXPECT_STREQ(scopeless.toDtString(), "fe80::1");
   EXPECT_EQ(scopeless.scope(), 0);

   DtInetAddr const ipv4((1UL << 32) + 0x0A0000FF, 0xFFFFFF00);
   EXPECT_STREQ(ipv4.toDtString(), "10.0.0.255");
   EXPECT_TRUE(ipv4.isBroadcast());
   std::memset(&storage, 0xAA, sizeof storage);
   ASSERT_EQ(ipv4.toAddrStorage(&storage), 0);
   sockaddr_in name;
   std::memcpy(&name, &storage, sizeof name);
   EXPECT_EQ(name.sin_port, 0xAAAA);
   EXPECT_EQ(ipv4.toSockaddr(reinterpret_cast<sockaddr_in6 *>(&storage)), -1);
   EXPECT_EQ(scoped.toSockaddr(&name), -1);
   EXPECT_TRUE(DtInetAddr(name, 0xFFFFFF00) == ipv4);
   DtInetAddr const fromStorage(storage, 24);
   EXPECT_TRUE(fromStorage == ipv4 && fromStorage.netmask() == 0xFFFFFF00 && fromStorage.isBroadcast());
   sockaddr_in6 filled = {};
   EXPECT_EQ(scoped.toSockaddr(&filled), 0);
   EXPECT_EQ(std::memcmp(&filled, &link, sizeof link), 0);

   DtU128 number(0xFFFFFFFF0A000001);
   number.high = 0x20010DB800000000;
   EXPECT_STREQ(DtInetAddr(number, DtInetFamilyIpv4, 16).toDtString(), "10.0.0.1");
   DtInetAddr const wide(number, DtInetFamilyUnspecified, 48);
   EXPECT_STREQ(wide.toDtString(), "2001:db8::ffff:ffff:a00:1");
   EXPECT_TRUE(wide.toU128().high == number.high && wide.toU128().low == number.low);
   EXPECT_TRUE(ipv4.toU128().high == 0 && ipv4.toU128().low == 0x0A0000FF && wide.toULong() == 0);

   DtInetAddr const any4(DtInetFamilyUnspecified);
   EXPECT_TRUE(any4.isAnyAddr() && any4.netmask() == 0xFF000000 && any4.prefix() == 0);
   EXPECT_STREQ(DtInetAddr(DtInetFamilyIpv6).toDtString(), "::");
   EXPECT_STREQ(DtInetAddr::inaddrAny(DtInetFamilyUnspecified).toDtString(), "::");
   EXPECT_STREQ(DtInetAddr::loopbackAddress(DtInetFamilyUnspecified).toDtString(), "127.0.0.1");
}

TEST(DtInetAddr, KindIsASnapshotAndCachesStayWithTheirMaker)
{
   DtInetAddr address(0x0A0000FF, 0xFFFFFF00);
   DtInetAddr * const broadcast = address.getBroadcastAddr();
   EXPECT_STREQ(broadcast->toDtString(), "10.0.0.255");
   address.setNetmask(0xFF000000);
   EXPECT_EQ(address.prefix(), 8u);
   EXPECT_TRUE(address.isBroadcast());
   EXPECT_EQ(address.getBroadcastAddr(), broadcast);
   EXPECT_STREQ(broadcast->toDtString(), "10.255.255.255");
   address.setPrefixLen(12);
   EXPECT_EQ(address.netmask(), 0xFFF00000u);
   DtInetAddr copy(address);
   EXPECT_NE(copy.getBroadcastAddr(), broadcast);
   copy = DtInetAddr(0x0B000001, 0);
   EXPECT_STREQ(copy.getBroadcastAddr()->toDtString(), "11.255.255.255");
   EXPECT_STREQ(DtInetAddr("255.255.255.255").getBroadcastAddr()->toDtString(), "255.255.255.255");

   DtInetAddr * kept = nullptr;
   {
      DtInetAddr ipv6("fe80::1%3");
      ipv6.setNetmask(0xFF000000);
      EXPECT_EQ(ipv6.netmask(), 0u);
      kept = ipv6.getBroadcastAddr();
      EXPECT_STREQ(ipv6.getLoopbackAddr()->toDtString(), "::1");
      // What was made for one family stays through an assignment of the other.
      ipv6 = DtInetAddr("ff05::2");
      EXPECT_EQ(ipv6.getBroadcastAddr(), kept);
   }
   EXPECT_STREQ(kept->toDtString(), "ff02::1");
   EXPECT_STREQ(address.getLoopbackAddr()->toDtString(), "127.0.0.1");
}

TEST(DtInetAddr, ScopeIsSetOnlyOnScopelessIpv6AndChangesNoOrder)
{
   DtInetAddr free("fe80::1");
   DtInetAddr bound("fe80::1%3");
   free.setScope(DtInetIpv6Scope(4));
   bound.setScope(DtInetIpv6Scope(4));
   EXPECT_EQ(free.scope(), 4);
   EXPECT_EQ(bound.scope(), 3);
   EXPECT_STREQ(free.toDtString(), "fe80::1");
   EXPECT_TRUE(free == bound && !(free < bound) && !(free > bound));
   EXPECT_THROW(DtInetAddr("10.0.0.1").setScope(DtInetIpv6ScopeLink), std::bad_cast);
}

// As Boost orders its addresses, but that scope 0 ties with any.
TEST(DtInetAddr, OrderIsBoostsWithLenientScopes)
{
   char const * const texts[] = {"0.0.0.0",   "10.0.0.1",  "9.255.0.0",       "255.0.0.0",
                                 "::",        "::1",       "::ffff:10.0.0.1", "fe80::1",
                                 "fe80::1%3", "fe80::1%4", "fe80::2%1",       "ff02::1"};
   for (char const * const left : texts)
      for (char const * const right : texts)
      {
         SCOPED_TRACE(std::string(left) + " and " + right);
         auto l = boost::asio::ip::make_address(left);
         auto r = boost::asio::ip::make_address(right);
         if (l.is_v6() && r.is_v6() && (l.to_v6().scope_id() == 0 || r.to_v6().scope_id() == 0))
         {
            l = boost::asio::ip::address_v6(l.to_v6().to_bytes());
            r = boost::asio::ip::address_v6(r.to_v6().to_bytes());
         }
         DtInetAddr const a(left);
         DtInetAddr const b(right);
         EXPECT_EQ(a == b, l == r);
         EXPECT_EQ(a != b, l != r);
         EXPECT_EQ(a < b, l < r);
         EXPECT_EQ(a > b, l > r);
      }
}

TEST(DtInetAddr, HostNamesAreLookedUp)
{
   HostTable hosts;
   hosts.add("Both", {"fe80::7%3", "10.1.2.3"});
   hosts.add("odd", {""});
   hosts.add("lonely", {"10.9.9.9"});
   hosts.hideFromOwnFamilies("lonely");
   EXPECT_STREQ(DtInetAddr("Both").toDtString(), "fe80::7%3");
   ASSERT_EQ(hosts.queries.size(), 1u);
   EXPECT_EQ(hosts.queries[0].family, AF_UNSPEC);
   EXPECT_EQ(hosts.queries[0].socketType, SOCK_STREAM);
   EXPECT_EQ(hosts.queries[0].flags, AI_ADDRCONFIG);
   EXPECT_EQ(hosts.queries[0].service, "");
   EXPECT_STREQ(DtInetAddr("lonely").toDtString(), "10.9.9.9");
   EXPECT_STREQ(DtInetAddr("nobody").toDtString(), "0.0.0.0");
   EXPECT_STREQ(DtInetAddr("10.0.0.1 ").toDtString(), "0.0.0.0");
   try
   {
      DtInetAddr("odd", nullptr);
      ADD_FAILURE() << "an empty answer must throw";
   }
   catch (DtException const & exception)
   {
      EXPECT_STREQ(exception.message(), "Invalid string format for IP address - odd");
   }
}

TEST(DtInetAddr, OldFunctionsDealInHostOrder)
{
   EXPECT_STREQ(DtInetAddrString((1UL << 32) + 0x0A0000FF), "10.0.0.255");
   EXPECT_EQ(DtHexStringToInetAddr("0a0000FFjunk"), 0x0A0000FFu);
   for (char const * bad : {"", "0a0000f", "0a0000fg", "0a.00000"})
      EXPECT_EQ(DtHexStringToInetAddr(bad), 0xFFFFFFFFu) << bad;
   EXPECT_EQ(DtHexStringToInetAddr(nullptr), 0xFFFFFFFFu);

   HostTable hosts;
   hosts.add("both", {"fe80::7", "10.1.2.3", "10.1.2.4"});
   hosts.add("six", {"fe80::7"});
   CapturedStream streams;
   DtNotifyLevel = 1;
   EXPECT_EQ(DtStringToInetAddr(DtString("both")), 0x0A010203u);
   EXPECT_EQ(DtStringToInetAddr("six"), 0u);
   EXPECT_EQ(DtStringToInetAddr("192.168.0.1"), 0xC0A80001u);
   EXPECT_EQ(streams.textAt(1), "");
   EXPECT_EQ(DtStringToInetAddr("nobody"), 0u);
   EXPECT_EQ(streams.textAt(1), "DtStringToInetAddr: Could not resolve nobody returning 0\n");
}

} // namespace
