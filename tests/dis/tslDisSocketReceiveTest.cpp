// SPDX-License-Identifier: MIT
#include "disKit.h"
#include "support/allocations.h"
#include "support/capturedStream.h"
#include "support/sha256.h"

#include <cstdio>
#include <deque>
#include <sstream>

namespace
{

using nlohmann::json;

/// How often the one warning was printed, and nothing else.
std::size_t warned(CapturedStream const & stream)
{
   std::string const text = stream.textAt(1), warning = "Failed to read expected Coupled Attribute PDU\n";
   std::size_t count = 0;
   while (text.compare(count * warning.size(), warning.size(), warning) == 0)
      ++count;
   EXPECT_EQ(text.size(), count * warning.size()) << text;
   return count;
}

/// A socket of a class of its own, which is not known to leave the receive path as it is.
class DerivedSocket : public DtDisSocket
{
public:
   using DtDisSocket::DtDisSocket;
};

/// A DIS socket on loopback that never waits, and a peer that sends to it.
template<class Socket>
struct RoadTo
{
   void send(std::string const & datagram) { peer.send(datagram, "127.0.0.1", dis.localPort()); }
   int receive(std::size_t room = 65504, unsigned long flags = 0)
   {
      return Received(dis, room, flags).status;
   }

   Socket dis{udpEndpoint("127.0.0.1", 0), 0, nullptr, theNonBlockingFlags};
   LoopbackPeer peer;
};

std::vector<std::tuple<std::string, DtPduFilterTest * (DtDisSocket::*)(), DtPduTestOperator,
                       std::vector<unsigned long>>>
   theFilters = {{"v6", &DtDisSocket::protocolVersion, DtPduTestInclude, {6}},
                 {"no3", &DtDisSocket::exerciseId, DtPduTestExclude, {3}},
                 {"state", &DtDisSocket::pduKind, DtPduTestInclude, {1, 67, 72}},
                 {"mixed", &DtDisSocket::protocolVersion, DtPduTestInclude, {6, 7}},
                 {"mixed", &DtDisSocket::exerciseId, DtPduTestExclude, {255}},
                 {"mixed", &DtDisSocket::pduKind, DtPduTestExclude, {26}}};

/// A closed socket whose operations are called by hand; notes what getPduSize() is told.
class Walker : public DtDisSocket
{
public:
   Walker() : DtDisSocket(udpEndpoint("127.0.0.1", 9), 0, nullptr, theNonBlockingFlags, false) {}

   unsigned short getPduSize(DtDisSocketPduHeader * header, int offset, DtInetSockChain::iterator current,
                             DtInetSockChain::iterator end, int * status, bool & coupled,
                             bool expected) override
   {
      offsets += " " + std::to_string(offset);
      return DtDisSocket::getPduSize(header, offset, current, end, status, coupled, expected);
   }

   /// Unbundles a datagram from `chain` and takes the queue: a line as walks.txt has it.
   std::string walk(std::vector<std::string> const & pieces, int count, DtInetSockChain & chain)
   {
      offsets.clear();
      CapturedStream warnings;
      DtInetEndpoint from = udpEndpoint("10.0.0.1", 3000);
      int status = 0;
      std::string told = std::to_string(unbundle(count, chain, from, &status));
      told += (status == 0 ? "" : " " + std::to_string(status)) + " |";
      std::vector<char> room(65535);
      DtInetSockChain out{&room};
      for (status = 0; int const size = getNextBundle(0, out, from, &status); status = 0)
      {
         std::string got(room.data(), static_cast<std::size_t>(size));
         std::string const mark = got.back() == '\0' ? "!" : "";
         got.back() = 'p';
         told += " " + std::to_string(std::find(pieces.begin(), pieces.end(), got) - pieces.begin()) + mark;
      }
      return told + " |" + offsets + std::string(warned(warnings), 'w');
   }

   std::string offsets;
};

/// The piece of a datagram that a word of walks.txt stands for.
std::string pieceOf(std::string const & word)
{
   int version = 0, size = 0, kind = 1, status = 0, cut = 1 << 20;
   if (std::sscanf(word.c_str(), "%d.%d.%d.%d", &version, &size, &kind, &status) < 2)
      return word;
   std::sscanf(word.c_str(), "%*[^:]:%d", &cut);
   return pdu(static_cast<std::size_t>(size), version, kind, status).substr(0, static_cast<std::size_t>(cut));
}

TEST(DtDisSocketReceive, DatagramsAreWalkedPduByPdu)
{
   Walker walker;
   std::istringstream file(recorded("walks.txt"));
   for (std::string line; std::getline(file, line);)
   {
      if (line[0] == '#')
         continue;
      std::size_t const first = line.find(" / "), second = line.find(" / ", first + 3);
      std::istringstream words(line.substr(0, first)), sizes(line.substr(first + 3, second - first - 3));
      std::vector<std::string> pieces;
      std::string bytes;
      for (std::string word; words >> word; bytes += pieces.back())
         pieces.push_back(pieceOf(word));
      int const count = static_cast<int>(bytes.size());
      bytes.resize(70000);
      std::deque<std::vector<char>> buffers;
      DtInetSockChain chain;
      char const * at = bytes.data();
      for (int size = 0; sizes >> size; at += size)
         chain.push_back(&buffers.emplace_back(at, at + size));
      EXPECT_EQ(walker.walk(pieces, count, chain), line.substr(second + 3)) << line;
   }
   std::string const six = pdu(70, 6);
   std::vector<char> bytes(six.begin(), six.end());
   DtInetSockChain chain{&bytes};
   DtInetEndpoint from;
   walker.offsets = "none";
   for (int const count : {-2, 0, 70})
   {
      int status = count == 70 ? DtInetSockRcvFromQueue : 0;
      EXPECT_EQ(walker.unbundle(count, chain, from, &status), count);
   }
   EXPECT_EQ(walker.offsets, "none");
   walker.setMinPacketSize(0);
   EXPECT_EQ(walker.walk({}, 70, chain), "70 | | 0") << "must end without a smallest size";
}

template<class Socket>
class DtDisSocketQueue : public testing::Test
{
};

typedef testing::Types<DtDisSocket, DerivedSocket> Sockets;
TYPED_TEST_SUITE(DtDisSocketQueue, Sockets, );

TYPED_TEST(DtDisSocketQueue, DeliversRecordingsPduByPdu)
{
   for (std::string const recording :
        {"singles-s1", "bundles-s1", "edges-s1", "samples", "each-kind-v7", "coupled-turn"})
      for (std::string const setting : {"none", "v6", "no3", "state", "mixed"})
      {
         std::vector<std::string> const datagrams = payloadsOf(recording);
         std::vector<json> const expected = linesOf(recording + ".expected.jsonl");
         ASSERT_EQ(datagrams.size(), expected.size());
         CapturedStream warnings;
         RoadTo<TypeParam> road;
         for (auto & [name, test, op, values] : theFilters)
            if (name == setting)
               (road.dis.*test)()->setTest(op, static_cast<int>(values.size()), values.data());
         for (std::size_t i = 0; i < datagrams.size(); ++i)
         {
            road.send(datagrams[i]);
            json calls;
            while (calls.size() < expected[i][setting].size())
            {
               warnings.clear();
               Received const got(road.dis);
               json const digest = got.status > 0 ? json(sha256(got.bytes.data(), got.bytes.size())) : json();
               calls.push_back({got.status, digest, warned(warnings)});
               EXPECT_TRUE(got.status <= 0 || got.from.port() == road.peer.port());
            }
            ASSERT_EQ(calls, expected[i][setting]) << recording << ", " << setting << ", datagram " << i;
            ASSERT_EQ(road.receive(), 0);
         }
      }
}

TYPED_TEST(DtDisSocketQueue, IsServedAheadOfTheSocket)
{
   RoadTo<TypeParam> road;
   std::string const first = pdu(30, 6), second = pdu(40, 6), third = pdu(50, 6);
   road.dis.exerciseId()->setTest(DtPduTestExclude, 1);
   road.send(first + second);
   road.send(third);
   EXPECT_EQ(road.receive(), -2);
   road.dis.exerciseId()->disableTest();
   EXPECT_EQ(road.receive(65504, 0x1000), 50) << "the queue is passed over";
   EXPECT_EQ(road.dis.totalPacketsReceived(), 2u);
   Received const queued(road.dis);
   EXPECT_EQ(queued.bytes, second);
   EXPECT_EQ(queued.from, udpEndpoint("127.0.0.1", road.peer.port()));
   EXPECT_EQ(road.receive(), 50) << "queued beside its delivery";
   EXPECT_EQ(road.dis.totalPacketsReceived(), 4u);
   EXPECT_EQ(road.dis.totalBytesReceived(), 70u + 50u + 40u + 50u);
   road.send(first + second);
   EXPECT_EQ(road.receive(), 30);
   EXPECT_EQ(road.receive(39), -4) << "too small for it: the PDU is lost and the socket is read";
   EXPECT_EQ(road.receive(), 0);
   road.send(first + second);
   std::string raw(100, ' ');
   EXPECT_EQ(road.dis.recv(raw.data(), raw.size()), 70);
   EXPECT_EQ(raw.substr(0, 70), first + second);
   road.dis.setMinPacketSize(10);
   road.send(first + pdu(10, 6));
   EXPECT_EQ(road.receive(), 30);
   EXPECT_EQ(road.receive(), 10) << "its header reads on into zeros";
   road.dis.ipAddr()->setOperator(DtPduTestInclude);
   road.send(first);
   EXPECT_EQ(road.receive(), -2) << "the fourth test refuses everything";
   road.dis.setMinPacketSize(31);
   road.send(first);
   EXPECT_EQ(road.receive(65504, 0x2000), 30);
}

TYPED_TEST(DtDisSocketQueue, LeavesZerosWhereNothingWasReceived)
{
   RoadTo<TypeParam> road;
   std::string const claim = pdu(300, 6).substr(0, 100);
   typedef std::vector<std::pair<std::size_t, int>> Receives;
   // Datagrams, and the room and the result of each receive of them.
   for (auto const & [datagrams, receives] : std::vector<std::pair<std::vector<std::string>, Receives>>{
           {{pdu(250, 6)}, {{65504, 250}}},
           {{pdu(200, 6) + pdu(270, 6)}, {{65504, 200}, {65504, 270}}},
           {{pdu(290, 6)}, {{150, -1}}},
           {{pdu(200, 6) + pdu(270, 6), pdu(20, 6)}, {{65504, 200}, {260, 20}}}})
   {
      for (std::string const & datagram : datagrams)
         road.send(datagram);
      for (auto const & [room, status] : receives)
      {
         EXPECT_EQ(road.receive(room), status);
         EXPECT_EQ(road.dis.getLastError(), status == -1 ? 10040 : 0) << "does not fit";
         road.dis.clearError();
      }
      road.send(claim);
      EXPECT_EQ(Received(road.dis).bytes, claim + std::string(200, '\0'));
   }
   DtInetSocketProcessingCb const scribble = [](auto *, int count, auto & chain, auto &, void *)
   { return std::fill(chain[0]->begin(), chain[0]->end(), 's'), count; };
   road.dis.addProcessingCallback(DtInetSockPostReceive, scribble, nullptr, -1);
   road.send(claim);
   EXPECT_EQ(Received(road.dis).bytes, std::string(300, 's'));
   road.dis.removeProcessingCallback(DtInetSockPostReceive, scribble);
   road.send(claim);
   EXPECT_EQ(Received(road.dis).bytes, claim + std::string(200, '\0'));
}

TYPED_TEST(DtDisSocketQueue, TakesNoMemoryOnceItHasSettled)
{
   RoadTo<TypeParam> road;
   std::string bundle;
   while (bundle.size() < 1440)
      bundle += pdu(144, 7);
   std::vector<char> data(65504);
   DtInetEndpoint from;
   for (int turn = 0; turn < 20; ++turn)
   {
      road.send(bundle);
      std::size_t const before = allocationsOfThisThread();
      for (int i = 0; i <= 10; ++i)
         ASSERT_EQ(road.dis.recvFrom(data.data(), data.size(), from), i < 10 ? 144 : 0);
      EXPECT_TRUE(turn < 2 || allocationsOfThisThread() == before) << turn;
   }
}

} // namespace
