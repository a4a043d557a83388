// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetAddr.h"

#include "inet/steps.h"
#include "support/capturedStream.h"
#include "support/hostTable.h"
#include "tslutil/inet/tslInetAddrString.h"

#include <boost/asio/ip/address.hpp>

#include <cstring>
#include <map>
#include <netinet/in.h>
#include <utility>

using namespace DtInetUtils;

namespace
{

/// Text, netmask, prefix, scope and kind: B broadcast, M multicast, L loopback, A any.
std::string describe(DtInetAddr const & address)
{
   char numbers[64];
   std::snprintf(numbers, sizeof numbers, " %08lx/%llu %d", address.netmask(),
                 static_cast<unsigned long long>(address.prefix()), static_cast<int>(address.scope()));
   return address.toDtString().stdString() + numbers + (address.isBroadcast() ? " B" : "") +
          (address.isMulticast() ? " M" : "") + (address.isLoopback() ? " L" : "") +
          (address.isAnyAddr() ? " A" : "");
}

std::string hex(unsigned long value)
{
   char digits[20];
   std::snprintf(digits, sizeof digits, "%08lx", value);
   return digits;
}

/// Texts of addresses, names of hosts, and what is said of them. "-" is no text at all.
struct AddrWorld : World
{
   AddrWorld();

   HostTable hosts;
   CapturedStream warnings;
};

// clang-format off
AddrWorld::AddrWorld()
{
   DtNotifyLevel = 1;
   verbs["address"] = [](auto & row) {
      auto const text = [&](std::size_t i) { return row[i] == "-" ? nullptr : row[i].c_str(); };
      std::string const told = describe(DtInetAddr(text(1), text(2)));
      EXPECT_EQ(told, describe(DtInetAddr(DtString(text(1)), DtString(text(2)))));
      return told;
   };
   always("host", [this](auto & row) { hosts.addresses[row[1]].push_back(row[2] == "-" ? "" : row[2]); });
   always("hide", [this](auto & row) { hosts.hidden = row[1]; });
   verbs["queries"] = [this](auto &) { return testing::PrintToString(std::exchange(hosts.queries, {})); };
   verbs["look up"] = [this](auto & row) {
      EXPECT_EQ(DtStringToInetAddr(row[1].c_str()), DtStringToInetAddr(DtString(row[1])));
      warnings.clear();
      std::string const told = hex(DtStringToInetAddr(row[1].c_str()));
      return told + warnings.textAt(1);
   };
   verbs["from hex"] = [](auto & row) { return hex(DtHexStringToInetAddr(row[1] == "-" ? nullptr : row[1].c_str())); };
   verbs["dotted"] = [](auto & row) { return DtInetAddrString(std::stoul(row[1], nullptr, 16)); };
   verbs["length"] = [](auto & row) { return std::to_string(netmaskToPrefixLen(std::stoul(row[1], nullptr, 16))); };
   verbs["mask"] = [](auto & row) { return hex(prefixLenToIpv4Netmask(std::stoul(row[1]))); };
   verbs["read mask"] = [](auto & row) { return hex(convertStringToNetmask(row[1])) + " " + std::to_string(convertStringToPrefixLen(row[1])); };
   verbs["judge"] = [](auto & row) {
      std::string const judged = std::string(isIpv4AddrString(row[1]) ? ", IPv4" : "") + (isIpv6AddrString(row[1]) ? ", IPv6" : "") +
         (isBroadcastAddrString(row[1]) ? ", broadcast" : "") + (isMulticastAddrString(row[1]) ? ", multicast" : "") +
         (isLinkLocalAddrString(row[1]) ? ", link-local" : "") + (isLoopbackAddrString(row[1]) ? ", loopback" : "") +
         (isLocalhostAddrString(row[1]) ? ", localhost" : "");
      return judged.empty() ? "nothing" : judged.substr(2);
   };
   verbs["scope"] = [](auto & row) {
      DtInetAddr address(row[1].c_str());
      address.setScope(DtInetIpv6Scope(std::stoi(row[2])));
      return describe(address);
   };
   verbs["compare"] = [](auto & row) { return relation(DtInetAddr(row[1].c_str()), DtInetAddr(row[2].c_str())); };
   verbs["ascend"] = [](auto & row) {
      std::vector<DtInetAddr> addresses;
      for (std::size_t i = 1; i < row.size() && !row[i].empty(); ++i)
         addresses.emplace_back(row[i].c_str());
      return ascends(addresses);
   };
}
// clang-format on

TEST(DtInetAddr, TextsComeToWhatTheTableSays)
{
   runSteps<AddrWorld>("inet/addresses.tsv");
}

TEST(DtInetAddr, ValuesAndSystemNamesGiveAddresses)
{
   sockaddr_in6 link = {};
   sockaddr_storage storage = {};
   EXPECT_EQ(DtInetAddr("fe80::1%7").toSockaddr(&link), 0);
   std::memcpy(&storage, &link, sizeof link);
   DtInetAddr const scoped(link, 64);
   EXPECT_EQ(describe(scoped) + describe(DtInetAddr(storage, 64)),
             "fe80::1%7 00000000/64 7fe80::1 00000000/64 0");

   DtInetAddr const ipv4((1UL << 32) + 0x0A0000FF, 0xFFFFFF00);
   std::memset(&storage, 0xAA, sizeof storage);
   ASSERT_EQ(ipv4.toAddrStorage(&storage), 0);
   sockaddr_in name;
   std::memcpy(&name, &storage, sizeof name);
   EXPECT_TRUE(name.sin_port == 0xAAAA && ipv4.toSockaddr(&link) == -1 && scoped.toSockaddr(&name) == -1);
   for (DtInetAddr const & address : {ipv4, DtInetAddr(name, 0xFFFFFF00), DtInetAddr(storage, 24),
                                      DtInetAddr(ipv4.toU128(), DtInetFamilyIpv4, 24)})
      EXPECT_EQ(describe(address), "10.0.0.255 ffffff00/24 0 B");
   EXPECT_EQ(describe(DtInetAddr(storage, 40)), "10.0.0.255 ff000000/40 0");
   EXPECT_EQ(describe(DtInetAddr(scoped.toU128(), DtInetFamilyUnspecified, 9)), "fe80::1 00000000/9 0");
   EXPECT_TRUE(scoped.toU128().high == 0xFE80000000000000 && scoped.toU128().low == 1 &&
               scoped.toULong() == 0);
   EXPECT_EQ(describe(DtInetAddr()) + " " + describe(DtInetAddr(DtInetFamilyIpv6)),
             "0.0.0.0 ff000000/0 0 A :: 00000000/0 0 A");
   EXPECT_STREQ(DtInetAddr::inaddrAny(DtInetFamilyUnspecified).toDtString(), "::");
   EXPECT_STREQ(DtInetAddr::loopbackAddress(DtInetFamilyUnspecified).toDtString(), "127.0.0.1");
}

TEST(DtInetAddr, KindIsASnapshotAndWhatWasHandedOutStays)
{
   DtInetAddr address(0x0A0000FF, 0xFFFFFF00);
   DtInetAddr * const broadcast = address.getBroadcastAddr();
   EXPECT_STREQ(broadcast->toDtString(), "10.0.0.255");
   address.setNetmask(0xFF000000);
   EXPECT_EQ(describe(address), "10.0.0.255 ff000000/8 0 B");
   EXPECT_TRUE(address.getBroadcastAddr() == broadcast && broadcast->toDtString() == "10.255.255.255");
   address.setPrefixLen(12);
   EXPECT_EQ(address.netmask(), 0xFFF00000u);
   DtInetAddr * kept = nullptr;
   {
      DtInetAddr copy(address);
      kept = copy.getBroadcastAddr();
      EXPECT_NE(kept, broadcast);
      // What was made for one family stays through an assignment of the other.
      copy = DtInetAddr("fe80::1");
      copy.setNetmask(0xFF000000);
      copy.setPrefixLen(16);
      EXPECT_EQ(describe(copy), "fe80::1 00000000/16 0");
      EXPECT_TRUE(copy.getBroadcastAddr() == kept && copy.getLoopbackAddr()->toDtString() == "::1");
   }
   EXPECT_STREQ(kept->toDtString(), "10.15.255.255");
   EXPECT_STREQ(DtInetAddr("fe80::1").getBroadcastAddr()->toDtString(), "ff02::1");
   EXPECT_STREQ(DtInetAddr("255.255.255.255").getBroadcastAddr()->toDtString(), "255.255.255.255");
}

// Locators.

/// The locators of public test suites, and what the parsers and judges must say of each, without the closing
/// note. The second table has what differs here, where the system accepts any zone behind an address.
std::map<std::string, Fields> locators()
{
   std::map<std::string, Fields> rows;
   for (char const * const name : {"locators.expected.tsv", "locators.zones.tsv"})
      for (Fields const & row : tableOf(name))
         rows[row[0]] = Fields(row.begin() + 1, row.end() - 1);
   return rows;
}

/// What the parsers and judges say of a text, as a table has it.
Fields answersTo(DtString const & text)
{
   Fields answers;
   DtString address, suffix;
   int kind = -1;
   auto const tell = [&](int result)
   {
      for (auto const & answer : {std::to_string(result), address.stdString(), suffix.stdString()})
         answers.push_back(answer);
      answers.push_back(std::to_string(kind));
      address = "-";
   };
   tell(parseNetResLoc(text, address, suffix, kind));
   tell(parseIpv4NetResLoc(text, address, suffix, kind));
   tell(parseIpv6NetResLoc(text, address, suffix, kind));
   for (int const judged : {int(addrStringFamily(text)), int(isMulticastAddrString(text)),
                            int(isLoopbackAddrString(text)), int(isBroadcastAddrString(text))})
      answers.push_back(std::to_string(judged));
   return answers;
}

/// What is said of one text in several ways has to agree, and an address to come back from its text and
/// number.
void expectAgreement(DtString const & text)
{
   DtString address, suffix;
   int kind = -1;
   DtInetAddrFamily const family = parseNetResLoc(text, address, suffix, kind);
   if (family == DtInetFamilyUnspecified)
   {
      EXPECT_FALSE(isLinkLocalAddrString(text));
      return;
   }
   DtInetAddr const value(address, suffix);
   EXPECT_TRUE(value.family() == family && value.isMulticast() == isMulticastAddrString(text) &&
               value.isLoopback() == isLoopbackAddrString(text));
   EXPECT_EQ(DtInetAddr(value.toDtString().c_str()), value);
   EXPECT_EQ(DtInetAddr(value.toU128(), family), value);
}

TEST(DtInetResLoc, EveryTextOfTheTableIsReadAsItSays)
{
   auto const rows = locators();
   ASSERT_EQ(rows.size(), 1459u);
   for (auto const & row : rows)
   {
      SCOPED_TRACE(row.first);
      EXPECT_EQ(answersTo(row.first), row.second);
      expectAgreement(row.first);
   }
}

TEST(DtInetResLoc, ArgumentsMayBeTheLocatorItself)
{
   DtString text("[::1]:3000"), other("myhost:5000"), suffix;
   int kind = 0;
   EXPECT_EQ(parseNetResLoc(text, text, suffix, kind), DtInetFamilyIpv6);
   EXPECT_STREQ(text, "::1");
   EXPECT_EQ(parseNetResLoc(other, text, other, kind), DtInetFamilyUnspecified);
   EXPECT_STREQ(other, "5000");
}

} // namespace
