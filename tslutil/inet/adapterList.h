// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/platform/adapters.h"

#include <memory>
#include <vector>

/// What the opaque records of tslInetDevice.h hold. Used by the sources of devices and scans.

struct _IP_ADAPTER_ADDRESSES_LH
{
   tsl::platform::Adapter adapter;
   _IP_ADAPTER_ADDRESSES_LH * next = nullptr;
};

struct _MIB_IPADDRTABLE
{
   std::vector<tsl::platform::Ipv4Entry> entries;
};

namespace tsl
{

/// The family of a scan that wants all addresses: no family at all.
constexpr DtInetUtils::DtInetAddrFamily anyFamily = DtInetUtils::DtInetAddrFamily(99);

/// Releases what the fetch functions hand out.
struct DeviceInfoRelease
{
   void operator()(_IP_ADAPTER_ADDRESSES_LH * list) const { DtInetUtils::freeDeviceInfo(list); }
   void operator()(_MIB_IPADDRTABLE * table) const { DtInetUtils::freeDeviceInfo(table); }
};

typedef std::unique_ptr<_IP_ADAPTER_ADDRESSES_LH, DeviceInfoRelease> AdapterList;
typedef std::unique_ptr<_MIB_IPADDRTABLE, DeviceInfoRelease> Ipv4Table;

} // namespace tsl
