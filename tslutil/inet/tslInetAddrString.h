// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/inet/tslInetResLoc.h"
#include "tslutil/tslutilExport.h"

/// What address text says, judged without building an address, and the two forms of a netmask. All texts are
/// locators: a port, mask or prefix may stand behind the address. Text that can't be parsed is never an
/// error: the answer is then false or 0. Nothing here throws, and all of it may be called from any thread.
///
/// Numbers in suffixes are read leniently: "0" counts as unreadable, and text without any digit as the number
/// 0.
namespace DtInetUtils
{

/// The family of an address literal whose suffix, if there is one, is in order too; else
/// DtInetFamilyUnspecified. A port has to lie in 1 to 65535, a prefix must not exceed 32 or 128.
TSLUTIL_EXPORT DtInetAddrFamily addrStringFamily(DtString const & text);

/// Whether addrStringFamily() says IPv4.
TSLUTIL_EXPORT bool isIpv4AddrString(DtString const & text);

/// Whether addrStringFamily() says IPv6.
TSLUTIL_EXPORT bool isIpv6AddrString(DtString const & text);

/// Whether the text names a broadcast address. IPv4: all host bits are set, under the class default of the
/// address; behind a dotted mask the number ahead of its first dot counts the host bits instead. IPv6:
/// ff?1::1 or ff?2::1, which is more than DtInetAddr::isBroadcast() accepts.
TSLUTIL_EXPORT bool isBroadcastAddrString(DtString const & text);

/// Whether the text names an address in 224.0.0.0/4 or ff00::/8.
TSLUTIL_EXPORT bool isMulticastAddrString(DtString const & text);

/// Whether the text names an address in 169.254.0.0/16 or fe80::/10.
TSLUTIL_EXPORT bool isLinkLocalAddrString(DtString const & text);

/// Whether the text names exactly 127.0.0.1, not the rest of 127.0.0.0/8, or ::1.
TSLUTIL_EXPORT bool isLoopbackAddrString(DtString const & text);

/// A placeholder of the interface: always false.
TSLUTIL_EXPORT bool isLocalhostAddrString(DtString const & text);

/// A placeholder of the interface: answers its argument and removes nothing.
TSLUTIL_EXPORT char * removeZoneIndex(char * text);

/// The number of leading one bits of a 32-bit netmask in host order, 0 to 32. A hole in the mask ends the
/// count.
TSLUTIL_EXPORT unsigned long netmaskToPrefixLen(unsigned long netmask);

/// The 32-bit netmask in host order with the top `prefixLen` bits set; 0 if that isn't 1 to 32.
TSLUTIL_EXPORT unsigned long prefixLenToIpv4Netmask(unsigned long prefixLen);

/// The netmask, in host order, that a dotted mask or a prefix length stands for; 0 if it can't be read. All
/// up to the first "/" is ignored.
TSLUTIL_EXPORT unsigned long convertStringToNetmask(DtString text);

/// The prefix length of a netmask, given as a dotted mask or as a plain number, which is taken as a netmask
/// and not as a length: "-256" is 24, and "24" is 0. 0 if it can't be read. All up to the first "/" is
/// ignored.
TSLUTIL_EXPORT unsigned long convertStringToPrefixLen(DtString text);

} // namespace DtInetUtils
