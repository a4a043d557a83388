// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/inet/tslInetAddr.h"
#include "tslutil/tslutilExport.h"

#include <boost/smart_ptr/shared_ptr.hpp>

#include <cstdint>
#include <optional>
#include <vector>

/// What the machine's network interfaces are, and which one to use. A DtInetDevice is a snapshot of one
/// interface; sockets bind to it and take their broadcast address and multicast interface from it. The
/// functions of DtInetUtils below list the interfaces and choose one. Every constructor and every scan reads
/// the machine anew and blocks meanwhile, which is not cheap: keep the result, don't scan at each frame.
/// Nothing here locks; a device belongs to one thread at a time.

/// One adapter of the machine as the system reports it, with a link to the next. Opaque to callers.
struct _IP_ADAPTER_ADDRESSES_LH;
/// The machine's IPv4 addresses with their netmasks. Opaque to callers.
struct _MIB_IPADDRTABLE;

/// The kind of link that an interface has.
enum DtInetIfLinkType : int
{
   DtInetIfEthernet = 0,
   DtInetIfFddi = 1,
   DtInetIfIeee1394 = 2,
   DtInetIfWireless = 3,
   DtInetIfLoopback = 4,
   DtInetIfOther = 5
};

/// A snapshot of one network interface: name, addresses, masks, link type, MTU and capabilities. It is never
/// kept up to date. One that was not found doesn't throw: isOk() is false and all addresses are null.
class TSLUTIL_EXPORT DtInetDevice
{
public:
   /// The interface with this name, or with this IPv4 or IPv6 address. `family` chooses the device's face:
   /// what addr() and broadcastAddr() answer. If there is none, isOk() is false.
   DtInetDevice(DtString const & nameOrAddress,
                DtInetUtils::DtInetAddrFamily family = DtInetUtils::DtInetFamilyIpv4);

   /// The interface that has this address, with the address's family.
   explicit DtInetDevice(DtInetAddr const & address);

   /// The interface that an adapter of DtInetUtils::fetchDeviceInfo tells of. The adapter stays the caller's.
   DtInetDevice(_IP_ADAPTER_ADDRESSES_LH * adapter, DtInetUtils::DtInetAddrFamily family);

   /// A deep copy, addresses and lists included.
   DtInetDevice(DtInetDevice const & other);
   /// The same.
   DtInetDevice & operator=(DtInetDevice const & other);

   /// The interface to use for a broadcast or multicast address, as a new device that the caller deletes;
   /// null for any other address, and if no interface fits.
   static DtInetDevice * findInterface(DtInetAddr const & address);

   // Virtual operations, in slot order. The device keeps ownership of every address that it hands out; each
   // may be null.

   virtual ~DtInetDevice();
   /// The system's name of the interface, as "eth0".
   virtual DtString const & deviceName() const;
   /// The IPv6 address if the device was made for family 6, otherwise the IPv4 address.
   virtual DtInetAddr * addr() const;
   /// The IPv6 broadcast address if the device was made for family 6, otherwise the IPv4 one.
   virtual DtInetAddr * broadcastAddr() const;
   /// The IPv4 address.
   virtual DtInetAddr * ipv4Addr() const;
   /// The IPv4 netmask, as an address value.
   virtual DtInetAddr * ipv4Netmask() const;
   /// The broadcast address, by address and netmask.
   virtual DtInetAddr * ipv4BroadcastAddr() const;
   /// The IPv6 address.
   virtual DtInetAddr * ipv6Addr() const;
   /// The interface's own anycast address, or else the all-nodes group that it is in.
   virtual DtInetAddr * ipv6BroadcastAddr() const;
   /// Copies the hardware address into the first bytes of `bytes` and returns how many it has, 0 to 8.
   virtual std::uint32_t macAddr(unsigned char (&bytes)[8]) const;
   /// The hardware address as "00-11-22-33-44-55"; empty if there is none.
   virtual DtString const & macAddrString() const;
   /// The kind of link.
   virtual DtInetIfLinkType type() const;
   /// The largest packet of the link in bytes.
   virtual std::uint32_t mtu() const;
   /// 1 up, 2 down, 4 unknown.
   virtual std::uint32_t linkState() const;
   /// The scope of the IPv6 address; 2, the scope of a link, without one.
   virtual DtInetIpv6Scope linkScope() const;
   /// Whether the link state is 1. isActive() is the same test.
   virtual bool isUp() const;
   /// The same as isUp().
   virtual bool isActive() const;
   /// True if the interface has an IPv4 address, and for no other reason.
   virtual bool isBroadcastCapable() const;
   /// Whether groups can be joined on the interface.
   virtual bool isMulticastCapable() const;
   /// Whether there is an IPv4 address.
   virtual bool hasIpv4Addr() const;
   /// Whether there is an IPv6 address.
   virtual bool hasIpv6Addr() const;
   /// The system's number of the interface, from 1; 0 for a device that was not found.
   virtual std::uint32_t interfaceIndex() const;
   /// False if the interface was not found or the machine's interfaces could not be read.
   virtual bool isOk() const;
   /// Why isOk() is false. Reading it clears nothing.
   virtual DtString const & getLastErrorString() const;

protected:
   /// Takes everything from an adapter.
   virtual void init(_IP_ADAPTER_ADDRESSES_LH * adapter);
   /// Makes the text of the hardware address from its bytes.
   virtual void initMACAddrString();
   /// Finds the adapter with this name, IPv4 address or IPv6 address and runs init() on it.
   virtual void scanDeviceByName(DtString const & name);

   // An address that is there is handed out by const operations as a pointer to it.
   /// The system's name of the interface.
   DtString name;
   /// The hardware address.
   unsigned char macBytes[8] = {};
   /// How many bytes of it count.
   std::uint32_t macLength = 0;
   /// Its text.
   DtString macText;
   /// The IPv4 address.
   mutable std::optional<DtInetAddr> ipv4Address;
   /// The netmask as an address.
   mutable std::optional<DtInetAddr> ipv4Mask;
   /// The IPv6 address.
   mutable std::optional<DtInetAddr> ipv6Address;
   /// The scope of the IPv6 address.
   DtInetIpv6Scope scope = DtInetIpv6ScopeLink;
   /// See isBroadcastCapable().
   bool broadcastCapable = false;
   /// See ipv4BroadcastAddr().
   mutable std::optional<DtInetAddr> ipv4Broadcast;
   /// See ipv6BroadcastAddr().
   mutable std::optional<DtInetAddr> ipv6Broadcast;
   /// The family that the device was made for.
   DtInetUtils::DtInetAddrFamily family = DtInetUtils::DtInetFamilyIpv4;
   /// See isMulticastCapable().
   bool multicastCapable = false;
   /// The groups that the interface is in.
   std::vector<DtInetAddr> ipv4Groups;
   /// The same of IPv6.
   std::vector<DtInetAddr> ipv6Groups;
   /// See mtu().
   std::uint32_t maxTransmissionUnit = 1500;
   /// See linkState().
   std::uint32_t state = 4;
   /// See type().
   DtInetIfLinkType linkType = DtInetIfOther;
   /// See interfaceIndex().
   std::uint32_t index = 0;
   /// Whether isOk() is false.
   bool hasError = false;
   /// Why.
   DtString lastError;
   /// Read by nothing.
   std::uint32_t spareNumbers[2] = {448, 3};

private:
   void initIpv4(_IP_ADAPTER_ADDRESSES_LH const & adapter);
   void initIpv6(_IP_ADAPTER_ADDRESSES_LH const & adapter);
};

/// Two devices are equal if their names are.
TSLUTIL_EXPORT bool operator==(DtInetDevice const & left, DtInetDevice const & right);

namespace DtInetUtils
{

/// All interfaces in the system's order, loopback last; with `activeOnly` those that are up. `ipv6` gives
/// devices of family 6, otherwise 4. Empty, with a line on DtWarn, if the interfaces can't be read.
TSLUTIL_EXPORT std::vector<boost::shared_ptr<DtInetDevice>> scanInetDevices(bool activeOnly = true,
                                                                            bool ipv6 = false);

/// scanInetDevices less the interfaces that are not broadcast capable, that is those without an IPv4 address.
TSLUTIL_EXPORT std::vector<boost::shared_ptr<DtInetDevice>> scanBroadcastDevices(bool activeOnly = true,
                                                                                 bool ipv6 = false);

/// scanInetDevices less the interfaces that are not multicast capable.
TSLUTIL_EXPORT std::vector<boost::shared_ptr<DtInetDevice>> scanMulticastDevices(bool activeOnly = true,
                                                                                 bool ipv6 = false);

/// The interfaces that have an IPv6 address. The devices are of family 4, so that addr() is the IPv4 address.
TSLUTIL_EXPORT std::vector<boost::shared_ptr<DtInetDevice>> scanIpv6Devices(bool activeOnly = true);

/// The first broadcast capable interface, one that is up before all others. Loopback counts. Empty if none.
TSLUTIL_EXPORT boost::shared_ptr<DtInetDevice> defaultBroadcastDevice(bool ipv6 = false);

/// The first multicast capable interface, up or not. Empty if none.
TSLUTIL_EXPORT boost::shared_ptr<DtInetDevice> defaultMulticastDevice();

/// The broadcast address of the first interface that is up, broadcast capable and not loopback, as a new
/// address that the caller deletes; null if there is none.
TSLUTIL_EXPORT DtInetAddr * getPrimaryBroadcastAddress(bool ipv6 = false);

/// The name of this host; empty if the system has none to tell.
TSLUTIL_EXPORT DtString getLocalHostname();

/// The process-wide size in bytes of socket buffers and of the largest message of a file transfer, 65504 at
/// the start. A new value holds for sockets opened later. It has no bounds; users of it clamp it to what they
/// need. From any thread.
TSLUTIL_EXPORT int getMaxPacketBufferSize();
/// Sets that size, from any thread.
TSLUTIL_EXPORT void setMaxPacketBufferSize(int bytes);

/// Reads the machine's adapters, with their IPv4 addresses for `family` 4, their IPv6 addresses for 6, both
/// for any other value. 0, and `*list` is the first adapter, null if there are none; the caller releases the
/// list with freeDeviceInfo. -1, and a text in `error`, if they can't be read; `*list` is then unchanged.
TSLUTIL_EXPORT int fetchDeviceInfo(DtInetAddrFamily family, _IP_ADAPTER_ADDRESSES_LH ** list,
                                   DtString & error);

/// The adapter behind this one in a list, null at its end.
TSLUTIL_EXPORT _IP_ADAPTER_ADDRESSES_LH * nextDeviceInfo(_IP_ADAPTER_ADDRESSES_LH const * adapter);

/// Releases a list of fetchDeviceInfo; null is allowed.
TSLUTIL_EXPORT void freeDeviceInfo(_IP_ADAPTER_ADDRESSES_LH * list);

/// Reads the pairs of IPv4 address and netmask of the machine. 0, and the caller releases the table with
/// freeDeviceInfo; -1, and a text in `error`, if they can't be read; `*table` is then unchanged.
TSLUTIL_EXPORT int fetchIpv4DeviceAddrInfo(_MIB_IPADDRTABLE ** table, DtString & error);

/// Releases a table of fetchIpv4DeviceAddrInfo; null is allowed.
TSLUTIL_EXPORT void freeDeviceInfo(_MIB_IPADDRTABLE * table);

} // namespace DtInetUtils
