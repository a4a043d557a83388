// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetEndpoint.h"
// The library keeps these functions to itself: the test builds its own.
#include "tslutil/inet/endpointAccess.cpp"

#include "inet/steps.h"
#include "support/allocations.h"
#include "support/hostTable.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>

#include <netinet/in.h>
#include <sstream>
#include <utility>
#include <vector>

using namespace DtInetUtils;
using boost::asio::ip::tcp;
using boost::asio::ip::udp;

namespace
{

template<class BoostEndpoint>
std::string boostText(char const * kind, void * endpoint)
{
   std::ostringstream text;
   if (endpoint != nullptr)
      text << kind << *static_cast<BoostEndpoint *>(endpoint);
   return text.str();
}

/// Text, netmask and prefix of the address, the endpoints of Boost, and what failed.
std::string describe(DtInetEndpoint & endpoint)
{
   char mask[32];
   std::snprintf(mask, sizeof mask, " %08lx/%d", endpoint.address().netmask(),
                 static_cast<int>(endpoint.address().prefix()));
   std::string const text = endpoint.toDtString(true).stdString() + mask;
   DtInetEndpoint copy(endpoint);
   EXPECT_EQ(copy.isOk(), endpoint.isOk());
   return text + boostText<tcp::endpoint>(" tcp ", copy.tcpEndpoint()) +
          boostText<udp::endpoint>(" udp ", copy.udpEndpoint()) +
          (copy.isOk() ? "" : ", " + copy.getLastErrorString().stdString());
}

/// Endpoints by name, and what becomes of them.
struct EndpointWorld : World
{
   EndpointWorld();

   /// Adds a verb that does something to an endpoint, and describes it.
   void on(std::string const & verb, std::function<void(DtInetEndpoint &, Fields const &)> const & call)
   {
      verbs[verb] = [=](Fields const & row)
      {
         call(endpoints[row[1]], row);
         return describe(endpoints[row[1]]);
      };
   }

   std::map<std::string, DtInetEndpoint> endpoints;
   HostTable hosts;
};

// clang-format off
EndpointWorld::EndpointWorld()
{
   always("host", [this](auto & row) { hosts.addresses[row[1]].push_back(row[2]); });
   verbs["queries"] = [this](auto &) { return testing::PrintToString(std::exchange(hosts.queries, {})); };
   on("none", [](auto & endpoint, auto &) { endpoint = DtInetEndpoint(); });
   verbs["text"] = [this](auto & row) {
      DtString text(row[2]);
      DtInetAddrFamily const family = row[4].empty() ? DtInetFamilyUnspecified : DtInetAddrFamily(std::stoi(row[4]));
      endpoints.erase(row[1]);
      endpoints.emplace(row[1], DtInetEndpoint(text, 3000, endpointOf("::1 1 " + row[3]).protocol(), family));
      return describe(endpoints[row[1]]);
   };
   on("look up", [](auto & endpoint, auto & row) {
      DtString text(row[2]);
      endpoint.hostLookup(text, 9, DtInetFamilyUnspecified);
   });
   on("assign", [this](auto & endpoint, auto & row) { endpoint = row[2].size() == 1 ? endpoints[row[2]] : endpointOf(row[2]); });
   on("address", [](auto & endpoint, auto & row) { endpoint.setAddress(DtInetAddr(row[2].c_str())); });
   on("port", [](auto & endpoint, auto & row) { endpoint.setPort(static_cast<unsigned short>(std::stoi(row[2]))); });
   on("protocol", [](auto & endpoint, auto & row) { endpoint.setProtocol(endpointOf("::1 1 " + row[2]).protocol()); });
   on("set", [](auto & endpoint, auto & row) {
      DtInetEndpoint const wanted = endpointOf(row[2]);
      endpoint.setEndpoint(wanted.protocol(), wanted.address(), wanted.port());
   });
   verbs["plain text"] = [this](auto & row) { return endpoints[row[1]].toDtString().stdString(); };
   verbs["error"] = [this](auto & row) {
      std::string const error = endpoints[row[1]].getLastErrorString().stdString();
      return error + (endpoints[row[1]].isOk() ? ", read" : ", still there");
   };
   verbs["compare"] = [this](auto & row) { return relation(endpoints[row[1]], endpoints[row[2]]); };
   verbs["ascend"] = [](auto & row) {
      std::vector<DtInetEndpoint> all;
      for (std::size_t i = 1; i < row.size() && !row[i].empty(); ++i)
         all.push_back(endpointOf(row[i]));
      return ascends(all);
   };
   verbs["system name"] = [this](auto & row) {
      sockaddr_in6 ipv6 = {};
      sockaddr_in ipv4 = {};
      DtInetEndpoint & endpoint = endpoints[row[1]];
      std::string const results = std::to_string(endpoint.toSockaddr(&ipv4)) + " " + std::to_string(endpoint.toSockaddr(&ipv6));
      return results + ", ports " + std::to_string(ntohs(ipv4.sin_port)) + " " + std::to_string(ntohs(ipv6.sin6_port)) + ", scope " + std::to_string(ipv6.sin6_scope_id);
   };
}
// clang-format on

TEST(DtInetEndpoint, BecomesWhatTheTableSays)
{
   runSteps<EndpointWorld>("inet/endpoints.tsv");
}

TEST(DtInetEndpoint, OfALocalDeviceBecomesWhatTheTableSays)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   runSteps<EndpointWorld>("inet/deviceEndpoints.tsv");
}

// The fast paths to an endpoint.

/// The name of an address and port as the system gives it with a datagram.
sockaddr_storage nameOf(char const * address, unsigned short port)
{
   sockaddr_storage name = {};
   DtInetAddr(address).toAddrStorage(&name);
   std::uint16_t const networkPort = tsl::networkPort(port);
   std::memcpy(reinterpret_cast<char *>(&name) + offsetof(sockaddr_in, sin_port), &networkPort,
               sizeof networkPort);
   return name;
}

void setSender(DtInetEndpoint & from, sockaddr_storage const & name,
               std::size_t size = sizeof(sockaddr_storage))
{
   tsl::EndpointAccess::setSender(from, reinterpret_cast<sockaddr const *>(&name), size);
}

/// Sets a sender that has to become what setEndpoint() makes of it.
void expectSender(DtInetEndpoint & from, char const * address, unsigned short port)
{
   setSender(from, nameOf(address, port));
   DtInetEndpoint expected;
   expected.setEndpoint(DtInetProtoUdp, DtInetAddr(address), port);
   EXPECT_STREQ(from.toDtString(true), expected.toDtString(true));
   std::size_t size = 0;
   EXPECT_TRUE(from == expected && from.port() == port &&
               from.address().netmask() == expected.address().netmask() &&
               from.address().scope() == expected.address().scope() &&
               from.address().isAnyAddr() == expected.address().isAnyAddr() &&
               tsl::EndpointAccess::systemName(from, DtInetProtoTcp, size) == nullptr)
      << address;
}

// The same bytes mean the same sender only while nothing else has changed the endpoint.
TEST(EndpointAccess, ASenderIsWhatSetEndpointMakesOfIt)
{
   DtInetEndpoint const tcp(DtInetAddr("10.9.9.9"), 9, DtInetProtoTcp);
   DtInetEndpoint const masked(DtInetAddr("10.0.0.1", "255.255.255.0"), 3000, DtInetProtoUdp);
   DtInetEndpoint const none(DtInetAddr("10.9.9.9"), 9);
   DtInetEndpoint sender, copy;
   for (char const * address :
        {"10.0.0.1", "10.0.0.2", "fe80::1%3", "fe80::1%4", "::%4", "::", "0.0.0.0", "10.0.0.1"})
   {
      expectSender(sender, address, 3000);
      copy = sender;
      EXPECT_STREQ(copy.toDtString(true), sender.toDtString(true));
   }
   DtInetEndpoint from(tcp);
   for (DtInetEndpoint const & other : {sender, tcp, masked, none, sender})
   {
      from = other;
      expectSender(from, "10.0.0.1", 3000);
   }
   from.setAddress(masked.address());
   expectSender(from, "10.0.0.1", 3000);
   expectSender(from, "10.0.0.1", 3001);
   // Whoever asks for the Boost endpoint may receive into it.
   sockaddr_storage const next = nameOf("10.0.0.2", 3000);
   std::memcpy(from.udpEndpoint(), &next, sizeof(sockaddr_in));
   expectSender(from, "10.0.0.2", 3000);
   setSender(from, nameOf("fe80::1", 7), sizeof(sockaddr_in));
   EXPECT_STREQ(from.toDtString(true), "0.0.0.0:any(UDP)");
}

TEST(EndpointAccess, NothingOnTheFastPathsTakesMemory)
{
   sockaddr_storage const name = nameOf("10.0.0.1", 3000), other = nameOf("fe80::1%3", 3000);
   DtInetEndpoint const source(DtInetAddr("2001:db8::1"), 3000, DtInetProtoUdp);
   DtInetEndpoint from;
   source.toDtString();
   std::size_t const before = allocationsOfThisThread();
   for (auto const & sender : {&other, &name, &name})
      setSender(from, *sender);
   DtInetEndpoint copy(source);
   from = copy;
   from.setPort(7);
   from.setAddress(DtInetAddr(0x0A000001, 0xFF000000));
   EXPECT_TRUE(copy == source && from < source);
   EXPECT_EQ(allocationsOfThisThread(), before);
}

} // namespace
