// SPDX-License-Identifier: MIT
#include "tslutil/dis/tslDisSocket.h"

#include "disRoad.h"
#include "recording.h"
#include "support/allocations.h"
#include "support/capturedStream.h"
#include "support/sha256.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace
{

using nlohmann::json;

std::string const theWarning = "Failed to read expected Coupled Attribute PDU\n";

std::size_t countOf(std::string const & text, std::string const & part)
{
   std::size_t count = 0;
   for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
      ++count;
   return count;
}

/// A DIS socket on loopback that never waits, and a peer that sends to it.
struct Road
{
   void send(std::string const & datagram) { peer.send(datagram, "127.0.0.1", dis.localPort()); }
   json receiveStatus(std::size_t room = 65504, unsigned long flags = 0)
   {
      return ::receive(dis, room, flags).status;
   }

   DtDisSocket dis{udpEndpoint("127.0.0.1", 0), 0, nullptr, theNonBlockingFlags};
   LoopbackPeer peer;
};

void set(DtPduFilterTest * test, DtPduTestOperator op, std::vector<unsigned long> values)
{
   test->setTest(op, static_cast<int>(values.size()), values.data());
}

void setFilters(DtDisSocket & dis, std::string const & setting)
{
   if (setting == "v6")
      set(dis.protocolVersion(), DtPduTestInclude, {6});
   if (setting == "mixed")
   {
      set(dis.protocolVersion(), DtPduTestInclude, {6, 7});
      set(dis.exerciseId(), DtPduTestExclude, {255});
      set(dis.pduKind(), DtPduTestExclude, {26});
   }
   if (setting == "no3")
      set(dis.exerciseId(), DtPduTestExclude, {3});
   if (setting == "state")
      set(dis.pduKind(), DtPduTestInclude, {1, 67, 72});
}

class Recording : public testing::TestWithParam<char const *>
{
};

INSTANTIATE_TEST_SUITE_P(All, Recording,
                         testing::Values("singles-s1", "bundles-s1", "edges-s1", "samples", "each-kind-v7",
                                         "coupled-turn"),
                         [](auto const & recording)
                         {
                            std::string name = recording.param;
                            std::replace(name.begin(), name.end(), '-', '_');
                            return name;
                         });

TEST_P(Recording, IsDeliveredPduByPdu)
{
   std::vector<std::string> const datagrams = payloadsOf(GetParam());
   std::vector<json> const expected = linesOf(std::string(GetParam()) + ".expected.jsonl");
   ASSERT_EQ(datagrams.size(), expected.size());
   CapturedStream warnings;
   for (char const * setting : {"none", "v6", "no3", "state", "mixed"})
   {
      Road road;
      setFilters(road.dis, setting);
      for (std::size_t i = 0; i < datagrams.size(); ++i)
      {
         road.send(datagrams[i]);
         json calls;
         for (std::size_t call = 0; call < expected[i][setting].size(); ++call)
         {
            warnings.clear();
            Received const got = receive(road.dis);
            json const digest = got.status > 0 ? json(sha256(got.bytes.data(), got.bytes.size())) : json();
            calls.push_back({got.status, digest, countOf(warnings.textAt(1), theWarning)});
            EXPECT_TRUE(got.status <= 0 || got.from.port() == road.peer.port());
         }
         ASSERT_EQ(calls, expected[i][setting]) << setting << ", datagram " << i;
         ASSERT_EQ(receive(road.dis).status, 0) << setting << ", datagram " << i;
      }
   }
}

/// A closed socket whose operations are called by hand; notes what getPduSize() is told.
class Walker : public DtDisSocket
{
public:
   Walker() : DtDisSocket(udpEndpoint("127.0.0.1", 9), 0, nullptr, theNonBlockingFlags, false) {}

   unsigned short getPduSize(DtDisSocketPduHeader * header, int offset, DtInetSockChain::iterator current,
                             DtInetSockChain::iterator end, int * status, bool & coupled,
                             bool expectAttribute) override
   {
      offsets.push_back(offset);
      return DtDisSocket::getPduSize(header, offset, current, end, status, coupled, expectAttribute);
   }

   /// The PDUs that wait in the queue, in order.
   std::vector<std::string> queued()
   {
      std::vector<std::string> pdus;
      std::vector<char> buffer(65535);
      DtInetSockChain chain{&buffer};
      DtInetEndpoint from;
      for (int status = 0;; status = 0)
      {
         int const size = getNextBundle(0, chain, from, &status);
         if (status != DtInetSockRcvFromQueue)
            return pdus;
         pdus.emplace_back(buffer.data(), static_cast<std::size_t>(size));
      }
   }

   std::vector<int> offsets;
};

/// Bytes in a chain of buffers of the given sizes.
struct Chain
{
   Chain(std::string const & bytes, std::vector<std::size_t> const & sizes)
   {
      std::size_t at = 0;
      for (std::size_t const size : sizes)
      {
         buffers.emplace_back(size);
         std::string const piece = bytes.substr(std::min(at, bytes.size()), size);
         std::copy(piece.begin(), piece.end(), buffers.back().begin());
         at += size;
      }
      for (std::vector<char> & buffer : buffers)
         chain.push_back(&buffer);
   }

   std::vector<std::vector<char>> buffers;
   DtInetSockChain chain;
};

struct Walk
{
   char const * what;
   std::vector<std::string> pieces;
   std::vector<std::size_t> buffers;
   int result;
   int status;
   std::vector<std::string> queued;
   std::vector<int> offsets;
   std::size_t warnings = 0;
};

TEST(DtDisSocketUnbundle, WalksThePdusOfADatagram)
{
   std::string const zeros(8, '\0');
   std::string const six30 = pdu(30, 6), six40 = pdu(40, 6), six60 = pdu(60, 6, 1, 0, 'q');
   std::string const seven30 = pdu(30, 7), seven40 = pdu(40, 7), seven61 = pdu(61, 7);
   std::string const coupled = pdu(30, 7, 1, 0x08), attribute = pdu(21, 7, 72),
                     lengthless = pdu(0x10000, 7).substr(0, 40);
   std::string cut30 = seven30;
   cut30.back() = '\0';
   std::vector<Walk> const walks = {
      {"one PDU", {pdu(144, 7)}, {65504}, 144, 0, {}, {0}},
      {"version 7 fills to 8", {seven30, "..", seven40}, {65504}, 72, 0, {seven40}, {0, 32}},
      {"below version 7 there is no fill", {six30, six40}, {65504}, 70, 0, {six40}, {0, 30}},
      {"a tail too short for a PDU is taken off", {six30, six40, zeros}, {65504}, 70, 0, {six40}, {0, 30}},
      {"also behind the only PDU, in a buffer of its size", {six30, zeros}, {38}, 30, 0, {}, {0}},
      {"a length of 0 ends it", {lengthless}, {65504}, 0, 0, {}, {0}},
      {"a later length of 0 drops the tail", {six40, lengthless}, {65504}, 80, 0, {}, {0, 40}},
      {"a length beyond the datagram counts alone", {six40.substr(0, 20)}, {65504}, 20, 0, {}, {0}},
      {"and is the result where the chain ends", {six40.substr(0, 20)}, {20}, 40, 0, {}, {0}},
      {"a length of 65535 leaps over nothing", {pdu(65535, 7).substr(0, 100)}, {65504}, 100, 0, {}, {0, 0}},
      {"within a buffer the offset stays",
       {six30, six40, six30},
       {65504},
       100,
       0,
       {six40, six30},
       {0, 30, 30}},
      {"also behind a PDU that reaches into it",
       {six40, six60, six30},
       {70, 100},
       130,
       0,
       {six60, six30},
       {0, 40, 40}},
      {"over an empty buffer too", {six40, six60, six30}, {70, 0, 100}, 130, 0, {six60, six30}, {0, 40, 40}},
      {"a step to the next buffer sets it",
       {six40, six60, six30},
       {100, 100},
       130,
       0,
       {six60, six30},
       {0, 40, 0}},
      {"it may lead beyond some", {seven61, "...", seven30}, {62, 1, 40}, 94, 0, {seven30}, {0, 1}},
      {"each piece costs the fill",
       {seven40, seven61, "...", seven30},
       {70, 100},
       134,
       0,
       {seven61},
       {0, 40, 40}},
      {"and may cost the last byte", {seven40, seven30, "."}, {69, 100}, 71, 0, {cut30}, {0, 40}},
      {"a straddling header ends it", {six40, six40}, {45, 100}, 80, 0, {}, {0, 40}},
      {"one in the first buffers gives nothing", {six40}, {5, 100}, 0, 0, {}, {0}},
      {"nor does a first buffer without bytes", {six40}, {0, 100}, 0, 0, {}, {0}},
      {"a chain that ends in a header", {six40, six40.substr(0, 12)}, {47}, 52, -4, {}, {0, 40}},
      {"a coupled pair is one unit", {coupled, "..", attribute}, {65504}, 53, 0, {}, {0, 32}},
      {"others follow it",
       {coupled, "..", attribute, "...", seven40},
       {65504},
       96,
       0,
       {seven40},
       {0, 32, 56}},
      {"without its partner", {coupled, "..", seven40}, {65504}, 72, 0, {seven40}, {0, 32, 32}, 1},
      {"where the chain ends", {coupled, "."}, {31}, 30, 0, {}, {0}, 1},
      {"a later one is never merged",
       {seven40, coupled, "..", attribute},
       {65504},
       93,
       0,
       {coupled, attribute},
       {0, 40, 72, 40},
       1},
      {"neither version 6 nor kind 72 is coupled",
       {pdu(24, 6, 1, 8), pdu(24, 7, 72, 8), attribute},
       {65504},
       69,
       0,
       {pdu(24, 7, 72, 8), attribute},
       {0, 24, 24}},
   };
   for (Walk const & walk : walks)
   {
      SCOPED_TRACE(walk.what);
      std::string datagram;
      for (std::string const & piece : walk.pieces)
         datagram += piece;
      Walker walker;
      Chain chain(datagram, walk.buffers);
      DtInetEndpoint from = udpEndpoint("10.0.0.1", 3000);
      CapturedStream warnings;
      int status = 0;
      EXPECT_EQ(walker.unbundle(static_cast<int>(datagram.size()), chain.chain, from, &status), walk.result);
      EXPECT_EQ(status, walk.status);
      EXPECT_EQ(walker.queued(), walk.queued);
      EXPECT_EQ(walker.offsets, walk.offsets);
      EXPECT_EQ(warnings.textAt(1).size(), walk.warnings * theWarning.size());
   }
}

TEST(DtDisSocketUnbundle, PassesThroughWhatIsNoDatagram)
{
   Walker walker;
   Chain chain(pdu(40, 6) + pdu(40, 6), {100});
   DtInetEndpoint from;
   for (auto const & [count, status] : std::vector<std::pair<int, int>>{{-2, -2}, {0, 0}, {80, -5}})
   {
      int word = status;
      EXPECT_EQ(walker.unbundle(count, chain.chain, from, &word), count);
      EXPECT_EQ(walker.queued().size() + walker.offsets.size(), 0u);
   }
   walker.setMinPacketSize(0);
   int status = 0;
   EXPECT_EQ(walker.unbundle(80, chain.chain, from, &status), 80) << "must end without a smallest size";
   EXPECT_EQ(walker.queued().size(), 1u);
}

TEST(DtDisSocketReceive, QueueIsServedAheadOfTheSocket)
{
   Road road;
   std::string const first = pdu(30, 6), second = pdu(40, 6), third = pdu(50, 6);
   set(road.dis.exerciseId(), DtPduTestExclude, {1});
   road.send(first + second);
   road.send(third);
   EXPECT_EQ(road.receiveStatus(), -2);
   road.dis.exerciseId()->disableTest();
   EXPECT_EQ(::receive(road.dis, 65504, 0x1000).bytes, third) << "the queue is passed over";
   EXPECT_EQ(road.dis.totalPacketsReceived(), 2u);
   Received const queued = receive(road.dis);
   EXPECT_EQ(queued.bytes, second);
   EXPECT_EQ(queued.from, udpEndpoint("127.0.0.1", road.peer.port()));
   EXPECT_EQ(receive(road.dis).bytes, third) << "queued beside its delivery";
   EXPECT_EQ(road.dis.totalPacketsReceived(), 4u);
   EXPECT_EQ(road.dis.totalBytesReceived(), 70u + 50u + 40u + 50u);

   road.send(first + second);
   EXPECT_EQ(road.receiveStatus(), 30);
   EXPECT_EQ(road.receiveStatus(39), -4) << "too small for it: the PDU is lost and the socket is read";
   EXPECT_EQ(road.receiveStatus(), 0);

   road.send(first + second);
   std::string raw(100, ' ');
   EXPECT_EQ(road.dis.recv(raw.data(), raw.size()), 70);
   EXPECT_EQ(raw.substr(0, 70), first + second);
   road.dis.ipAddr()->setOperator(DtPduTestInclude);
   road.send(first);
   EXPECT_EQ(road.receiveStatus(), -2) << "the fourth test refuses everything";
   road.dis.setMinPacketSize(31);
   road.send(first);
   EXPECT_EQ(road.receiveStatus(65504, 0x2000), 30);
}

int scribble(DtInetSocket *, int count, DtInetSockChain & chain, DtInetEndpoint &, void *)
{
   std::fill(chain[0]->begin(), chain[0]->end(), 's');
   return count;
}

TEST(DtDisSocketReceive, BytesThatWereNotReceivedAreZero)
{
   Road road;
   std::string const claim = pdu(300, 6, 1, 0, 'c').substr(0, 100);
   auto const expectZeros = [&]
   {
      road.send(claim);
      EXPECT_EQ(receive(road.dis).bytes, claim + std::string(200, '\0'));
   };
   road.send(pdu(250, 6));
   EXPECT_EQ(road.receiveStatus(), 250);
   expectZeros();
   road.send(pdu(200, 6) + pdu(270, 6));
   EXPECT_EQ(road.receiveStatus(), 200);
   EXPECT_EQ(road.receiveStatus(), 270);
   expectZeros();
   road.send(pdu(290, 6));
   EXPECT_EQ(road.receiveStatus(150), -1) << "does not fit";
   EXPECT_EQ(road.dis.getLastError(), 10040);
   expectZeros();
   road.send(pdu(200, 6) + pdu(270, 6));
   EXPECT_EQ(road.receiveStatus(), 200);
   road.send(pdu(20, 6));
   EXPECT_EQ(road.receiveStatus(260), 20) << "over a queued PDU that did not fit";
   expectZeros();
   road.dis.addProcessingCallback(DtInetSockPostReceive, scribble, nullptr, -1);
   road.send(claim);
   EXPECT_EQ(receive(road.dis).bytes, std::string(300, 's'));
   road.dis.removeProcessingCallback(DtInetSockPostReceive, scribble);
   expectZeros();
}

TEST(DtDisSocketReceive, TakesNoMemoryOnceItHasSettled)
{
   Road road;
   std::string bundle;
   for (int i = 0; i < 10; ++i)
      bundle += pdu(144, 7);
   std::vector<char> data(65504);
   DtInetEndpoint from;
   for (int turn = 0; turn < 20; ++turn)
   {
      road.send(bundle);
      std::size_t const before = allocationsOfThisThread();
      for (int i = 0; i < 10; ++i)
         ASSERT_EQ(road.dis.recvFrom(data.data(), data.size(), from), 144);
      ASSERT_EQ(road.dis.recvFrom(data.data(), data.size(), from), 0);
      EXPECT_EQ(allocationsOfThisThread() == before, turn > 0) << turn;
   }
}

} // namespace
