// SPDX-License-Identifier: MIT
#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/tslInetDevice.h"

#include "disRoad.h"
#include "recording.h"
#include "support/allocations.h"
#include "support/hostTable.h"
#include "support/networkNamespace.h"
#include "support/sha256.h"
#include "support/slots.h"

#include <boost/asio/ip/udp.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

using nlohmann::json;

/// Notes what leaves as bundles, or too large for any; `answer` stands in for the send if it is set.
class Bundler : public DtDisSocket
{
public:
   using DtDisSocket::advanceToOffset;
   using DtDisSocket::disSendSocket;
   using DtDisSocket::DtDisSocket;
   using DtDisSocket::getCoupledAttributePduSize;
   using DtDisSocket::getPduSize;

   int sendChainTo(DtInetSockChain & chain, DtInetEndpoint & to, unsigned long flags) override
   {
      if ((flags & DtInetSockSkipPreCallbacks) == 0)
         return DtDisSocket::sendChainTo(chain, to, flags);
      EXPECT_EQ(flags, this->flags() | 0x1000);
      std::vector<std::string> buffers;
      for (std::vector<char> const * buffer : chain)
         buffers.emplace_back(buffer->begin(), buffer->end());
      sent.emplace_back(to.port(), std::move(buffers));
      return answer ? answer() : DtDisSocket::sendChainTo(chain, to, flags);
   }

   /// What was sent since the last call: port, and the sizes of the buffers, fill in parentheses.
   std::string takeSent()
   {
      std::string text;
      for (auto const & [port, buffers] : sent)
      {
         text += (text.empty() ? "" : " ") + std::to_string(port) + ":";
         for (std::string const & buffer : buffers)
         {
            std::string const size = std::to_string(buffer.size());
            text += buffer.find_first_not_of('\0') == std::string::npos ? "(" + size + ")" : " " + size;
         }
      }
      sent.clear();
      return text;
   }

   int descriptorOfSender()
   {
      return static_cast<boost::asio::ip::udp::socket *>(disSendSocket())->native_handle();
   }

   static int flushAsCallback(DtInetSocket * socket, int count, DtInetSockChain & chain, DtInetEndpoint & to,
                              void * data)
   {
      return flushBundle(socket, count, chain, to, data);
   }

   void loseDestination()
   {
      DtString name("unknown");
      myDestination.hostLookup(name, 0, DtInetUtils::DtInetFamilyIpv4);
   }

   std::vector<std::pair<unsigned short, std::vector<std::string>>> sent;
   std::function<int()> answer;
};

int sendPdu(DtDisSocket & socket, std::size_t size, unsigned short port)
{
   std::string bytes(size, 'x');
   DtInetEndpoint to = udpEndpoint("127.0.0.1", port);
   return socket.sendTo(bytes.data(), size, to);
}

/// A socket that is never open and sends nothing.
struct DryBundler : Bundler
{
   explicit DryBundler(int maxSize)
      : Bundler(udpEndpoint("127.0.0.1", 1), 0, nullptr, DtInetSockFlagsDefault, false)
   {
      setBundling(maxSize, 0, 0, false);
   }
   ~DryBundler() override { answer = nullptr; }
};

TEST(DtDisSocket, SlotOrder)
{
   typedef DtDisSocket Dis;
   typedef DtInetSockChain Chain;
   typedef DtInetEndpoint End;
   typedef int (Dis::*Callback)(int, Chain &, End &, int *);
   typedef bool (Dis::*ByEndpoint)(End const &, DtInetDevice *);
   typedef bool (Dis::*ByAddress)(DtInetAddr const &, DtInetDevice *);
   std::vector<std::size_t> const slots = {
      slotOf(&DtInetUdpSocket::secondUdpSocket),
      slotOf(&Dis::addDestination),
      slotOf(&Dis::removeDestination),
      slotOf<ByEndpoint>(&Dis::sendSockJoinMulticastGroup),
      slotOf<ByAddress>(&Dis::sendSockJoinMulticastGroup),
      slotOf<ByEndpoint>(&Dis::sendSockDropMulticastGroup),
      slotOf<ByAddress>(&Dis::sendSockDropMulticastGroup),
      slotOf(&Dis::setBundling),
      slotOf(&Dis::setMaxBundleSize),
      slotOf(&Dis::getMaxBundleSize),
      slotOf(&Dis::isBundling),
      slotOf(&Dis::setMinPacketSize),
      slotOf(&Dis::minPacketSize),
      slotOf(&Dis::setBundleByteAlignment),
      slotOf(&Dis::sendBundleByteAlignment),
      slotOf(&Dis::receiveBundleByteAlignment),
      slotOf(&Dis::exerciseId),
      slotOf(&Dis::protocolVersion),
      slotOf(&Dis::pduKind),
      slotOf(&Dis::ipAddr),
      slotOf(&Dis::localSenderEndpoint),
      slotOf(&Dis::flush),
      slotOf<int (Dis::*)(int, Chain &, End &, void *)>(&Dis::addToBundle),
      slotOf<Callback>(&Dis::unbundle),
      slotOf<Callback>(&Dis::getNextBundle),
      slotOf<DtInetSockFlushStatus (Dis::*)(End &)>(&Dis::flushBundle),
      slotOf<Callback>(&Dis::suppressSelfReflect),
      slotOf<Callback>(&Dis::filterExercisePdus),
      slotOf<Callback>(&Dis::minSizeFilter),
      slotOf(&Bundler::disSendSocket),
      slotOf(&Bundler::getPduSize),
      slotOf(&Bundler::getCoupledAttributePduSize),
      slotOf(&Bundler::advanceToOffset)};
   for (std::size_t i = 1; i < slots.size(); ++i)
      EXPECT_EQ(slots[i], slots[0] + i);
}

TEST(DtDisSocketBundle, RecordingsAreBundledByLimitAndAlignment)
{
   DtInetDevice loopback(DtString("lo"));
   for (char const * name : {"singles-s1", "each-kind-v7"})
      for (bool const suppresses : {false, true})
         for (json const & expected : linesOf(std::string(name) + ".bundled.jsonl"))
         {
            LoopbackPeer plain;
            Bundler dis(udpEndpoint("127.0.0.1", plain.port()), unusedPort(), &loopback,
                        DtInetSockFlagsDefault, true, suppresses);
            dis.setBundleByteAlignment(expected["align"]);
            dis.setBundling(expected["max"], 0, 0, false);
            json datagrams;
            auto const takeDatagrams = [&]
            {
               for (auto const & entry : dis.sent)
               {
                  std::string const bytes = plain.receive().value_or("nothing");
                  auto const isPdu = [](std::string const & buffer)
                  { return buffer.find_first_not_of('\0') != std::string::npos; };
                  datagrams.push_back({bytes.size(),
                                       std::count_if(entry.second.begin(), entry.second.end(), isPdu),
                                       entry.second.size(), sha256(bytes.data(), bytes.size())});
               }
               dis.sent.clear();
            };
            for (std::string & payload : payloadsOf(name))
            {
               EXPECT_EQ(dis.send(payload.data(), payload.size()), static_cast<int>(payload.size()));
               takeDatagrams();
            }
            EXPECT_EQ(dis.flush(), DtInetSockFlushDone);
            takeDatagrams();
            EXPECT_EQ(datagrams, expected["datagrams"]) << name << expected["max"] << expected["align"];
            EXPECT_FALSE(plain.receive(0));
         }
}

TEST(DtDisSocketBundle, FillsUpBundlesOfEachDestination)
{
   DryBundler dis(100);
   int answered = 0;
   dis.answer = [&] { return answered; };
   EXPECT_EQ(dis.flush(), 1);
   DtInetEndpoint two = udpEndpoint("127.0.0.1", 2), three = udpEndpoint("127.0.0.1", 3);
   EXPECT_EQ(dis.flushBundle(two), 1);
   for (std::size_t const size : {30u, 40u})
      EXPECT_EQ(sendPdu(dis, size, 3), static_cast<int>(size));
   EXPECT_EQ(sendPdu(dis, 100, 2), 100);
   EXPECT_EQ(dis.takeSent(), "") << "a PDU of the largest size is kept";
   EXPECT_EQ(sendPdu(dis, 30, 3), -1) << "72 and 30 are too many, and they can't leave";
   EXPECT_STREQ(dis.getLastErrorString(),
                "DtInetUdpSocket::sendChain()/sendChainTo(): Pre-send callback failed.");
   EXPECT_EQ(dis.takeSent(), "3: 30(2) 40");
   for (int const partial : {0, -1, 71})
   {
      answered = partial;
      EXPECT_EQ(dis.flush(), partial == 0 ? 0 : -1);
      EXPECT_EQ(dis.flushBundle(three), partial == 0 ? 0 : -1);
      EXPECT_EQ(dis.takeSent(), "2: 100 3: 30(2) 40") << "the first stops the walk, and stays";
   }
   answered = 72;
   EXPECT_EQ(sendPdu(dis, 30, 3), 30);
   EXPECT_EQ(dis.takeSent(), "3: 30(2) 40");
   EXPECT_EQ(dis.flush(), -1);
   answered = 100;
   dis.takeSent();
   EXPECT_EQ(dis.flushBundle(two), 1);
   EXPECT_EQ(dis.takeSent(), "2: 100");
   dis.setBundling(0, 9, 9, true);
   EXPECT_EQ(sendPdu(dis, 30, 3), -1) << "sent at once: the socket isn't open";
   answered = 30;
   EXPECT_EQ(dis.flush(), 1) << "the bundle has outlived the bundling";
   EXPECT_EQ(dis.takeSent(), "3: 30");

   dis.setBundling(64, 0, 0, false);
   answered = 24;
   sendPdu(dis, 24, 3);
   answered = 65;
   EXPECT_EQ(sendPdu(dis, 65, 3), -1) << "the bundle ahead of it went out short";
   answered = 24;
   EXPECT_EQ(dis.flushBundle(three), 1);
   answered = 65;
   EXPECT_EQ(sendPdu(dis, 65, 3), 65);
   EXPECT_EQ(dis.takeSent(), "3: 24 3: 24 3: 65");
   // Swallowed by a bundle or not, each PDU counts; a bundle counts again, but here nothing was really sent.
   EXPECT_EQ(dis.totalPacketsSent(), 6u);
   EXPECT_EQ(dis.totalBytesSent(), 30u + 40 + 100 + 30 + 24 + 65);

   DtInetEndpoint none(DtInetAddr("127.0.0.1"), 4, DtInetProtoNone),
      tcp(DtInetAddr("127.0.0.1"), 5, DtInetProtoTcp);
   std::vector<char> bytes(16, 'x');
   DtInetSockChain chain{&bytes};
   for (DtInetEndpoint * to : {&two, &none, &tcp, &three})
      EXPECT_EQ(dis.addToBundle(0, chain, *to, nullptr), 0);
   answered = 16;
   EXPECT_EQ(dis.flush(), 1);
   EXPECT_EQ(dis.takeSent(), "2: 16 3: 16 4: 16 5: 16");
   for (int const count : {-3, 0, 7})
      EXPECT_EQ(Bundler::flushAsCallback(&dis, count, chain, two, nullptr), count < 1 ? count : 16);
   dis.addToBundle(0, chain, two, nullptr);
   answered = 15;
   EXPECT_EQ(Bundler::flushAsCallback(&dis, 7, chain, two, nullptr), -1);
}

int sendMore(DtInetSocket * socket, int, DtInetSockChain &, DtInetEndpoint & to, void * countdown)
{
   if (--*static_cast<int *>(countdown) == 0)
   {
      sendPdu(*static_cast<DtDisSocket *>(socket), 20, to.port());
      static_cast<DtDisSocket *>(socket)->flush();
   }
   return 0;
}

TEST(DtDisSocketBundle, CallbackOfASendMaySendAndFlush)
{
   LoopbackPeer peer;
   Bundler dis(udpEndpoint("127.0.0.1", peer.port()), unusedPort());
   dis.setBundling(100, 0, 0, false);
   int countdown = 2;
   dis.addProcessingCallback(DtInetSockPostSend, sendMore, &countdown, 1);
   sendPdu(dis, 30, peer.port());
   EXPECT_EQ(dis.flush(), 1);
   EXPECT_EQ(peer.receive()->size(), 30u);
   EXPECT_EQ(peer.receive()->size(), 20u);
   EXPECT_FALSE(peer.receive(0)) << "each went out once";
}

TEST(DtDisSocketBundle, MoreThan64BuffersAreCutAndKept)
{
   for (bool const suppresses : {false, true})
   {
      LoopbackPeer peer;
      DtInetDevice loopback(DtString("lo"));
      Bundler dis(udpEndpoint("127.0.0.1", peer.port()), unusedPort(), &loopback, DtInetSockFlagsDefault,
                  true, suppresses);
      dis.setBundling(1400, 0, 0, false);
      for (int i = 0; i < 35; ++i)
         sendPdu(dis, 30, peer.port());
      EXPECT_EQ(dis.flush(), -1);
      EXPECT_EQ(peer.receive()->size(), 32u * 32u) << "32 PDUs and 32 fills";
      EXPECT_EQ(dis.flush(), -1);
      dis.setBundling(0, 0, 0, false);
      EXPECT_EQ(dis.closeSocket(), true) << "also with a bundle that can't leave";
   }
}

TEST(DtDisSocketBundle, TakesNoMemoryOnceItHasSettled)
{
   DryBundler dis(1400);
   dis.answer = [&]
   {
      int size = 0;
      for (std::string const & buffer : dis.sent.back().second)
         size += static_cast<int>(buffer.size());
      return size;
   };
   std::string bytes(147, 'x');
   DtInetEndpoint to = udpEndpoint("127.0.0.1", 2);
   for (int turn = 0; turn < 60; ++turn)
   {
      std::size_t const before = allocationsOfThisThread();
      ASSERT_EQ(dis.sendTo(bytes.data(), bytes.size(), to), 147);
      // A full bundle is noted when it leaves, which takes memory of its own.
      EXPECT_TRUE(turn < 30 || !dis.sent.empty() || allocationsOfThisThread() == before) << turn;
      dis.sent.clear();
   }
}

TEST(DtDisSocketSend, GoesToAllDestinations)
{
   HostTable hosts;
   LoopbackPeer first, second;
   DtString name("unknown");
   DtInetEndpoint const bad(name, 7, DtInetProtoUdp), worse(name, 8, DtInetProtoUdp);
   DtInetEndpoint const seconds(DtInetAddr("127.0.0.1"), second.port(), DtInetProtoNone);
   Bundler dis(udpEndpoint("127.0.0.1", first.port()), unusedPort());
   EXPECT_FALSE(dis.addDestination(udpEndpoint("::1", 9)));
   for (DtInetEndpoint const & to : {seconds, bad, worse, seconds})
      EXPECT_TRUE(dis.addDestination(to));
   std::string bytes = "both";
   std::vector<char> part(bytes.begin(), bytes.end());
   DtInetSockChain chain{&part};
   for (char const * prefix : {"DtDisSocket::send(): ", "DtDisSocket::sendChain(): "})
   {
      bool const isFlat = std::strstr(prefix, "send()") != nullptr;
      EXPECT_EQ(isFlat ? dis.send(bytes.data(), bytes.size()) : dis.sendChain(chain), 4)
         << "the last one is good";
      EXPECT_EQ(first.receive().value_or(""), bytes);
      EXPECT_EQ(second.receive().value_or(""), bytes);
      EXPECT_EQ(dis.state(), DtInetSockError);
      EXPECT_EQ(dis.getLastError(), 109);
      EXPECT_EQ(dis.getLastErrorString(),
                DtString(prefix) + "Error - additional destination is invalid: 0.0.0.0:7, 0.0.0.0:8");
   }
   EXPECT_FALSE(second.receive(0));
   dis.removeDestination(seconds);
   EXPECT_EQ(dis.send(bytes.data(), bytes.size()), -1);
   EXPECT_FALSE(second.receive(0));
   Bundler lost(udpEndpoint("0.0.0.0", 7), 0, nullptr, DtInetSockFlagsDefault, false);
   lost.loseDestination();
   lost.addDestination(seconds);
   EXPECT_EQ(lost.send(bytes.data(), bytes.size()), -1);
   EXPECT_STREQ(lost.getLastErrorString(),
                "DtDisSocket::send(): Error - no default destination set: 0.0.0.0:7");
   EXPECT_EQ(lost.getLastError(), 109);
   EXPECT_FALSE(second.receive(0));
}

} // namespace
