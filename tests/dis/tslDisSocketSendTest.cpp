// SPDX-License-Identifier: MIT
#include "disRoad.h"
#include "support/hostTable.h"
#include "support/sha256.h"
#include "support/slots.h"

#include <functional>
#include <utility>

namespace
{

using nlohmann::json;

bool isPdu(std::string const & buffer)
{
   return buffer.find_first_not_of('\0') != std::string::npos;
}

/// Notes what leaves as bundles, or too large for any; `answer` stands in for the send if it is set.
class Bundler : public DtDisSocket
{
public:
   using DtDisSocket::advanceToOffset;
   using DtDisSocket::disSendSocket;
   using DtDisSocket::DtDisSocket;
   using DtDisSocket::flushBundle;
   using DtDisSocket::getCoupledAttributePduSize;
   using DtDisSocket::getPduSize;
   using DtDisSocket::myDestination;

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
      for (auto const & [port, buffers] : std::exchange(sent, {}))
      {
         text += (text.empty() ? "" : " ") + std::to_string(port) + ":";
         for (std::string const & buffer : buffers)
            text += (isPdu(buffer) ? " " : "(") + std::to_string(buffer.size()) + (isPdu(buffer) ? "" : ")");
      }
      return text;
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

TEST(DtDisSocket, SlotOrder)
{
   typedef DtDisSocket Dis;
   typedef bool (Dis::*ByEndpoint)(DtInetEndpoint const &, DtInetDevice *);
   typedef bool (Dis::*ByAddress)(DtInetAddr const &, DtInetDevice *);
   typedef int (Dis::*Add)(int, DtInetSockChain &, DtInetEndpoint &, void *);
   typedef int (Dis::*Callback)(int, DtInetSockChain &, DtInetEndpoint &, int *);
   typedef DtInetSockFlushStatus (Dis::*Flush)(DtInetEndpoint &);
   // clang-format off
   EXPECT_TRUE(inSlotsFrom(slotOf(&DtInetUdpSocket::secondUdpSocket) + 1,
      &Dis::addDestination, &Dis::removeDestination,
      ByEndpoint(&Dis::sendSockJoinMulticastGroup), ByAddress(&Dis::sendSockJoinMulticastGroup),
      ByEndpoint(&Dis::sendSockDropMulticastGroup), ByAddress(&Dis::sendSockDropMulticastGroup),
      &Dis::setBundling, &Dis::setMaxBundleSize, &Dis::getMaxBundleSize, &Dis::isBundling,
      &Dis::setMinPacketSize, &Dis::minPacketSize, &Dis::setBundleByteAlignment,
      &Dis::sendBundleByteAlignment, &Dis::receiveBundleByteAlignment, &Dis::exerciseId,
      &Dis::protocolVersion, &Dis::pduKind, &Dis::ipAddr, &Dis::localSenderEndpoint, &Dis::flush,
      Add(&Dis::addToBundle), Callback(&Dis::unbundle), Callback(&Dis::getNextBundle), Flush(&Dis::flushBundle),
      Callback(&Dis::suppressSelfReflect), Callback(&Dis::filterExercisePdus), Callback(&Dis::minSizeFilter),
      &Bundler::disSendSocket, &Bundler::getPduSize, &Bundler::getCoupledAttributePduSize,
      &Bundler::advanceToOffset));
   // clang-format on
}

TEST(DtDisSocketBundle, RecordingsAreBundledByLimitAndAlignment)
{
   DtInetDevice loopback(DtString("lo"));
   std::string const names[] = {"singles-s1", "each-kind-v7"};
   for (int i = 0; i < 4; ++i)
      for (json const & expected : linesOf(names[i / 2] + ".bundled.jsonl"))
      {
         LoopbackPeer plain;
         Bundler dis(udpEndpoint("127.0.0.1", plain.port()), unusedPort(), &loopback, DtInetSockFlagsDefault,
                     true, i % 2 != 0);
         dis.setBundleByteAlignment(expected["align"]);
         dis.setBundling(expected["max"], 0, 0, false);
         json datagrams;
         auto const take = [&](int result, std::size_t wanted)
         {
            EXPECT_EQ(result, static_cast<int>(wanted));
            for (auto const & [port, buffers] : std::exchange(dis.sent, {}))
            {
               std::string const bytes = plain.receive().value_or("nothing");
               datagrams.push_back({bytes.size(), std::count_if(buffers.begin(), buffers.end(), isPdu),
                                    buffers.size(), sha256(bytes.data(), bytes.size())});
            }
         };
         for (std::string & payload : payloadsOf(names[i / 2]))
            take(dis.send(payload.data(), payload.size()), payload.size());
         take(dis.flush(), DtInetSockFlushDone);
         EXPECT_EQ(datagrams, expected["datagrams"]) << i << " " << expected["max"] << expected["align"];
         EXPECT_FALSE(plain.receive(0));
      }
}

TEST(DtDisSocketBundle, FillsUpBundlesOfEachDestination)
{
   int answered = 0;
   Bundler dis(udpEndpoint("127.0.0.1", 1), 0, nullptr, DtInetSockFlagsDefault, false);
   dis.answer = [&] { return answered; };
   // A size of 0 flushes, for port 0 all.
   struct Step
   {
      int max;
      std::size_t size;
      unsigned short port;
      int answered, result;
      char const * sent;
   } const steps[] = {// clang-format off
      {100, 0, 0, 0, 1, ""}, {100, 0, 2, 0, 1, ""}, {100, 30, 3, 0, 30, ""}, {100, 40, 3, 0, 40, ""},
      {100, 100, 2, 0, 100, ""}, // a PDU of the largest size is kept
      {100, 30, 3, 0, -1, "3: 30(2) 40"}, // 72 and 30 are too many, and they can't leave
      {100, 0, 0, 0, 0, "2: 100"}, {100, 0, 3, 0, 0, "3: 30(2) 40"}, // the first stops the walk, and stays
      {100, 0, 0, -1, -1, "2: 100"}, {100, 0, 3, -1, -1, "3: 30(2) 40"},
      {100, 0, 0, 71, -1, "2: 100"}, {100, 0, 3, 71, -1, "3: 30(2) 40"},
      {100, 30, 3, 72, 30, "3: 30(2) 40"}, {100, 0, 0, 72, -1, "2: 100"}, {100, 0, 2, 100, 1, "2: 100"},
      {0, 30, 3, 30, -1, ""}, // sent at once: the socket isn't open
      {0, 0, 0, 30, 1, "3: 30"}, // the bundle has outlived the bundling
      {64, 24, 3, 24, 24, ""}, {64, 65, 3, 65, -1, "3: 24"}, // the bundle ahead of it went out short
      {64, 0, 3, 24, 1, "3: 24"}, {64, 65, 3, 65, 65, "3: 65"}};
   // clang-format on
   for (Step const & step : steps)
   {
      if (step.max != dis.getMaxBundleSize())
         dis.setBundling(step.max, 9, 9, true);
      answered = step.answered;
      DtInetEndpoint to = udpEndpoint("127.0.0.1", step.port);
      int const result = step.size != 0   ? sendPdu(dis, step.size, step.port)
                         : step.port != 0 ? dis.flushBundle(to)
                                          : dis.flush();
      EXPECT_EQ(std::tuple(result, dis.takeSent()), std::tuple(step.result, step.sent)) << &step - steps;
      EXPECT_TRUE(step.size == 0 || step.max == 0 || result != -1 ||
                  dis.getLastErrorString() ==
                     "DtInetUdpSocket::sendChain()/sendChainTo(): Pre-send callback failed.");
   }
   // Swallowed by a bundle or not, each PDU counts; a bundle counts again, but here nothing was really sent.
   EXPECT_EQ(dis.totalPacketsSent(), 6u);
   EXPECT_EQ(dis.totalBytesSent(), 30u + 40 + 100 + 30 + 24 + 65);

   std::vector<char> bytes(16, 'x');
   DtInetSockChain chain{&bytes};
   DtInetEndpoint two = udpEndpoint("127.0.0.1", 2), three = udpEndpoint("127.0.0.1", 3),
                  none(DtInetAddr("127.0.0.1"), 4, DtInetProtoNone),
                  tcp(DtInetAddr("127.0.0.1"), 5, DtInetProtoTcp);
   for (DtInetEndpoint * to : {&two, &none, &tcp, &three})
      EXPECT_EQ(dis.addToBundle(0, chain, *to, nullptr), 0);
   answered = 16;
   EXPECT_EQ(dis.flush(), 1);
   EXPECT_EQ(dis.takeSent(), "2: 16 3: 16 4: 16 5: 16");
   for (int const count : {-3, 0, 7})
      EXPECT_EQ(Bundler::flushBundle(&dis, count, chain, two, nullptr), count < 1 ? count : 16);
   dis.addToBundle(0, chain, two, nullptr);
   answered = 15;
   EXPECT_EQ(Bundler::flushBundle(&dis, 7, chain, two, nullptr), -1);
   dis.answer = nullptr; // its destructor flushes
}

TEST(DtDisSocketBundle, CallbackOfASendMaySendAndFlush)
{
   LoopbackPeer peer;
   Bundler dis(udpEndpoint("127.0.0.1", peer.port()), unusedPort());
   dis.setBundling(100, 0, 0, false);
   int countdown = 2;
   auto const sendMore = [](DtInetSocket * socket, int, DtInetSockChain &, DtInetEndpoint & to, void * calls)
   {
      DtDisSocket & sender = *static_cast<DtDisSocket *>(socket);
      return --*static_cast<int *>(calls) == 0 && sendPdu(sender, 20, to.port()) > 0 ? 0 * sender.flush() : 0;
   };
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
      EXPECT_TRUE(dis.closeSocket()) << "also with a bundle that can't leave";
   }
}

TEST(DtDisSocketSend, GoesToAllDestinations)
{
   LoopbackPeer first, second;
   auto const arrived = [&] { return first.receive(0).value_or("") + "|" + second.receive(0).value_or(""); };
   auto const lose = [](DtInetEndpoint & endpoint)
   {
      HostTable const nobody;
      DtString name("unknown");
      endpoint.hostLookup(name, 0, DtInetUtils::DtInetFamilyIpv4);
   };
   DtInetEndpoint bad = udpEndpoint("0.0.0.0", 7), worse = udpEndpoint("0.0.0.0", 8);
   lose(bad);
   lose(worse);
   DtInetEndpoint const seconds(DtInetAddr("127.0.0.1"), second.port(), DtInetProtoNone);
   Bundler dis(udpEndpoint("127.0.0.1", first.port()), unusedPort());
   EXPECT_FALSE(dis.addDestination(udpEndpoint("::1", 9)));
   for (DtInetEndpoint const & to : {seconds, bad, worse, seconds})
      EXPECT_TRUE(dis.addDestination(to));
   std::string bytes = "both";
   std::vector<char> part(bytes.begin(), bytes.end());
   DtInetSockChain chain{&part};
   for (std::string const operation : {"send", "sendChain"})
   {
      EXPECT_EQ(operation == "send" ? dis.send(bytes.data(), 4) : dis.sendChain(chain), 4)
         << "the last one is good";
      EXPECT_EQ(arrived(), "both|both");
      EXPECT_EQ(told(dis), "109 -1 DtDisSocket::" + operation +
                              "(): Error - additional destination is invalid: 0.0.0.0:7, 0.0.0.0:8");
   }
   EXPECT_EQ(arrived(), "|");
   dis.removeDestination(seconds);
   EXPECT_EQ(dis.send(bytes.data(), bytes.size()), -1);
   EXPECT_EQ(arrived(), "both|");
   Bundler lost(udpEndpoint("0.0.0.0", 7), 0, nullptr, DtInetSockFlagsDefault, false);
   lose(lost.myDestination);
   lost.addDestination(seconds);
   EXPECT_EQ(lost.send(bytes.data(), bytes.size()), -1);
   EXPECT_EQ(told(lost), "109 -1 DtDisSocket::send(): Error - no default destination set: 0.0.0.0:7");
   EXPECT_EQ(arrived(), "|");
}

} // namespace
