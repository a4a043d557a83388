// SPDX-License-Identifier: MIT
// What DIS sockets tell, call by call, as tables have it. The class itself goes shorter ways than one that is
// derived from it; both have to tell the same.
#include "tslutil/inet/tslInetDevice.h"

#include "disKit.h"
#include "inet/steps.h"
#include "support/hostTable.h"
#include "support/networkNamespace.h"

#include <boost/asio/ip/udp.hpp>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

unsigned long numberOf(std::string const & text, unsigned long otherwise = 0)
{
   return text.empty() ? otherwise : std::stoul(text, nullptr, 0);
}

/// "127.0.0.1 9": an address and a port.
DtInetEndpoint placeOf(std::string const & text)
{
   std::size_t const blank = text.find(' ');
   return udpEndpoint(text.substr(0, blank).c_str(),
                      static_cast<unsigned short>(numberOf(text.substr(blank))));
}

/// The bytes of a datagram in the words of piecesOf(), with "200*0" for 200 zeros and "3*115" for "sss".
std::string shapeOf(std::string bytes)
{
   std::string shape;
   while (!bytes.empty())
   {
      auto const byte = [&](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
      std::size_t const size = bytes.size() < 12 ? 0 : byte(8) * 256u + byte(9);
      std::string const whole = pdu(size, byte(0));
      auto const end = std::mismatch(whole.begin(), whole.end(), bytes.begin(), bytes.end()).first;
      auto used = static_cast<std::size_t>(end - whole.begin());
      shape += shape.empty() ? "" : " ";
      if (used >= 12)
         shape += std::to_string(byte(0)) + "." + std::to_string(size) +
                  (used < size ? ":" + std::to_string(used) : "");
      else
      {
         used = std::min(bytes.find_first_not_of(bytes[0]), bytes.size());
         shape += std::to_string(used) + "*" + std::to_string(byte(0));
      }
      bytes.erase(0, used);
   }
   return shape;
}

/// The class itself, with what it keeps protected in reach.
struct Opened : DtDisSocket
{
   using DtDisSocket::DtDisSocket, DtDisSocket::disSendSocket, DtInetSocket::myDestination,
      DtDisSocket::unbundle;
};

int senderOf(DtDisSocket & dis)
{
   void * const socket = (dis.*&Opened::disSendSocket)();
   return socket == nullptr ? -1 : static_cast<boost::asio::ip::udp::socket *>(socket)->native_handle();
}

std::map<std::string, DtInetSocketProcessingCb> const theCallbacks = {
   {"refuse", [](auto *, int, auto &, auto &, void *) { return -1; }},
   {"scribble", [](auto *, int count, auto & chain, auto &, void *)
    { return std::fill(chain[0]->begin(), chain[0]->end(), 's'), count; }},
   {"grow", [](auto *, int count, auto & chain, auto &, void *)
    { return chain[0]->resize(2 * chain[0]->size(), 's'), count; }},
   {"pass", [](auto *, int count, auto &, auto &, void *) { return count; }},
   {"unbundle", &Opened::unbundle},
   {"send more once", [](auto * socket, int, auto &, auto & to, void * isAsked)
    {
       if (std::exchange(*static_cast<bool *>(isAsked), false))
       {
          sendFlat(*socket, pdu(20, 7), to);
          static_cast<DtDisSocket *>(socket)->flush();
       }
       return 0;
    }}};

/// DIS sockets and their peers by name, on the machine's loopback or on two hosts. A name in braces stands
/// for the port of whom it names, and with "-out" for that of its send socket.
struct DisWorld : World
{
   DisWorld();

   typedef std::unique_ptr<DtDisSocket> Made;
   virtual Made make(DtInetEndpoint to, unsigned short port, DtInetDevice * device, unsigned long flags,
                     bool isOpened, bool suppresses) = 0;

   /// Adds a verb that does something to a socket: it tells what this gives, what was noted meanwhile, and
   /// what is wrong if anything is: the error, the state and the text.
   void on(std::string const & verb, std::function<int(DtDisSocket &, Fields const &)> const & call)
   {
      verbs[verb] = [this, call](Fields const & row)
      {
         DtDisSocket & dis = *sockets.at(row[1]);
         noted.clear();
         std::string const text = std::to_string(call(dis, row)) + noted;
         names[row[1]] = std::to_string(dis.localPort());
         names[row[1] + "-out"] = std::to_string(dis.localSenderEndpoint().port());
         if (dis.state() == DtInetSockOpen && dis.getLastError() == 0)
            return text;
         std::string const error = dis.getLastErrorString().stdString();
         return text + ", " + states.at(dis.state()) + " " + std::to_string(dis.getLastError()) +
                (error.empty() ? "" : " " + error);
      };
   }

   /// Notes an option of the send socket, if that has it.
   void note(DtDisSocket & dis, int level, int name)
   {
      int value = 0;
      socklen_t size = sizeof value;
      if (getsockopt(senderOf(dis), level, name, &value, &size) == 0)
         noted = ", sends with " + std::to_string(value);
   }

   /// Adds a verb that sets an option.
   template<class Argument>
   void sets(std::string const & verb, bool (DtDisSocket::*set)(Argument), int level, int name)
   {
      on(verb,
         [=](DtDisSocket & dis, Fields const & row)
         {
            bool const answer = (dis.*set)(static_cast<Argument>(numberOf(row[2])));
            note(dis, level, name);
            return answer;
         });
   }

   std::map<int, std::string> const states = {
      {DtInetSockError, "error"}, {DtInetSockOpen, "open"}, {DtInetSockClosed, "closed"}, {1, "created"}};
   std::map<std::string, Made> sockets;
   std::map<std::string, LoopbackPeer> peers;
   std::unique_ptr<DtInetDevice> theDevice;
   HostTable nobodyKnown;
   std::string noted;
   bool isAsked = false;
};

// clang-format off
DisWorld::DisWorld()
{
   auto const device = [this](std::string const & name) {
      theDevice.reset(name.empty() ? nullptr : new DtInetDevice(DtString(name)));
      return theDevice.get();
   };
   always("far own", [this](auto & row) { far->addAddress(row[1], row[2]); });
   always("at far", [this](auto &) { inside.reset(), inside.emplace(*far); });
   always("at home", [this](auto &) { inside.reset(), inside.emplace(*network); });
   always("unused", [this](auto & row) { names[row[1]] = std::to_string(unusedPort()); });
   always("peer", [this](auto & row) { names[row[1]] = std::to_string(peers[row[1]].port()); });
   always("deliver", [this](auto & row) { peers[row[1]].send(datagramOf(row[2]), "127.0.0.1", static_cast<unsigned short>(numberOf(row[3]))); });
   verbs["hear"] = [this](auto & row) {
      auto const heard = peers[row[1]].receive(row[2] == "at once" ? 0 : 5);
      return heard ? shapeOf(*heard) : "nothing";
   };
   on("state", [](auto & dis, auto &) { return dis.isOk(); });
   verbs["dis"] = [=](auto & row) {
      bool const isOpened = row[6].find("unopened") == row[6].npos, suppresses = row[6].find("suppressing") != row[6].npos;
      sockets[row[1]].reset();
      sockets[row[1]] = make(placeOf(row[2]), static_cast<unsigned short>(numberOf(row[3])), device(row[4]), numberOf(row[5], theNonBlockingFlags), isOpened, suppresses);
      return verbs["state"](row);
   };
   on("open", [](auto & dis, auto &) { return dis.openSocket(); });
   on("open among few", [](auto & dis, auto &) {
      // Two descriptors for the receiving side, and none left for the send socket.
      rlimit before{};
      getrlimit(RLIMIT_NOFILE, &before);
      int const next = dup(0);
      close(next);
      rlimit const few{static_cast<rlim_t>(next) + 2, before.rlim_max};
      setrlimit(RLIMIT_NOFILE, &few);
      bool const isOpen = dis.openSocket();
      setrlimit(RLIMIT_NOFILE, &before);
      return isOpen;
   });
   on("close", [](auto & dis, auto &) { return dis.closeSocket(); });
   on("clear", [](auto & dis, auto &) { return dis.clearError(), 1; });
   on("break", [](auto & dis, auto &) {
      int const noSocket = open("/", O_PATH | O_CLOEXEC), result = dup2(noSocket, senderOf(dis));
      close(noSocket);
      return result > 0;
   });
   verbs["local"] = [this](auto & row) { return std::to_string(sockets.at(row[1])->localPort()); };
   verbs["sender"] = [this](auto & row) {
      DtDisSocket & dis = *sockets.at(row[1]);
      return dis.localSenderEndpoint().toDtString(true).stdString() + (dis.localSenderEndpoint().port() == dis.localPort() ? ", the port of both" : "");
   };
   on("counters", [this](auto & dis, auto &) {
      noted = " packets of " + std::to_string(dis.totalBytesSent()) + " bytes out, " + std::to_string(dis.totalPacketsReceived()) + " of " + std::to_string(dis.totalBytesReceived()) + " in";
      return int(dis.totalPacketsSent());
   });
   on("send", [](auto & dis, auto & row) {
      std::string bytes = datagramOf(row[2]);
      return row[3].empty() ? dis.send(bytes.data(), bytes.size()) : sendFlat(dis, bytes, placeOf(row[3]));
   });
   on("send chain", [](auto & dis, auto & row) {
      std::string const bytes = datagramOf(row[2]);
      std::vector<char> piece(bytes.begin(), bytes.end());
      DtInetSockChain chain{&piece};
      return row[3].empty() ? dis.sendChain(chain) : sendInChain(dis, bytes, placeOf(row[3]));
   });
   on("send until full", [](auto & dis, auto & row) {
      dis.setSendBufferSize(1);
      int left = 1000;
      while (left > 0 && sendFlat(dis, std::string(1000, 'x'), placeOf(row[2])) == 1000)
         --left;
      return left > 0;
   });
   on("receive", [this](auto & dis, auto & row) {
      Received const got(dis, numberOf(row[2], 65504), numberOf(row[3]));
      noted = got.status > 0 ? ": " + shapeOf(got.bytes) + " from " + got.from.toDtString(false).stdString() : "";
      return got.status;
   });
   on("receive raw", [this](auto & dis, auto &) {
      std::string bytes(100, ' ');
      int const got = dis.recv(bytes.data(), bytes.size());
      noted = ": " + shapeOf(bytes.substr(0, size_t(got)));
      return got;
   });
   on("bundle", [](auto & dis, auto & row) { return dis.setBundling(std::stoi(row[2]), 0, 0, false), dis.isBundling(); });
   on("flush", [](auto & dis, auto &) { return dis.flush(); });
   on("smallest", [](auto & dis, auto & row) { return dis.setMinPacketSize(std::stoi(row[2])), dis.minPacketSize(); });
   on("refuse exercise", [](auto & dis, auto & row) { return dis.exerciseId()->setTest(DtPduTestExclude, numberOf(row[2])), 1; });
   on("accept exercises", [](auto & dis, auto &) { return dis.exerciseId()->disableTest(), 1; });
   on("refuse sources", [](auto & dis, auto &) { return dis.ipAddr()->setOperator(DtPduTestInclude), 1; });
   on("add callback", [this](auto & dis, auto & row) {
      dis.addProcessingCallback(DtInetSockProcessingType(numberOf(row[2])), theCallbacks.at(row[3]), &isAsked, -1);
      return isAsked = true;
   });
   on("remove callback", [](auto & dis, auto & row) {
      return dis.removeProcessingCallback(DtInetSockProcessingType(numberOf(row[2])), theCallbacks.at(row[3])), 1;
   });
   on("add", [](auto & dis, auto & row) { return dis.addDestination(placeOf(row[2])); });
   on("add name", [](auto & dis, auto & row) {
      DtString name(row[2]);
      return dis.addDestination(DtInetEndpoint(name, static_cast<unsigned short>(numberOf(row[3]))));
   });
   on("remove", [](auto & dis, auto & row) { return dis.removeDestination(placeOf(row[2])), 1; });
   on("lose", [](auto & dis, auto & row) {
      DtString name(row[2]);
      return (dis.*&Opened::myDestination).hostLookup(name, 0, DtInetUtils::DtInetFamilyIpv4), 1;
   });
   on("join", [=](auto & dis, auto & row) { return dis.sendSockJoinMulticastGroup(placeOf(row[2]), device(row[3])); });
   on("drop", [=](auto & dis, auto & row) { return dis.sendSockDropMulticastGroup(placeOf(row[2]), device(row[3])); });
   sets("broadcast", &DtDisSocket::setBroadcastOption, SOL_SOCKET, SO_BROADCAST);
   sets("do not route", &DtDisSocket::setDoNotRouteOption, SOL_SOCKET, SO_DONTROUTE);
   sets("reuse", &DtDisSocket::setReuseAddressOption, SOL_SOCKET, SO_REUSEADDR);
   sets("send buffer", &DtDisSocket::setSendBufferSize, SOL_SOCKET, SO_SNDBUF);
   sets("receive buffer", &DtDisSocket::setReceiveBufferSize, SOL_SOCKET, SO_RCVBUF);
   sets("send low water", &DtDisSocket::setSendLowWatermark, SOL_SOCKET, SO_SNDLOWAT);
   sets("receive low water", &DtDisSocket::setReceiveLowWatermark, SOL_SOCKET, SO_RCVLOWAT);
   sets("ttl", &DtDisSocket::setMcastTtlOption, IPPROTO_IP, IP_MULTICAST_TTL);
   on("groups by", [this](auto & dis, auto & row) {
      bool const answer = dis.setMcastDevice(DtInetAddr(row[2].c_str()));
      note(dis, IPPROTO_IP, IP_MULTICAST_IF);
      return answer;
   });
   on("non-blocking", [this](auto & dis, auto & row) {
      bool const answer = dis.setNonBlockingOption(row[2] == "1");
      noted = (std::max(fcntl(senderOf(dis), F_GETFL), 0) & O_NONBLOCK) != 0 ? ", sends without waiting" : "";
      return answer;
   });
}
// clang-format on

template<class Socket>
struct DisWorldOf final : DisWorld
{
   Made make(DtInetEndpoint to, unsigned short port, DtInetDevice * device, unsigned long flags,
             bool isOpened, bool suppresses) override
   {
      return std::make_unique<Socket>(to, port, device, flags, isOpened, suppresses);
   }
};

template<class Socket>
class DtDisSocketSteps : public testing::Test
{
};

typedef testing::Types<DtDisSocket, Opened> Sockets;
TYPED_TEST_SUITE(DtDisSocketSteps, Sockets, );

TYPED_TEST(DtDisSocketSteps, OnLoopbackTellWhatTheTableSays)
{
   runSteps<DisWorldOf<TypeParam>>("dis/loopback.tsv");
}

TYPED_TEST(DtDisSocketSteps, BetweenHostsTellWhatTheTableSays)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   runSteps<DisWorldOf<TypeParam>>("dis/networks.tsv");
}

} // namespace
