// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"

#include "support/capturedStream.h"
#include "support/networkNamespace.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <iterator>
#include <memory>
#include <thread>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace DtInetUtils;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::vector<std::string> names(std::vector<boost::shared_ptr<DtInetDevice>> const & devices)
{
   std::vector<std::string> result;
   for (auto const & device : devices)
      result.push_back(device->deviceName().c_str());
   return result;
}

std::string nameOf(boost::shared_ptr<DtInetDevice> const & device)
{
   return device ? device->deviceName().c_str() : "none";
}

std::string found(DtInetAddr const & address)
{
   std::unique_ptr<DtInetDevice> const device(DtInetDevice::findInterface(address));
   return device ? device->deviceName().c_str() : "none";
}

std::string primaryBroadcast(bool ipv6 = false)
{
   std::unique_ptr<DtInetAddr> const address(getPrimaryBroadcastAddress(ipv6));
   return address ? address->toDtString(false).c_str() : "none";
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
   EXPECT_THAT(names(scanInetDevices(true, false)), ElementsAre("lo"));
   EXPECT_EQ(nameOf(defaultBroadcastDevice(false)), "lo");
   EXPECT_EQ(nameOf(defaultMulticastDevice()), "lo");
   EXPECT_EQ(primaryBroadcast(), "none");
   EXPECT_EQ(found("239.1.2.3"), "lo");
   EXPECT_EQ(found("ff05::1"), "lo");
   EXPECT_EQ(found(PlainBroadcast()), "none");
   EXPECT_EQ(found(DtInetAddr(0x7FFFFFFF, 0xFF000000)), "lo");

   network.ip("link set lo down");
   EXPECT_THAT(names(scanInetDevices(true, false)), IsEmpty());
   EXPECT_EQ(nameOf(defaultBroadcastDevice(false)), "lo");
   network.ip("addr flush dev lo");
   EXPECT_EQ(nameOf(defaultBroadcastDevice(false)), "none");
   EXPECT_EQ(nameOf(defaultMulticastDevice()), "lo");
   EXPECT_EQ(found("239.1.2.3"), "none");
}

TEST(InetScan, KeepsTheSystemsOrderAndFiltersByCapability)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network, other;
   network.ip("link add down0 type veth peer name down1\naddr add 10.5.0.1/16 dev down0");
   for (char const * name : {"bare0", "near0", "link0"})
      NetworkNamespace::connect(network, name, other, name);
   network.ip("link set bare0 multicast off\nlink set near0 multicast off\n"
              "addr add 10.6.0.1 peer 10.9.9.9/32 dev link0");
   network.addAddress("near0", "10.7.0.1/24");
   network.addAddress("near0", "fd00::1/64");
   network.addAddress("link0", "fe80::1/64");
   NetworkNamespace::Inside const inside(network);
   EXPECT_THAT(names(scanInetDevices(false, false)),
               ElementsAre("down1", "down0", "bare0", "near0", "link0", "lo"));
   EXPECT_THAT(names(scanInetDevices(true, false)), ElementsAre("bare0", "near0", "link0", "lo"));
   EXPECT_THAT(names(scanBroadcastDevices(false, false)), ElementsAre("down0", "near0", "link0", "lo"));
   EXPECT_THAT(names(scanMulticastDevices(false, false)), ElementsAre("down1", "down0", "link0", "lo"));
   EXPECT_THAT(names(scanMulticastDevices(true, false)), ElementsAre("link0", "lo"));
   auto const ipv6 = scanIpv6Devices(true);
   EXPECT_THAT(names(ipv6), ElementsAre("near0", "link0", "lo"));
   EXPECT_TRUE(ipv6[0]->addr()->isIPv4());
   EXPECT_TRUE(scanInetDevices(true, true)[1]->addr()->isIPv6());

   // Up comes first for broadcasts, and doesn't count for groups.
   EXPECT_EQ(nameOf(defaultBroadcastDevice(false)), "near0");
   EXPECT_EQ(nameOf(defaultMulticastDevice()), "down1");
   EXPECT_EQ(primaryBroadcast(), "10.7.0.255");
   EXPECT_EQ(primaryBroadcast(true).substr(0, 8), "ff02::1%");

   EXPECT_EQ(found("239.1.2.3"), "down0");
   EXPECT_EQ(found(DtInetAddr("10.5.255.255", "255.255.0.0")), "down0");
   EXPECT_EQ(found(DtInetAddr("10.7.0.255", "255.255.255.0")), "near0");
   EXPECT_EQ(found(DtInetAddr("10.9.9.255", "255.255.255.0")), "none");
   for (char const * unicast : {"10.7.0.1", "127.0.0.1", "fd00::1", "255.255.255.255"})
      EXPECT_EQ(found(unicast), "none") << unicast;
   // A group with a scope belongs to that interface, one without to the first that matches.
   DtInetDevice const link("link0", DtInetFamilyIpv6);
   EXPECT_EQ(found(*link.broadcastAddr()), "link0");
   EXPECT_EQ(found(*DtInetDevice("lo", DtInetFamilyIpv6).broadcastAddr()), "lo");
   DtInetAddr onLink("ff05::1");
   onLink.setScope(link.linkScope());
   EXPECT_EQ(found(onLink), "link0");
   EXPECT_EQ(found("ff05::1"), "near0");
   onLink.setScope(DtInetIpv6Scope(9999));
   EXPECT_EQ(found(onLink), "near0");
   EXPECT_EQ(found(PlainBroadcast()), "near0");
}

TEST(InetScan, KnowsATunnelWithoutAnyAddress)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   SKIP_BECAUSE(access("/dev/net/tun", R_OK | W_OK) == 0 ? "" : "needs /dev/net/tun");
   NetworkNamespace network;
   network.ip("tuntap add dev tun0 mode tun\nlink set tun0 up mtu 576");
   NetworkNamespace::Inside const inside(network);
   EXPECT_THAT(names(scanInetDevices(false, false)), ElementsAre("tun0", "lo"));
   DtInetDevice const tunnel("tun0", DtInetFamilyIpv4);
   EXPECT_FALSE(tunnel.hasIpv4Addr() || tunnel.hasIpv6Addr() || tunnel.isBroadcastCapable());
   EXPECT_TRUE(tunnel.macAddrString().isEmpty());
   EXPECT_EQ(tunnel.type(), DtInetIfOther);
   EXPECT_EQ(tunnel.mtu(), 576u);
}

TEST(InetScan, GoesThroughManyInterfaces)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   std::string commands;
   for (int i = 0; i < 150; ++i)
   {
      std::string const n = std::to_string(i);
      commands +=
         "link add a" + n + " type veth peer name b" + n + "\naddr add 10.1." + n + ".1/24 dev a" + n + "\n";
   }
   network.ip(commands);
   NetworkNamespace::Inside const inside(network);
   EXPECT_EQ(scanInetDevices(false, false).size(), 301u);
   EXPECT_EQ(scanBroadcastDevices(false, false).size(), 151u);
   EXPECT_STREQ(DtInetDevice("10.1.149.1", DtInetFamilyIpv4).deviceName(), "a149");
}

/// Takes netlink sockets from the process for good, as a service's sandbox does.
void loseNetlink()
{
   sock_filter rules[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_socket, 0, 3),
                          BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_NETLINK, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAFNOSUPPORT),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
   sock_fprog const filter = {std::size(rules), rules};
   ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
   ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
}

TEST(InetScan, SaysWhyTheInterfacesCannotBeRead)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace().inChild(
      []
      {
         loseNetlink();
         CapturedStream stream;
         EXPECT_THAT(scanInetDevices(false, false), IsEmpty());
         EXPECT_EQ(stream.textAt(1), "DtInetUtils::scanInetDevices could not retrieve adapter information.\n"
                                     "Could not allocate memory to scan devices.\n");
         EXPECT_EQ(nameOf(defaultMulticastDevice()) + found("239.1.2.3"), "nonenone");
         DtInetDevice const device("lo", DtInetFamilyIpv4);
         EXPECT_FALSE(device.isOk());
         EXPECT_STREQ(device.getLastErrorString(), "Could not allocate memory to scan devices.");
         _MIB_IPADDRTABLE * table = nullptr;
         DtString error;
         EXPECT_EQ(fetchIpv4DeviceAddrInfo(&table, error), -1);
         EXPECT_STREQ(error, "Could not allocate memory to scan IPv4 devices.");
      });
}

TEST(InetScan, FetchedAdaptersMakeDevices)
{
   _IP_ADAPTER_ADDRESSES_LH * list = nullptr;
   DtString error;
   ASSERT_EQ(fetchDeviceInfo(DtInetFamilyIpv4, &list, error), 0);
   std::vector<std::string> fetched;
   for (auto * adapter = list; adapter != nullptr; adapter = nextDeviceInfo(adapter))
   {
      DtInetDevice const device(adapter, DtInetFamilyIpv4);
      EXPECT_FALSE(device.hasIpv6Addr());
      fetched.push_back(device.deviceName().c_str());
   }
   EXPECT_EQ(fetched, names(scanInetDevices(false, false)));
   freeDeviceInfo(list);
   EXPECT_FALSE(getLocalHostname().isEmpty());
}

TEST(InetScan, MaxPacketBufferSizeIsSetAndReadByAnyThread)
{
   EXPECT_EQ(getMaxPacketBufferSize(), 65504);
   std::thread other([] { setMaxPacketBufferSize(-7); });
   int const seen = getMaxPacketBufferSize();
   other.join();
   EXPECT_TRUE(seen == 65504 || seen == -7);
   EXPECT_EQ(getMaxPacketBufferSize(), -7);
   setMaxPacketBufferSize(65504);
}

} // namespace
