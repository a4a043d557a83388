// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/tslutilExport.h"

/// Network resource locators: the text in which a user names a host, an address or a device, with a port,
/// netmask or prefix behind it. The parsers take such text apart; they look nothing up, build no address,
/// never throw and may be called from any thread. Accepted are
///
///    IPv4   a.b.c.d   a.b.c.d:port   a.b.c.d/prefix   a.b.c.d/m.m.m.m
///    IPv6   x::y   [x::y]   [x::y]:port   x::y/prefix   [x::y]/prefix
///    name   name   name:port
///
/// A port together with a mask or prefix is refused. `suffixKind` tells what `suffix` holds: 0 nothing (the
/// suffix is then whatever the parsing left there and must not be read), 1 the port text, 2 the dotted
/// netmask, 3 the prefix length.
namespace DtInetUtils
{

/// The family of an address. The numbers are those of the IP versions.
enum DtInetAddrFamily : int
{
   DtInetFamilyUnspecified = 0,
   DtInetFamilyIpv4 = 4,
   DtInetFamilyIpv6 = 6
};

/// Whether the locator is an IPv4 address with an optional suffix. If it isn't, `address` stays as it was,
/// and `suffix` and `suffixKind` hold leftovers.
TSLUTIL_EXPORT bool parseIpv4NetResLoc(DtString const & locator, DtString & address, DtString & suffix,
                                       int & suffixKind);

/// Whether the locator is an IPv6 address with an optional suffix, which is never a netmask. If it isn't,
/// `address` stays as it was, and `suffix` and `suffixKind` hold leftovers.
TSLUTIL_EXPORT bool parseIpv6NetResLoc(DtString const & locator, DtString & address, DtString & suffix,
                                       int & suffixKind);

/// Takes any locator apart. Answers the family of a literal address, and DtInetFamilyUnspecified for a host
/// or device name, which may have a port behind it.
TSLUTIL_EXPORT DtInetAddrFamily parseNetResLoc(DtString const & locator, DtString & address,
                                               DtString & suffix, int & suffixKind);

} // namespace DtInetUtils
