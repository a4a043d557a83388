// SPDX-License-Identifier: MIT
#include "disRoad.h"
#include "support/allocations.h"
#include "support/capturedStream.h"
#include "support/sha256.h"

#include <map>

namespace
{

using nlohmann::json;

/// How often the one warning was printed, and nothing else, since the last call.
std::size_t warned(CapturedStream & stream)
{
   std::string const text = stream.textAt(1), warning = "Failed to read expected Coupled Attribute PDU\n";
   std::size_t count = 0;
   while (text.compare(count * warning.size(), warning.size(), warning) == 0)
      ++count;
   EXPECT_EQ(text.size(), count * warning.size()) << text;
   stream.clear();
   return count;
}

/// A DIS socket on loopback that never waits, and a peer that sends to it.
struct Road
{
   void send(std::string const & datagram) { peer.send(datagram, "127.0.0.1", dis.localPort()); }
   int take(std::size_t room = 65504, unsigned long flags = 0) { return receive(dis, room, flags).status; }

   DtDisSocket dis{udpEndpoint("127.0.0.1", 0), 0, nullptr, theNonBlockingFlags};
   LoopbackPeer peer;
};

void setFilters(DtDisSocket & dis, std::string const & setting)
{
   // clang-format off
   std::tuple<std::string, DtPduFilterTest *, DtPduTestOperator, std::vector<unsigned long>> rows[] = {
      {"v6", dis.protocolVersion(), DtPduTestInclude, {6}}, {"mixed", dis.protocolVersion(), DtPduTestInclude, {6, 7}},
      {"mixed", dis.exerciseId(), DtPduTestExclude, {255}}, {"mixed", dis.pduKind(), DtPduTestExclude, {26}},
      {"no1", dis.exerciseId(), DtPduTestExclude, {1}}, {"no3", dis.exerciseId(), DtPduTestExclude, {3}},
      {"state", dis.pduKind(), DtPduTestInclude, {1, 67, 72}}};
   // clang-format on
   for (auto & [name, test, op, values] : rows)
      if (name == setting)
         test->setTest(op, static_cast<int>(values.size()), values.data());
}

TEST(DtDisSocketReceive, RecordingsAreDeliveredPduByPdu)
{
   CapturedStream warnings;
   for (std::string const name :
        {"singles-s1", "bundles-s1", "edges-s1", "samples", "each-kind-v7", "coupled-turn"})
   {
      std::vector<std::string> const datagrams = payloadsOf(name);
      std::vector<json> const expected = linesOf(name + ".expected.jsonl");
      ASSERT_EQ(datagrams.size(), expected.size());
      for (char const * setting : {"none", "v6", "no3", "state", "mixed"})
      {
         Road road;
         setFilters(road.dis, setting);
         for (std::size_t i = 0; i < datagrams.size(); ++i)
         {
            road.send(datagrams[i]);
            json calls;
            while (calls.size() < expected[i][setting].size())
            {
               Received const got = receive(road.dis);
               json const digest = got.status > 0 ? json(sha256(got.bytes.data(), got.bytes.size())) : json();
               calls.push_back({got.status, digest, warned(warnings)});
               EXPECT_TRUE(got.status <= 0 || got.from.port() == road.peer.port());
            }
            ASSERT_EQ(calls, expected[i][setting]) << name << " " << setting << ", datagram " << i;
            ASSERT_EQ(road.take(), 0) << name << " " << setting << ", datagram " << i;
         }
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
      int status = 0;
      for (int size; size = getNextBundle(0, chain, from, &status), status != 0; status = 0)
         pdus.emplace_back(buffer.data(), static_cast<std::size_t>(size));
      return pdus;
   }

   std::vector<int> offsets;
};

/// Bytes in a chain of buffers of the given sizes.
struct Chain
{
   Chain(std::string bytes, std::vector<std::size_t> const & sizes)
   {
      for (std::size_t const size : sizes)
      {
         buffers.emplace_back(bytes.begin(), bytes.begin() + static_cast<long>(std::min(size, bytes.size())));
         bytes.erase(0, size);
         buffers.back().resize(size);
      }
      for (std::vector<char> & buffer : buffers)
         chain.push_back(&buffer);
   }

   std::vector<std::vector<char>> buffers;
   DtInetSockChain chain;
};

TEST(DtDisSocketUnbundle, WalksThePdusOfADatagram)
{
   // clang-format off
   std::map<char, std::string> const pieces = {
      {'a', pdu(30, 6)}, {'b', pdu(40, 6)}, {'c', pdu(60, 6, 1, 0, 'q')}, {'h', pdu(40, 6).substr(0, 20)},
      {'i', pdu(40, 6).substr(0, 12)}, {'A', pdu(30, 7)}, {'B', pdu(40, 7)}, {'C', pdu(61, 7)},
      {'D', pdu(144, 7)}, {'K', pdu(30, 7, 1, 0x08)}, {'T', pdu(21, 7, 72)}, {'k', pdu(24, 6, 1, 0x08)},
      {'t', pdu(24, 7, 72, 0x08)}, {'0', pdu(0x10000, 7).substr(0, 40)}, {'9', pdu(65535, 7).substr(0, 100)},
      {'Z', std::string(8, '\0')}, {'.', "."}, {'X', pdu(30, 7).substr(0, 29) + '\0'}};
   struct Walk
   {
      char const * what, * datagram;
      std::vector<std::size_t> buffers;
      int result, status;
      char const * queued;
      std::vector<int> offsets;
      std::size_t warnings;
   } const walks[] = {
      {"one PDU", "D", {65504}, 144, 0, "", {0}, 0},
      {"version 7 fills to 8", "A..B", {65504}, 72, 0, "B", {0, 32}, 0},
      {"below version 7 there is no fill", "ab", {65504}, 70, 0, "b", {0, 30}, 0},
      {"a tail too short for a PDU is taken off", "abZ", {65504}, 70, 0, "b", {0, 30}, 0},
      {"also behind the only PDU, in a buffer of its size", "aZ", {38}, 30, 0, "", {0}, 0},
      {"a length of 0 ends it", "0", {65504}, 0, 0, "", {0}, 0},
      {"a later length of 0 drops the tail", "b0", {65504}, 80, 0, "", {0, 40}, 0},
      {"a length beyond the datagram counts alone", "h", {65504}, 20, 0, "", {0}, 0},
      {"and is the result where the chain ends", "h", {20}, 40, 0, "", {0}, 0},
      {"a length of 65535 leaps over nothing", "9", {65504}, 100, 0, "", {0, 0}, 0},
      {"within a buffer the offset stays", "aba", {65504}, 100, 0, "ba", {0, 30, 30}, 0},
      {"also behind a PDU that reaches into it", "bca", {70, 100}, 130, 0, "ca", {0, 40, 40}, 0},
      {"over an empty buffer too", "bca", {70, 0, 100}, 130, 0, "ca", {0, 40, 40}, 0},
      {"a step to the next buffer sets it", "bca", {100, 100}, 130, 0, "ca", {0, 40, 0}, 0},
      {"it may lead beyond some", "C...A", {62, 1, 40}, 94, 0, "A", {0, 1}, 0},
      {"each piece costs the fill", "BC...A", {70, 100}, 134, 0, "C", {0, 40, 40}, 0},
      {"and may cost the last byte", "BA.", {69, 100}, 71, 0, "X", {0, 40}, 0},
      {"a straddling header ends it", "bb", {45, 100}, 80, 0, "", {0, 40}, 0},
      {"one in the first buffers gives nothing", "b", {5, 100}, 0, 0, "", {0}, 0},
      {"nor does a first buffer without bytes", "b", {0, 100}, 0, 0, "", {0}, 0},
      {"a chain that ends in a header", "bi", {47}, 52, -4, "", {0, 40}, 0},
      {"a coupled pair is one unit", "K..T", {65504}, 53, 0, "", {0, 32}, 0},
      {"others follow it", "K..T...B", {65504}, 96, 0, "B", {0, 32, 56}, 0},
      {"without its partner", "K..B", {65504}, 72, 0, "B", {0, 32, 32}, 1},
      {"where the chain ends", "K.", {31}, 30, 0, "", {0}, 1},
      {"a later one is never merged", "BK..T", {65504}, 93, 0, "KT", {0, 40, 72, 40}, 1},
      {"neither version 6 nor kind 72 is coupled", "ktT", {65504}, 69, 0, "tT", {0, 24, 24}, 0}};
   // clang-format on
   for (Walk const & walk : walks)
   {
      std::string datagram;
      for (char const * piece = walk.datagram; *piece != '\0'; ++piece)
         datagram += pieces.at(*piece);
      std::vector<std::string> queued;
      for (char const * piece = walk.queued; *piece != '\0'; ++piece)
         queued.push_back(pieces.at(*piece));
      Walker walker;
      Chain chain(datagram, walk.buffers);
      DtInetEndpoint from = udpEndpoint("10.0.0.1", 3000);
      CapturedStream warnings;
      int status = 0;
      int const result = walker.unbundle(static_cast<int>(datagram.size()), chain.chain, from, &status);
      EXPECT_EQ(std::tuple(result, status, walker.queued(), walker.offsets, warned(warnings)),
                std::tuple(walk.result, walk.status, queued, walk.offsets, walk.warnings))
         << walk.what;
   }
}

TEST(DtDisSocketUnbundle, PassesThroughWhatIsNoDatagram)
{
   Walker walker;
   Chain chain(pdu(40, 6) + pdu(40, 6), {100});
   DtInetEndpoint from;
   for (auto [count, status] : {std::pair(-2, -2), {0, 0}, {80, -5}})
   {
      EXPECT_EQ(walker.unbundle(count, chain.chain, from, &status), count);
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
   auto const total = [&]
   { return std::pair(road.dis.totalPacketsReceived(), road.dis.totalBytesReceived()); };
   std::string const first = pdu(30, 6), second = pdu(40, 6), third = pdu(50, 6);
   setFilters(road.dis, "no1");
   road.send(first + second);
   road.send(third);
   EXPECT_EQ(road.take(), -2);
   road.dis.exerciseId()->disableTest();
   EXPECT_EQ(receive(road.dis, 65504, 0x1000).bytes, third) << "the queue is passed over";
   EXPECT_EQ(total(), std::pair(2ul, 70ul + 50));
   Received const queued = receive(road.dis);
   EXPECT_EQ(queued.bytes, second);
   EXPECT_EQ(queued.from, udpEndpoint("127.0.0.1", road.peer.port()));
   EXPECT_EQ(receive(road.dis).bytes, third) << "queued beside its delivery";
   EXPECT_EQ(total(), std::pair(4ul, 70ul + 50 + 40 + 50));

   road.send(first + second);
   EXPECT_EQ(road.take(), 30);
   EXPECT_EQ(road.take(39), -4) << "too small for it: the PDU is lost and the socket is read";
   EXPECT_EQ(road.take(), 0);

   road.send(first + second);
   std::string raw(100, ' ');
   EXPECT_EQ(road.dis.recv(raw.data(), raw.size()), 70);
   EXPECT_EQ(raw.substr(0, 70), first + second);
   road.dis.ipAddr()->setOperator(DtPduTestInclude);
   road.send(first);
   EXPECT_EQ(road.take(), -2) << "the fourth test refuses everything";
   road.dis.setMinPacketSize(31);
   road.send(first);
   EXPECT_EQ(road.take(65504, 0x2000), 30);
}

int scribble(DtInetSocket *, int count, DtInetSockChain & chain, DtInetEndpoint &, void *)
{
   std::fill(chain[0]->begin(), chain[0]->end(), 's');
   return count;
}

TEST(DtDisSocketReceive, BytesThatWereNotReceivedAreZero)
{
   Road road;
   std::string const claim = pdu(300, 6, 1, 0, 'c').substr(0, 100), two = pdu(200, 6) + pdu(270, 6);
   typedef std::tuple<std::string, std::size_t, int> Use;
   for (std::vector<Use> const & uses :
        std::vector<std::vector<Use>>{{{pdu(250, 6), 65504, 250}},
                                      {{two, 65504, 200}, {"", 65504, 270}},
                                      {{pdu(290, 6), 150, -1}},                   // does not fit
                                      {{two, 65504, 200}, {pdu(20, 6), 260, 20}}, // over one that did not
                                      {{claim, 65504, 300}}})
   {
      bool const scribbles = uses[0] == Use(claim, 65504, 300);
      if (scribbles)
         road.dis.addProcessingCallback(DtInetSockPostReceive, scribble, nullptr, -1);
      for (auto const & [datagram, room, status] : uses)
      {
         if (!datagram.empty())
            road.send(datagram);
         Received const got = receive(road.dis, room);
         EXPECT_EQ(got.status, status);
         EXPECT_TRUE(status != -1 || road.dis.getLastError() == 10040);
         EXPECT_TRUE(!scribbles || got.bytes == std::string(300, 's'));
      }
      road.dis.removeProcessingCallback(DtInetSockPostReceive, scribble);
      road.send(claim);
      EXPECT_EQ(receive(road.dis).bytes, claim + std::string(200, '\0'));
   }
}

TEST(DtDisSocketReceive, NeitherItNorSendingTakesMemoryOnceSettled)
{
   unsigned short const port = unusedPort();
   DtDisSocket dis(udpEndpoint("127.0.0.1", port), port, nullptr, theNonBlockingFlags);
   dis.setBundling(1440, 0, 0, false);
   std::string bytes = pdu(144, 7), data(65504, ' ');
   DtInetEndpoint from;
   for (int turn = 0; turn < 20; ++turn)
   {
      std::size_t const before = allocationsOfThisThread();
      for (int i = 0; i < 11; ++i)
         ASSERT_EQ(dis.send(bytes.data(), bytes.size()), 144) << "the last one makes the bundle leave";
      ASSERT_EQ(dis.flush(), 1);
      for (int i = 0; i < 11; ++i)
         ASSERT_EQ(dis.recvFrom(data.data(), data.size(), from), 144);
      ASSERT_EQ(dis.recvFrom(data.data(), data.size(), from), 0);
      EXPECT_TRUE(turn < 2 || allocationsOfThisThread() == before) << turn;
   }
}

} // namespace
