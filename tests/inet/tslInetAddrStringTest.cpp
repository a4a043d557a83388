// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetAddrString.h"

#include <gtest/gtest.h>

using namespace DtInetUtils;

namespace
{

// Holes end a length, and arguments have 32 bits.
TEST(DtInetAddrString, MasksAndPrefixLengthsConvert)
{
   for (unsigned long length = 1; length <= 32; ++length)
      EXPECT_EQ(netmaskToPrefixLen(prefixLenToIpv4Netmask(length)), length);
   EXPECT_EQ(netmaskToPrefixLen(0xFF00FF00), 8u);
   EXPECT_EQ(netmaskToPrefixLen(0x7FFFFFFF), 0u);
   EXPECT_EQ(netmaskToPrefixLen(~0xFFUL), 24u);
   EXPECT_EQ(prefixLenToIpv4Netmask(9), 0xFF800000u);
   EXPECT_EQ(prefixLenToIpv4Netmask(0) + prefixLenToIpv4Netmask(33), 0u);
   EXPECT_EQ(prefixLenToIpv4Netmask((1UL << 32) + 8), 0xFF000000u);
}

// A plain number is a length to the one and a netmask to the other, and "0" is unreadable to both.
TEST(DtInetAddrString, NetmaskTextIsReadTwoWays)
{
   std::string read;
   for (char const * text : {"24", "-256", "10.0.0.1/16", "255.255.0.0", "x/255.0.0.0", "a/8/16", "-1"})
      read += std::to_string(netmaskToPrefixLen(convertStringToNetmask(text))) + "|" +
              std::to_string(convertStringToPrefixLen(text)) + " ";
   EXPECT_EQ(read, "24|0 0|24 16|0 16|16 8|8 8|0 0|32 ");
   for (char const * none : {"1.2", "33", "0", "abc", ""})
      EXPECT_EQ(convertStringToNetmask(none) + convertStringToPrefixLen(none), 0u) << none;
}

// Behind a dotted mask the first number counts the host bits; any other suffix leaves the class default.
TEST(DtInetAddrString, BroadcastTextTakesTheMasksFirstNumberAsHostBits)
{
   for (char const * text : {"10.255.255.255", "10.0.0.255/8.0.0.0", "10.0.0.3/2.0.0.0", "192.168.1.255:3000",
                             "127.255.255.255/31.0.0.0", "255.255.255.255/32.0.0.0",
                             "255.255.255.255/255.0.0.0", "FF01::1", "ff12::1", "[ff02::1]:80"})
      EXPECT_TRUE(isBroadcastAddrString(text)) << text;
   for (char const * text :
        {"10.0.0.255", "10.0.0.255/24", "10.0.0.1/1.0.0.0", "10.0.0.255/0.0.0.0", "10.0.0.255/31.0.0.0",
         "10.0.0.255/255.255.255.0", "255.255.255.255", "ff05::1", "ff02::101", "fe02::1", "localhost"})
      EXPECT_FALSE(isBroadcastAddrString(text)) << text;
}

TEST(DtInetAddrString, LinkLocalTextIsTold)
{
   for (char const * text : {"169.254.0.1", "169.254.255.255:80", "fe80::1", "[febf::1%3]:80", "FE90::/10"})
      EXPECT_TRUE(isLinkLocalAddrString(text)) << text;
   for (char const * text : {"169.253.0.1", "fec0::1", "fe7f::1", "ff02::1", "localhost", ""})
      EXPECT_FALSE(isLinkLocalAddrString(text)) << text;
}

} // namespace
