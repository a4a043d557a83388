// SPDX-License-Identifier: MIT
// What a datagram costs: allocations, calls to the system and descriptors, which are the same on every
// machine.
#include "inet/socketKit.h"
#include "support/allocations.h"
#include "support/systemCalls.h"

#include <filesystem>
#include <functional>

namespace
{

using namespace socketKit;

char theBytes[200];

using Cost = testing::TestWithParam<bool>;

TEST_P(Cost, IsOneCallAndNoMemoryForADatagram)
{
   DtInetDevice lo(DtString("lo"));
   // Two senders in turn, so that `from` changes each time.
   LoopbackPeer peer, other;
   DtInetUdpSocket socket(loopback(peer.port()), 0, GetParam() ? &lo : nullptr, theNonBlocking);
   ASSERT_TRUE(socket.isOk());
   DtInetEndpoint to = loopback(peer.port()), from;
   std::vector<char> whole(144), half1(72), half2(72);
   DtInetSockChain one{&whole}, two{&half1, &half2};
   // clang-format off
   // For a receive that is to give something a datagram has to lie there.
   std::tuple<char const *, std::function<int()>, bool, int> const ways[] = {
      {"send", [&] { return socket.send(theBytes, 144); }, false, 144},
      {"sendTo", [&] { return socket.sendTo(theBytes, 144, to); }, false, 144},
      {"sendChain of 1", [&] { return socket.sendChain(one); }, false, 144},
      {"sendChainTo of 2", [&] { return socket.sendChainTo(two, to); }, false, 144},
      {"recv", [&] { return socket.recv(theBytes, 144); }, true, 144},
      {"recvFrom", [&] { return socket.recvFrom(theBytes, 144, from); }, true, 144},
      {"recvToChain of 1", [&] { return socket.recvToChain(one); }, true, 144},
      {"recvToChainFrom of 1", [&] { return socket.recvToChainFrom(one, from); }, true, 144},
      {"recvToChainFrom of 2", [&] { return socket.recvToChainFrom(two, from); }, true, 144},
      {"empty recv", [&] { return socket.recv(theBytes, 144); }, false, 0},
      {"empty recvFrom", [&] { return socket.recvFrom(theBytes, 144, from); }, false, 0},
      {"empty recvToChainFrom", [&] { return socket.recvToChainFrom(two, from); }, false, 0},
   };
   // clang-format on
   constexpr std::size_t theTurns = 100;
   for (bool const isConnected : {false, true})
   {
      ASSERT_TRUE(!isConnected || socket.connectToDestination());
      for (auto const & [name, once, receives, wanted] : ways)
      {
         std::size_t allocations = 0, calls = 0;
         for (std::size_t i = 0; i < theTurns; ++i)
         {
            if (receives)
               (i % 2 == 0 || isConnected ? peer : other)
                  .send(std::string(144, 'x'), "127.0.0.1", socket.localPort());
            SystemCallCount const callCount;
            AllocationCount const count;
            ASSERT_EQ(once(), wanted) << name;
            allocations += count.here();
            calls += callCount.here();
         }
         EXPECT_EQ(allocations, 0u) << name;
         EXPECT_TRUE(calls == theTurns || !SystemCallCount::whyNot().empty()) << name << ": " << calls;
         while (peer.receive(0.0))
            continue;
      }
   }
}

INSTANTIATE_TEST_SUITE_P(Devices, Cost, testing::Bool(),
                         [](auto const & kind) { return kind.param ? "WithADevice" : "WithoutADevice"; });

using CostOfASocket = WithPeer;

std::ptrdiff_t openDescriptors()
{
   return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(CostOfASocket, IsOneDescriptorUntilItNeedsMore)
{
   DtInetDevice lo(DtString("lo"));
   std::tuple<DtInetDevice *, unsigned long, int, int> const rows[] = {
      {nullptr, DtInetSockFlagsDefault, 1, 1}, {&lo, theNonBlocking, 2, 2}, {nullptr, theAsync, 2, 5}};
   for (auto const & [device, flags, least, most] : rows)
   {
      std::ptrdiff_t const before = openDescriptors();
      {
         DtInetUdpSocket unopened;
         EXPECT_EQ(openDescriptors(), before);
         DtInetUdpSocket socket(loopback(9), 0, device, flags);
         std::ptrdiff_t const taken = openDescriptors() - before;
         EXPECT_TRUE(taken >= least && taken <= most) << taken;
         socket.udpSocket();
         EXPECT_TRUE(socket.closeSocket());
      }
      EXPECT_EQ(openDescriptors(), before);
   }
}

// Both queues keep the memory of what has passed, so in the long run a datagram takes none.
TEST_F(CostOfASocket, IsNoMemoryInTheBackgroundThreadInTheLongRun)
{
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, theAsync);
   DtInetEndpoint from;
   std::string const datagram(144, 'x');
   int received = 0;
   std::size_t sending = 0;
   auto const receive = [&] { return received += socket.recvFrom(theBytes, 200, from) > 0 ? 1 : 0; };
   auto const exchange = [&](int turns)
   {
      received = 0, sending = 0;
      for (int i = 0; i < turns; ++i)
      {
         deliver(datagram, socket);
         AllocationCount const count;
         EXPECT_EQ(socket.send(theBytes, 144), 144);
         sending += count.here();
         receive();
         peer.receive();
      }
      EXPECT_TRUE(eventually([&] { return receive() == turns; }));
   };
   exchange(500);
   // What the peer of this test takes, once for each datagram, is taken off.
   std::size_t const peersBefore = allocationsOfThisThread();
   AllocationCount const count;
   exchange(1000);
   std::size_t const here = allocationsOfThisThread() - peersBefore;
   EXPECT_LE(sending, 100u);
   EXPECT_LE(count.anywhere() - here, 100u);
}

} // namespace
