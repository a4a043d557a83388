// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"

#include "disKit.h"
#include "support/allocations.h"
#include "support/sha256.h"

namespace
{

using nlohmann::json;

/// Notes what leaves as a bundle, or is too large for any. With an `answer` nothing leaves.
class Bundler : public DtDisSocket
{
public:
   using DtDisSocket::DtDisSocket;
   using DtDisSocket::flushBundle;

   int sendChainTo(DtInetSockChain & chain, DtInetEndpoint & to, unsigned long flags) override
   {
      if ((flags & DtInetSockSkipPreCallbacks) == 0)
         return DtDisSocket::sendChainTo(chain, to, flags);
      EXPECT_EQ(flags, this->flags() | 0x1000);
      told += " " + std::to_string(to.port()) + ":";
      for (std::vector<char> const * buffer : chain)
         told += (buffer->at(0) == 0 ? "+" : " ") + std::to_string(buffer->size());
      chainSizes.push_back(chain.size());
      return answer > -2 ? answer : DtDisSocket::sendChainTo(chain, to, flags);
   }

   unsigned long sendBundleByteAlignment() override
   {
      told += "'";
      return DtDisSocket::sendBundleByteAlignment();
   }

   /// Runs a script of steps: "30>2" sends 30 bytes to port 2, "a30" has sends answer 30, "m64" sets
   /// bundling, "f2" flushes the bundle for port 2, "F" all. Answers what was sent, each result but for good
   /// sends, and "'" each time that the alignment is asked for.
   std::string run(std::string const & script)
   {
      told.clear();
      std::istringstream steps(script);
      for (std::string step; steps >> step;)
      {
         int const number = std::atoi(step.c_str() + (std::isalpha(step[0]) != 0 ? 1 : 0));
         DtInetEndpoint to = udpEndpoint("127.0.0.1", static_cast<unsigned short>(step.back() - '0'));
         if (step[0] == 'a')
            answer = number;
         else if (step[0] == 'm')
            setBundling(number, 9, 9, true);
         else if (step[0] == 'f' || step[0] == 'F')
            told += " =" + std::to_string(step[0] == 'f' ? flushBundle(to) : flush());
         else if (sendFlat(*this, pdu(static_cast<std::size_t>(number), 7), to) != number)
            told += " failed";
      }
      return told;
   }

   int answer = -2;
   std::string told;
   std::vector<std::size_t> chainSizes;
};

/// Expects that a recording leaves a socket in the datagrams, each with its size and digest, that belong to a
/// limit and an alignment.
void expectBundles(DtDisSocket & dis, LoopbackPeer & plain, std::string const & recording,
                   json const & expected)
{
   json datagrams, wanted;
   for (json const & one : expected["datagrams"])
      wanted.push_back({one[0], one[3]});
   dis.setBundleByteAlignment(expected["align"]);
   dis.setBundling(expected["max"], 0, 0, false);
   auto const take = [&]
   {
      for (auto bytes = plain.receive(0); bytes; bytes = plain.receive(0))
         datagrams.push_back({bytes->size(), sha256(bytes->data(), bytes->size())});
   };
   for (std::string & payload : payloadsOf(recording))
   {
      EXPECT_EQ(dis.send(payload.data(), payload.size()), static_cast<int>(payload.size()));
      take();
   }
   EXPECT_EQ(dis.flush(), DtInetSockFlushDone);
   take();
   EXPECT_EQ(datagrams, wanted) << recording << expected["max"] << expected["align"];
}

TEST(DtDisSocketBundle, RecordingsAreBundledByLimitAndAlignment)
{
   DtInetDevice loopback(DtString("lo"));
   for (char const * name : {"singles-s1", "each-kind-v7"})
      for (json const & expected : linesOf(std::string(name) + ".bundled.jsonl"))
         for (bool const suppresses : {false, true})
         {
            LoopbackPeer plain;
            DtInetEndpoint const to = udpEndpoint("127.0.0.1", plain.port());
            DtDisSocket dis(to, unusedPort(), &loopback, DtInetSockFlagsDefault, true, suppresses);
            expectBundles(dis, plain, name, expected);
            Bundler noting(to, unusedPort(), &loopback, DtInetSockFlagsDefault, true, suppresses);
            expectBundles(noting, plain, name, expected);
            for (std::size_t i = 0; i < noting.chainSizes.size(); ++i)
               EXPECT_EQ(noting.chainSizes[i], expected["datagrams"][i][2]);
         }
}

TEST(DtDisSocketBundle, FillsUpAndLeavesForEachDestination)
{
   Bundler dis(udpEndpoint("127.0.0.1", 1), 0, nullptr, DtInetSockFlagsDefault, false);
   // clang-format off
   for (auto const & [script, told] : {
           std::pair("a0 F f2 m100 30>3 40>3 100>2", " =1 =1'''"),
           {"30>3", "' 3: 30+2 40 failed"}, // 72 and 30 are too many, and they can't leave
           {"F f3", " 2: 100 =0 3: 30+2 40 =0"},
           {"a71 F f3", " 2: 100 =-1 3: 30+2 40 =-1"}, // the first that fails stops the flush and stays
           {"a72 30>3 F", "' 3: 30+2 40 2: 100 =-1"},
           {"a100 f2 f2 m0 30>3 a30 F F", " 2: 100 =1 =1 failed 3: 30 =1 =1"}, // a bundle outlives the bundling
           {"m64 24>3 a24 65>3 a65 65>3", "'' 3: 24 3: 65 failed' 3: 65"}})
      // clang-format on
      EXPECT_EQ(dis.run(script), told) << script;
   EXPECT_EQ(dis.getMaxBundleSize(), 64);
   // A PDU that a bundle has swallowed counts, and one that failed doesn't.
   EXPECT_EQ(dis.totalPacketsSent(), 6u);
   EXPECT_EQ(dis.totalBytesSent(), 30u + 40 + 100 + 30 + 24 + 65);
}

TEST(DtDisSocketBundle, BelongsToAnAddressWhateverTheProtocol)
{
   Bundler dis(udpEndpoint("127.0.0.1", 1), 0, nullptr, DtInetSockFlagsDefault, false);
   dis.setBundling(64, 0, 0, false);
   std::vector<char> bytes(16, 'x');
   DtInetSockChain chain{&bytes};
   DtInetEndpoint two = udpEndpoint("127.0.0.1", 2), three(two.address(), 3, DtInetProtoNone);
   DtInetEndpoint four(two.address(), 4, DtInetProtoTcp);
   for (DtInetEndpoint * to : {&four, &three, &two, &two})
      EXPECT_EQ(dis.addToBundle(0, chain, *to, nullptr), 0);
   EXPECT_EQ(dis.run("a32 f2 a16 F"), " 2: 16 16 =1 3: 16 4: 16 =1");
   for (int const count : {-3, 0, 7})
      EXPECT_EQ(Bundler::flushBundle(&dis, count, chain, two, nullptr), count < 1 ? count : 16);
   dis.addToBundle(0, chain, two, nullptr);
   dis.answer = 15;
   EXPECT_EQ(Bundler::flushBundle(&dis, 7, chain, two, nullptr), -1);
}

TEST(DtDisSocketBundle, TakesNoMemoryOnceItHasSettled)
{
   LoopbackPeer peer;
   DtDisSocket dis(udpEndpoint("127.0.0.1", peer.port()), unusedPort());
   dis.setBundling(1400, 0, 0, false);
   std::string bytes = pdu(147, 7);
   for (int turn = 0; turn < 60; ++turn)
   {
      std::size_t const before = allocationsOfThisThread();
      ASSERT_EQ(dis.send(bytes.data(), bytes.size()), 147);
      EXPECT_TRUE(turn < 20 || allocationsOfThisThread() == before) << turn;
   }
   EXPECT_EQ(peer.receive()->size(), 152u * 9 - 5);
   EXPECT_EQ(dis.totalPacketsSent(), 60u + 6) << "each PDU, and each bundle again";
   EXPECT_EQ(dis.totalBytesSent(), 60u * 147 + 6 * (152 * 9 - 5));
}

} // namespace
