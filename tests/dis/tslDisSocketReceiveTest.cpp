// SPDX-License-Identifier: MIT
#include "disKit.h"
#include "support/allocations.h"
#include "support/capturedStream.h"
#include "support/sha256.h"
#include "support/tsv.h"

#include <deque>
#include <regex>

namespace
{

using nlohmann::json;

/// A "w" for each time that the one warning was printed, and what else was.
std::string warned(CapturedStream const & stream)
{
   static std::regex const warning("Failed to read expected Coupled Attribute PDU\n");
   return std::regex_replace(stream.textAt(1), warning, "w");
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

/// A closed socket whose operations are called by hand; notes the offsets that getPduSize() is told, and the
/// versions that an alignment is asked for.
class Walker : public DtDisSocket
{
public:
   Walker() : DtDisSocket(udpEndpoint("127.0.0.1", 9), 0, nullptr, theNonBlockingFlags, false) {}

   unsigned short getPduSize(DtDisSocketPduHeader * header, int offset, DtInetSockChain::iterator current,
                             DtInetSockChain::iterator end, int * status, bool & coupled,
                             bool expected) override
   {
      asked += " " + std::to_string(offset);
      return DtDisSocket::getPduSize(header, offset, current, end, status, coupled, expected);
   }

   unsigned long receiveBundleByteAlignment(int version) override
   {
      asked += ":" + std::to_string(version);
      return DtDisSocket::receiveBundleByteAlignment(version);
   }

   /// Unbundles a datagram from `chain` and takes the queue: what walks.tsv has of it.
   std::string walk(std::vector<std::string> const & pieces, int count, DtInetSockChain & chain)
   {
      asked.clear();
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
      return told + " |" + asked + warned(warnings);
   }

   std::string asked;
};

TEST(DtDisSocketReceive, DatagramsAreWalkedPduByPdu)
{
   Walker walker;
   for (Fields const & row : tableOf("dis/walks.tsv"))
   {
      std::istringstream sizes(row[1]);
      std::string bytes = datagramOf(row[0]);
      int const count = static_cast<int>(bytes.size());
      bytes.resize(70000);
      std::deque<std::vector<char>> buffers;
      DtInetSockChain chain;
      char const * at = bytes.data();
      for (int size = 0; sizes >> size; at += size)
         chain.push_back(&buffers.emplace_back(at, at + size));
      EXPECT_EQ(walker.walk(piecesOf(row[0]), count, chain), row[2]) << row[0];
   }
   std::string const six = pdu(70, 6);
   std::vector<char> bytes(six.begin(), six.end());
   DtInetSockChain chain{&bytes};
   DtInetEndpoint from;
   walker.asked = "none";
   for (int const count : {-2, 0, 70})
   {
      int status = count == 70 ? DtInetSockRcvFromQueue : 0;
      EXPECT_EQ(walker.unbundle(count, chain, from, &status), count);
   }
   EXPECT_EQ(walker.asked, "none");
   walker.setMinPacketSize(0);
   EXPECT_EQ(walker.walk({}, 70, chain), "70 | | 0:6") << "must end without a smallest size";
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
               calls.push_back({got.status, digest, warned(warnings).size()});
               EXPECT_TRUE(got.status <= 0 || got.from.port() == road.peer.port());
            }
            ASSERT_EQ(calls, expected[i][setting]) << recording << ", " << setting << ", datagram " << i;
            ASSERT_EQ(Received(road.dis).status, 0);
         }
      }
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
