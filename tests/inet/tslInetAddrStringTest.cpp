// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetAddrString.h"

#include <gtest/gtest.h>

using namespace DtInetUtils;

namespace
{

TEST(DtInetAddrString, MasksAndPrefixLengthsConvert)
{
   struct
   {
      unsigned long netmask;
      unsigned long length;
   } const rows[] = {{0, 0},          {0x80000000, 1},  {0xFFFFFF00, 24}, {0xFF00FF00, 8},
                     {0x7FFFFFFF, 0}, {0xFFFFFFFE, 31}, {0xFFFFFFFF, 32}, {~0xFFUL, 24}};
   for (auto const & row : rows)
      EXPECT_EQ(netmaskToPrefixLen(row.netmask), row.length) << row.netmask;
   for (unsigned long length = 1; length <= 32; ++length)
      EXPECT_EQ(netmaskToPrefixLen(prefixLenToIpv4Netmask(length)), length);
   EXPECT_EQ(prefixLenToIpv4Netmask(9), 0xFF800000u);
   EXPECT_EQ(prefixLenToIpv4Netmask(0), 0u);
   EXPECT_EQ(prefixLenToIpv4Netmask(33), 0u);
   EXPECT_EQ(prefixLenToIpv4Netmask((1UL << 32) + 8), 0xFF000000u);
}

// A plain number is a length to the one and a netmask to the other, and "0" is unreadable to both.
TEST(DtInetAddrString, NetmaskTextIsReadTwoWays)
{
   struct
   {
      char const * text;
      unsigned long netmask;
      unsigned long prefixLen;
   } const rows[] = {{"24", 0xFFFFFF00, 0},
                     {"-256", 0, 24},
                     {"10.0.0.1/16", 0xFFFF0000, 0},
                     {"255.255.0.0", 0xFFFF0000, 16},
                     {"x/255.0.0.0", 0xFF000000, 8},
                     {"1.2", 0, 0},
                     {"33", 0, 0},
                     {"0", 0, 0},
                     {"abc", 0, 0},
                     {"", 0, 0},
                     {"-1", 0, 32},
                     {"a/8/16", 0xFF000000, 0}};
   for (auto const & row : rows)
   {
      EXPECT_EQ(convertStringToNetmask(row.text), row.netmask) << row.text;
      EXPECT_EQ(convertStringToPrefixLen(row.text), row.prefixLen) << row.text;
   }
}

// Behind a dotted mask the first number counts the host bits; any other suffix leaves the class default.
TEST(DtInetAddrString, BroadcastTextTakesTheMasksFirstNumberAsHostBits)
{
   struct
   {
      char const * text;
      bool expected;
   } const rows[] = {{"10.255.255.255", true},
                     {"10.0.0.255", false},
                     {"10.0.0.255/24", false},
                     {"10.0.0.255/8.0.0.0", true},
                     {"10.0.0.3/2.0.0.0", true},
                     {"10.0.0.1/1.0.0.0", false},
                     {"10.0.0.255/0.0.0.0", false},
                     {"10.0.0.255/31.0.0.0", false},
                     {"255.255.255.255/32.0.0.0", true},
                     {"127.255.255.255/31.0.0.0", true},
                     {"255.255.255.255", false},
                     {"10.0.0.255/255.255.255.0", false},
                     {"192.168.1.255:3000", true},
                     {"255.255.255.255/255.0.0.0", true},
                     {"FF01::1", true},
                     {"ff02::1", true},
                     {"ff12::1", true},
                     {"ff05::1", false},
                     {"ff02::101", false},
                     {"fe02::1", false},
                     {"[ff02::1]:80", true}};
   for (auto const & row : rows)
      EXPECT_EQ(isBroadcastAddrString(row.text), row.expected) << row.text;
}

TEST(DtInetAddrString, LinkLocalTextIsToldAndZonesStay)
{
   for (char const * text : {"169.254.0.1", "169.254.255.255:80", "fe80::1", "[febf::1%3]:80", "FE90::/10"})
      EXPECT_TRUE(isLinkLocalAddrString(text)) << text;
   for (char const * text : {"169.253.0.1", "fec0::1", "fe7f::1", "ff02::1", "::", "localhost", ""})
      EXPECT_FALSE(isLinkLocalAddrString(text)) << text;
   char text[] = "fe80::1%3";
   EXPECT_EQ(removeZoneIndex(text), text);
   EXPECT_STREQ(text, "fe80::1%3");
   EXPECT_FALSE(isLocalhostAddrString("localhost"));
}

TEST(DtInetAddrString, SuffixesDecideTheFamily)
{
   struct
   {
      char const * text;
      DtInetAddrFamily family;
   } const rows[] = {
      {"1.2.3.4/0", DtInetFamilyUnspecified},   {"1.2.3.4/abc", DtInetFamilyIpv4},
      {"1.2.3.4/-1", DtInetFamilyUnspecified},  {"::1/-1", DtInetFamilyIpv6},
      {"1.2.3.4:65535", DtInetFamilyIpv4},      {"1.2.3.4:65536", DtInetFamilyUnspecified},
      {"1.2.3.4:abc", DtInetFamilyUnspecified}, {"::1/128", DtInetFamilyIpv6},
      {"::1/129", DtInetFamilyUnspecified},     {"1.2.3.4/9999999999", DtInetFamilyUnspecified},
      {"1.2.3.4/32", DtInetFamilyIpv4},         {"1.2.3.4/33", DtInetFamilyUnspecified}};
   for (auto const & row : rows)
   {
      EXPECT_EQ(addrStringFamily(row.text), row.family) << row.text;
      EXPECT_EQ(isIpv4AddrString(row.text), row.family == DtInetFamilyIpv4) << row.text;
      EXPECT_EQ(isIpv6AddrString(row.text), row.family == DtInetFamilyIpv6) << row.text;
   }
}

} // namespace
