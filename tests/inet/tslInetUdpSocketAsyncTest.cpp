// SPDX-License-Identifier: MIT
// Sending and receiving by the background thread.
#include "tslutil/inet/tslInetUdpSocket.h"

#include "inet/socketKit.h"
#include "support/loopbackPeer.h"
#include "support/watchdog.h"
#include "tslutil/inet/tslInetDevice.h"

#include <gtest/gtest.h>

namespace
{

using namespace socketKit;

// The queue's own counts, as callers know them: every poll of it is a packet, and -4 takes four bytes off.
TEST(DtInetUdpSocketAsync, CountsPollsOfTheQueue)
{
   Watchdog const watchdog;
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, theAsync);
   char bytes[4];
   DtInetEndpoint from = loopback(7);
   Chain chain({"-", "--"});
   EXPECT_EQ(socket.recv(bytes, 4), DtInetSockRcvNothing);
   EXPECT_EQ(socket.recvFrom(bytes, 4, from), DtInetSockRcvNothing);
   EXPECT_STREQ(from.toDtString(true), "0.0.0.0:any(UDP)");
   EXPECT_EQ(socket.recvToChain(chain.chain), DtInetSockRcvNothing);
   EXPECT_EQ(Counters(socket).received, Count(2, 0));
   for (bool const isFlat : {true, false})
   {
      peer.send("12345", "127.0.0.1", socket.localPort());
      EXPECT_TRUE(eventually(
         [&]
         {
            socket.clearStats();
            return (isFlat ? socket.recv(bytes, 4) : socket.recvToChain(chain.chain)) == DtInetSockRcvNoRoom;
         }));
      EXPECT_EQ(Counters(socket).received, Count(1, static_cast<std::uint64_t>(-4)));
   }
   EXPECT_EQ(chain.text(), "123");
   EXPECT_EQ(socket.getLastError(), 0);
}

TEST(DtInetUdpSocketAsync, FailureOfASendShowsAtTheNext)
{
   Watchdog const watchdog;
   LoopbackPeer peer;
   DtInetEndpoint const any(DtInetAddr(), peer.port(), DtInetProtoUdp);
   std::tuple<DtInetEndpoint, int, int> const rows[] = {{loopback(peer.port()), 70000, 10040},
                                                        {any, 5, 10049}};
   for (auto const & [to, size, code] : rows)
   {
      DtInetUdpSocket socket(to, 0, nullptr, 0xF80);
      std::vector<char> bytes(static_cast<std::size_t>(size));
      EXPECT_EQ(socket.send(bytes.data(), bytes.size()), size);
      EXPECT_TRUE(eventually([&] { return socket.send(bytes.data(), 1) == -1; }));
      EXPECT_EQ(socket.getLastError(), code);
      EXPECT_EQ(socket.recv(bytes.data(), 1), DtInetSockRcvFailed);
   }
}

// A datagram larger than the engine's buffer yields -4, and the reading goes on.
TEST(DtInetUdpSocketAsync, TellsOfADatagramThatWasCut)
{
   Watchdog const watchdog;
   int const before = DtInetUtils::getMaxPacketBufferSize();
   DtInetUtils::setMaxPacketBufferSize(1000);
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, 0xD83);
   DtInetUtils::setMaxPacketBufferSize(before);
   std::vector<char> room(2000);
   for (std::size_t const size : {1001u, 1000u})
   {
      peer.send(std::string(size, 'x'), "127.0.0.1", socket.localPort());
      int got = 0;
      EXPECT_TRUE(eventually([&] { return (got = socket.recv(room.data(), room.size())) != 0; }));
      EXPECT_EQ(got, size == 1000u ? 1000 : int(DtInetSockRcvNoRoom));
   }
}

TEST(DtInetUdpSocketAsync, SendsAllBeforeItCloses)
{
   Watchdog const watchdog;
   LoopbackPeer peer;
   {
      DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, 0xE80);
      for (char digit = '0'; digit <= '9'; ++digit)
         EXPECT_EQ(socket.send(&digit, 1), 1);
   }
   std::string all;
   while (auto const text = peer.receive(0.0))
      all += *text;
   EXPECT_EQ(all, "0123456789");
}

// Whoever floods the socket makes it hold so much and no more; what comes later is heard all the same.
TEST(DtInetUdpSocketAsync, HoldsAnUnreadQueueWithinBounds)
{
   Watchdog const watchdog(240);
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, 0xD83);
   std::string const large(60000, 'x');
   // The background thread reads all that comes, until it stops reading.
   auto const isRead = [&] { return socket.getBytesAvailable() == 0; };
   int sent = 0;
   do
      peer.send(large, "127.0.0.1", socket.localPort());
   while (++sent < 2000 && eventually(isRead, 1.0));
   EXPECT_LT(sent, 1500);
   EXPECT_GT(sent, 500);
   std::vector<char> room(65536);
   int received = 0;
   EXPECT_TRUE(eventually(
      [&] { return (received += socket.recv(room.data(), room.size()) == 60000 ? 1 : 0) == sent; }));
   peer.send("still there", "127.0.0.1", socket.localPort());
   EXPECT_TRUE(eventually([&] { return socket.recv(room.data(), room.size()) == 11; }));
}

// The caller's thread and the background thread at the same socket, options included.
TEST(DtInetUdpSocketAsync, MayBeSetUpWhileItWorks)
{
   Watchdog const watchdog;
   DtInetUdpSocket socket(loopback(9), 0, nullptr, theAsync);
   ASSERT_TRUE(socket.setDestination(loopback(socket.localPort())));
   char bytes[4];
   int received = 0;
   for (int i = 0; i < 300; ++i)
   {
      EXPECT_EQ(socket.send(bytes, 1), 1);
      EXPECT_TRUE(socket.setNonBlockingOption(i % 2 == 0));
      EXPECT_TRUE(socket.setReceiveBufferSize(65504));
      received += socket.recv(bytes, 4) == 1 ? 1 : 0;
   }
   EXPECT_TRUE(eventually([&] { return (received += socket.recv(bytes, 4) == 1 ? 1 : 0) == 300; }));
}

} // namespace
