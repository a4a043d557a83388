// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"

#include "support/capturedStream.h"
#include "support/networkNamespace.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

using namespace DtInetUtils;

namespace
{

typedef std::vector<boost::shared_ptr<DtInetDevice>> Devices;

std::string names(Devices const & devices)
{
   std::string result;
   for (auto const & device : devices)
      result += (result.empty() ? "" : " ") + device->deviceName().stdString();
   return result;
}

/// The default devices for broadcasts and groups, and the primary broadcast addresses of both families.
std::string defaults()
{
   std::unique_ptr<DtInetAddr> const ipv4(getPrimaryBroadcastAddress()),
      ipv6(getPrimaryBroadcastAddress(true));
   std::string result;
   for (auto const & device : {defaultBroadcastDevice(), defaultMulticastDevice()})
      result += device ? device->deviceName().stdString() + " " : "none ";
   for (DtInetAddr const * address : {ipv4.get(), ipv6.get()})
      result += address != nullptr ? address->toDtString().stdString() + " " : "none ";
   return result;
}

/// The interfaces for addresses, by name.
std::string found(std::initializer_list<DtInetAddr> addresses)
{
   std::string result;
   for (DtInetAddr const & address : addresses)
   {
      std::unique_ptr<DtInetDevice> const device(DtInetDevice::findInterface(address));
      result += device ? device->deviceName().stdString() + " " : "none ";
   }
   return result;
}

/// The devices of all adapters that are fetched with the addresses of a family.
Devices fetched(DtInetAddrFamily family)
{
   _IP_ADAPTER_ADDRESSES_LH * list = nullptr;
   DtString error;
   EXPECT_EQ(fetchDeviceInfo(family, &list, error), 0);
   Devices devices;
   for (auto * adapter = list; adapter != nullptr; adapter = nextDeviceInfo(adapter))
      devices.emplace_back(new DtInetDevice(adapter, family));
   freeDeviceInfo(list);
   return devices;
}

/// An IPv6 broadcast address that says it is no group, so that it is looked for as a broadcast address.
class PlainBroadcast : public DtInetAddr
{
public:
   PlainBroadcast() : DtInetAddr("ff02::1") {}
   bool isMulticast() const override { return false; }
};

TEST(InetScan, OfLoopbackAloneFindsLoopback)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   NetworkNamespace::Inside const inside(network);
   EXPECT_EQ(names(scanInetDevices(true, false)), "lo");
   EXPECT_EQ(defaults(), "lo lo none none ");
   EXPECT_EQ(found({"239.1.2.3", "ff05::1", {"127.255.255.255", "255.0.0.0"}}), "lo lo lo ");
   EXPECT_EQ(DtInetDevice::findInterface(PlainBroadcast()), nullptr);
   Devices const ipv4 = fetched(DtInetFamilyIpv4), ipv6 = fetched(DtInetFamilyIpv6);
   EXPECT_EQ(names(ipv4) + names(ipv6), "lolo");
   EXPECT_TRUE(ipv4[0]->hasIpv4Addr() && !ipv4[0]->hasIpv6Addr() && ipv4[0]->ipv6BroadcastAddr() == nullptr);
   EXPECT_TRUE(!ipv6[0]->hasIpv4Addr() && ipv6[0]->hasIpv6Addr() && ipv6[0]->broadcastAddr() != nullptr);
   network.ip("link set lo down");
   EXPECT_EQ(names(scanInetDevices(true, false)), "");
   EXPECT_EQ(defaults(), "lo lo none none ");
   network.ip("addr flush dev lo");
   EXPECT_EQ(defaults(), "none lo none none ");
   EXPECT_EQ(found({"239.1.2.3"}), "none ");
}

// Up comes first for broadcasts, and doesn't count for groups. A group with a scope belongs to that
// interface, one without to the first that matches. Of a link to a peer only the near end counts.
TEST(InetScan, KeepsTheSystemsOrderAndFiltersByCapability)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network, other;
   network.ip("link add down0 type veth peer name down1\naddr add 10.5.0.1/16 dev down0\n"
              "link set down0 addrgenmode none up\naddr add fd05::1/64 dev down0 nodad");
   for (char const * name : {"bare0", "near0", "link0"})
      NetworkNamespace::connect(network, name, other, name);
   network.ip("link set bare0 multicast off\nlink set near0 multicast off\n"
              "addr add 10.6.0.1 peer 10.9.9.9/30 dev link0\naddr add 10.7.0.1/24 dev near0\n"
              "addr add fd00::1 peer fd00::9/120 dev near0 nodad\naddr add fe80::1/64 dev link0 nodad");
   NetworkNamespace::Inside const inside(network);
   EXPECT_EQ(names(scanInetDevices(false, false)), "down1 down0 bare0 near0 link0 lo");
   EXPECT_EQ(names(scanInetDevices(true, false)), "bare0 near0 link0 lo");
   EXPECT_EQ(names(scanBroadcastDevices(false, false)), "down0 near0 link0 lo");
   EXPECT_EQ(names(scanMulticastDevices(false, false)), "down1 down0 link0 lo");
   EXPECT_EQ(names(scanMulticastDevices(true, false)), "link0 lo");
   EXPECT_EQ(names(scanIpv6Devices(true)), "near0 link0 lo");
   EXPECT_STREQ(scanIpv6Devices(true)[1]->addr()->toDtString(), "10.6.0.1");
   EXPECT_STREQ(scanInetDevices(true, true)[1]->addr()->toDtString(), "fd00::1");
   DtInetDevice const near("near0", DtInetFamilyIpv6), link("link0", DtInetFamilyIpv6),
      lo("lo", DtInetFamilyIpv6);
   EXPECT_EQ(link.ipv4Addr()->prefix() + near.addr()->prefix(), 30u + 120);
   EXPECT_EQ(defaults(), "near0 down1 10.7.0.255 " + near.broadcastAddr()->toDtString().stdString() + " ");
   DtInetAddr onLink("ff05::1"), elsewhere("ff05::1");
   onLink.setScope(link.linkScope());
   elsewhere.setScope(DtInetIpv6Scope(9999));
   EXPECT_EQ(found({*link.broadcastAddr(), *lo.broadcastAddr(), onLink, elsewhere, "ff05::1"}),
             "link0 lo link0 down0 down0 ");
   DtInetAddr const ofDown("10.5.255.255", "255.255.0.0"), ofNear("10.7.0.255", "255.255.255.0"),
      ofNone("10.9.9.255", "255.255.255.0");
   EXPECT_EQ(found({"239.1.2.3", ofDown, ofNear, ofNone}), "down0 down0 near0 none ");
   EXPECT_EQ(found({"10.7.0.1", "127.0.0.1", "fd00::1", "255.255.255.255"}), "none none none none ");
   EXPECT_STREQ(std::unique_ptr<DtInetDevice>(DtInetDevice::findInterface(PlainBroadcast()))->deviceName(),
                "down0");
}

TEST(InetScan, KnowsATunnelWithoutAnyAddress)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   SKIP_BECAUSE(access("/dev/net/tun", R_OK | W_OK) == 0 ? "" : "needs /dev/net/tun");
   NetworkNamespace network;
   network.ip("tuntap add dev tun0 mode tun\nlink set tun0 up mtu 576");
   NetworkNamespace::Inside const inside(network);
   DtInetDevice const tunnel("tun0", DtInetFamilyIpv4);
   EXPECT_TRUE(tunnel.addr() == nullptr && tunnel.macAddrString().isEmpty() && tunnel.mtu() == 576);
   EXPECT_EQ(tunnel.type(), DtInetIfOther);
}

TEST(InetScan, GoesThroughManyInterfaces)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   std::string commands;
   for (std::string n = "0"; n != "150"; n = std::to_string(std::stoi(n) + 1))
      commands += "link add a" + n + " type veth\naddr add 10.1." + n + ".1/24 dev a" + n + "\n";
   network.ip(commands);
   NetworkNamespace::Inside const inside(network);
   EXPECT_EQ(scanInetDevices(false, false).size(), 301u);
   EXPECT_EQ(scanBroadcastDevices(false, false).size(), 151u);
   EXPECT_STREQ(DtInetDevice("10.1.149.1", DtInetFamilyIpv4).deviceName(), "a149");
}

TEST(InetScan, SaysWhyTheInterfacesCannotBeRead)
{
   CapturedStream stream;
   // A sanitizer needs a descriptor when it meets a class for the first time, and there are soon none.
   DtWarn << std::flush;
   DtInetDevice const met("lo", DtInetFamilyIpv4);
   DtString error;
   _MIB_IPADDRTABLE * table = nullptr;
   rlimit usual;
   getrlimit(RLIMIT_NOFILE, &usual);
   rlimit const noDescriptors = {0, usual.rlim_max};
   setrlimit(RLIMIT_NOFILE, &noDescriptors);
   std::string told = names(scanInetDevices(false, false)) + ": ";
   told += stream.textAt(1);
   told += defaults() + DtInetDevice("lo", DtInetFamilyIpv4).getLastErrorString().stdString();
   int const result = fetchIpv4DeviceAddrInfo(&table, error);
   setrlimit(RLIMIT_NOFILE, &usual);
   EXPECT_EQ(told, ": DtInetUtils::scanInetDevices could not retrieve adapter information.\n"
                   "Could not allocate memory to scan devices.\nnone none none none "
                   "Could not allocate memory to scan devices.");
   EXPECT_EQ(std::to_string(result) + error.c_str(), "-1Could not allocate memory to scan IPv4 devices.");
}

TEST(InetScan, MaxPacketBufferSizeIsSetAndReadByAnyThread)
{
   EXPECT_EQ(getMaxPacketBufferSize(), 65504);
   std::thread other([] { setMaxPacketBufferSize(-7); });
   int const seen = getMaxPacketBufferSize();
   other.join();
   EXPECT_TRUE((seen == 65504 || seen == -7) && getMaxPacketBufferSize() == -7);
   setMaxPacketBufferSize(65504);
   EXPECT_FALSE(getLocalHostname().isEmpty());
}

} // namespace
