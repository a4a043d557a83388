// SPDX-License-Identifier: MIT
#include "tslutil/platform/adapters.h"

#include "support/networkNamespace.h"

#include <gmock/gmock.h>

#include <algorithm>

#include <arpa/inet.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace tsl::platform;
using testing::ElementsAre;

namespace
{

std::vector<Adapter> adaptersOf(int family = 0)
{
   std::vector<Adapter> adapters;
   EXPECT_TRUE(readAdapters(family, adapters));
   return adapters;
}

Adapter adapterNamed(std::string const & name)
{
   for (Adapter & adapter : adaptersOf())
   {
      if (adapter.name == name)
         return adapter;
   }
   ADD_FAILURE() << "no adapter " << name;
   return Adapter();
}

/// "10.1.0.1/24", "fe80::1/64%2" with the scope, and " transient" behind it.
std::vector<std::string> addressTexts(Adapter const & adapter)
{
   std::vector<std::string> texts;
   for (std::size_t i = 0; i < adapter.unicast.size(); ++i)
   {
      AdapterAddress const & address = adapter.unicast[i];
      EXPECT_EQ(adapter.prefixes.at(i).family, address.family);
      char text[64] = "";
      inet_ntop(address.family == 4 ? AF_INET : AF_INET6, address.bytes.data(), text, sizeof text);
      texts.push_back(text + ("/" + std::to_string(adapter.prefixes.at(i).length)) +
                      (address.scopeId == 0 ? "" : "%" + std::to_string(address.scopeId)) +
                      (address.isTransient ? " transient" : ""));
   }
   return texts;
}

TEST(Adapters, AreTheOnesOfTheThreadsNetworkWithLoopbackLast)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   network.ip("link add b0 type veth peer name a0\n"
              "link set b0 address 02:00:00:00:00:07 mtu 1400 multicast off addrgenmode none up\n"
              "link set a0 addrgenmode none\n"
              "link set a0 up\n"
              "addr add 10.1.0.1/24 dev b0\n"
              "addr add 10.1.9.1/32 dev b0 label b0:7\n"
              "addr add 10.2.0.1 peer 10.3.0.1/30 dev b0\n"
              "addr add fd00::1/64 dev b0 nodad\n"
              "addr add fe80::1/64 dev b0 nodad\n"
              "addr add fd00::1 peer fd00::2/128 dev a0 nodad\n"
              "link add down0 type veth peer name far0\n"
              "link set far0 addrgenmode none\n"
              "link set far0 up\n"
              "addr add fd01::1/64 dev far0");
   NetworkNamespace::Inside const inside(network);
   std::vector<std::string> names;
   for (Adapter const & adapter : adaptersOf())
      names.push_back(adapter.name);
   EXPECT_THAT(names, ElementsAre("a0", "b0", "far0", "down0", "lo"));

   Adapter const ethernet = adapterNamed("b0");
   EXPECT_THAT(addressTexts(ethernet), ElementsAre("10.1.0.1/24", "10.1.9.1/32", "10.2.0.1/30", "fd00::1/64",
                                                   "fe80::1/64%" + std::to_string(ethernet.index)));
   EXPECT_THAT(ethernet.physicalAddress, ElementsAre(2, 0, 0, 0, 0, 7));
   EXPECT_EQ(ethernet.mtu, 1400u);
   EXPECT_EQ(ethernet.type, adapterEthernet);
   EXPECT_EQ(ethernet.ipv6Index, ethernet.index);
   EXPECT_TRUE(ethernet.noMulticast);
   EXPECT_EQ(ethernet.status, AdapterStatus::up);
   EXPECT_THAT(addressTexts(adapterNamed("a0")), ElementsAre("fd00::1/128"));

   Adapter const loopback = adapterNamed("lo");
   EXPECT_EQ(loopback.type, adapterLoopback);
   EXPECT_EQ(loopback.status, AdapterStatus::up);
   EXPECT_FALSE(loopback.noMulticast);
   EXPECT_TRUE(loopback.physicalAddress.empty());

   // Without a carrier an address stays tentative.
   EXPECT_THAT(addressTexts(adapterNamed("far0")), ElementsAre("fd01::1/64 transient"));
   EXPECT_EQ(adapterNamed("far0").status, AdapterStatus::lowerLayerDown);
   EXPECT_EQ(adapterNamed("down0").status, AdapterStatus::down);
}

TEST(Adapters, TellsAddressesOfTheWantedFamilyAndAllIpv4Masks)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   network.ip("addr add 10.1.0.1/9 dev lo\naddr add 10.2.0.1/0 dev lo");
   NetworkNamespace::Inside const inside(network);
   EXPECT_THAT(addressTexts(adaptersOf(4).at(0)), ElementsAre("127.0.0.1/8", "10.1.0.1/9", "10.2.0.1/0"));
   EXPECT_THAT(addressTexts(adaptersOf(6).at(0)), ElementsAre("::1/128"));
   std::vector<Ipv4Entry> entries;
   ASSERT_TRUE(readIpv4Entries(entries));
   ASSERT_EQ(entries.size(), 3u);
   EXPECT_EQ(entries[1].address, 0x0A010001u);
   EXPECT_EQ(entries[1].mask, 0xFF800000u);
   EXPECT_EQ(entries[2].mask, 0u);
}

TEST(Adapters, AreCompletedOnceWithTheirOwnGroups)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   NetworkNamespace::connect(network, "eth0", network, "eth1");
   network.addAddress("eth0", "10.1.0.1/24");
   NetworkNamespace::Inside const inside(network);
   int const member = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   ip_mreqn const group = {{inet_addr("239.1.2.3")}, {}, static_cast<int>(adapterNamed("eth0").index)};
   EXPECT_EQ(setsockopt(member, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group), 0);
   Adapter adapter = adapterNamed("eth0");
   EXPECT_TRUE(adapter.multicast.empty());
   completeAdapters({&adapter});
   completeAdapters({&adapter});
   std::vector<std::string> groups;
   for (AdapterAddress const & address : adapter.multicast)
   {
      char text[64] = "";
      inet_ntop(address.family == 4 ? AF_INET : AF_INET6, address.bytes.data(), text, sizeof text);
      groups.push_back(text);
   }
   EXPECT_THAT(groups, testing::UnorderedElementsAre("224.0.0.1", "239.1.2.3", "ff02::1", "ff01::1"));
   EXPECT_EQ(adapter.multicast.back().scopeId, adapter.index);
   EXPECT_EQ(adapter.type, adapterEthernet);
   close(member);
}

TEST(Adapters, ThatCannotBeReadLeaveTheListAsItWas)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace().inChild(
      []
      {
         rlimit const none = {0, 0};
         setrlimit(RLIMIT_NOFILE, &none);
         std::vector<Adapter> adapters(3);
         std::vector<Ipv4Entry> entries(3);
         EXPECT_FALSE(readAdapters(0, adapters));
         EXPECT_FALSE(readIpv4Entries(entries));
         EXPECT_EQ(adapters.size() + entries.size(), 6u);
      });
}

} // namespace
