// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetAddr.h"

#include "tslutil/base/tslException.h"
#include "tslutil/base/tslNetTypes.h"
#include "tslutil/base/tslNotify.h"
#include "tslutil/inet/addressText.h"
#include "tslutil/inet/boostAddress.h"
#include "tslutil/platform/lookup.h"
#include "tslutil/thread/tslMutex.h"

#include <boost/current_function.hpp>

#include <cstdio>
#include <cstring>
#include <list>
#include <new>
#include <ostream>
#include <type_traits>
#include <vector>

using boost::asio::ip::address;
using boost::asio::ip::address_v4;
using boost::asio::ip::address_v6;
using namespace DtInetUtils;

namespace
{

address addressOf(std::uint32_t value)
{
   return address_v4(value);
}

/// An IPv6 address from 16 bytes that may lie anywhere.
address addressOf(void const * bytes, std::uint32_t scope)
{
   address_v6::bytes_type copy;
   std::memcpy(copy.data(), bytes, copy.size());
   return address_v6(copy, scope);
}

std::uint32_t valueOf(sockaddr_in const & name)
{
   address_v4::bytes_type bytes;
   std::memcpy(bytes.data(), &name.sin_addr, bytes.size());
   return static_cast<std::uint32_t>(address_v4(bytes).to_uint());
}

std::uint32_t valueOf(address const & value)
{
   return static_cast<std::uint32_t>(value.to_v4().to_uint());
}

address addressOf(sockaddr_storage const & name)
{
   if (name.ss_family == AF_INET)
   {
      sockaddr_in ipv4;
      std::memcpy(&ipv4, &name, sizeof ipv4);
      return addressOf(valueOf(ipv4));
   }
   sockaddr_in6 ipv6;
   std::memcpy(&ipv6, &name, sizeof ipv6);
   return addressOf(&ipv6.sin6_addr, 0);
}

address addressOf(DtU128 const & number, DtInetAddrFamily family)
{
   if (family == DtInetFamilyIpv4)
      return addressOf(static_cast<std::uint32_t>(number.low));
   unsigned char bytes[16];
   for (int i = 0; i < 8; ++i)
   {
      bytes[i] = static_cast<unsigned char>(number.high >> (56 - 8 * i));
      bytes[8 + i] = static_cast<unsigned char>(number.low >> (56 - 8 * i));
   }
   return addressOf(bytes, 0);
}

address const & stored(unsigned char const (&storage)[32])
{
   return *std::launder(reinterpret_cast<address const *>(storage));
}

address & stored(unsigned char (&storage)[32])
{
   return *std::launder(reinterpret_cast<address *>(storage));
}

/// Puts an address into its place, over any that is there.
void store(unsigned char (&storage)[32], address const & value)
{
   static_assert(sizeof(address) <= sizeof storage && alignof(address) <= 8);
   static_assert(std::is_trivially_destructible_v<address>);
   new (storage) address(value);
}

/// The scope, which has 32 bits although Boost's type may have more.
std::uint32_t scopeOf(address const & value)
{
   return value.is_v6() ? static_cast<std::uint32_t>(value.to_v6().scope_id()) : 0;
}

/// The first address of a host; the any-address if it is unknown.
address addressOfHost(DtString const & name)
{
   std::vector<tsl::platform::HostAddress> found;
   if (lookUpHost({name.c_str(), nullptr, 0, tsl::platform::HostTraffic::stream}, found) != 0)
      return address_v4::any();
   if (found.empty())
      throw DtException(("Invalid string format for IP address - " + name).c_str(), BOOST_CURRENT_FUNCTION,
                        "tslInetAddr.cpp", __LINE__);
   return tsl::boostAddress(found.front());
}

/// The address with its scope cut to the 32 bits that a scope has.
address withNarrowScope(address const & value)
{
   return value.is_v6() ? address(address_v6(value.to_v6().to_bytes(), scopeOf(value))) : value;
}

address addressOfText(char const * text)
{
   if (text == nullptr || *text == '\0')
      return address_v4::any();
   boost::system::error_code error;
   address const literal = boost::asio::ip::make_address(text, error);
   if (!error)
      return withNarrowScope(literal);
   DtString lowered(text);
   lowered.toLower();
   if (lowered == "localhost" || lowered == "loopback")
      return address_v4::loopback();
   if (lowered == "inaddr_any")
      return address_v4::any();
   if (lowered == "in6addr_any")
      return address_v6::any();
   return addressOfHost(text);
}

/// Fills the beginning of a structure as toSockaddr() does; what it leaves alone stays.
template<class Name>
int fill(DtInetAddr const & address, sockaddr_storage * target)
{
   Name name;
   std::memcpy(&name, target, sizeof name);
   int const result = address.toSockaddr(&name);
   std::memcpy(target, &name, sizeof name);
   return result;
}

/// Copies an address to where it stays for good, since callers hold on to it beyond the life of its maker.
DtInetAddr * keepForGood(DtInetAddr const & address)
{
   struct Kept
   {
      DtMutex mutex;
      std::list<DtInetAddr> addresses;
   };
   static Kept & kept = *new Kept;
   DtScopedLock const lock(kept.mutex, true);
   kept.addresses.push_back(address);
   return &kept.addresses.back();
}

} // namespace

// Construction.

DtInetAddr::DtInetAddr() : DtInetAddr(DtInetFamilyIpv4) {}

// Sets what init() would find, but for the prefix, which stays 0.
DtInetAddr::DtInetAddr(DtInetAddrFamily family) : amAny(true)
{
   if (family == DtInetFamilyIpv6)
      store(myAddress, address_v6::any());
   else
   {
      store(myAddress, address_v4::any());
      myNetmask = tsl::classNetmask(0);
   }
}

DtInetAddr::DtInetAddr(unsigned long address, unsigned long netmask)
   : myNetmask(static_cast<std::uint32_t>(netmask))
{
   store(myAddress, addressOf(static_cast<std::uint32_t>(address)));
   init();
}

DtInetAddr::DtInetAddr(sockaddr_in const & address, unsigned long netmask)
   : DtInetAddr(valueOf(address), netmask)
{
}

DtInetAddr::DtInetAddr(sockaddr_in6 const & address, unsigned long prefixLen)
   : myPrefixLen(static_cast<std::uint32_t>(prefixLen)),
     myScope(static_cast<DtInetIpv6Scope>(address.sin6_scope_id))
{
   store(myAddress, addressOf(&address.sin6_addr, address.sin6_scope_id));
   init();
}

DtInetAddr::DtInetAddr(sockaddr_storage const & address, unsigned long prefixLen)
{
   store(myAddress, addressOf(address));
   initWithPrefix(prefixLen);
}

DtInetAddr::DtInetAddr(DtU128 const & address, DtInetAddrFamily family, unsigned long prefixLen)
{
   store(myAddress, addressOf(address, family));
   initWithPrefix(prefixLen);
}

DtInetAddr::DtInetAddr(void * boostAddress)
{
   store(myAddress, withNarrowScope(*static_cast<address const *>(boostAddress)));
   init();
}

DtInetAddr::DtInetAddr(char const * address, char const * maskOrPrefix)
{
   initFromStrings(address, maskOrPrefix);
}

DtInetAddr::DtInetAddr(DtString const & address, DtString const & maskOrPrefix)
{
   initFromStrings(address.c_str(), maskOrPrefix.c_str());
}

DtInetAddr::DtInetAddr(DtInetAddr const & other)
{
   store(myAddress, stored(other.myAddress));
   copyFields(other);
}

DtInetAddr & DtInetAddr::operator=(DtInetAddr const & other)
{
   if (this != &other)
   {
      store(myAddress, stored(other.myAddress));
      copyFields(other);
   }
   return *this;
}

DtInetAddr::~DtInetAddr() = default;

void DtInetAddr::copyFields(DtInetAddr const & other)
{
   myNetmask = other.myNetmask;
   myPrefixLen = other.myPrefixLen;
   amBroadcast = other.amBroadcast;
   amMulticast = other.amMulticast;
   amLoopback = other.amLoopback;
   amAny = other.amAny;
   myScope = other.myScope;
}

void DtInetAddr::initWithPrefix(unsigned long prefixLen)
{
   myPrefixLen = static_cast<std::uint32_t>(prefixLen);
   if (stored(myAddress).is_v4())
      myNetmask = static_cast<std::uint32_t>(prefixLenToIpv4Netmask(prefixLen));
   init();
}

// The second text works as a dotted netmask; what it gives as a plain prefix length is no prefix.
void DtInetAddr::initFromStrings(char const * address, char const * maskOrPrefix)
{
   store(myAddress, addressOfText(address));
   bool const hasMask = maskOrPrefix != nullptr && *maskOrPrefix != '\0';
   initWithPrefix(hasMask ? convertStringToPrefixLen(maskOrPrefix) : 0);
}

void DtInetAddr::init()
{
   if (stored(myAddress).is_v4())
      initIpv4();
   else
      initIpv6();
}

void DtInetAddr::initIpv4()
{
   std::uint32_t const value = valueOf(stored(myAddress));
   if (myNetmask == 0)
      myNetmask = tsl::classNetmask(value);
   if (myPrefixLen == 0)
      myPrefixLen = netmaskToPrefixLen(myNetmask);
   amMulticast = tsl::isIpv4Multicast(value);
   amBroadcast = tsl::isBroadcastUnder(value, myNetmask, myPrefixLen);
   amLoopback = value == tsl::theIpv4Loopback;
   amAny = value == 0;
}

void DtInetAddr::initIpv6()
{
   address_v6::bytes_type const bytes = stored(myAddress).to_v6().to_bytes();
   amMulticast = bytes[0] == 0xFF;
   amLoopback = bytes == address_v6::loopback().to_bytes();
   amAny = bytes == address_v6::any().to_bytes();
   amBroadcast = tsl::isAllNodesOfSomeScope(bytes.data()) && (bytes[1] & 0xF) == 2;
   if (myScope == DtInetIpv6ScopeNone)
      myScope = static_cast<DtInetIpv6Scope>(scopeOf(stored(myAddress)));
}

DtInetAddr const & DtInetAddr::inaddrAny(DtInetAddrFamily family)
{
   static DtInetAddr const & ipv4 = *new DtInetAddr(DtInetFamilyIpv4);
   static DtInetAddr const & ipv6 = *new DtInetAddr(DtInetFamilyIpv6);
   return family == DtInetFamilyIpv4 ? ipv4 : ipv6;
}

DtInetAddr const & DtInetAddr::loopbackAddress(DtInetAddrFamily family)
{
   static DtInetAddr const & ipv4 = *new DtInetAddr("127.0.0.1", nullptr);
   static DtInetAddr const & ipv6 = *new DtInetAddr("::1", nullptr);
   return family == DtInetFamilyIpv6 ? ipv6 : ipv4;
}

// Access.

DtString DtInetAddr::toDtString(bool) const
{
   address const & value = stored(myAddress);
   if (value.is_v4())
      return value.to_string();
   // Boost would write the interface's name for some scopes, which means nothing on another machine.
   DtString text(address_v6(value.to_v6().to_bytes()).to_string());
   if (scopeOf(value) != 0)
   {
      text += "%";
      text += DtString(static_cast<unsigned int>(scopeOf(value)));
   }
   return text;
}

DtInetAddrFamily DtInetAddr::family() const
{
   return isIPv4() ? DtInetFamilyIpv4 : isIPv6() ? DtInetFamilyIpv6 : DtInetFamilyUnspecified;
}

bool DtInetAddr::isIPv4() const
{
   return stored(myAddress).is_v4();
}

bool DtInetAddr::isIPv6() const
{
   return stored(myAddress).is_v6();
}

void DtInetAddr::setNetmask(unsigned long netmask)
{
   if (!isIPv4())
      return;
   myNetmask = static_cast<std::uint32_t>(netmask);
   myPrefixLen = netmaskToPrefixLen(netmask);
}

unsigned long DtInetAddr::netmask() const
{
   return myNetmask;
}

void DtInetAddr::setPrefixLen(std::uint64_t prefixLen)
{
   myPrefixLen = prefixLen;
   if (isIPv4())
      myNetmask = static_cast<std::uint32_t>(prefixLenToIpv4Netmask(static_cast<std::uint32_t>(prefixLen)));
}

std::uint64_t DtInetAddr::prefix() const
{
   return myPrefixLen;
}

bool DtInetAddr::isMulticast() const
{
   return amMulticast;
}

bool DtInetAddr::isBroadcast() const
{
   return amBroadcast;
}

bool DtInetAddr::isLoopback() const
{
   return amLoopback;
}

bool DtInetAddr::isAnyAddr() const
{
   return amAny;
}

DtInetAddr * DtInetAddr::getBroadcastAddr()
{
   if (!isIPv4())
   {
      if (myBroadcastAddr == nullptr)
         myBroadcastAddr = keepForGood(DtInetAddr("FF02::1", nullptr));
      return myBroadcastAddr;
   }
   if (myBroadcastAddr == nullptr)
      myBroadcastAddr = keepForGood(DtInetAddr(DtInetFamilyIpv4));
   *myBroadcastAddr = DtInetAddr(valueOf(stored(myAddress)) | ~myNetmask, myNetmask);
   return myBroadcastAddr;
}

DtInetAddr * DtInetAddr::getLoopbackAddr()
{
   if (myLoopbackAddr == nullptr)
      myLoopbackAddr = keepForGood(loopbackAddress(isIPv6() ? DtInetFamilyIpv6 : DtInetFamilyIpv4));
   return myLoopbackAddr;
}

int DtInetAddr::toSockaddr(sockaddr_in6 * target) const
{
   if (!isIPv6())
      return -1;
   address_v6::bytes_type const bytes = stored(myAddress).to_v6().to_bytes();
   target->sin6_family = AF_INET6;
   std::memcpy(&target->sin6_addr, bytes.data(), bytes.size());
   target->sin6_scope_id = scopeOf(stored(myAddress));
   return 0;
}

int DtInetAddr::toSockaddr(sockaddr_in * target) const
{
   if (!isIPv4())
      return -1;
   address_v4::bytes_type const bytes = stored(myAddress).to_v4().to_bytes();
   target->sin_family = AF_INET;
   std::memcpy(&target->sin_addr, bytes.data(), bytes.size());
   return 0;
}

int DtInetAddr::toAddrStorage(sockaddr_storage * target) const
{
   return isIPv6() ? fill<sockaddr_in6>(*this, target) : fill<sockaddr_in>(*this, target);
}

DtU128 DtInetAddr::toU128() const
{
   DtU128 number(toULong());
   if (isIPv6())
   {
      address_v6::bytes_type const bytes = stored(myAddress).to_v6().to_bytes();
      for (std::size_t i = 0; i < 8; ++i)
      {
         number.high = number.high << 8 | bytes[i];
         number.low = number.low << 8 | bytes[8 + i];
      }
   }
   return number;
}

unsigned long DtInetAddr::toULong() const
{
   return isIPv4() ? valueOf(stored(myAddress)) : 0;
}

void DtInetAddr::setScope(DtInetIpv6Scope scope)
{
   // An IPv4 address raises std::bad_cast here.
   if (stored(myAddress).to_v6().scope_id() == 0)
      myScope = scope;
}

DtInetIpv6Scope DtInetAddr::scope() const
{
   return myScope;
}

void const * DtInetAddr::boostAddress() const
{
   return &stored(myAddress);
}

void * DtInetAddr::boostAddress()
{
   return &stored(myAddress);
}

// Comparison.

namespace
{

/// Less than, equal to or greater than 0, as for memcmp: bytes first, then scopes, where 0 ties with any.
int compareIpv6(address const & left, address const & right)
{
   address_v6 const l = left.to_v6();
   address_v6 const r = right.to_v6();
   if (int const difference = std::memcmp(l.to_bytes().data(), r.to_bytes().data(), 16))
      return difference;
   std::uint32_t const leftScope = scopeOf(left);
   std::uint32_t const rightScope = scopeOf(right);
   if (leftScope == 0 || rightScope == 0 || leftScope == rightScope)
      return 0;
   return leftScope < rightScope ? -1 : 1;
}

int compare(DtInetAddr const & left, DtInetAddr const & right)
{
   address const & l = tsl::boostAddress(left);
   address const & r = tsl::boostAddress(right);
   if (l.is_v6() && r.is_v6())
      return compareIpv6(l, r);
   if (l.is_v6() != r.is_v6())
      return l.is_v6() ? 1 : -1;
   std::uint32_t const leftValue = valueOf(l);
   std::uint32_t const rightValue = valueOf(r);
   return leftValue < rightValue ? -1 : leftValue > rightValue;
}

} // namespace

bool operator==(DtInetAddr const & left, DtInetAddr const & right)
{
   return compare(left, right) == 0;
}

bool operator!=(DtInetAddr const & left, DtInetAddr const & right)
{
   return !(left == right);
}

bool operator<(DtInetAddr const & left, DtInetAddr const & right)
{
   return compare(left, right) < 0;
}

bool operator>(DtInetAddr const & left, DtInetAddr const & right)
{
   return compare(left, right) > 0;
}

// The network layer, and the older functions.

namespace
{

/// Counts the users of the network layer, which needs no start here.
void countUsers(int change)
{
   struct NetworkLayer
   {
      DtMutex mutex;
      int users = 0;
   };
   static NetworkLayer & layer = *new NetworkLayer;
   DtScopedLock const lock(layer.mutex, true);
   layer.users += change;
}

} // namespace

void DtInetUtils::windowsInit()
{
   countUsers(1);
}

void DtInetUtils::initHostNetworkLayer()
{
   windowsInit();
}

void DtInetUtils::windowsCleanup()
{
   countUsers(-1);
}

char const * DtInetAddrString(unsigned long address)
{
   thread_local char text[sizeof "255.255.255.255"];
   std::uint32_t const value = static_cast<std::uint32_t>(address);
   std::snprintf(text, sizeof text, "%u.%u.%u.%u", value >> 24, value >> 16 & 0xFF, value >> 8 & 0xFF,
                 value & 0xFF);
   return text;
}

unsigned long DtHexStringToInetAddr(char const * text)
{
   // What is missing is read as a digit that is none.
   char digits[9] = "????????";
   for (int i = 0; i < 8 && text != nullptr && text[i] != '\0'; ++i)
      digits[i] = text[i];
   char dotted[sizeof "0xHH.0xHH.0xHH.0xHH"];
   std::snprintf(dotted, sizeof dotted, "0x%.2s.0x%.2s.0x%.2s.0x%.2s", digits, digits + 2, digits + 4,
                 digits + 6);
   return tsl::platform::looseIpv4(dotted);
}

unsigned long DtStringToInetAddr(char const * name)
{
   windowsInit();
   std::vector<tsl::platform::HostAddress> found;
   if (lookUpHost({name, nullptr, 0, tsl::platform::HostTraffic::any}, found) != 0)
   {
      DtWarn << "DtStringToInetAddr: Could not resolve " << (name == nullptr ? "" : name) << " returning 0"
             << std::endl;
      return 0;
   }
   for (tsl::platform::HostAddress const & entry : found)
      if (entry.family == 4)
         return valueOf(tsl::boostAddress(entry));
   return 0;
}

unsigned long DtStringToInetAddr(DtString const & name)
{
   return DtStringToInetAddr(name.c_str());
}
