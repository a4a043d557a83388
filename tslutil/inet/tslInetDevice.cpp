// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"

#include "tslutil/inet/adapterList.h"
#include "tslutil/inet/tslInetResLoc.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <netinet/in.h>

using tsl::platform::AdapterAddress;
using tsl::platform::AdapterStatus;

namespace
{

DtInetIfLinkType linkTypeOf(std::uint32_t adapterType)
{
   switch (adapterType)
   {
   case tsl::platform::adapterEthernet:
      return DtInetIfEthernet;
   case tsl::platform::adapterFddi:
      return DtInetIfFddi;
   case tsl::platform::adapterIeee1394:
      return DtInetIfIeee1394;
   case tsl::platform::adapterWireless:
      return DtInetIfWireless;
   case tsl::platform::adapterLoopback:
      return DtInetIfLoopback;
   default:
      return DtInetIfOther;
   }
}

std::uint32_t linkStateOf(AdapterStatus status)
{
   switch (status)
   {
   case AdapterStatus::up:
      return 1;
   case AdapterStatus::down:
   case AdapterStatus::notPresent:
   case AdapterStatus::lowerLayerDown:
      return 2;
   default:
      return 4;
   }
}

std::uint32_t ipv4Value(AdapterAddress const & address)
{
   auto const & bytes = address.bytes;
   return std::uint32_t(bytes[0]) << 24 | std::uint32_t(bytes[1]) << 16 | std::uint32_t(bytes[2]) << 8 |
          bytes[3];
}

DtInetAddr ipv6Addr(AdapterAddress const & address, unsigned long prefixLen)
{
   sockaddr_in6 system = {};
   system.sin6_family = AF_INET6;
   std::memcpy(&system.sin6_addr, address.bytes.data(), address.bytes.size());
   system.sin6_scope_id = address.scopeId;
   return DtInetAddr(system, prefixLen);
}

bool isUsable(AdapterAddress const & address, int family)
{
   return address.family == family && !address.isTransient;
}

/// The first entry of a family that isn't transient; the end if there is none.
std::vector<AdapterAddress>::const_iterator firstUsable(std::vector<AdapterAddress> const & addresses,
                                                        int family)
{
   return std::find_if(addresses.begin(), addresses.end(),
                       [&](AdapterAddress const & address) { return isUsable(address, family); });
}

/// Whether a group has the form ff?2::1. Of the bytes between only the low four bits count, on purpose.
bool isAllNodesGroup(AdapterAddress const & group)
{
   auto const & bytes = group.bytes;
   return bytes[0] == 0xFF && (bytes[1] & 0x0F) == 2 && (bytes[15] & 0x0F) == 1 &&
          std::all_of(bytes.begin() + 2, bytes.begin() + 15,
                      [](unsigned char byte) { return (byte & 0x0F) == 0; });
}

/// What the machine's table says of an address; 0 if it doesn't say.
std::uint32_t netmaskOf(std::uint32_t address, DtString & error)
{
   _MIB_IPADDRTABLE * fetched = nullptr;
   if (DtInetUtils::fetchIpv4DeviceAddrInfo(&fetched, error) != 0)
      return 0;
   tsl::Ipv4Table const table(fetched);
   for (auto const & entry : table->entries)
   {
      if (entry.address == address)
         return entry.mask;
   }
   return 0;
}

DtInetAddr * pointerTo(std::optional<DtInetAddr> & address)
{
   return address ? &*address : nullptr;
}

/// What a device is looked up by: a name, or a literal address.
class WantedDevice
{
public:
   explicit WantedDevice(DtString const & text) : name(text)
   {
      DtString suffix;
      int suffixKind = 0;
      isIpv4 = DtInetUtils::parseIpv4NetResLoc(text, literal, suffix, suffixKind);
      if (!isIpv4 && DtInetUtils::parseIpv6NetResLoc(text, literal, suffix, suffixKind))
         ipv6.emplace(literal, DtString());
   }

   /// Whether this is what the adapter is. One that matches by address gets that address to the head of its
   /// list. The prefixes stay as they are, on purpose.
   bool matches(tsl::platform::Adapter & adapter) const
   {
      if (!isIpv4 && !ipv6)
         return name == adapter.name.c_str();
      auto & addresses = adapter.unicast;
      auto const found = std::find_if(addresses.begin(), addresses.end(),
                                      [&](AdapterAddress const & address) { return equals(address); });
      if (found == addresses.end())
         return false;
      std::rotate(addresses.begin(), found, found + 1);
      return true;
   }

private:
   bool equals(AdapterAddress const & address) const
   {
      if (isIpv4)
         return address.family == 4 && DtInetAddr(ipv4Value(address), 0).toDtString(false) == literal;
      // A text without a scope matches an address of any scope.
      return address.family == 6 && ipv6Addr(address, 0) == *ipv6;
   }

   DtString const & name;
   DtString literal;
   bool isIpv4;
   std::optional<DtInetAddr> ipv6;
};

} // namespace

DtInetDevice::DtInetDevice(DtString const & nameOrAddress, DtInetUtils::DtInetAddrFamily wantedFamily)
   : family(wantedFamily)
{
   scanDeviceByName(nameOrAddress);
}

DtInetDevice::DtInetDevice(DtInetAddr const & address) : family(address.family())
{
   scanDeviceByName(address.toDtString(false));
}

DtInetDevice::DtInetDevice(_IP_ADAPTER_ADDRESSES_LH * adapter, DtInetUtils::DtInetAddrFamily wantedFamily)
   : family(wantedFamily)
{
   init(adapter);
}

DtInetDevice::DtInetDevice(DtInetDevice const &) = default;

DtInetDevice & DtInetDevice::operator=(DtInetDevice const &) = default;

DtInetDevice::~DtInetDevice() = default;

DtString const & DtInetDevice::deviceName() const
{
   return name;
}

DtInetAddr * DtInetDevice::addr() const
{
   return pointerTo(family == DtInetUtils::DtInetFamilyIpv6 ? ipv6Address : ipv4Address);
}

DtInetAddr * DtInetDevice::broadcastAddr() const
{
   return pointerTo(family == DtInetUtils::DtInetFamilyIpv6 ? ipv6Broadcast : ipv4Broadcast);
}

DtInetAddr * DtInetDevice::ipv4Addr() const
{
   return pointerTo(ipv4Address);
}

DtInetAddr * DtInetDevice::ipv4Netmask() const
{
   return pointerTo(ipv4Mask);
}

DtInetAddr * DtInetDevice::ipv4BroadcastAddr() const
{
   return pointerTo(ipv4Broadcast);
}

DtInetAddr * DtInetDevice::ipv6Addr() const
{
   return pointerTo(ipv6Address);
}

DtInetAddr * DtInetDevice::ipv6BroadcastAddr() const
{
   return pointerTo(ipv6Broadcast);
}

std::uint32_t DtInetDevice::macAddr(unsigned char (&bytes)[8]) const
{
   std::memcpy(bytes, macBytes, macLength);
   return macLength;
}

DtString const & DtInetDevice::macAddrString() const
{
   return macText;
}

DtInetIfLinkType DtInetDevice::type() const
{
   return linkType;
}

std::uint32_t DtInetDevice::mtu() const
{
   return maxTransmissionUnit;
}

std::uint32_t DtInetDevice::linkState() const
{
   return state;
}

DtInetIpv6Scope DtInetDevice::linkScope() const
{
   return scope;
}

bool DtInetDevice::isUp() const
{
   return state == 1;
}

bool DtInetDevice::isActive() const
{
   return state == 1;
}

bool DtInetDevice::isBroadcastCapable() const
{
   return broadcastCapable;
}

bool DtInetDevice::isMulticastCapable() const
{
   return multicastCapable;
}

bool DtInetDevice::hasIpv4Addr() const
{
   return ipv4Address.has_value();
}

bool DtInetDevice::hasIpv6Addr() const
{
   return ipv6Address.has_value();
}

std::uint32_t DtInetDevice::interfaceIndex() const
{
   return index;
}

bool DtInetDevice::isOk() const
{
   return !hasError;
}

DtString const & DtInetDevice::getLastErrorString() const
{
   return lastError;
}

void DtInetDevice::init(_IP_ADAPTER_ADDRESSES_LH * record)
{
   if (record == nullptr)
   {
      hasError = true;
      lastError = "No adapter given";
      return;
   }
   auto & adapter = record->adapter;
   tsl::platform::completeAdapters({&adapter});
   name = adapter.name.c_str();
   index = adapter.index;
   macLength = static_cast<std::uint32_t>(std::min(adapter.physicalAddress.size(), sizeof macBytes));
   std::copy_n(adapter.physicalAddress.begin(), macLength, macBytes);
   initMACAddrString();
   maxTransmissionUnit = adapter.mtu;
   linkType = linkTypeOf(adapter.type);
   if (adapter.index != 0)
      initIpv4(*record);
   if (adapter.ipv6Index != 0)
      initIpv6(*record);
   state = linkStateOf(adapter.status);
}

void DtInetDevice::initIpv4(_IP_ADAPTER_ADDRESSES_LH const & record)
{
   auto const & adapter = record.adapter;
   auto const address = firstUsable(adapter.unicast, 4);
   if (address != adapter.unicast.end())
   {
      std::uint32_t const value = ipv4Value(*address);
      // An unknown mask, 0, becomes the default of the address's class.
      ipv4Address.emplace(value, netmaskOf(value, lastError));
      auto const mask = static_cast<std::uint32_t>(ipv4Address->netmask());
      ipv4Mask.emplace(mask, 0);
      broadcastCapable = true;
      ipv4Broadcast.emplace(value | ~mask, mask);
   }
   multicastCapable = !adapter.noMulticast;
   for (auto const & group : adapter.multicast)
   {
      if (multicastCapable && isUsable(group, 4))
         ipv4Groups.emplace_back(ipv4Value(group), 0);
   }
}

void DtInetDevice::initIpv6(_IP_ADAPTER_ADDRESSES_LH const & record)
{
   auto const & adapter = record.adapter;
   auto const address = firstUsable(adapter.unicast, 6);
   if (address != adapter.unicast.end())
   {
      auto const place = static_cast<std::size_t>(address - adapter.unicast.begin());
      bool const hasPrefix = place < adapter.prefixes.size() && adapter.prefixes[place].family == 6;
      ipv6Address = ::ipv6Addr(*address, hasPrefix ? adapter.prefixes[place].length : 0);
      scope = ipv6Address->scope();
   }
   auto const anycast = firstUsable(adapter.anycast, 6);
   if (anycast != adapter.anycast.end())
      ipv6Broadcast = ::ipv6Addr(*anycast, 0);
   for (auto const & group : adapter.multicast)
   {
      if (!isUsable(group, 6))
         continue;
      ipv6Groups.push_back(::ipv6Addr(group, 0));
      if (!ipv6Broadcast && isAllNodesGroup(group))
         ipv6Broadcast = ipv6Groups.back();
   }
}

void DtInetDevice::initMACAddrString()
{
   char text[3 * sizeof macBytes + 1] = "";
   for (std::uint32_t i = 0; i < macLength; ++i)
      std::snprintf(text + (i == 0 ? 0 : 3 * i - 1), 4, i == 0 ? "%02X" : "-%02X", macBytes[i]);
   macText = text;
}

void DtInetDevice::scanDeviceByName(DtString const & wantedName)
{
   WantedDevice const wanted(wantedName);
   lastError = "";
   _IP_ADAPTER_ADDRESSES_LH * fetched = nullptr;
   if (DtInetUtils::fetchDeviceInfo(tsl::anyFamily, &fetched, lastError) != 0)
   {
      hasError = true;
      return;
   }
   tsl::AdapterList const list(fetched);
   for (auto * record = list.get(); record != nullptr; record = record->next)
   {
      if (wanted.matches(record->adapter))
      {
         init(record);
         return;
      }
   }
   hasError = true;
   lastError = "Device " + wantedName + " not found";
}

bool operator==(DtInetDevice const & left, DtInetDevice const & right)
{
   return left.deviceName() == right.deviceName();
}
