// SPDX-License-Identifier: MIT
#include "inet/socketKit.h"
#include "support/slots.h"

#include <boost/asio/ip/multicast.hpp>
#include <boost/asio/ip/udp.hpp>

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>
#include <unistd.h>

namespace
{

using namespace socketKit;

typedef boost::asio::ip::udp::socket BoostSocket;
typedef unsigned long Size;

constexpr Size theExclusive = DtInetSockFlagsDefault & ~static_cast<Size>(DtInetSockFlagReuseAddress);

#define BY(Argument, name) static_cast<bool (S::*)(Argument, DtInetDevice *)>(&S::name)

TEST(DtInetUdpSocket, SlotOrder)
{
   typedef DtInetUdpSocket S;
   std::size_t const first = slotOf(&DtInetSocket::removeProcessingCallback) + 2;
   EXPECT_TRUE(
      inSlotsFrom(first, &S::disconnect, &S::setBroadcastOption,
                  static_cast<bool (S::*)(DtInetDevice *)>(&S::setMcastDevice),
                  static_cast<bool (S::*)(DtInetAddr const &)>(&S::setMcastDevice), &S::getBroadcastOption,
                  BY(DtInetEndpoint const &, joinMulticastGroup), BY(DtInetAddr const &, joinMulticastGroup),
                  BY(DtInetEndpoint const &, dropMulticastGroup), BY(DtInetAddr const &, dropMulticastGroup),
                  &S::setMcastTtlOption, &S::udpSocket, &S::secondUdpSocket));
}

TEST(DtInetUdpSocket, OpensOnceAndNeverAgain)
{
   DtInetUdpSocket socket;
   EXPECT_TRUE(socket.state() == DtInetSockCreated && !socket.isOk() && socket.descriptor() == ~0u);
   ASSERT_TRUE(socket.setSocket(loopback(9, DtInetProtoNone), 0, nullptr, 0x700000343));
   EXPECT_TRUE(socket.flags() == 0x343 && socket.isNonBlocking());
   ASSERT_TRUE(socket.setSocket(loopback()) && socket.openSocket()) << told(socket);
   EXPECT_TRUE(socket.state() == DtInetSockOpen && socket.isOk() && !socket.setSocket(loopback()));
   EXPECT_TRUE(socket.isUdp() && socket.isIPv4() && socket.localEndpoint().address().isAnyAddr());
   unsigned const descriptor = socket.descriptor();
   EXPECT_TRUE(socket.openSocket() && socket.descriptor() == descriptor && socket.localPort() != 0);
   for (int i = 0; i < 2; ++i)
      EXPECT_TRUE(socket.closeSocket() && socket.state() == DtInetSockClosed);
   EXPECT_EQ(told(socket.openSocket(), socket), "0, 127 error openSocket(): Invalid state 9");
   EXPECT_EQ(told(socket.openSocket(), socket), "0, 127 error openSocket(): Invalid state -1");
   EXPECT_TRUE(!socket.setSocket(loopback()) && socket.closeSocket() && socket.state() == DtInetSockClosed);
}

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
}

TEST(DtInetUdpSocket, TellsWhyNot)
{
   unsigned short const port = unusedPort();
   DtInetDevice nowhere(DtString("no such device"));
   OpenUdpSocket local(loopback(), 0, nullptr, 0xC83, false), remote;
   local.myLocalEndpoint.setProtocol(DtInetProtoTcp);
   remote.myDestination = loopback(9, DtInetProtoTcp);
   WatchedSocket failing(loopback(), 0, nullptr, 0x002, false);
   failing.failing = 's';
   DtInetUdpSocket device(loopback(), 0, &nowhere, 0xC83, false),
      holder(loopback(), 0, nullptr, theExclusive);
   DtInetUdpSocket taken(loopback(), holder.localPort(), nullptr, 0xC83, false), open(loopback());
   DtInetUdpSocket any(DtInetEndpoint(DtInetAddr(), 9, DtInetProtoUdp)), connected(loopback()),
      broken(loopback());
   // A broadcast destination lends the socket its port, and holds it.
   DtInetUdpSocket broadcast(DtInetEndpoint(DtInetAddr("127.255.255.255"), port, DtInetProtoNone));
   EXPECT_EQ(broadcast.localPort(), port);
   ASSERT_TRUE(connected.connectToDestination() && broken.connectToDestination());
   auto const breaks = [](DtInetUdpSocket & socket)
   { return close(static_cast<int>(socket.descriptor())) == 0; };
   // clang-format off
   Telling const rows[] = {
      {local, [&] { return local.openSocket(); }, "0, 135 error openSocket(): Cannot open UDP socket from local TCP endpoint"},
      {remote, [&] { return remote.openSocket(); }, "0, 135 error openSocket(): Cannot open UDP socket to a remote TCP endpoint"},
      {device, [&] { return device.openSocket(); }, "0, 10022 error openSocket(): Bad device: Device no such device not found"},
      {taken, [&] { return taken.openSocket(); }, "0, 10048 error openSocket(): Error opening Boost socket\nAddress already in use"},
      {failing, [&] { return failing.openSocket(); }, "0, 10022 error openSocket(): Cannot allocate memory"},
      {open, [&] { return open.setDestination(loopback(8, DtInetProtoTcp)); }, "0, 10022 open setDestination(): Specified destination endpoint is not UDP"},
      {open, [&] { return open.destination().port(); }, "9, 10022 open setDestination(): Specified destination endpoint is not UDP"},
      {open, [&] { return open.setMcastDevice(DtInetAddr("192.0.2.77")); }, "0, 10049 error setMcastDevice(): Error setting multicast device to 192.0.2.77\nCannot assign requested address"},
      {open, [&] { return open.setSendLowWatermark(5); }, "0, 10042 error setSendLowWatermark(): Error setting send low watermark to 5\nProtocol not available"},
      {broadcast, [&] { return broadcast.connectToDestination(); }, "0, 0 open connectToDestination(): cannot connect() to multicast / broadcast destination"},
      {broadcast, [&] { return broadcast.setDestination(loopback()); }, "0, 10056 open setDestination(): Cannot change destination endpoint of open broadcast/multicast socket"},
      {any, [&] { return any.connectToDestination(); }, "0, 10049 error connectToDestination(): Error connecting Boost socket\nCannot assign requested address"},
      {connected, [&] { return breaks(connected) && connected.disconnect(); }, "0, 10009 error disconnect(): Error disconnecting Boost socket\nBad file descriptor"},
      {connected, [&] { return connected.setMcastTtlOption(3); }, "0, 10009 error setMcastTtl(): Error setting multicast TTL to  3\nBad file descriptor"},
      {connected, [&] { return int(connected.getBytesAvailable()); }, "0, 10009 error getBytesAvailable():\nBad file descriptor"},
      {broken, [&] { return breaks(broken) && broken.closeSocket(); }, "0, 10009 error closeSocket(): Error closing Boost socket\nBad file descriptor"},
      {broken, [&] { return broken.closeSocket(); }, "1, 10009 closed closeSocket(): Error closing Boost socket\nBad file descriptor"},
   };
   // clang-format on
   for (Telling const & row : rows)
      EXPECT_EQ(told(row.call(), row.socket), row.told);
   EXPECT_EQ(failing.calls, "r0 b0 c1 s65504 ");
   EXPECT_TRUE(open.setDestination(loopback(7, DtInetProtoNone)));
   EXPECT_STREQ(open.destination().toDtString(true), "127.0.0.1:7(UDP)");
}

TEST(DtInetUdpSocket, ConnectsOnceItIsOpen)
{
   DtInetUdpSocket socket(loopback(), 0, nullptr, DtInetSockFlagsDefault, false);
   EXPECT_TRUE(socket.disconnect() && socket.connectToDestination() && socket.state() == DtInetSockConnected);
   EXPECT_STREQ(socket.localEndpoint().address().toDtString(), "127.0.0.1");
   EXPECT_TRUE(socket.openSocket() && socket.closeSocket() && !socket.connectToDestination()) << told(socket);
}

TEST(DtInetUdpSocketOptions, KeepToWhatTheSystemHas)
{
   DtInetUdpSocket socket(loopback());
   EXPECT_TRUE(socket.getSendBufferSize() == 65504 && socket.getReceiveBufferSize() == 65504);
   Size const most = std::numeric_limits<Size>::max();
   EXPECT_TRUE(socket.setSendBufferSize(most) && socket.setReceiveBufferSize(most));
   EXPECT_TRUE(socket.getReceiveBufferSize() < 1ul << 31 && socket.getReceiveBufferSize() > 65504u);
   EXPECT_EQ(socket.getSendLowWatermark(), 1u);
   LoopbackPeer peer;
   for (char const * const text : {"12345", "1"})
      peer.send(text, "127.0.0.1", socket.localPort());
   EXPECT_EQ(socket.getBytesAvailable(), 5u);
}

TEST(DtInetUdpSocketOptions, OfGroups)
{
   for (char const * const address : {"127.0.0.1", "::1"})
   {
      DtInetUdpSocket socket(DtInetEndpoint(DtInetAddr(address), 9, DtInetProtoUdp), 0, nullptr, 0xC83,
                             false);
      EXPECT_FALSE(socket.setMcastTtlOption(256) || socket.setMcastDevice(DtInetAddr("127.0.0.1")) ||
                   socket.setMcastDevice(DtInetAddr("::1")));
      ASSERT_TRUE(socket.openSocket() && socket.setMcastTtlOption(255)) << told(socket);
      boost::asio::ip::multicast::hops ttl;
      static_cast<BoostSocket *>(socket.udpSocket())->get_option(ttl);
      EXPECT_EQ(ttl.value(), 255);
      for (Size const tooMany : {Size(256), std::numeric_limits<Size>::max()})
         EXPECT_THAT([&] { socket.setMcastTtlOption(tooMany); },
                     testing::ThrowsMessage<std::out_of_range>("multicast hops value out of range"));
      EXPECT_TRUE(socket.setMcastDevice(DtInetAddr("127.0.0.1")) &&
                  socket.setMcastDevice(DtInetAddr("::1")) &&
                  socket.setMcastDevice(static_cast<DtInetDevice *>(nullptr)))
         << told(socket);
   }
}

using DtInetUdpSocketGroups = InNetwork;

TEST_F(DtInetUdpSocketGroups, AreJoinedOnceAndLeftOtherwiseThanJoined)
{
   DtInetDevice lo(DtString("lo"));
   DtInetAddr const group("239.1.2.3");
   DtInetEndpoint const endpoint(group, 1, DtInetProtoUdp);
   DtInetUdpSocket socket(loopback());
   EXPECT_EQ(told(socket.dropMulticastGroup(group, nullptr), socket), "0, 0 open ? ");
   for (int i = 0; i < 2; ++i)
      EXPECT_TRUE(socket.joinMulticastGroup(endpoint, nullptr));
   EXPECT_EQ(told(socket.dropMulticastGroup(group, &lo), socket),
             "0, 10045 open dropMulticastGroup(): Error dropping group 239.1.2.3 cannot find a "
             "multicast capable device");
   EXPECT_TRUE(socket.dropMulticastGroup(group, nullptr) && !socket.dropMulticastGroup(group, nullptr));
   // Linux has a limit of its own.
   for (int i = 1; i <= 20; ++i)
      EXPECT_TRUE(socket.joinMulticastGroup(DtInetAddr(("239.1.3." + std::to_string(i)).c_str()), &lo));
   EXPECT_EQ(told(socket.joinMulticastGroup(endpoint, nullptr), socket),
             "0, 10055 error joinMulticastGroup(): Error joining group 239.1.2.3 on interface "
             "127.0.0.1\nNo buffer space available");
   DtInetUdpSocket ipv6(DtInetEndpoint(DtInetAddr("::1"), 9, DtInetProtoUdp));
   // The scope that counts is the one in the address, not the field beside it.
   DtInetAddr scoped("ff15::1");
   scoped.setScope(DtInetIpv6Scope(77));
   EXPECT_TRUE(ipv6.joinMulticastGroup(scoped, &lo) && ipv6.dropMulticastGroup(scoped, nullptr))
      << told(ipv6);
   network->ip("link set lo down");
   EXPECT_EQ(told(ipv6.joinMulticastGroup(DtInetAddr("ff15::1"), nullptr), ipv6),
             "0, 10045 open joinMulticastGroup(): Error joining group ff15::1 cannot find a "
             "multicast capable device");
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

} // namespace
