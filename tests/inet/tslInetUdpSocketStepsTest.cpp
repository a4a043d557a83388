// SPDX-License-Identifier: MIT
// What UDP sockets tell, call by call: results, states, counters, bytes, callbacks and errors, as tables have
// it.
#include "inet/socketKit.h"
#include "inet/steps.h"

#include <boost/asio/ip/multicast.hpp>
#include <boost/asio/ip/udp.hpp>

#include <array>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace
{

using namespace socketKit;

unsigned long numberOf(std::string const & text, unsigned long otherwise = 0)
{
   return text.empty() ? otherwise : std::stoul(text, nullptr, 0);
}

/// The pieces of "he|llo", of "70*ab", which is 70 times "ab", or of "70=a", which is one of 70 letters.
std::vector<std::string> piecesOf(std::string const & text)
{
   std::size_t const sign = text.find_first_of("*=");
   if (sign != std::string::npos && text[sign] == '*')
      return std::vector<std::string>(std::stoul(text), text.substr(sign + 1));
   if (sign != std::string::npos)
      return {std::string(std::stoul(text), text.back())};
   std::vector<std::string> pieces;
   std::istringstream all(text);
   for (std::string piece; std::getline(all, piece, '|');)
      pieces.push_back(piece);
   return pieces;
}

// The callbacks around chains.

/// What a callback answers, and the status that one of a receive leaves, if not 0.
struct Script
{
   int result, setsStatus;
};

std::vector<Script> theScripts[4];
std::string theSeen;
int theData[3];
/// What is given to calls that name the other end.
DtInetEndpoint theEnd;
bool isEndNamed;

/// The callback of a type that was added at a place notes what it was given, and "!" if it knows the sender.
/// Those of receives get a status in place of their data.
template<int type, int place>
int follow(DtInetSocket *, int size, DtInetSockChain &, DtInetEndpoint & endpoint, void * arg)
{
   constexpr bool isReceive = type < DtInetSockPreSend;
   Script const & script = theScripts[type][place];
   int & status = *static_cast<int *>(arg);
   EXPECT_TRUE((arg == &theData[place]) != isReceive && (&endpoint == &theEnd) == isEndNamed);
   theSeen += " " + std::to_string(size) + (isReceive ? "/" + std::to_string(status) : "") +
              (isReceive && endpoint.port() != 0 ? "!" : "");
   status = isReceive && script.setsStatus != 0 ? script.setsStatus : status;
   return script.result;
}

template<int type>
constexpr std::array<DtInetSocketProcessingCb, 3> theCallbacksOf{follow<type, 0>, follow<type, 1>,
                                                                 follow<type, 2>};

/// Adds a callback of a type for each of the scripts "7/-5|2".
int addCallbacks(OpenUdpSocket & socket, std::size_t type, std::string const & scripts)
{
   std::array<DtInetSocketProcessingCb, 3> const all[] = {theCallbacksOf<0>, theCallbacksOf<1>,
                                                          theCallbacksOf<2>, theCallbacksOf<3>};
   theScripts[type].clear();
   for (std::string const & script : piecesOf(scripts))
   {
      std::size_t const slash = script.find('/'), place = theScripts[type].size();
      theScripts[type].push_back(
         {std::stoi(script), slash == std::string::npos ? 0 : std::stoi(script.substr(slash + 1))});
      socket.addProcessingCallback(DtInetSockProcessingType(type), all[type][place], &theData[place], -1);
   }
   return 1;
}

/// UDP sockets and their peers by name, on the machine's loopback or in a network of their own. A name in
/// braces stands for the port of whom it names.
struct UdpWorld : World
{
   UdpWorld();
   ~UdpWorld() { DtInetUtils::setMaxPacketBufferSize(65504); }

   /// Adds a verb that does something to a socket: it tells what this gives, and what has changed.
   void on(std::string const & verb, std::function<int(OpenUdpSocket &, Fields const &)> const & call)
   {
      verbs[verb] = [this, call](Fields const & row)
      {
         OpenUdpSocket & socket = *sockets.at(row[1]);
         unsigned const descriptor = socket.descriptor();
         changes.clear();
         socket.clearStats();
         std::string const text = told(call(socket, row), socket);
         EXPECT_EQ(socket.isOk(), socket.state() == DtInetSockOpen || socket.state() == DtInetSockConnected);
         EXPECT_TRUE(socket.descriptor() == descriptor || descriptor == ~0u || socket.descriptor() == ~0u);
         names[row[1]] = std::to_string(socket.localPort());
         Counters const counters(socket);
         return text + counted(", sent ", counters.sent) + counted(", got ", counters.received) + changes;
      };
   }

   static std::string counted(char const * what, Count const & count)
   {
      auto const bytes = static_cast<std::int64_t>(count.second);
      return count == Count() ? "" : what + std::to_string(count.first) + "/" + std::to_string(bytes);
   }

   typedef std::function<int(OpenUdpSocket &, Chain &, std::string &, unsigned long)> Transfer;

   /// Adds a verb that sends or receives: on a socket the bytes, the other end, and the flags of the call.
   void transfers(std::string const & verb, bool namesTheEnd, Transfer const & transfer)
   {
      on(verb,
         [=](OpenUdpSocket & socket, Fields const & row)
         {
            Chain chain(piecesOf(row[2]));
            std::string const before = chain.text();
            std::string flat = before;
            theEnd = row[3].empty() ? DtInetEndpoint() : endpointOf(row[3]);
            isEndNamed = namesTheEnd;
            DtInetEndpoint const end(theEnd);
            theSeen.clear();
            int const answer = transfer(socket, chain, flat, numberOf(row[4]));
            std::string const & after = flat == before ? chain.text() : flat;
            bool const shows = socket.totalPacketsReceived() != 0 && after != before && after.size() <= 20;
            changes += shows ? " '" + after + "'" : "";
            changes += theEnd.toDtString(true) == end.toDtString(true)
                          ? ""
                          : ", end " + theEnd.toDtString(true).stdString();
            changes += theSeen.empty() ? "" : ", seen" + theSeen;
            return answer;
         });
   }

   /// A device of a name, none if the name is empty, until the next one is made.
   DtInetDevice * device(std::string const & name)
   {
      theDevice.reset(name.empty() ? nullptr : new DtInetDevice(DtString(name)));
      return theDevice.get();
   }

   std::unique_ptr<DtInetDevice> theDevice;
   std::map<std::string, std::unique_ptr<OpenUdpSocket>> sockets;
   std::map<std::string, std::unique_ptr<LoopbackPeer>> peers;
   std::string changes;
};

unsigned short portOf(std::string const & text)
{
   return static_cast<unsigned short>(numberOf(text));
}

// clang-format off
UdpWorld::UdpWorld()
{
   always("port range", [](auto & row) { std::ofstream("/proc/sys/net/ipv4/ip_local_port_range") << row[1] << std::flush; });
   always("unused", [this](auto & row) { names[row[1]] = std::to_string(unusedPort()); });
   always("buffers", [](auto & row) { DtInetUtils::setMaxPacketBufferSize(int(numberOf(row[1]))); });
   always("peer", [this](auto & row) {
      peers[row[1]] = std::make_unique<LoopbackPeer>(row[2], portOf(row[3]));
      names[row[1]] = std::to_string(peers[row[1]]->port());
   });
   always("in group", [this](auto & row) { peers.at(row[1])->join(row[2], "lo"); });
   always("deliver", [this](auto & row) { peers.at(row[1])->send(Chain(piecesOf(row[2])).text(), row[3], portOf(row[4])); });
   verbs["hear"] = [this](auto & row) {
      std::string const heard = peers.at(row[1])->receive(row[2] == "at once" ? 0.0 : 5.0).value_or("nothing");
      return heard.size() > 20 ? std::to_string(heard.size()) + " bytes" : heard;
   };
   on("state", [](auto & socket, auto &) { return socket.isOk(); });
   verbs["bare"] = [this](auto & row) { return sockets[row[1]] = std::make_unique<OpenUdpSocket>(), verbs["state"](row); };
   verbs["udp"] = [this](auto & row) {
      sockets[row[1]] = std::make_unique<OpenUdpSocket>(endpointOf(row[2]), portOf(row[3]), device(row[4]), numberOf(row[5], 0xC83), row[6] != "unopened");
      return verbs["state"](row);
   };
   verbs["local"] = [this](auto & row) { return sockets.at(row[1])->localEndpoint().toDtString(true).stdString(); };
   verbs["destination"] = [this](auto & row) { return sockets.at(row[1])->destination().toDtString(true).stdString(); };
   always("end", [this](auto & row) { sockets.erase(row[1]); });
   on("set", [this](auto & socket, auto & row) { return socket.setSocket(endpointOf(row[2]), portOf(row[3]), device(row[4]), numberOf(row[5], 0xC83)); });
   on("flags", [](auto & socket, auto &) { return int(socket.flags()); });
   on("non-blocking", [](auto & socket, auto &) { return socket.isNonBlocking(); });
   on("open", [](auto & socket, auto &) { return socket.openSocket(); });
   on("close", [](auto & socket, auto &) { return socket.closeSocket(); });
   on("connect", [](auto & socket, auto &) { return socket.connectToDestination(); });
   on("disconnect", [](auto & socket, auto &) { return socket.disconnect(); });
   on("direct", [](auto & socket, auto & row) { return socket.setDestination(endpointOf(row[2])); });
   on("clear", [](auto & socket, auto &) { return socket.clearError(), 1; });
   on("break", [](auto & socket, auto &) { return close(int(socket.descriptor())) == 0; });
   on("local tcp", [](auto & socket, auto &) { return socket.myLocalEndpoint.setProtocol(DtInetProtoTcp), 1; });
   on("remote tcp", [](auto & socket, auto &) { return socket.myDestination.setProtocol(DtInetProtoTcp), 1; });
   on("lose", [](auto & socket, auto & row) {
      DtString nowhere(row[2]);
      return socket.myDestination.hostLookup(nowhere, 9, DtInetUtils::DtInetFamilyIpv4), 1;
   });
   on("callbacks", [](auto & socket, auto & row) { return addCallbacks(socket, numberOf(row[2]), row[3]); });
   on("reuse", [](auto & socket, auto &) { return socket.getReuseAddressOption(); });
   on("available", [](auto & socket, auto &) { return int(socket.getBytesAvailable()); });
   on("low water", [](auto & socket, auto & row) { return socket.setSendLowWatermark(numberOf(row[2])); });
   on("ttl", [](auto & socket, auto & row) { return socket.setMcastTtlOption(numberOf(row[2])); });
   on("hops", [](auto & socket, auto &) {
      boost::asio::ip::multicast::hops ttl;
      static_cast<boost::asio::ip::udp::socket *>(socket.udpSocket())->get_option(ttl);
      return ttl.value();
   });
   on("groups by address", [](auto & socket, auto & row) { return socket.setMcastDevice(DtInetAddr(row[2].c_str())); });
   on("groups by device", [this](auto & socket, auto & row) { return socket.setMcastDevice(device(row[2])); });
   auto const groupOf = [](Fields const & row) {
      DtInetAddr group(row[2].c_str());
      if (!row[4].empty())
         group.setScope(DtInetIpv6Scope(numberOf(row[4])));
      return DtInetEndpoint(group, 1, DtInetProtoUdp);
   };
   on("join", [=](auto & socket, auto & row) { return socket.joinMulticastGroup(groupOf(row), device(row[3])); });
   on("drop", [=](auto & socket, auto & row) { return socket.dropMulticastGroup(groupOf(row), device(row[3])); });
   transfers("send", false, [](auto & socket, auto &, auto & flat, auto flags) { return socket.send(flat.data(), flat.size(), flags); });
   transfers("sendTo", true, [](auto & socket, auto &, auto & flat, auto flags) { return socket.sendTo(flat.data(), flat.size(), theEnd, flags); });
   transfers("sendChain", false, [](auto & socket, auto & chain, auto &, auto flags) { return socket.sendChain(chain.chain, flags); });
   transfers("sendChainTo", true, [](auto & socket, auto & chain, auto &, auto flags) { return socket.sendChainTo(chain.chain, theEnd, flags); });
   transfers("recv", false, [](auto & socket, auto &, auto & flat, auto flags) { return socket.recv(flat.data(), flat.size(), flags); });
   transfers("recvFrom", true, [](auto & socket, auto &, auto & flat, auto flags) { return socket.recvFrom(flat.data(), flat.size(), theEnd, flags); });
   transfers("recvToChain", false, [](auto & socket, auto & chain, auto &, auto flags) { return socket.recvToChain(chain.chain, flags); });
   transfers("recvToChainFrom", true, [](auto & socket, auto & chain, auto &, auto flags) { return socket.recvToChainFrom(chain.chain, theEnd, flags); });
}
// clang-format on

TEST(DtInetUdpSocketSteps, OnLoopbackTellWhatTheTableSays)
{
   runSteps<UdpWorld>("inet/udpLoopback.tsv");
}

TEST(DtInetUdpSocketSteps, InANetworkTellWhatTheTableSays)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   runSteps<UdpWorld>("inet/udpNetworks.tsv");
}

} // namespace
