// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/adapterList.h"

#include "inet/socketKit.h"
#include "inet/steps.h"
#include "support/capturedStream.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cstring>
#include <fstream>
#include <memory>
#include <thread>

#include <arpa/inet.h>
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
   using DtInetDevice::DtInetDevice;

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

AdapterAddress adapterAddress(std::string const & literal)
{
   AdapterAddress result;
   std::string const plain = literal.substr(0, literal.find('!'));
   result.family = plain.find(':') == std::string::npos ? 4 : 6;
   EXPECT_EQ(inet_pton(result.family == 4 ? AF_INET : AF_INET6, plain.c_str(), result.bytes.data()), 1)
      << plain;
   result.isTransient = plain != literal;
   return result;
}

template<class Device>
std::string nameOf(Device const & device)
{
   return device ? device->deviceName().stdString() : "none";
}

std::string foundFor(DtInetAddr const & address)
{
   return nameOf(std::unique_ptr<DtInetDevice>(DtInetDevice::findInterface(address)));
}

/// Each with the address that is its face.
std::string faces(std::vector<boost::shared_ptr<DtInetDevice>> const & devices)
{
   std::string result;
   for (auto const & device : devices)
      result += (result.empty() ? "" : ", ") + nameOf(device) + " " + text(device->addr());
   return result;
}

/// An IPv6 broadcast address that says it is no group, so that it is looked for as a broadcast address.
class PlainBroadcast : public DtInetAddr
{
public:
   PlainBroadcast() : DtInetAddr("ff02::1") {}
   bool isMulticast() const override { return false; }
};

/// Kind of link, state, hardware address, and what it can.
std::string linkOf(DtInetDevice const & device)
{
   unsigned char bytes[8] = {}, untouched[8] = {};
   std::uint32_t const length = device.macAddr(bytes);
   std::string hardware;
   for (std::uint32_t i = 0; i < length; ++i)
   {
      char digits[4];
      std::snprintf(digits, sizeof digits, "%02X-", bytes[i]);
      hardware += digits;
   }
   EXPECT_EQ(std::memcmp(bytes + length, untouched, 8 - length), 0);
   EXPECT_EQ(device.macAddrString() + (length == 0 ? "" : "-"), hardware.c_str());
   EXPECT_EQ(device.isUp(), device.isActive());
   return "type " + std::to_string(device.type()) + " state " + std::to_string(device.linkState()) +
          (device.isUp() ? " up" : "") + (hardware.empty() ? "" : " " + hardware) +
          (device.isBroadcastCapable() ? " broadcast" : "") +
          (device.isMulticastCapable() ? " multicast" : "");
}

/// The devices of a network of its own, and those of an adapter as the system would hardly tell of it.
struct DeviceWorld : World
{
   DeviceWorld();

   /// Adds a verb that gives the adapter something of each word, and tells of a device of it.
   void made(std::string const & verb, std::function<void(std::string const &)> const & add)
   {
      verbs[verb] = [this, add](Fields const & row)
      {
         std::istringstream words(row[1]);
         for (std::string word; words >> word;)
            add(word);
         OpenDevice const device(&list, DtInetFamilyIpv4);
         return device.told() + ", " + linkOf(device);
      };
   }

   _IP_ADAPTER_ADDRESSES_LH list;
   Adapter & adapter = list.adapter;
};

// clang-format off
DeviceWorld::DeviceWorld()
{
   adapter.name = "made";
   adapter.index = adapter.ipv6Index = 7;
   adapter.isComplete = true;
   made("unicast", [this](auto & word) { adapter.unicast.push_back(adapterAddress(word)); });
   made("prefixes", [this](auto & word) { adapter.prefixes.push_back({word[0] == '4' ? 4 : 6, std::uint32_t(std::stoul(word.substr(2)))}); });
   made("multicast", [this](auto & word) { adapter.multicast.push_back(adapterAddress(word)); });
   made("anycast", [this](auto & word) { adapter.anycast.push_back(adapterAddress(word)); });
   made("no multicast", [this](auto & word) { adapter.noMulticast = word == "1"; });
   made("index", [this](auto & word) { adapter.index = std::uint32_t(std::stoul(word)); });
   made("IPv6 index", [this](auto & word) { adapter.ipv6Index = std::uint32_t(std::stoul(word)); });
   made("hardware", [this](auto & word) { adapter.physicalAddress.push_back(static_cast<unsigned char>(std::stoul(word, nullptr, 16))); });
   made("type", [this](auto & word) { adapter.type = std::uint32_t(std::stoul(word)); });
   made("status", [this](auto & word) { adapter.status = AdapterStatus(std::stoi(word)); });
   verbs["device"] = [](auto & row) { return OpenDevice(DtString(row[1]), DtInetFamilyIpv4).told(); };
   verbs["details"] = [](auto & row) {
      DtInetDevice const device(DtString(row[1]), DtInetAddrFamily(std::stoi(row[2])));
      EXPECT_TRUE(device.hasIpv4Addr() == (device.ipv4Addr() != nullptr) && device.hasIpv6Addr() == (device.ipv6Addr() != nullptr));
      return text(device.addr(), true) + " " + text(device.broadcastAddr()) + ", scope " + std::to_string(device.linkScope()) +
         " index " + std::to_string(device.interfaceIndex()) + " mtu " + std::to_string(device.mtu()) + " " + linkOf(device);
   };
   verbs["scan"] = [](auto & row) { return faces(scanInetDevices(row[1] == "active", row[2] == "6")); };
   verbs["scan broadcast"] = [](auto & row) { return faces(scanBroadcastDevices(row[1] == "active", row[2] == "6")); };
   verbs["scan multicast"] = [](auto & row) { return faces(scanMulticastDevices(row[1] == "active", row[2] == "6")); };
   verbs["scan IPv6"] = [](auto & row) { return faces(scanIpv6Devices(row[1] == "active")); };
   verbs["defaults"] = [](auto &) {
      std::unique_ptr<DtInetAddr> const ipv4(getPrimaryBroadcastAddress()), ipv6(getPrimaryBroadcastAddress(true));
      return nameOf(defaultBroadcastDevice()) + " " + nameOf(defaultMulticastDevice()) + " " + text(ipv4.get()) + " " + text(ipv6.get());
   };
   verbs["find"] = [](auto & row) {
      DtInetAddr address(row[1].c_str(), row[2].c_str());
      if (!row[3].empty())
         address.setScope(DtInetIpv6Scope(std::stoi(row[3])));
      return foundFor(address);
   };
   verbs["find all nodes"] = [](auto &) { return foundFor(PlainBroadcast()); };
   verbs["fetch"] = [](auto & row) {
      _IP_ADAPTER_ADDRESSES_LH * all = nullptr;
      DtString error;
      std::string result = std::to_string(fetchDeviceInfo(DtInetAddrFamily(std::stoi(row[1])), &all, error));
      for (auto * each = all; each != nullptr; each = nextDeviceInfo(each))
         result += ", " + OpenDevice(each, DtInetFamilyIpv4).told();
      freeDeviceInfo(all);
      return result;
   };
}
// clang-format on

TEST(DtInetDevice, OfAMadeAdapterIsWhatTheTableSays)
{
   runSteps<DeviceWorld>("inet/madeDevices.tsv");
}

TEST(DtInetDevice, InANetworkIsWhatTheTableSays)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   runSteps<DeviceWorld>("inet/devices.tsv");
}

TEST(DtInetDevice, CopiesAreDeepAndDevicesAreEqualByName)
{
   DeviceWorld world;
   world.adapter.unicast = {adapterAddress("203.0.113.2")};
   OpenDevice const first(&world.list, DtInetFamilyIpv4), copy(first);
   OpenDevice assigned("no such device", DtInetFamilyIpv4);
   assigned = first;
   first.addr()->setNetmask(0xFF000000);
   for (OpenDevice const & other : {copy, assigned})
      EXPECT_EQ(other.told(), "made 203.0.113.2/24 255.255.255.0 203.0.113.255 | none none");
   world.adapter.unicast.clear();
   EXPECT_TRUE(copy == OpenDevice(&world.list, DtInetFamilyIpv6));
   world.adapter.name = "other";
   EXPECT_FALSE(copy == OpenDevice(&world.list, DtInetFamilyIpv4) ||
                OpenDevice(nullptr, DtInetFamilyIpv4).isOk());
}

using InetScan = InNetwork;

TEST_F(InetScan, KnowsATunnelWithoutAnyAddress)
{
   SKIP_BECAUSE(access("/dev/net/tun", R_OK | W_OK) == 0 ? "" : "needs /dev/net/tun");
   network->ip("tuntap add dev tun0 mode tun\nlink set tun0 up mtu 576");
   DtInetDevice const tunnel("tun0", DtInetFamilyIpv4);
   EXPECT_EQ(text(tunnel.addr()) + " " + linkOf(tunnel), "none type 5 state 2 multicast");
   EXPECT_EQ(tunnel.mtu(), 576u);
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
   DeviceWorld world;
   world.verbs["defaults"]({});
   DtString error;
   _MIB_IPADDRTABLE * table = nullptr;
   rlim_t const usual = socketKit::limit(RLIMIT_NOFILE, 0);
   std::string told = faces(scanInetDevices(false, false)) + ": ";
   told += stream.textAt(1);
   told +=
      world.verbs["defaults"]({}) + DtInetDevice("lo", DtInetFamilyIpv4).getLastErrorString().stdString();
   int const result = fetchIpv4DeviceAddrInfo(&table, error);
   socketKit::limit(RLIMIT_NOFILE, usual);
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
