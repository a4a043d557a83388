// SPDX-License-Identifier: MIT
#include "inet/socketKit.h"

#include <boost/asio/ip/udp.hpp>

#include <limits>

namespace
{

using namespace socketKit;

typedef boost::asio::ip::udp::socket BoostSocket;
typedef unsigned long Size;

struct WatchedSocket : Watched<DtInetUdpSocket>
{
   using DtInetUdpSocket::joinMulticastGroup, Watched::Watched;

   bool setBroadcastOption(bool on) override { return note('c', on) && Watched::setBroadcastOption(on); }
   bool joinMulticastGroup(DtInetAddr const & group, DtInetDevice * device) override
   {
      return note('j', localPort()) && Watched::joinMulticastGroup(group, device);
   }
};

TEST(DtInetUdpSocket, OpensThroughTheVirtualSetters)
{
   unsigned short const port = unusedPort();
   WatchedSocket socket({DtInetAddr("239.1.2.3"), port, DtInetProtoUdp}, 0, nullptr, 0x442, false);
   ASSERT_TRUE(socket.openSocket() && socket.getBroadcastOption());
   EXPECT_EQ(socket.calls, "r1 b1 c1 s65504 v65504 j" + std::to_string(port) + " ");
   WatchedSocket failing(loopback(), 0, nullptr, 0x002, false);
   failing.failing = 's';
   EXPECT_EQ(told(failing.openSocket(), failing), "0, 10022 error openSocket(): Cannot allocate memory");
   EXPECT_EQ(failing.calls, "r0 b0 c1 s65504 ");
}

TEST(DtInetUdpSocketOptions, KeepToWhatTheSystemHas)
{
   DtInetUdpSocket socket(loopback());
   EXPECT_TRUE(socket.getSendBufferSize() == 65504 && socket.getReceiveBufferSize() == 65504);
   Size const most = std::numeric_limits<Size>::max();
   EXPECT_TRUE(socket.setSendBufferSize(most) && socket.setReceiveBufferSize(most));
   EXPECT_TRUE(socket.getReceiveBufferSize() < 1ul << 31 && socket.getReceiveBufferSize() > 65504u);
   EXPECT_EQ(socket.getSendLowWatermark(), 1u);
}

TEST(DtInetUdpSocket, LendsItsSystemSocketToBoost)
{
   OpenUdpSocket socket(loopback(), 0, nullptr, 0xCC3, false);
   BoostSocket * const boost = static_cast<BoostSocket *>(socket.udpSocket());
   EXPECT_TRUE(socket.secondUdpSocket() == boost && !boost->is_open());
   EXPECT_TRUE(socket.openSocket() && boost->is_open() && boost->non_blocking());
   EXPECT_TRUE(socket.setNonBlockingOption(false) && !boost->non_blocking());
   EXPECT_EQ(std::pair(unsigned(boost->native_handle()), boost->local_endpoint().port()),
             std::pair(socket.descriptor(), socket.localPort()));
   // What the caller does to it holds: here it closes the socket.
   DtInetEndpoint to = loopback();
   char text[] = "x";
   EXPECT_EQ(socket.sendTo(text, 1, to), 1);
   boost->close();
   EXPECT_EQ(socket.recv(text, 1), DtInetSockRcvFailed);
   EXPECT_TRUE(socket.getLastError() == 10009 && socket.state() == DtInetSockOpen);
   EXPECT_TRUE(!socket.setBroadcastOption(true) && socket.sendTo(text, 1, to) == -1 && socket.closeSocket());

   OpenUdpSocket other(loopback());
   unsigned const descriptor = other.descriptor();
   EXPECT_EQ(unsigned(static_cast<BoostSocket *>(other.udpSocket())->native_handle()), descriptor);
   EXPECT_EQ(other.descriptor(), descriptor);
}

TEST(DtInetUdpSocket, ReceivesOnASecondSocketIfGivenOne)
{
   boost::asio::io_context context;
   auto * const second =
      new BoostSocket(context, boost::asio::ip::udp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
   OpenUdpSocket socket(loopback());
   socket.setSecondUdpSocket(second);
   EXPECT_TRUE(socket.secondUdpSocket() == second && socket.udpSocket() != second);
   LoopbackPeer peer;
   peer.send("first", "127.0.0.1", socket.localPort());
   peer.send("second", "127.0.0.1", second->local_endpoint().port());
   char bytes[10];
   EXPECT_EQ(socket.recv(bytes, sizeof bytes), 6);
   EXPECT_TRUE(socket.closeSocket() && !second->is_open());
}

using DtInetUdpSocketSend = InNetwork;

// Nobody answers for the address, so the system holds what is sent and soon takes no more.
TEST_F(DtInetUdpSocketSend, FlatOneFailsAndAChainIsNothingIfItWouldBlock)
{
   NetworkNamespace::connect(*network, "eth0", *network, "eth1");
   network->addAddress("eth0", "10.1.1.1/24");
   // Its background thread leaves the system's socket non-blocking, also while this one is to block.
   DtInetUdpSocket socket(DtInetEndpoint(DtInetAddr("10.1.1.77"), 9, DtInetProtoUdp), 0, nullptr,
                          theNonBlocking | DtInetSockFlagAsyncReceive);
   ASSERT_TRUE(socket.setSendBufferSize(1));
   std::vector<char> bytes(1000);
   DtInetSockChain chain{&bytes};
   while (socket.send(bytes.data(), bytes.size()) == 1000)
      socket.clearStats();
   EXPECT_TRUE(socket.isErrorWouldBlockOrTryAgain() && socket.state() == DtInetSockOpen);
   EXPECT_EQ(Counters(socket).sent, Count(0, 0));
   socket.clearError();
   EXPECT_TRUE(socket.sendChain(chain) == 0 && socket.isErrorWouldBlockOrTryAgain());
   EXPECT_EQ(Counters(socket).sent, Count(1, 0));
   // A blocking one waits, until the system gives up on the address.
   ASSERT_TRUE(socket.setNonBlockingOption(false));
   EXPECT_EQ(socket.send(bytes.data(), bytes.size()), 1000);
}

using DtInetUdpSocketAsync = WithPeer;

// Whoever floods the socket makes it hold so much and no more; what comes later is heard all the same.
TEST_F(DtInetUdpSocketAsync, HoldsAnUnreadQueueWithinBounds)
{
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, 0xD83);
   // The background thread reads all that comes, until it stops reading.
   auto const isRead = [&] { return socket.getBytesAvailable() == 0; };
   int sent = 0, received = 0;
   do
      deliver(std::string(60000, 'x'), socket);
   while (++sent < 2000 && eventually(isRead, 1.0));
   EXPECT_TRUE(sent > 500 && sent < 1500) << sent;
   std::vector<char> room(65536);
   EXPECT_TRUE(eventually(
      [&] { return (received += socket.recv(room.data(), room.size()) == 60000 ? 1 : 0) == sent; }));
   deliver("still there", socket);
   EXPECT_TRUE(eventually([&] { return socket.recv(room.data(), room.size()) == 11; }));
}

// The caller's thread and the background thread at the same socket, options included.
TEST_F(DtInetUdpSocketAsync, MayBeSetUpWhileItWorks)
{
   DtInetUdpSocket socket(loopback(9), 0, nullptr, theAsync);
   ASSERT_TRUE(socket.setDestination(loopback(socket.localPort())));
   char bytes[4];
   int received = 0;
   for (int i = 0; i < 300; ++i)
   {
      EXPECT_EQ(socket.send(bytes, 1), 1);
      // For as long as the datagram is under way, so that the two meet.
      for (int change = 0; change < 100; ++change)
         EXPECT_TRUE(socket.setNonBlockingOption(change % 2 == 0));
      EXPECT_TRUE(socket.setReceiveBufferSize(65504));
      received += socket.recv(bytes, 4) == 1 ? 1 : 0;
   }
   EXPECT_TRUE(eventually([&] { return (received += socket.recv(bytes, 4) == 1 ? 1 : 0) == 300; }));
}

} // namespace
