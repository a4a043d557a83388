// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetAddrString.h"

#include "tslutil/inet/addressText.h"

#include <cstring>

using namespace DtInetUtils;

namespace
{

/// An address literal with what stands behind it.
struct Literal
{
   DtInetAddrFamily family = DtInetFamilyUnspecified;
   std::uint32_t ipv4 = 0;
   unsigned char ipv6[16] = {};
   DtString suffix;
   int suffixKind = 0;
};

Literal literalOf(DtString const & text)
{
   Literal literal;
   DtString address;
   if (parseIpv4NetResLoc(text, address, literal.suffix, literal.suffixKind))
   {
      if (tsl::ipv4FromText(address, literal.ipv4))
         literal.family = DtInetFamilyIpv4;
   }
   else if (parseIpv6NetResLoc(text, address, literal.suffix, literal.suffixKind) &&
            tsl::ipv6FromText(address, literal.ipv6))
      literal.family = DtInetFamilyIpv6;
   return literal;
}

/// Reads a number; false if toInt raises its flag. It does so for what reads as "0" and leaves it alone for
/// text without any digit: both are meant, here and wherever suffixes are read.
bool readNumber(DtString const & text, int & number)
{
   bool flag = false;
   number = text.toInt(&flag);
   return !flag;
}

bool isSuffixInOrder(Literal const & literal)
{
   int number = 0;
   std::uint32_t netmask = 0;
   switch (literal.suffixKind)
   {
   case 1:
      return readNumber(literal.suffix, number) && number >= 1 && number <= 65535;
   case 2:
      return tsl::ipv4FromText(literal.suffix, netmask);
   case 3:
      if (!readNumber(literal.suffix, number))
         return false;
      // A negative prefix is too long for IPv4 and passes for IPv6.
      return literal.family == DtInetFamilyIpv4 ? static_cast<unsigned int>(number) < 33 : number <= 128;
   default:
      return true;
   }
}

/// All ones but for the lowest `count` bits.
std::uint32_t maskWithoutLowBits(int count)
{
   if (count >= 32)
      return 0;
   return count > 0 ? 0xFFFFFFFFu << count : 0xFFFFFFFFu;
}

} // namespace

DtInetAddrFamily DtInetUtils::addrStringFamily(DtString const & text)
{
   Literal const literal = literalOf(text);
   return isSuffixInOrder(literal) ? literal.family : DtInetFamilyUnspecified;
}

bool DtInetUtils::isIpv4AddrString(DtString const & text)
{
   return addrStringFamily(text) == DtInetFamilyIpv4;
}

bool DtInetUtils::isIpv6AddrString(DtString const & text)
{
   return addrStringFamily(text) == DtInetFamilyIpv6;
}

bool DtInetUtils::isBroadcastAddrString(DtString const & text)
{
   Literal const literal = literalOf(text);
   if (literal.family == DtInetFamilyIpv4)
   {
      // Behind a dotted mask only the number ahead of its first dot counts, and as host bits: that is meant.
      std::uint32_t const netmask = literal.suffixKind == 2 ? maskWithoutLowBits(literal.suffix.toInt())
                                                            : tsl::classNetmask(literal.ipv4);
      return tsl::isBroadcastUnder(literal.ipv4, netmask, netmaskToPrefixLen(netmask));
   }
   int const scope = literal.ipv6[1] & 0xF;
   return literal.family == DtInetFamilyIpv6 && tsl::isAllNodesOfSomeScope(literal.ipv6) &&
          (scope == 1 || scope == 2);
}

bool DtInetUtils::isMulticastAddrString(DtString const & text)
{
   Literal const literal = literalOf(text);
   return literal.family == DtInetFamilyIpv4 ? tsl::isIpv4Multicast(literal.ipv4) : literal.ipv6[0] == 0xFF;
}

bool DtInetUtils::isLinkLocalAddrString(DtString const & text)
{
   Literal const literal = literalOf(text);
   if (literal.family == DtInetFamilyIpv4)
      return literal.ipv4 >> 16 == 0xA9FE;
   return literal.ipv6[0] == 0xFE && (literal.ipv6[1] & 0xC0) == 0x80;
}

bool DtInetUtils::isLoopbackAddrString(DtString const & text)
{
   static unsigned char const theIpv6Loopback[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
   Literal const literal = literalOf(text);
   if (literal.family == DtInetFamilyIpv4)
      return literal.ipv4 == tsl::theIpv4Loopback;
   return std::memcmp(literal.ipv6, theIpv6Loopback, sizeof theIpv6Loopback) == 0;
}

bool DtInetUtils::isLocalhostAddrString(DtString const &)
{
   return false;
}

char * DtInetUtils::removeZoneIndex(char * text)
{
   return text;
}

unsigned long DtInetUtils::netmaskToPrefixLen(unsigned long netmask)
{
   unsigned long length = 0;
   for (std::uint32_t rest = static_cast<std::uint32_t>(netmask); rest >> 31 != 0; rest <<= 1)
      ++length;
   return length;
}

unsigned long DtInetUtils::prefixLenToIpv4Netmask(unsigned long prefixLen)
{
   std::uint32_t const length = static_cast<std::uint32_t>(prefixLen);
   return length >= 1 && length <= 32 ? 0xFFFFFFFFu << (32 - length) : 0;
}

unsigned long DtInetUtils::convertStringToNetmask(DtString text)
{
   text.snipFront('/', false);
   std::uint32_t netmask = 0;
   if (text.findChar('.') >= 0)
      return tsl::ipv4FromText(text, netmask) ? netmask : 0;
   int length = 0;
   return readNumber(text, length) ? prefixLenToIpv4Netmask(static_cast<std::uint32_t>(length)) : 0;
}

unsigned long DtInetUtils::convertStringToPrefixLen(DtString text)
{
   text.snipFront('/', false);
   std::uint32_t netmask = 0;
   if (text.findChar('.') >= 0)
      return tsl::ipv4FromText(text, netmask) ? netmaskToPrefixLen(netmask) : 0;
   // A plain number is a netmask too, not a length.
   int number = 0;
   return readNumber(text, number) ? netmaskToPrefixLen(static_cast<std::uint32_t>(number)) : 0;
}
