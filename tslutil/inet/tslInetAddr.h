// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/base/tslU128.h"
#include "tslutil/inet/tslInetAddrString.h"
#include "tslutil/inet/tslInetResLoc.h"
#include "tslutil/tslutilExport.h"

#include <cstdint>

struct sockaddr_in;
struct sockaddr_in6;
struct sockaddr_storage;

/// Addresses: what everything that names a host holds, and three older functions that deal in 32-bit values.

/// The number of an IPv6 scope (a zone, on most systems the index of an interface). Opaque; 0 is no scope.
enum DtInetIpv6Scope : int
{
   DtInetIpv6ScopeNone = 0,
   DtInetIpv6ScopeLink = 2
};

/// An IPv4 or IPv6 address with its netmask or prefix length. What kind of address it is (broadcast,
/// multicast, loopback, any) is worked out at construction and stays so whatever is set later. A value
/// without locks: an address that threads share is read-only.
class TSLUTIL_EXPORT DtInetAddr
{
public:
   /// The IPv4 any-address.
   DtInetAddr();

   /// The any-address of a family, IPv4 unless it is IPv6. The IPv4 one has netmask 255.0.0.0 and prefix 0.
   DtInetAddr(DtInetUtils::DtInetAddrFamily family);

   /// The IPv4 address of a 32-bit value and its netmask, both in host order. Netmask 0 stands for the
   /// default of the address's class, here and below.
   DtInetAddr(unsigned long address, unsigned long netmask);

   /// The address of a system structure; the port is ignored. `netmask` is in host order.
   DtInetAddr(sockaddr_in const & address, unsigned long netmask = 0);
   /// The address of a system structure, scope included.
   DtInetAddr(sockaddr_in6 const & address, unsigned long prefixLen = 0);
   /// The IPv4 or IPv6 address of a system structure, taken as IPv6 unless its family says IPv4. Leaves the
   /// scope out on purpose.
   DtInetAddr(sockaddr_storage const & address, unsigned long prefixLen = 0);

   /// The address of a number as toU128() answers it: for IPv4 its low 32 bits, for any other family all 128.
   DtInetAddr(DtU128 const & address, DtInetUtils::DtInetAddrFamily family, unsigned long prefixLen = 0);

   /// A copy of the `boost::asio::ip::address` that this points to.
   explicit DtInetAddr(void * boostAddress);

   /// The address that a text names: a literal, "localhost", "loopback", "inaddr_any", "in6addr_any" in any
   /// case, or a host name, which blocks for the look-up. No text, and an unknown host, give the IPv4
   /// any-address without any error. Throws DtException if the look-up succeeds and yields no address.
   /// `maskOrPrefix` is read by DtInetUtils::convertStringToPrefixLen: a dotted mask works, a plain prefix
   /// length has no effect. Either may be null.
   DtInetAddr(char const * address, char const * maskOrPrefix = nullptr);
   /// The same of two strings.
   DtInetAddr(DtString const & address, DtString const & maskOrPrefix);

   /// Copies all but the addresses that getBroadcastAddr() and getLoopbackAddr() have made.
   DtInetAddr(DtInetAddr const & other);
   /// The same; those of the target stay.
   DtInetAddr & operator=(DtInetAddr const & other);

   /// The any-address of a family, IPv6 unless the family is IPv4. Lives as long as the process.
   static DtInetAddr const & inaddrAny(DtInetUtils::DtInetAddrFamily family);

   /// The loopback address of a family, IPv4 unless the family is IPv6: the other way round than inaddrAny(),
   /// on purpose. Lives as long as the process.
   static DtInetAddr const & loopbackAddress(DtInetUtils::DtInetAddrFamily family);

   // Virtual operations, in slot order.

   virtual ~DtInetAddr();
   /// The address as text, with "%" and the scope number if the value has a scope. The flag has no effect.
   virtual DtString toDtString(bool flag = false) const;
   /// The family that the address has; isIPv4() and isIPv6() ask for one.
   virtual DtInetUtils::DtInetAddrFamily family() const;
   /// Whether it is an IPv4 address.
   virtual bool isIPv4() const;
   /// Whether it is an IPv6 address.
   virtual bool isIPv6() const;
   /// IPv4: sets the netmask (host order) and the prefix length that follows from it. IPv6: does nothing.
   virtual void setNetmask(unsigned long netmask);
   /// The IPv4 netmask in host order; 0 for IPv6.
   virtual unsigned long netmask() const;
   /// Sets the prefix length in bits, and on IPv4 the netmask that follows from it.
   virtual void setPrefixLen(std::uint64_t prefixLen);
   /// The prefix length in bits.
   virtual std::uint64_t prefix() const;
   /// In 224.0.0.0/4 or ff00::/8.
   virtual bool isMulticast() const;
   /// IPv4: all host bits are set, and there are at least two of them. IPv6: ff?2::1.
   virtual bool isBroadcast() const;
   /// Exactly 127.0.0.1 or ::1.
   virtual bool isLoopback() const;
   /// 0.0.0.0 or ::.
   virtual bool isAnyAddr() const;
   /// The broadcast address: IPv4 by the netmask of the moment, IPv6 ff02::1. The object belongs to the
   /// library and stays valid for good; for IPv4 each call gives it its value anew.
   virtual DtInetAddr * getBroadcastAddr();
   /// The loopback address of this address's family. The object belongs to the library and stays valid for
   /// good.
   virtual DtInetAddr * getLoopbackAddr();
   /// Fills family, address and scope of an IPv6 address and answers 0; -1, and writes nothing, for any
   /// other.
   virtual int toSockaddr(sockaddr_in6 * target) const;
   /// Fills family and address of an IPv4 address and answers 0; -1, and writes nothing, for any other.
   virtual int toSockaddr(sockaddr_in * target) const;
   /// The one of the two that fits.
   virtual int toAddrStorage(sockaddr_storage * target) const;
   /// The address as a number: IPv4 in the low half's low 32 bits.
   virtual DtU128 toU128() const;
   /// The IPv4 address in host order; 0 for IPv6.
   virtual unsigned long toULong() const;
   /// Sets what scope() answers, unless the address itself came with a scope. The address, and so its text
   /// and its place in an order, never changes. Throws std::bad_cast on IPv4.
   virtual void setScope(DtInetIpv6Scope scope);
   /// The scope of an IPv6 address, 0 for none.
   virtual DtInetIpv6Scope scope() const;
   /// The `boost::asio::ip::address` in this object. Whoever writes it leaves the classification as it was.
   virtual void const * boostAddress() const;
   /// The same, to be written.
   virtual void * boostAddress();

private:
   void copyFields(DtInetAddr const & other);
   void initFromStrings(char const * address, char const * maskOrPrefix);
   void initWithPrefix(unsigned long prefixLen);
   void init();
   void initIpv4();
   void initIpv6();

   // The Boost address, constructed in place so that a copy takes no memory.
   alignas(8) unsigned char myAddress[32];
   std::uint32_t myNetmask = 0;
   std::uint64_t myPrefixLen = 0;
   DtInetAddr * myBroadcastAddr = nullptr;
   DtInetAddr * myLoopbackAddr = nullptr;
   bool amBroadcast = false;
   bool amMulticast = false;
   bool amLoopback = false;
   bool amAny = false;
   DtInetIpv6Scope myScope = DtInetIpv6ScopeNone;
};

/// Equal addresses of one family. Scope 0 matches any scope. An IPv4 address is never equal to its IPv6 form.
TSLUTIL_EXPORT bool operator==(DtInetAddr const & left, DtInetAddr const & right);
TSLUTIL_EXPORT bool operator!=(DtInetAddr const & left, DtInetAddr const & right);
/// IPv4 before IPv6, then by value, then by scope, where scope 0 ties with any scope.
TSLUTIL_EXPORT bool operator<(DtInetAddr const & left, DtInetAddr const & right);
TSLUTIL_EXPORT bool operator>(DtInetAddr const & left, DtInetAddr const & right);

namespace DtInetUtils
{

/// Begins the use of the network layer. Calls are counted; any thread.
TSLUTIL_EXPORT void windowsInit();
/// The same.
TSLUTIL_EXPORT void initHostNetworkLayer();
/// Ends one use of the network layer.
TSLUTIL_EXPORT void windowsCleanup();

} // namespace DtInetUtils

/// The dotted text of a 32-bit value in host order. The text is the library's and lasts until the calling
/// thread's next call.
TSLUTIL_EXPORT char const * DtInetAddrString(unsigned long address);

/// The value, in host order, of an address written as eight hexadecimal digits; 0xFFFFFFFF if it is not that.
TSLUTIL_EXPORT unsigned long DtHexStringToInetAddr(char const * text);

/// The first IPv4 address, in host order, of a host name or address. Blocks for the look-up. If that fails, a
/// line goes to DtWarn; the answer is 0 then, and for a host without any IPv4 address.
TSLUTIL_EXPORT unsigned long DtStringToInetAddr(char const * name);
TSLUTIL_EXPORT unsigned long DtStringToInetAddr(DtString const & name);
