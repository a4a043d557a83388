// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/adapterList.h"

#include "support/networkNamespace.h"
#include "support/slots.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>

#include <arpa/inet.h>
#include <sys/socket.h>

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
   std::size_t const slots[] = {slotOf(&D::deviceName),
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
                                slotOf(&D::scanDeviceByName)};
   std::size_t expected = 2;
   for (std::size_t slot : slots)
      EXPECT_EQ(slot, expected++);
}

/// Makes the interfaces of a published machine; one that was down stays down.
void makeInterfaces(NetworkNamespace const & network, std::vector<json> const & rows)
{
   std::string commands;
   int peers = 0;
   for (json const & row : rows)
   {
      std::string const name = row["name"];
      std::string const peer = "peer" + std::to_string(peers++);
      if (name != "lo")
      {
         commands += "link add " + name + " type veth peer name " + peer + "\n";
         for (std::string const & end : {name, peer})
            commands += "link set " + end + " addrgenmode none\n";
         if (row["mac"] != "")
            commands += "link set " + name + " address " + row["mac"].get<std::string>() + "\n";
         commands += "link set " + name + " mtu " + std::to_string(row["mtu"].get<int>()) + "\n";
         commands += "link set " + name + " multicast " + (row["multicast"] ? "on\n" : "off\n");
         if (row["up"])
            commands += "link set " + peer + " up\nlink set " + name + " up\n";
      }
      for (json const & address : row["ipv4"])
      {
         auto const prefix =
            netmaskToPrefixLen(DtInetAddr(DtString(address[1].get<std::string>()), DtString()).toULong());
         if (address[0] != "127.0.0.1")
            commands += "addr add " + address[0].get<std::string>() + "/" + std::to_string(prefix) + " dev " +
                        name + "\n";
      }
      for (json const & address : row["ipv6"])
         if (address[0] != "::1")
            commands += "addr add " + address[0].get<std::string>() + "/" +
                        std::to_string(address[1].get<int>()) + " dev " + name + " nodad\n";
   }
   ASSERT_TRUE(network.ip(commands));
}

void expectDevice(DtInetDevice const & device, json const & row)
{
   json const & expected = row["expect"];
   bool const isLoopback = row["name"] == "lo";
   ASSERT_TRUE(device.isOk()) << device.getLastErrorString();
   EXPECT_STREQ(device.deviceName(), row["name"].get<std::string>().c_str());
   if (isLoopback || row["mac"] != "")
   {
      EXPECT_STREQ(device.macAddrString(), expected["macText"].get<std::string>().c_str());
   }
   EXPECT_EQ(device.isBroadcastCapable(), expected["broadcastCapable"].get<bool>());
   EXPECT_EQ(device.isMulticastCapable(), isLoopback || row["multicast"]);
   EXPECT_EQ(device.linkState(), isLoopback || row["up"] ? 1u : 2u);
   EXPECT_EQ(device.type(), isLoopback ? DtInetIfLoopback : DtInetIfEthernet);
   EXPECT_EQ(device.mtu(), isLoopback ? 65536u : row["mtu"].get<unsigned>());
   EXPECT_EQ(text(device.ipv4Addr()), expected.value("ipv4", "none"));
   EXPECT_EQ(text(device.ipv4Netmask()), expected.value("netmask", "none"));
   EXPECT_EQ(text(device.ipv4BroadcastAddr()), expected.value("broadcast", "none"));
   if (device.hasIpv4Addr())
   {
      EXPECT_EQ(device.ipv4Addr()->prefix(), expected["prefix"].get<std::uint64_t>());
      EXPECT_EQ(device.ipv4Addr()->isLoopback(), expected["isLoopback"].get<bool>());
   }
   std::string const ipv6 = text(device.ipv6Addr());
   EXPECT_THAT(expected.value("ipv6AnyOf", std::vector<std::string>{"none"}),
               testing::Contains(ipv6.substr(0, ipv6.find('%'))));
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
   ASSERT_EQ(machines.size(), 4u);
   for (auto const & machine : machines)
   {
      NetworkNamespace network;
      makeInterfaces(network, machine.second);
      NetworkNamespace::Inside const inside(network);
      for (json const & row : machine.second)
      {
         SCOPED_TRACE(row.dump());
         expectDevice(DtInetDevice(DtString(row["name"].get<std::string>()), DtInetFamilyIpv4), row);
         for (char const * family : {"ipv4", "ipv6"})
            for (json const & address : row[family])
            {
               DtString const wanted(address[0].get<std::string>());
               DtInetDevice const device{DtInetAddr(wanted, DtString())};
               EXPECT_STREQ(device.deviceName(), row["name"].get<std::string>().c_str());
               ASSERT_NE(device.addr(), nullptr);
               EXPECT_TRUE(*device.addr() == DtInetAddr(wanted, DtString()));
            }
      }
   }
}

TEST(DtInetDevice, IsFoundByNameOrByAnyOfItsAddresses)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   network.ip("addr add 10.1.0.1/24 dev lo label lo:7\naddr add 10.1.0.2/9 dev lo\n"
              "addr add fe80::5/64 dev lo nodad\naddr add fe80::6/80 dev lo nodad\n"
              "link add tun0 type veth peer name tun1\nlink set tun0 up\naddr add fd02::1/64 dev tun0");
   NetworkNamespace::Inside const inside(network);
   DtInetDevice const first("10.1.0.2", DtInetFamilyIpv4);
   EXPECT_EQ(text(first.ipv4Addr()) + " " + text(first.ipv4Netmask()), "10.1.0.2 255.128.0.0");
   EXPECT_EQ(text(first.broadcastAddr()), "10.127.255.255");
   // The suffixes of a locator are no hindrance; the family is the caller's choice.
   DtInetDevice const second("[fe80::5]:3000", DtInetFamilyIpv6);
   EXPECT_EQ(text(second.addr()), "fe80::5%1");
   EXPECT_EQ(text(second.broadcastAddr()), "ff02::1%1");
   EXPECT_EQ(text(second.ipv4Addr()), "127.0.0.1");
   EXPECT_EQ(second.linkScope(), 1);
   for (char const * wanted : {"lo", "127.0.0.1:9", "10.1.0.1/24", "::1", "fe80::6%1", "fe80::6%lo"})
      EXPECT_TRUE(DtInetDevice(wanted, DtInetFamilyIpv4).isOk()) << wanted;
   // By name the prefix is that of the address; by address it is that of the place which the address gets.
   EXPECT_EQ(DtInetDevice("lo", DtInetFamilyIpv6).addr()->prefix(), 80u);
   EXPECT_EQ(second.addr()->prefix(), 0u);
   // A tentative address leads to its interface, which doesn't take it.
   DtInetDevice const tentative("fd02::1", DtInetFamilyIpv6);
   EXPECT_TRUE(tentative.isOk());
   EXPECT_FALSE(tentative.hasIpv6Addr());

   for (char const * wanted : {"no such device", "lo:7", "LO", "10.1.0.3", "fe80::6%2", ""})
   {
      DtInetDevice const device(wanted, DtInetFamilyIpv4);
      EXPECT_FALSE(device.isOk());
      EXPECT_EQ(device.getLastErrorString(), "Device " + DtString(wanted) + " not found");
      EXPECT_FALSE(device.hasIpv4Addr() || device.hasIpv6Addr() || device.isUp());
      EXPECT_EQ(device.addr(), nullptr);
      EXPECT_EQ(device.mtu() + device.linkState() + device.linkScope(), 1500u + 4 + 2);
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

/// An adapter as the system would never tell of it here.
struct MadeAdapter : _IP_ADAPTER_ADDRESSES_LH
{
   MadeAdapter()
   {
      adapter.name = "made0";
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
   OpenDevice device = made.device();
   EXPECT_EQ(text(device.addr()), "203.0.113.2");
   EXPECT_EQ(text(device.ipv6Addr()), "fd00::2");
   EXPECT_EQ(device.ipv6Addr()->prefix(), 64u);
   EXPECT_EQ(text(made.device(DtInetFamilyIpv6).addr()), "fd00::2");
   // The machine's table doesn't know the address: the default of its class stands in.
   EXPECT_EQ(text(device.ipv4Netmask()), "255.255.255.0");
   EXPECT_EQ(text(device.broadcastAddr()), "203.0.113.255");
   made.adapter.prefixes.resize(2);
   EXPECT_EQ(made.device().ipv6Addr()->prefix(), 0u);
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
   made.adapter.multicast = {address("239.1.2.3"), address("239.1.2.4", true), address("ff02::2"),
                             address("ff05::1"),   address("ff02::1:0:0:1"),   address("ff32:10::f1"),
                             address("ff02::1"),   address("ff02::9", true)};
   EXPECT_THAT(made.device().groups(4), ElementsAre("239.1.2.3"));
   EXPECT_THAT(made.device().groups(6),
               ElementsAre("ff02::2", "ff05::1", "ff02::1:0:0:1", "ff32:10::f1", "ff02::1"));
   EXPECT_EQ(text(made.device(DtInetFamilyIpv6).broadcastAddr()), "ff32:10::f1");
   made.adapter.noMulticast = true;
   EXPECT_FALSE(made.device().isMulticastCapable());
   EXPECT_TRUE(made.device().groups(4).empty());
   EXPECT_EQ(made.device().groups(6).size(), 5u);
   made.adapter.anycast = {address("10.0.0.1"), address("fd00::7", true), address("fd00::8")};
   EXPECT_EQ(text(made.device().ipv6BroadcastAddr()), "fd00::8");
}

TEST(DtInetDevice, MapsTypesStatesAndHardwareAddresses)
{
   std::pair<unsigned, DtInetIfLinkType> const types[] = {{6, DtInetIfEthernet},   {15, DtInetIfFddi},
                                                          {144, DtInetIfIeee1394}, {71, DtInetIfWireless},
                                                          {24, DtInetIfLoopback},  {1, DtInetIfOther}};
   MadeAdapter made;
   for (auto const & type : types)
   {
      made.adapter.type = type.first;
      EXPECT_EQ(made.device().type(), type.second);
   }
   std::pair<AdapterStatus, unsigned> const states[] = {{AdapterStatus::up, 1},
                                                        {AdapterStatus::down, 2},
                                                        {AdapterStatus::testing, 4},
                                                        {AdapterStatus::unknown, 4},
                                                        {AdapterStatus::dormant, 4},
                                                        {AdapterStatus::notPresent, 2},
                                                        {AdapterStatus::lowerLayerDown, 2}};
   for (auto const & state : states)
   {
      made.adapter.status = state.first;
      EXPECT_EQ(made.device().linkState(), state.second);
      EXPECT_EQ(made.device().isUp() && made.device().isActive(), state.second == 1);
   }
   made.adapter.physicalAddress = {0, 0x11, 0x22, 0xAB, 0x44, 0xFF};
   unsigned char bytes[8] = {9, 9, 9, 9, 9, 9, 9, 9};
   EXPECT_EQ(made.device().macAddr(bytes), 6u);
   EXPECT_THAT(bytes, ElementsAre(0, 0x11, 0x22, 0xAB, 0x44, 0xFF, 9, 9));
   EXPECT_STREQ(made.device().macAddrString(), "00-11-22-AB-44-FF");
   made.adapter.physicalAddress.assign(20, 0xEE);
   EXPECT_EQ(made.device().macAddr(bytes), 8u);
   EXPECT_STREQ(made.device().macAddrString(), "EE-EE-EE-EE-EE-EE-EE-EE");
}

TEST(DtInetDevice, CopiesDeepAndComparesByName)
{
   MadeAdapter made;
   made.adapter.unicast = {address("203.0.113.2"), address("fd00::2")};
   made.adapter.multicast = {address("239.1.2.3"), address("ff02::1")};
   OpenDevice target("no such device", DtInetFamilyIpv4);
   {
      OpenDevice const source = made.device();
      target = source;
      source.ipv4Addr()->setNetmask(0xFF000000);
   }
   target = static_cast<OpenDevice const &>(target);
   OpenDevice const copy(target);
   target = OpenDevice("no such device", DtInetFamilyIpv4);
   EXPECT_EQ(copy.ipv4Addr()->netmask(), 0xFFFFFF00u);
   EXPECT_EQ(text(copy.broadcastAddr()) + text(copy.ipv6BroadcastAddr()), "203.0.113.255ff02::1");
   EXPECT_THAT(copy.groups(4), ElementsAre("239.1.2.3"));
   EXPECT_TRUE(copy.isOk());
   EXPECT_FALSE(target.hasIpv4Addr() || target.hasIpv6Addr() || target.isOk());
   EXPECT_TRUE(copy == made.device());
   EXPECT_FALSE(copy == target);
}

} // namespace
