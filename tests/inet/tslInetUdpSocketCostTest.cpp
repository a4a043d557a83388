// SPDX-License-Identifier: MIT
// What a datagram costs: allocations, calls to the system and descriptors, which are the same on every
// machine.
#include "tslutil/inet/tslInetUdpSocket.h"

#include "inet/socketKit.h"
#include "support/allocations.h"
#include "support/loopbackPeer.h"
#include "support/systemCalls.h"
#include "support/watchdog.h"
#include "tslutil/inet/tslInetDevice.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <functional>

namespace
{

using namespace socketKit;

constexpr int theTurns = 100;

struct Way
{
   char const * name;
   std::function<int(DtInetUdpSocket &)> once;
   /// Whether a datagram has to lie there for it.
   bool receives;
   int result;
};

class Cost : public testing::TestWithParam<bool>
{
};

char theBytes[200];
std::vector<char> theFirst(72);
std::vector<char> theSecond(72);
std::vector<char> theWhole(144);

TEST_P(Cost, IsOneCallAndNoMemoryForADatagram)
{
   bool const hasDevice = GetParam();
   DtInetDevice lo(DtString("lo"));
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(peer.port()), 0, hasDevice ? &lo : nullptr, theNonBlocking);
   ASSERT_TRUE(socket.isOk());
   DtInetEndpoint to = loopback(peer.port());
   DtInetEndpoint from;
   DtInetSockChain one{&theWhole};
   DtInetSockChain two{&theFirst, &theSecond};
   std::size_t const size = 144;
   Way const ways[] = {
      {"send", [&](DtInetUdpSocket & s) { return s.send(theBytes, size); }, false, 144},
      {"sendTo", [&](DtInetUdpSocket & s) { return s.sendTo(theBytes, size, to); }, false, 144},
      {"sendChain of 1", [&](DtInetUdpSocket & s) { return s.sendChain(one); }, false, 144},
      {"sendChainTo of 2", [&](DtInetUdpSocket & s) { return s.sendChainTo(two, to); }, false, 144},
      {"recv", [&](DtInetUdpSocket & s) { return s.recv(theBytes, size); }, true, 144},
      {"recvFrom", [&](DtInetUdpSocket & s) { return s.recvFrom(theBytes, size, from); }, true, 144},
      {"recvToChain of 1", [&](DtInetUdpSocket & s) { return s.recvToChain(one); }, true, 144},
      {"recvToChainFrom of 1", [&](DtInetUdpSocket & s) { return s.recvToChainFrom(one, from); }, true, 144},
      {"recvToChainFrom of 2", [&](DtInetUdpSocket & s) { return s.recvToChainFrom(two, from); }, true, 144},
      {"empty recv", [&](DtInetUdpSocket & s) { return s.recv(theBytes, size); }, false, 0},
      {"empty recvFrom", [&](DtInetUdpSocket & s) { return s.recvFrom(theBytes, size, from); }, false, 0},
      {"empty recvToChainFrom", [&](DtInetUdpSocket & s) { return s.recvToChainFrom(two, from); }, false, 0},
   };
   // Two senders in turn, so that `from` changes each time.
   LoopbackPeer other;
   std::string const datagram(size, 'x');
   for (bool const isConnected : {false, true})
   {
      ASSERT_TRUE(!isConnected || socket.connectToDestination());
      for (Way const & way : ways)
      {
         std::size_t allocations = 0;
         std::size_t calls = 0;
         for (int i = 0; i < theTurns; ++i)
         {
            LoopbackPeer & sender = i % 2 == 0 || isConnected ? peer : other;
            if (way.receives)
               sender.send(datagram, "127.0.0.1", socket.localPort());
            SystemCallCount const callCount;
            AllocationCount const count;
            int const result = way.once(socket);
            allocations += count.here();
            calls += callCount.here();
            ASSERT_EQ(result, way.result) << way.name;
         }
         EXPECT_EQ(allocations, 0u) << way.name;
         EXPECT_TRUE(calls == std::size_t(theTurns) || !SystemCallCount::whyNot().empty())
            << way.name << ": " << calls;
         while (peer.receive(0.0))
         {
         }
      }
   }
}

INSTANTIATE_TEST_SUITE_P(Devices, Cost, testing::Bool(),
                         [](auto const & kind) { return kind.param ? "WithADevice" : "WithoutADevice"; });

int openDescriptors()
{
   int count = 0;
   DIR * const folder = opendir("/proc/self/fd");
   while (readdir(folder) != nullptr)
      ++count;
   closedir(folder);
   return count;
}

TEST(CostOfASocket, IsOneDescriptorUntilItNeedsMore)
{
   DtInetDevice lo(DtString("lo"));
   struct
   {
      DtInetDevice * device;
      unsigned long flags;
      int least;
      int most;
   } const rows[] = {
      {nullptr, DtInetSockFlagsDefault, 1, 1}, {&lo, theNonBlocking, 2, 2}, {nullptr, theAsync, 2, 5}};
   for (auto const & row : rows)
   {
      int const before = openDescriptors();
      {
         DtInetUdpSocket unopened;
         EXPECT_EQ(openDescriptors(), before);
         DtInetUdpSocket socket(loopback(9), 0, row.device, row.flags);
         EXPECT_GE(openDescriptors() - before, row.least);
         EXPECT_LE(openDescriptors() - before, row.most);
         socket.udpSocket();
         EXPECT_TRUE(socket.closeSocket());
      }
      EXPECT_EQ(openDescriptors(), before);
   }
}

// Both queues keep the memory of what has passed, so in the long run a datagram takes none.
TEST(CostOfASocket, IsNoMemoryInTheBackgroundThreadInTheLongRun)
{
   Watchdog const watchdog;
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, theAsync);
   DtInetEndpoint from;
   std::string const datagram(144, 'x');
   int received = 0;
   std::size_t sending = 0;
   auto const exchange = [&](int turns)
   {
      received = 0;
      sending = 0;
      for (int i = 0; i < turns; ++i)
      {
         peer.send(datagram, "127.0.0.1", socket.localPort());
         AllocationCount const count;
         EXPECT_EQ(socket.send(theBytes, 144), 144);
         sending += count.here();
         received += socket.recvFrom(theBytes, 200, from) > 0 ? 1 : 0;
         peer.receive();
      }
      EXPECT_TRUE(
         eventually([&] { return (received += socket.recvFrom(theBytes, 200, from) > 0 ? 1 : 0) == turns; }));
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
