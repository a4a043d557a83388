// SPDX-License-Identifier: MIT
#include "tslutil/platform/adapters.h"

#include "support/networkNamespace.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>

using namespace tsl::platform;

namespace
{

/// The adapter on one line: name, status, "loopback" and "no groups" if so, and its addresses, each with its
/// prefix, "%" behind those of a scope and "?" behind transient ones.
std::string line(Adapter const & adapter)
{
   std::string text = adapter.name + " " + std::to_string(static_cast<int>(adapter.status)) +
                      (adapter.type == adapterLoopback ? " loopback" : "") +
                      (adapter.noMulticast ? " no groups" : "");
   for (std::size_t i = 0; i < adapter.unicast.size(); ++i)
   {
      AdapterAddress const & address = adapter.unicast[i];
      EXPECT_EQ(adapter.prefixes.at(i).family, address.family);
      EXPECT_EQ(address.scopeId & ~adapter.index, 0u);
      char literal[64] = "";
      inet_ntop(address.family == 4 ? AF_INET : AF_INET6, address.bytes.data(), literal, sizeof literal);
      text += std::string(" ") + literal + "/" + std::to_string(adapter.prefixes.at(i).length) +
              (address.scopeId == 0 ? "" : "%") + (address.isTransient ? "?" : "");
   }
   return text;
}

TEST(Adapters, AreThoseOfTheThreadsNetworkWithLoopbackLast)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace network;
   // far0 has no carrier, as its peer is down: an address there stays tentative.
   network.ip("link add down0 type veth peer name far0\n"
              "link set far0 addrgenmode none up\n"
              "addr add fd01::1/64 dev far0\n"
              "link add b0 type veth peer name a0\n"
              "link set b0 multicast off addrgenmode none up\n"
              "link set a0 addrgenmode none up\n"
              "addr add 10.1.0.1/24 dev b0\n"
              "addr add 10.1.9.1/32 dev b0 label b0:7\n"
              "addr add 10.2.0.1 peer 10.3.0.1/30 dev b0\n"
              "addr add fd00::1/64 dev b0 nodad\n"
              "addr add fe80::1/64 dev b0 nodad\n"
              "addr add fd00::1 peer fd00::2/128 dev a0 nodad");
   network.awaitRunning("a0");
   network.awaitRunning("b0");
   NetworkNamespace::Inside const inside(network);
   std::vector<Adapter> adapters(9);
   ASSERT_TRUE(readAdapters(0, adapters));
   std::string text;
   for (Adapter const & adapter : adapters)
      text += line(adapter) + "\n";
   EXPECT_EQ(text, "far0 6 fd01::1/64?\n"
                   "down0 1\n"
                   "a0 0 fd00::1/128\n"
                   "b0 0 no groups 10.1.0.1/24 10.1.9.1/32 10.2.0.1/30 fd00::1/64 fe80::1/64%\n"
                   "lo 0 loopback 127.0.0.1/8 ::1/128\n");
   ASSERT_TRUE(readAdapters(6, adapters));
   EXPECT_EQ(line(adapters.at(3)), "b0 0 no groups fd00::1/64 fe80::1/64%");
}

} // namespace
