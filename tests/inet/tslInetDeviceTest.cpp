// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/adapterList.h"

#include "support/capturedStream.h"
#include "support/networkNamespace.h"
#include "support/slots.h"
#include "support/watchdog.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <memory>
#include <thread>

#include <arpa/inet.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace DtInetUtils;
using namespace tsl::platform;
using nlohmann::json;

namespace
{

std::string text(DtInetAddr const * address, bool withPrefix = false)
{
   return address == nullptr ? "none"
                             : address->toDtString().stdString() +
                                  (withPrefix ? "/" + std::to_string(address->prefix()) : "");
}

std::string text(std::vector<DtInetAddr> const & groups)
{
   std::string result;
   for (DtInetAddr const & group : groups)
      result += " " + text(&group);
   return result;
}

/// A device that shows what has no accessor.
class OpenDevice : public DtInetDevice
{
public:
   using DtInetDevice::DtInetDevice, DtInetDevice::init, DtInetDevice::initMACAddrString,
      DtInetDevice::scanDeviceByName;

   /// Name, then addresses, IPv4 netmask and broadcast addresses and groups of both families; or what failed.
   std::string told() const
   {
      if (!isOk())
         return getLastErrorString().stdString();
      return deviceName().stdString() + " " + text(ipv4Addr(), true) + " " + text(ipv4Netmask()) + " " +
             text(ipv4BroadcastAddr()) + text(ipv4Groups) + " | " + text(ipv6Addr(), true) + " " +
             text(ipv6BroadcastAddr()) + text(ipv6Groups);
   }
};

TEST(DtInetDevice, SlotOrder)
{
   using D = OpenDevice;
   EXPECT_TRUE(inSlotsFrom(2, &D::deviceName, &D::addr, &D::broadcastAddr, &D::ipv4Addr, &D::ipv4Netmask,
                           &D::ipv4BroadcastAddr, &D::ipv6Addr, &D::ipv6BroadcastAddr, &D::macAddr,
                           &D::macAddrString, &D::type, &D::mtu, &D::linkState, &D::linkScope, &D::isUp,
                           &D::isActive, &D::isBroadcastCapable, &D::isMulticastCapable, &D::hasIpv4Addr,
                           &D::hasIpv6Addr, &D::interfaceIndex, &D::isOk, &D::getLastErrorString, &D::init,
                           &D::initMACAddrString, &D::scanDeviceByName));
}

void makeInterface(NetworkNamespace const & network, std::string const & name, json const & row)
{
   std::string const mac = row["mac"], up = row["up"] ? " up" : "";
   if (name != "lo")
      network.ip("link add " + name + (mac.empty() ? "" : " address " + mac) + " type veth peer name peer\n" +
                 "link set " + name + " addrgenmode none" + up + "\nlink set peer up");
   if (row["up"])
      network.awaitRunning(name);
   for (char const * family : {"ipv4", "ipv6"})
      for (json const & own : row[family])
         network.addAddress(name, own[0].get<std::string>() + "/" +
                                     (own[1].is_string() ? own[1].get<std::string>() : own[1].dump()));
}

/// Holds a device against what its row expects, and each of its addresses against the device.
void expectDevice(OpenDevice const & device, json const & row)
{
   json const & expected = row["expect"];
   std::string const prefix = expected.contains("prefix") ? "/" + expected["prefix"].dump() : "";
   EXPECT_THAT(device.told(),
               testing::StartsWith(device.deviceName().stdString() + " " + expected.value("ipv4", "none") +
                                   prefix + " " + expected.value("netmask", "none") + " " +
                                   expected.value("broadcast", "none")));
   std::string const ipv6 = text(device.ipv6Addr());
   EXPECT_THAT(expected.value("ipv6AnyOf", json{"none"}), testing::Contains(ipv6.substr(0, ipv6.find('%'))));
   EXPECT_EQ(device.isBroadcastCapable(), expected["broadcastCapable"]);
   EXPECT_EQ(device.isUp(), row["up"]);
   EXPECT_TRUE(row["mac"] == "" || device.macAddrString() == expected["macText"].get<std::string>().c_str());
   for (char const * family : {"ipv4", "ipv6"})
      for (json const & own : row[family])
      {
         DtInetAddr const wanted(DtString(own[0].get<std::string>()), DtString());
         DtInetDevice const found(wanted);
         EXPECT_TRUE(found == device && found.addr() != nullptr && *found.addr() == wanted) << own;
      }
}

TEST(DtInetDevice, TellsOfTheInterfacesOfPublishedMachines)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   std::ifstream file(TEST_DATA_DIR "/interfaces/interfaces.jsonl");
   int rows = 0;
   for (std::string line; std::getline(file, line); ++rows)
   {
      SCOPED_TRACE(line);
      json const row = json::parse(line);
      std::string const name = row["name"] == "lo0" ? json("lo") : row["name"];
      NetworkNamespace const network;
      NetworkNamespace::Inside const inside(network);
      makeInterface(network, name, row);
      expectDevice(OpenDevice(DtString(name), DtInetFamilyIpv4), row);
   }
   EXPECT_EQ(rows, 15);
}

using InetDevices = InNetwork;

TEST_F(InetDevices, AreFoundByNameOrByAnyOfTheirAddresses)
{
   network->ip("addr add 10.1.0.1/24 dev lo label lo:7\naddr add 10.1.0.2/9 dev lo\n"
               "addr add 10.2.0.1/0 dev lo\naddr add fe80::5/64 dev lo nodad\n"
               "addr add fe80::6/80 dev lo nodad\n"
               "link add tun0 type veth peer name tun1\nlink set tun0 up\naddr add fd02::1/64 dev tun0");
   std::string const ipv4 = "lo 127.0.0.1/8 255.0.0.0 127.255.255.255 224.0.0.1 | ";
   std::string const ipv6 = "fe80::6%1/80 ff02::1%1 ff02::1%1 ff01::1%1";
   // By name the prefix is that of the address; by address it is that of the place which the address gets. A
   // tentative address leads to its interface, which doesn't take it. The label of an address is no name.
   std::string const rows[][2] = {
      {"lo", ipv4 + ipv6},
      {"10.1.0.1/24", "lo 10.1.0.1/24 255.255.255.0 10.1.0.255 224.0.0.1 | " + ipv6},
      {"10.1.0.2:9", "lo 10.1.0.2/9 255.128.0.0 10.127.255.255 224.0.0.1 | " + ipv6},
      {"10.2.0.1", "lo 10.2.0.1/8 255.0.0.0 10.255.255.255 224.0.0.1 | " + ipv6},
      {"::1", ipv4 + "::1/0 ff02::1%1 ff02::1%1 ff01::1%1"},
      {"[fe80::5]:3000", ipv4 + "fe80::5%1/0 ff02::1%1 ff02::1%1 ff01::1%1"},
      {"fe80::5%lo", ipv4 + "fe80::5%1/0 ff02::1%1 ff02::1%1 ff01::1%1"},
      {"fd02::1", "tun0 none none none 224.0.0.1 | none ff02::1%3 ff02::1:ff00:1%3 ff02::1%3 ff01::1%3"},
      {"fe80::6%2", "Device fe80::6%2 not found"},
      {"10.1.0.3", "Device 10.1.0.3 not found"},
      {"lo:7", "Device lo:7 not found"},
      {"LO", "Device LO not found"},
      {"", "Device  not found"}};
   // The kernel joins the group of a new address a moment later.
   eventually([&] { return OpenDevice("fd02::1", DtInetFamilyIpv4).told() == rows[7][1]; });
   for (auto const & row : rows)
      EXPECT_EQ(OpenDevice(DtString(row[0]), DtInetFamilyIpv4).told(), row[1]);
   DtInetDevice const lo("lo", DtInetFamilyIpv6);
   EXPECT_EQ(text(lo.addr()) + text(lo.broadcastAddr()) + lo.macAddrString().c_str(), "fe80::6%1ff02::1%1");
   EXPECT_TRUE(lo.linkScope() == 1 && lo.interfaceIndex() == 1 && lo.mtu() == 65536);
   DtInetDevice const none("no such device", DtInetFamilyIpv4);
   EXPECT_FALSE(none.isUp() || none.hasIpv4Addr() || none.hasIpv6Addr());
   EXPECT_EQ(none.mtu() + none.linkState() + unsigned(none.linkScope()), 1500u + 4 + 2);
}

/// An adapter as the system would hardly tell of it.
struct MadeAdapter : _IP_ADAPTER_ADDRESSES_LH
{
   MadeAdapter()
   {
      adapter.name = "made";
      adapter.index = adapter.ipv6Index = 7;
      adapter.isComplete = true;
   }
   OpenDevice device() { return OpenDevice(this, DtInetFamilyIpv4); }
};

AdapterAddress address(std::string const & literal, bool isTransient = false)
{
   AdapterAddress result;
   result.family = literal.find(':') == std::string::npos ? 4 : 6;
   inet_pton(result.family == 4 ? AF_INET : AF_INET6, literal.c_str(), result.bytes.data());
   result.isTransient = isTransient;
   return result;
}

// The machine's table doesn't know the address: the default of its class stands in for the netmask.
TEST(DtInetDevice, TakesWhatIsNotTransient)
{
   MadeAdapter made;
   made.adapter.unicast = {address("fd00::1", true), address("203.0.113.1", true), address("fd00::2"),
                           address("203.0.113.2"), address("fd00::3")};
   made.adapter.prefixes = {{6, 1}, {4, 24}, {6, 64}, {4, 24}, {6, 128}};
   made.adapter.multicast = {address("239.1.2.3"),     address("ff02::2"),         address("ff05::1"),
                             address("ff02::1:0:0:1"), address("239.1.2.4", true), address("ff02::1", true),
                             address("ff32:10::f1"),   address("ff02::1")};
   std::string const ipv4 = "made 203.0.113.2/24 255.255.255.0 203.0.113.255";
   std::string const groups = " ff02::2 ff05::1 ff02::1:0:0:1 ff32:10::f1 ff02::1";
   OpenDevice const first = made.device();
   EXPECT_EQ(first.told(), ipv4 + " 239.1.2.3 | fd00::2/64 ff32:10::f1" + groups);
   EXPECT_TRUE(first.isMulticastCapable() && first.linkScope() == 0);
   made.adapter.noMulticast = true;
   made.adapter.anycast = {address("10.0.0.1"), address("fd00::7", true), address("fd00::8")};
   OpenDevice second = made.device();
   EXPECT_EQ(second.told(), ipv4 + " | fd00::2/64 fd00::8" + groups);
   EXPECT_FALSE(second.isMulticastCapable());
   made.adapter.index = 0;
   made.adapter.noMulticast = false;
   EXPECT_EQ(made.device().told(), "made none none none | fd00::2/64 fd00::8" + groups);
   EXPECT_FALSE(made.device().isMulticastCapable());
   made.adapter.ipv6Index = 0;
   EXPECT_EQ(made.device().told(), "made none none none | none none");
   EXPECT_FALSE(OpenDevice(nullptr, DtInetFamilyIpv4).isOk());

   // Copies are deep and tell the same; devices are equal by name.
   OpenDevice const copy(second);
   second = made.device();
   EXPECT_EQ(copy.told(), ipv4 + " | fd00::2/64 fd00::8" + groups);
   EXPECT_EQ(second.told(), "made none none none | none none");
   second = first;
   first.addr()->setNetmask(0xFF000000);
   EXPECT_EQ(second.told(), ipv4 + " 239.1.2.3 | fd00::2/64 ff32:10::f1" + groups);
   EXPECT_TRUE(copy == second);
   made.adapter.index = 7;
   made.adapter.name = "other";
   EXPECT_FALSE(copy == made.device());
}

TEST(DtInetDevice, MapsTypesStatesAndHardwareAddresses)
{
   MadeAdapter made;
   std::string told;
   for (std::uint32_t const type : {6u, 15u, 144u, 71u, 24u, 1u})
   {
      made.adapter.type = type;
      told += std::to_string(made.device().type());
   }
   for (int status = 0; status <= int(AdapterStatus::lowerLayerDown); ++status)
   {
      made.adapter.status = AdapterStatus(status);
      OpenDevice const device = made.device();
      told +=
         (device.isUp() ? " up" : " ") + std::to_string(device.linkState()) + (device.isActive() ? "+" : "");
   }
   EXPECT_EQ(told, "012345 up1+ 2 4 4 4 2 2");
   made.adapter.physicalAddress = {0, 0x11, 0x22, 0xAB, 0x44, 0xFF};
   unsigned char bytes[8] = {9, 9, 9, 9, 9, 9, 9, 9};
   EXPECT_EQ(made.device().macAddr(bytes), 6u);
   EXPECT_THAT(bytes, testing::ElementsAre(0, 0x11, 0x22, 0xAB, 0x44, 0xFF, 9, 9));
   made.adapter.physicalAddress.resize(20, 0xEE);
   EXPECT_EQ(made.device().macAddr(bytes), 8u);
   EXPECT_STREQ(made.device().macAddrString(), "00-11-22-AB-44-FF-EE-EE");
}

typedef std::vector<boost::shared_ptr<DtInetDevice>> Devices;

template<class Device>
std::string nameOf(Device const & device)
{
   return device ? device->deviceName().stdString() + " " : "none ";
}

std::string names(Devices const & devices)
{
   std::string result;
   for (auto const & device : devices)
      result += nameOf(device);
   return result;
}

/// The default devices for broadcasts and groups, and the primary broadcast addresses of both families.
std::string defaults()
{
   std::unique_ptr<DtInetAddr> const ipv4(getPrimaryBroadcastAddress()),
      ipv6(getPrimaryBroadcastAddress(true));
   return nameOf(defaultBroadcastDevice()) + nameOf(defaultMulticastDevice()) + text(ipv4.get()) + " " +
          text(ipv6.get());
}

/// The interfaces for addresses, by name.
std::string found(std::initializer_list<DtInetAddr> addresses)
{
   std::string result;
   for (DtInetAddr const & address : addresses)
      result += nameOf(std::unique_ptr<DtInetDevice>(DtInetDevice::findInterface(address)));
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

using InetScan = InNetwork;

TEST_F(InetScan, OfLoopbackAloneFindsLoopback)
{
   EXPECT_EQ(names(scanInetDevices(true, false)) + defaults(), "lo lo lo none none");
   EXPECT_EQ(found({"239.1.2.3", "ff05::1", {"127.255.255.255", "255.0.0.0"}}), "lo lo lo ");
   EXPECT_EQ(DtInetDevice::findInterface(PlainBroadcast()), nullptr);
   Devices const ipv4 = fetched(DtInetFamilyIpv4), ipv6 = fetched(DtInetFamilyIpv6);
   EXPECT_EQ(names(ipv4) + names(ipv6), "lo lo ");
   EXPECT_TRUE(ipv4[0]->hasIpv4Addr() && !ipv4[0]->hasIpv6Addr() && ipv4[0]->ipv6BroadcastAddr() == nullptr);
   EXPECT_TRUE(!ipv6[0]->hasIpv4Addr() && ipv6[0]->hasIpv6Addr() && ipv6[0]->broadcastAddr() != nullptr);
   network->ip("link set lo down");
   EXPECT_EQ(names(scanInetDevices(true, false)) + defaults(), "lo lo none none");
   network->ip("addr flush dev lo");
   EXPECT_EQ(defaults() + " " + found({"239.1.2.3"}), "none lo none none none ");
}

// Up comes first for broadcasts, and doesn't count for groups. A group with a scope belongs to that
// interface, one without to the first that matches. Of a link to a peer only the near end counts.
TEST_F(InetScan, KeepsTheSystemsOrderAndFiltersByCapability)
{
   NetworkNamespace const other;
   network->ip("link add down0 type veth peer name down1\naddr add 10.5.0.1/16 dev down0\n"
               "link set down0 addrgenmode none up\naddr add fd05::1/64 dev down0 nodad");
   for (char const * name : {"bare0", "near0", "link0"})
      NetworkNamespace::connect(*network, name, other, name);
   network->ip("link set bare0 multicast off\nlink set near0 multicast off\n"
               "addr add 10.6.0.1 peer 10.9.9.9/30 dev link0\naddr add 10.7.0.1/24 dev near0\n"
               "addr add fd00::1 peer fd00::9/120 dev near0 nodad\naddr add fe80::1/64 dev link0 nodad");
   EXPECT_EQ(names(scanInetDevices(false, false)), "down1 down0 bare0 near0 link0 lo ");
   EXPECT_EQ(names(scanInetDevices(true, false)), "bare0 near0 link0 lo ");
   EXPECT_EQ(names(scanBroadcastDevices(false, false)), "down0 near0 link0 lo ");
   EXPECT_EQ(names(scanMulticastDevices(false, false)), "down1 down0 link0 lo ");
   EXPECT_EQ(names(scanMulticastDevices(true, false)), "link0 lo ");
   EXPECT_EQ(names(scanIpv6Devices(true)), "near0 link0 lo ");
   EXPECT_STREQ(scanIpv6Devices(true)[1]->addr()->toDtString(), "10.6.0.1");
   EXPECT_STREQ(scanInetDevices(true, true)[1]->addr()->toDtString(), "fd00::1");
   DtInetDevice const near("near0", DtInetFamilyIpv6), link("link0", DtInetFamilyIpv6),
      lo("lo", DtInetFamilyIpv6);
   EXPECT_EQ(link.ipv4Addr()->prefix() + near.addr()->prefix(), 30u + 120);
   EXPECT_EQ(defaults(), "near0 down1 10.7.0.255 " + text(near.broadcastAddr()));
   DtInetAddr onLink("ff05::1"), elsewhere("ff05::1");
   onLink.setScope(link.linkScope());
   elsewhere.setScope(DtInetIpv6Scope(9999));
   EXPECT_EQ(found({*link.broadcastAddr(), *lo.broadcastAddr(), onLink, elsewhere, "ff05::1"}),
             "link0 lo link0 down0 down0 ");
   DtInetAddr const ofDown("10.5.255.255", "255.255.0.0"), ofNear("10.7.0.255", "255.255.255.0"),
      ofNone("10.9.9.255", "255.255.255.0");
   EXPECT_EQ(found({"239.1.2.3", ofDown, ofNear, ofNone}), "down0 down0 near0 none ");
   EXPECT_EQ(found({"10.7.0.1", "127.0.0.1", "fd00::1", "255.255.255.255"}), "none none none none ");
   EXPECT_EQ(nameOf(std::unique_ptr<DtInetDevice>(DtInetDevice::findInterface(PlainBroadcast()))), "down0 ");
}

TEST_F(InetScan, KnowsATunnelWithoutAnyAddress)
{
   SKIP_BECAUSE(access("/dev/net/tun", R_OK | W_OK) == 0 ? "" : "needs /dev/net/tun");
   network->ip("tuntap add dev tun0 mode tun\nlink set tun0 up mtu 576");
   DtInetDevice const tunnel("tun0", DtInetFamilyIpv4);
   EXPECT_TRUE(tunnel.addr() == nullptr && tunnel.macAddrString().isEmpty() && tunnel.mtu() == 576);
   EXPECT_EQ(tunnel.type(), DtInetIfOther);
}

TEST_F(InetScan, GoesThroughManyInterfaces)
{
   std::string commands;
   for (std::string n = "0"; n != "150"; n = std::to_string(std::stoi(n) + 1))
      commands += "link add a" + n + " type veth\naddr add 10.1." + n + ".1/24 dev a" + n + "\n";
   network->ip(commands);
   EXPECT_TRUE(scanInetDevices(false, false).size() == 301 &&
               scanBroadcastDevices(false, false).size() == 151);
   EXPECT_STREQ(DtInetDevice("10.1.149.1", DtInetFamilyIpv4).deviceName(), "a149");
}

TEST_F(InetScan, SaysWhyTheInterfacesCannotBeRead)
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
                   "Could not allocate memory to scan devices.\nnone none none none"
                   "Could not allocate memory to scan devices.");
   EXPECT_EQ(std::to_string(result) + error.c_str(), "-1Could not allocate memory to scan IPv4 devices.");
}

TEST_F(InetScan, MaxPacketBufferSizeIsSetAndReadByAnyThread)
{
   EXPECT_EQ(getMaxPacketBufferSize(), 65504);
   std::thread([] { setMaxPacketBufferSize(-7); }).join();
   EXPECT_EQ(getMaxPacketBufferSize(), -7);
   setMaxPacketBufferSize(65504);
   EXPECT_FALSE(getLocalHostname().isEmpty());
}

} // namespace
