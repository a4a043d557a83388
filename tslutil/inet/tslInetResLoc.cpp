// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetResLoc.h"

#include "tslutil/inet/addressText.h"

namespace
{

enum SuffixKind : int
{
   noSuffix = 0,
   portSuffix = 1,
   maskSuffix = 2,
   prefixSuffix = 3
};

/// Takes all up to the last blank away. A blank at the end thus empties the text, which then is no address:
/// that is meant.
void removeBlanks(DtString & text)
{
   text.snipFront(' ', true);
}

/// The kind of what stands behind the "/" of an IPv4 address. Text with dots that is no netmask has none, and
/// does not spoil the address.
SuffixKind maskOrPrefix(DtString const & suffix)
{
   std::uint32_t netmask = 0;
   if (suffix.findChar('.') < 0)
      return prefixSuffix;
   return tsl::ipv4FromText(suffix, netmask) ? maskSuffix : noSuffix;
}

/// Splits off what stands behind an IPv4 address; false if both a port and a "/" do.
bool splitIpv4(DtString & address, DtString & suffix, int & suffixKind)
{
   bool const hasSlash = suffix.findChar('/') >= 0;
   if (suffix.snipFront(':', false))
   {
      if (hasSlash)
         return false;
      suffix.chompBack();
      suffixKind = portSuffix;
      address.snipBack(':', false);
   }
   else if (hasSlash)
   {
      suffix.chompBack();
      suffix.snipFront('/', false);
      suffixKind = maskOrPrefix(suffix);
      address.snipBack('/', false);
   }
   else
      suffix = "";
   return true;
}

/// Splits off what stands behind an IPv6 address; false if both a port and a "/" do.
bool splitIpv6(DtString & suffix, int & suffixKind)
{
   bool const hasSlash = suffix.findChar('/') >= 0;
   if (suffix.snipFront(']', false) && suffix.findChar(':') >= 0)
   {
      if (hasSlash)
         return false;
      suffix.snipFront(':', false);
      suffix.chompBack();
      if (!suffix.isEmpty())
         suffixKind = portSuffix;
   }
   else if (hasSlash)
   {
      suffix.snipFront('/', false);
      suffixKind = prefixSuffix;
   }
   else
      suffix = "";
   return true;
}

} // namespace

bool DtInetUtils::parseIpv4NetResLoc(DtString const & locator, DtString & address, DtString & suffix,
                                     int & suffixKind)
{
   DtString text(locator);
   suffixKind = noSuffix;
   suffix = text;
   int const dot = text.findChar('.');
   int const colon = text.findChar(':');
   if (dot < 0 || (colon >= 0 && colon < dot) || !splitIpv4(text, suffix, suffixKind))
      return false;
   removeBlanks(text);
   std::uint32_t value = 0;
   if (!tsl::ipv4FromText(text, value))
      return false;
   address = text;
   return true;
}

bool DtInetUtils::parseIpv6NetResLoc(DtString const & locator, DtString & address, DtString & suffix,
                                     int & suffixKind)
{
   DtString text(locator);
   suffixKind = noSuffix;
   suffix = text;
   if (text.findChar(':') < 0 || !splitIpv6(suffix, suffixKind))
      return false;
   text.snipBack('/', false);
   text.snipFront('[', false);
   text.snipBack(']', false);
   removeBlanks(text);
   unsigned char bytes[16];
   if (!tsl::ipv6FromText(text, bytes))
      return false;
   address = text;
   return true;
}

DtInetUtils::DtInetAddrFamily DtInetUtils::parseNetResLoc(DtString const & locator, DtString & address,
                                                          DtString & suffix, int & suffixKind)
{
   DtString name(locator);
   if (parseIpv4NetResLoc(name, address, suffix, suffixKind))
      return DtInetFamilyIpv4;
   if (parseIpv6NetResLoc(name, address, suffix, suffixKind))
      return DtInetFamilyIpv6;
   // Without a port the suffix keeps what the parsers have left in it.
   suffixKind = noSuffix;
   if (name.findChar(':') > 0)
   {
      suffix = name;
      suffix.snipFront(':', false);
      suffix.chompBack();
      suffixKind = portSuffix;
      name.snipBack(':', false);
   }
   address = name;
   return DtInetFamilyUnspecified;
}
