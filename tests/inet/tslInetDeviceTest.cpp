// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/adapterList.h"

#include "support/networkNamespace.h"
#include "support/slots.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>

#include <arpa/inet.h>

using namespace DtInetUtils;
using namespace tsl::platform;
using nlohmann::json;
using testing::ElementsAre;

namespace
{

std::string text(DtInetAddr const * address)
{
   return address == nullptr ? "none" : address->toDtString(false).c_str();
}

/// A device that shows what has no accessor.
class OpenDevice : public DtInetDevice
{
public:
   using DtInetDevice::DtInetDevice;
   using DtInetDevice::init;
   using DtInetDevice::initMACAddrString;
   using DtInetDevice::scanDeviceByName;
   std::vector<std::string> groups(int wantedFamily) const
   {
      std::vector<std::string> texts;
      for (DtInetAddr const & group : wantedFamily == 4 ? ipv4Groups : ipv6Groups)
         texts.push_back(text(&group));
      return texts;
   }
};

TEST(DtInetDevice, SlotOrder)
{
   typedef OpenDevice D;
   std::size_t expected = 2;
   for (std::size_t slot : {slotOf(&D::deviceName),
                            slotOf(&D::addr),
                            slotOf(&D::broadcastAddr),
                            slotOf(&D::ipv4Addr),
                            slotOf(&D::ipv4Netmask),
                            slotOf(&D::ipv4BroadcastAddr),
                            slotOf(&D::ipv6Addr),
                            slotOf(&D::ipv6BroadcastAddr),
                            slotOf(&D::macAddr),
                            slotOf(&D::macAddrString),
                            slotOf(&D::type),
                            slotOf(&D::mtu),
                            slotOf(&D::linkState),
                            slotOf(&D::linkScope),
                            slotOf(&D::isUp),
                            slotOf(&D::isActive),
                            slotOf(&D::isBroadcastCapable),
                            slotOf(&D::isMulticastCapable),
                            slotOf(&D::hasIpv4Addr),
                            slotOf(&D::hasIpv6Addr),
                            slotOf(&D::interfaceIndex),
                            slotOf(&D::isOk),
                            slotOf(&D::getLastErrorString),
                            slotOf(&D::init),
                            slotOf(&D::initMACAddrString),
                            slotOf(&D::scanDeviceByName)})
      EXPECT_EQ(slot, expected++);
}

void makeInterface(NetworkNamespace const & network, json const & row)
{
   std::string const name = row["name"], mac = row["mac"], up = row["up"] ? " up" : "";
   if (name != "lo")
      network.ip("link add " + name + (mac.empty() ? "" : " address " + mac) + " mtu " + row["mtu"].dump() +
                 " type veth peer name to-" + name + "\nlink set to-" + name + " addrgenmode none" + up +
                 "\nlink set " + name + " addrgenmode none multicast " + (row["multicast"] ? "on" : "off") +
                 up);
   if (row["up"])
      network.awaitRunning(name);
   for (json const & address : row["ipv4"])
      network.addAddress(name, address[0].get<std::string>() + "/" + address[1].get<std::string>());
   for (json const & address : row["ipv6"])
      network.addAddress(name, address[0].get<std::string>() + "/" + address[1].dump());
}

/// A device in the terms of the recorded expectations.
json told(DtInetDevice const & device)
{
   json result = {{"macText", device.macAddrString().c_str()},
                  {"broadcastCapable", device.isBroadcastCapable()},
                  {"multicast", device.isMulticastCapable()},
                  {"mtu", device.mtu()},
                  {"type", device.type()},
                  {"up", device.isUp()}};
   if (device.hasIpv4Addr())
      result.update({{"ipv4", text(device.ipv4Addr())},
                     {"netmask", text(device.ipv4Netmask())},
                     {"prefix", device.ipv4Addr()->prefix()},
                     {"broadcast", text(device.ipv4BroadcastAddr())},
                     {"isLoopback", device.ipv4Addr()->isLoopback()}});
   return result;
}

void expectDevice(json const & row)
{
   SCOPED_TRACE(row.dump());
   bool const isLoopback = row["name"] == "lo";
   DtInetDevice const device(DtString(row["name"].get<std::string>()), DtInetFamilyIpv4);
   json expected = row["expect"];
   json const ipv6 = expected.value("ipv6AnyOf", json{"none"});
   expected.erase("ipv6AnyOf");
   expected.update({{"multicast", isLoopback || row["multicast"]},
                    {"mtu", isLoopback ? json(65536) : row["mtu"]},
                    {"type", isLoopback ? DtInetIfLoopback : DtInetIfEthernet},
                    {"up", row["up"]}});
   if (row["mac"] == "" && !isLoopback)
      expected["macText"] = device.macAddrString().c_str(); // one was made up
   EXPECT_EQ(told(device), expected);
   std::string const address = text(device.ipv6Addr());
   EXPECT_THAT(ipv6, testing::Contains(address.substr(0, address.find('%'))));
   for (char const * family : {"ipv4", "ipv6"})
      for (json const & own : row[family])
      {
         DtInetAddr const wanted(DtString(own[0].get<std::string>()), DtString());
         DtInetDevice const found(wanted);
         EXPECT_EQ(found.deviceName(), device.deviceName());
         EXPECT_TRUE(found.addr() != nullptr && *found.addr() == wanted) << own;
      }
}

TEST(DtInetDevice, TellsOfTheInterfacesOfPublishedMachines)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   std::map<std::string, std::vector<json>> machines;
   std::ifstream file(TEST_DATA_DIR "/interfaces/interfaces.jsonl");
   for (std::string line; std::getline(file, line);)
   {
      json row = json::parse(line);
      if (row["name"] == "lo0")
         row["name"] = "lo";
      machines[row["machine"]].push_back(row);
   }
   EXPECT_EQ(machines.size(), 4u);
   for (auto const & machine : machines)
   {
      NetworkNamespace const network;
      for (json const & row : machine.second)
         makeInterface(network, row);
      network.onThread([&] { std::for_each(machine.second.begin(), machine.second.end(), expectDevice); });
   }
}

TEST(DtInetDevice, IsFoundByNameOrByAnyOfItsAddresses)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   network.ip("addr add 10.1.0.1/24 dev lo label lo:7\naddr add 10.1.0.2/9 dev lo\n"
              "addr add 10.2.0.1/0 dev lo\n"
              "addr add fe80::5/64 dev lo nodad\naddr add fe80::6/80 dev lo nodad\n"
              "link add tun0 type veth peer name tun1\nlink set tun0 up\naddr add fd02::1/64 dev tun0");
   NetworkNamespace::Inside const inside(network);
   DtInetDevice const ipv4("10.1.0.2:9", DtInetFamilyIpv4);
   EXPECT_EQ(text(ipv4.addr()) + " " + text(ipv4.broadcastAddr()), "10.1.0.2 10.127.255.255");
   EXPECT_EQ(text(DtInetDevice("10.2.0.1", DtInetFamilyIpv4).ipv4Netmask()), "255.0.0.0");
   OpenDevice const ipv6("[fe80::5]:3000", DtInetFamilyIpv6);
   EXPECT_EQ(text(ipv6.addr()) + " " + text(ipv6.broadcastAddr()), "fe80::5%1 ff02::1%1");
   EXPECT_EQ(ipv6.linkScope(), 1);
   EXPECT_THAT(ipv6.groups(4), ElementsAre("224.0.0.1"));
   EXPECT_THAT(ipv6.groups(6), testing::UnorderedElementsAre("ff01::1%1", "ff02::1%1"));
   for (char const * wanted : {"lo", "10.1.0.1/24", "::1", "fe80::6%1", "fe80::6%lo"})
      EXPECT_TRUE(DtInetDevice(wanted, DtInetFamilyIpv4).isOk()) << wanted;
   // By name the prefix is that of the address; by address it is that of the place which the address gets.
   EXPECT_EQ(DtInetDevice("lo", DtInetFamilyIpv6).addr()->prefix(), 80u);
   EXPECT_EQ(ipv6.addr()->prefix(), 0u);
   // A tentative address leads to its interface, which doesn't take it.
   DtInetDevice const tentative("fd02::1", DtInetFamilyIpv6);
   EXPECT_TRUE(tentative.isOk());
   EXPECT_FALSE(tentative.hasIpv6Addr());

   for (char const * wanted : {"no such device", "lo:7", "LO", "10.1.0.3", "fe80::6%2", ""})
   {
      DtInetDevice const device(wanted, DtInetFamilyIpv4);
      EXPECT_FALSE(device.isOk() || device.isUp());
      EXPECT_EQ(device.getLastErrorString(), "Device " + DtString(wanted) + " not found");
      EXPECT_TRUE(device.ipv4Addr() == nullptr && device.ipv6Addr() == nullptr);
      EXPECT_EQ(device.mtu() + device.linkState(), 1500u + 4);
      EXPECT_EQ(device.linkScope(), 2);
   }
}

AdapterAddress address(std::string const & literal, bool isTransient = false)
{
   AdapterAddress result;
   result.family = literal.find(':') == std::string::npos ? 4 : 6;
   inet_pton(result.family == 4 ? AF_INET : AF_INET6, literal.c_str(), result.bytes.data());
   result.isTransient = isTransient;
   return result;
}

/// An adapter as the system would hardly tell of it.
struct MadeAdapter : _IP_ADAPTER_ADDRESSES_LH
{
   MadeAdapter()
   {
      adapter.index = adapter.ipv6Index = 7;
      adapter.isComplete = true;
   }
   OpenDevice device(DtInetAddrFamily family = DtInetFamilyIpv4) { return OpenDevice(this, family); }
};

TEST(DtInetDevice, TakesTheFirstAddressThatIsNotTransientWithItsMaskAndPrefix)
{
   MadeAdapter made;
   made.adapter.unicast = {address("fd00::1", true), address("203.0.113.1", true), address("fd00::2"),
                           address("203.0.113.2"), address("fd00::3")};
   made.adapter.prefixes = {{6, 1}, {4, 24}, {6, 64}, {4, 24}, {6, 128}};
   OpenDevice const device = made.device();
   EXPECT_EQ(text(device.addr()) + " " + text(device.ipv6Addr()), "203.0.113.2 fd00::2");
   EXPECT_EQ(device.ipv6Addr()->prefix(), 64u);
   EXPECT_EQ(device.linkScope(), 0);
   // The machine's table doesn't know the address: the default of its class stands in.
   EXPECT_EQ(text(device.ipv4Netmask()) + " " + text(device.broadcastAddr()), "255.255.255.0 203.0.113.255");
   made.adapter.index = 0;
   EXPECT_FALSE(made.device().hasIpv4Addr() || made.device().isMulticastCapable());
   EXPECT_TRUE(made.device().hasIpv6Addr());
   made.adapter.ipv6Index = 0;
   EXPECT_FALSE(made.device().hasIpv6Addr());
   EXPECT_FALSE(DtInetDevice(static_cast<_IP_ADAPTER_ADDRESSES_LH *>(nullptr), DtInetFamilyIpv4).isOk());
}

TEST(DtInetDevice, CollectsGroupsAndChoosesTheIpv6BroadcastAddress)
{
   MadeAdapter made;
   for (char const * group : {"239.1.2.3", "ff02::2", "ff05::1", "ff02::1:0:0:1", "ff32:10::f1", "ff02::1"})
      made.adapter.multicast.push_back(address(group));
   made.adapter.multicast.push_back(address("239.1.2.4", true));
   made.adapter.multicast.push_back(address("ff02::9", true));
   EXPECT_THAT(made.device().groups(4), ElementsAre("239.1.2.3"));
   EXPECT_THAT(made.device().groups(6),
               ElementsAre("ff02::2", "ff05::1", "ff02::1:0:0:1", "ff32:10::f1", "ff02::1"));
   EXPECT_EQ(text(made.device(DtInetFamilyIpv6).broadcastAddr()), "ff32:10::f1");
   made.adapter.noMulticast = true;
   EXPECT_FALSE(made.device().isMulticastCapable());
   EXPECT_EQ(made.device().groups(4).size() + made.device().groups(6).size(), 5u);
   made.adapter.anycast = {address("10.0.0.1"), address("fd00::7", true), address("fd00::8")};
   EXPECT_EQ(text(made.device().ipv6BroadcastAddr()), "fd00::8");
}

TEST(DtInetDevice, MapsTypesStatesAndHardwareAddresses)
{
   MadeAdapter made;
   std::uint32_t const types[] = {6, 15, 144, 71, 24, 1};
   for (int type = DtInetIfEthernet; type <= DtInetIfOther; ++type)
   {
      made.adapter.type = types[type];
      EXPECT_EQ(made.device().type(), type);
   }
   std::uint32_t const states[] = {1, 2, 4, 4, 4, 2, 2};
   for (int status = 0; status <= int(AdapterStatus::lowerLayerDown); ++status)
   {
      made.adapter.status = AdapterStatus(status);
      EXPECT_EQ(made.device().linkState(), states[status]);
      EXPECT_EQ(made.device().isUp() && made.device().isActive(), status == 0);
   }
   made.adapter.physicalAddress = {0, 0x11, 0x22, 0xAB, 0x44, 0xFF};
   unsigned char bytes[8] = {9, 9, 9, 9, 9, 9, 9, 9};
   EXPECT_EQ(made.device().macAddr(bytes), 6u);
   EXPECT_THAT(bytes, ElementsAre(0, 0x11, 0x22, 0xAB, 0x44, 0xFF, 9, 9));
   made.adapter.physicalAddress.resize(20, 0xEE);
   EXPECT_EQ(made.device().macAddr(bytes), 8u);
   EXPECT_STREQ(made.device().macAddrString(), "00-11-22-AB-44-FF-EE-EE");
}

TEST(DtInetDevice, CopiesDeepAndComparesByName)
{
   MadeAdapter made;
   made.adapter.name = "made0";
   made.adapter.unicast = {address("203.0.113.2"), address("fd00::2")};
   made.adapter.multicast = {address("239.1.2.3"), address("ff02::1")};
   OpenDevice target("no such device", DtInetFamilyIpv4);
   {
      OpenDevice const source = made.device();
      target = source;
      source.ipv4Addr()->setNetmask(0xFF000000);
   }
   OpenDevice const copy(target);
   target = OpenDevice("no such device", DtInetFamilyIpv4);
   EXPECT_EQ(copy.ipv4Addr()->netmask(), 0xFFFFFF00u);
   EXPECT_EQ(text(copy.broadcastAddr()) + " " + text(copy.ipv6BroadcastAddr()), "203.0.113.255 ff02::1");
   EXPECT_THAT(copy.groups(4), ElementsAre("239.1.2.3"));
   EXPECT_FALSE(target.hasIpv4Addr() || target.hasIpv6Addr() || target.isOk());
   EXPECT_TRUE(copy == made.device());
   EXPECT_FALSE(copy == target);
}

} // namespace
