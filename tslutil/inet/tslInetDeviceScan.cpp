// SPDX-License-Identifier: MIT
#include "tslutil/base/tslNotify.h"
#include "tslutil/inet/adapterList.h"
#include "tslutil/inet/tslInetDevice.h"

#include <boost/asio/ip/host_name.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include <algorithm>
#include <atomic>
#include <cstdint>

typedef boost::shared_ptr<DtInetDevice> DevicePtr;
typedef std::vector<DevicePtr> Devices;

namespace
{

std::atomic<int> maxPacketBufferSize(65504);

/// The devices for which `keep` is true, in their order.
template<class Keep>
Devices only(Devices devices, Keep keep)
{
   devices.erase(std::remove_if(devices.begin(), devices.end(),
                                [&](DevicePtr const & device) { return !keep(*device); }),
                 devices.end());
   return devices;
}

/// The first device for which `fits` is true, empty if there is none.
template<class Fits>
DevicePtr first(Devices const & devices, Fits fits)
{
   auto const found =
      std::find_if(devices.begin(), devices.end(), [&](DevicePtr const & device) { return fits(*device); });
   return found == devices.end() ? DevicePtr() : *found;
}

bool any(DtInetDevice const &)
{
   return true;
}

bool isEqual(DtInetAddr const * candidate, DtInetAddr const & address)
{
   return candidate != nullptr && *candidate == address;
}

DevicePtr findForMulticast(DtInetAddr const & group)
{
   if (!group.isIPv6())
      return first(DtInetUtils::scanMulticastDevices(false, false),
                   [](DtInetDevice const & device) { return device.hasIpv4Addr(); });
   Devices const devices = DtInetUtils::scanIpv6Devices(false);
   DevicePtr const found = first(
      devices, [&](DtInetDevice const & device)
      { return isEqual(device.ipv6BroadcastAddr(), group) || device.ipv6Addr()->scope() == group.scope(); });
   return found ? found : first(devices, any);
}

DevicePtr findForBroadcast(DtInetAddr const & address)
{
   if (!address.isIPv6())
      return first(DtInetUtils::scanBroadcastDevices(false, false),
                   [&](DtInetDevice const & device) { return isEqual(device.ipv4BroadcastAddr(), address); });
   Devices const devices = only(DtInetUtils::scanIpv6Devices(false),
                                [](DtInetDevice const & device) { return !device.ipv6Addr()->isLoopback(); });
   DevicePtr const found = first(devices, [&](DtInetDevice const & device)
                                 { return isEqual(device.ipv6BroadcastAddr(), address); });
   return found ? found : first(devices, any);
}

} // namespace

DtInetDevice * DtInetDevice::findInterface(DtInetAddr const & address)
{
   DevicePtr found;
   // The all-nodes group of IPv6 is both: it counts as a group.
   if (address.isMulticast())
      found = findForMulticast(address);
   else if (address.isBroadcast())
      found = findForBroadcast(address);
   return found ? new DtInetDevice(*found) : nullptr;
}

namespace DtInetUtils
{

Devices scanInetDevices(bool activeOnly, bool ipv6)
{
   Devices devices;
   DtString error;
   _IP_ADAPTER_ADDRESSES_LH * fetched = nullptr;
   if (fetchDeviceInfo(tsl::anyFamily, &fetched, error) != 0)
   {
      DtWarn << "DtInetUtils::scanInetDevices could not retrieve adapter information.\n" << error << "\n";
      return devices;
   }
   tsl::AdapterList const list(fetched);
   std::vector<tsl::platform::Adapter *> adapters;
   for (auto * adapter = list.get(); adapter != nullptr; adapter = adapter->next)
      adapters.push_back(&adapter->adapter);
   // All at once: one by one the time would grow with the square of their number.
   tsl::platform::completeAdapters(adapters);
   for (auto * adapter = list.get(); adapter != nullptr; adapter = adapter->next)
   {
      auto device = boost::make_shared<DtInetDevice>(adapter, ipv6 ? DtInetFamilyIpv6 : DtInetFamilyIpv4);
      if (device->isUp() || !activeOnly)
         devices.push_back(device);
   }
   return devices;
}

Devices scanBroadcastDevices(bool activeOnly, bool ipv6)
{
   return only(scanInetDevices(activeOnly, ipv6),
               [](DtInetDevice const & device) { return device.isBroadcastCapable(); });
}

Devices scanMulticastDevices(bool activeOnly, bool ipv6)
{
   return only(scanInetDevices(activeOnly, ipv6),
               [](DtInetDevice const & device) { return device.isMulticastCapable(); });
}

Devices scanIpv6Devices(bool activeOnly)
{
   // Family 4, on purpose: addr() of these devices is the IPv4 address.
   return only(scanInetDevices(activeOnly, false),
               [](DtInetDevice const & device) { return device.hasIpv6Addr(); });
}

DevicePtr defaultBroadcastDevice(bool ipv6)
{
   DevicePtr const active = first(scanBroadcastDevices(true, ipv6), any);
   return active ? active : first(scanBroadcastDevices(false, ipv6), any);
}

DevicePtr defaultMulticastDevice()
{
   // Up or not, unlike the device for broadcasts, on purpose.
   return first(scanMulticastDevices(false, false), any);
}

DtInetAddr * getPrimaryBroadcastAddress(bool ipv6)
{
   DevicePtr const found = first(scanBroadcastDevices(true, ipv6),
                                 [](DtInetDevice const & device)
                                 {
                                    return device.isOk() && device.addr() != nullptr &&
                                           !device.addr()->isLoopback() && device.broadcastAddr() != nullptr;
                                 });
   return found ? new DtInetAddr(*found->broadcastAddr()) : nullptr;
}

DtString getLocalHostname()
{
   boost::system::error_code error;
   return boost::asio::ip::host_name(error);
}

int getMaxPacketBufferSize()
{
   return maxPacketBufferSize;
}

void setMaxPacketBufferSize(int bytes)
{
   maxPacketBufferSize = bytes;
}

int fetchDeviceInfo(DtInetAddrFamily family, _IP_ADAPTER_ADDRESSES_LH ** list, DtString & error)
{
   std::vector<tsl::platform::Adapter> adapters;
   if (!tsl::platform::readAdapters(family, adapters))
   {
      error = "Could not allocate memory to scan devices.";
      return -1;
   }
   tsl::AdapterList fetched;
   for (auto adapter = adapters.rbegin(); adapter != adapters.rend(); ++adapter)
      fetched.reset(new _IP_ADAPTER_ADDRESSES_LH{std::move(*adapter), fetched.release()});
   *list = fetched.release();
   return 0;
}

_IP_ADAPTER_ADDRESSES_LH * nextDeviceInfo(_IP_ADAPTER_ADDRESSES_LH const * adapter)
{
   return adapter->next;
}

void freeDeviceInfo(_IP_ADAPTER_ADDRESSES_LH * list)
{
   while (list != nullptr)
   {
      _IP_ADAPTER_ADDRESSES_LH * const next = list->next;
      delete list;
      list = next;
   }
}

int fetchIpv4DeviceAddrInfo(_MIB_IPADDRTABLE ** table, DtString & error)
{
   auto fetched = std::make_unique<_MIB_IPADDRTABLE>();
   if (!tsl::platform::readIpv4Entries(fetched->entries))
   {
      error = "Could not allocate memory to scan IPv4 devices.";
      return -1;
   }
   *table = fetched.release();
   return 0;
}

void freeDeviceInfo(_MIB_IPADDRTABLE * table)
{
   delete table;
}

} // namespace DtInetUtils
