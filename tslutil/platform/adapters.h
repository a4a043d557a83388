// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// The network adapters of the machine as the system reports them now, those of the calling thread's network
/// where the system has several. Every call asks the system anew and blocks meanwhile. From any thread.
namespace tsl::platform
{

/// An address of an adapter.
struct AdapterAddress
{
   /// 4 or 6.
   int family = 0;
   /// In network order; the first four for IPv4.
   std::array<unsigned char, 16> bytes = {};
   /// The adapter's index for an IPv6 address that means something on its link only, else 0.
   std::uint32_t scopeId = 0;
   /// The address is not to be used, or not yet: a bind to it would fail.
   bool isTransient = false;
};

/// The prefix of an adapter's address.
struct AdapterPrefix
{
   /// 4 or 6.
   int family = 0;
   /// In bits.
   std::uint32_t length = 0;
};

/// What an adapter is doing, in the terms of RFC 2863.
enum class AdapterStatus
{
   up,
   down,
   testing,
   unknown,
   dormant,
   notPresent,
   lowerLayerDown
};

/// Interface types, by their assigned numbers. Any other type counts as "other".
enum AdapterType : std::uint32_t
{
   adapterOther = 1,
   adapterEthernet = 6,
   adapterFddi = 15,
   adapterLoopback = 24,
   adapterWireless = 71,
   adapterIeee1394 = 144
};

/// One adapter. Names and indices are unique among the adapters of a machine; an alias is no adapter but one
/// more address of its own.
struct Adapter
{
   std::string name;
   /// The number of the adapter for IPv4 and for IPv6; 0 where it doesn't speak that family.
   std::uint32_t index = 0;
   std::uint32_t ipv6Index = 0;
   /// The hardware address, empty if there is none.
   std::vector<unsigned char> physicalAddress;
   bool noMulticast = false;
   std::uint32_t mtu = 0;
   std::uint32_t type = adapterOther;
   AdapterStatus status = AdapterStatus::unknown;
   std::vector<AdapterAddress> unicast;
   std::vector<AdapterAddress> anycast;
   /// The prefix of each unicast address, in step with them.
   std::vector<AdapterPrefix> prefixes;
   /// The groups that the adapter is in. Filled by completeAdapters alone.
   std::vector<AdapterAddress> multicast;
   /// The family of the addresses that were asked for, as readAdapters has it.
   int family = 0;
   bool isComplete = false;
};

/// An IPv4 address of the machine and its netmask, in host order.
struct Ipv4Entry
{
   std::uint32_t address = 0;
   std::uint32_t mask = 0;
};

/// Reads all adapters, in the order of their indices but loopback last, with their addresses of `family`, 4
/// or 6, or of both for any other value. False if the system can't tell; `adapters` is then unchanged.
bool readAdapters(int family, std::vector<Adapter> & adapters);

/// Adds what is dear to find out and of use only for adapters that are shown to someone: their groups of the
/// family that was asked for, and whether an Ethernet adapter is wireless. Passes over those that are
/// complete. Groups that the system doesn't tell of are left out.
void completeAdapters(std::vector<Adapter *> const & adapters);

/// Reads all IPv4 addresses of the machine. False if the system can't tell; `entries` is then unchanged.
bool readIpv4Entries(std::vector<Ipv4Entry> & entries);

} // namespace tsl::platform
