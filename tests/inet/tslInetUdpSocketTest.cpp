// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetUdpSocket.h"

#include "support/loopbackPeer.h"
#include "support/networkNamespace.h"
#include "support/slots.h"
#include "tslutil/inet/tslInetDevice.h"

#include <boost/asio/ip/multicast.hpp>
#include <boost/asio/ip/udp.hpp>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <unistd.h>

namespace
{

typedef boost::asio::ip::udp::socket BoostSocket;

constexpr unsigned long theExclusive =
   DtInetSockFlagsDefault & ~static_cast<unsigned long>(DtInetSockFlagReuseAddress);

DtInetEndpoint loopback(unsigned short port = 9, DtInetProtocol protocol = DtInetProtoUdp)
{
   return {DtInetAddr("127.0.0.1"), port, protocol};
}

/// Reaches what a socket keeps protected.
class OpenUdpSocket : public DtInetUdpSocket
{
public:
   using DtInetSocket::fail;
   using DtInetSocket::myDestination;
   using DtInetSocket::myLocalEndpoint;
   using DtInetUdpSocket::DtInetUdpSocket;
   using DtInetUdpSocket::setSecondUdpSocket;
};

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
   EXPECT_EQ(socket.state(), DtInetSockCreated);
   EXPECT_FALSE(socket.isOk());
   EXPECT_EQ(socket.descriptor(), std::numeric_limits<unsigned>::max());
   ASSERT_TRUE(socket.setSocket(loopback(9, DtInetProtoNone), 0, nullptr, 0x343));
   EXPECT_EQ(socket.flags(), 0x343u);
   EXPECT_TRUE(socket.isNonBlocking());
   ASSERT_TRUE(socket.setSocket(loopback()));
   ASSERT_TRUE(socket.openSocket()) << socket.getLastErrorString();
   EXPECT_EQ(socket.state(), DtInetSockOpen);
   EXPECT_TRUE(socket.isOk());
   EXPECT_FALSE(socket.setSocket(loopback()));
   EXPECT_TRUE(socket.isUdp() && socket.isIPv4() && socket.localEndpoint().address().isAnyAddr());
   unsigned const descriptor = socket.descriptor();
   EXPECT_NE(socket.localPort(), 0);
   EXPECT_TRUE(socket.openSocket());
   EXPECT_EQ(socket.descriptor(), descriptor);
   EXPECT_TRUE(socket.closeSocket());
   EXPECT_EQ(socket.state(), DtInetSockClosed);
   EXPECT_TRUE(socket.closeSocket());
   EXPECT_FALSE(socket.openSocket());
   EXPECT_EQ(socket.getLastError(), 127);
   EXPECT_STREQ(socket.getLastErrorString(), "DtInetUdpSocket::openSocket(): Invalid state 9");
   EXPECT_FALSE(socket.openSocket());
   EXPECT_STREQ(socket.getLastErrorString(), "DtInetUdpSocket::openSocket(): Invalid state -1");
   EXPECT_FALSE(socket.setSocket(loopback()));
   EXPECT_TRUE(socket.closeSocket());
   EXPECT_EQ(socket.state(), DtInetSockClosed);
}

TEST(DtInetUdpSocket, RefusesToOpenWithTheWrongEnds)
{
   OpenUdpSocket local(loopback(), 0, nullptr, DtInetSockFlagsDefault, false);
   local.myLocalEndpoint.setProtocol(DtInetProtoTcp);
   OpenUdpSocket remote;
   remote.myDestination = loopback(9, DtInetProtoTcp);
   DtInetDevice nowhere(DtString("no such device"));
   DtInetUdpSocket device(loopback(), 0, &nowhere, DtInetSockFlagsDefault, false);
   DtInetUdpSocket holder(loopback(), 0, nullptr, theExclusive);
   DtInetUdpSocket taken(loopback(), holder.localPort(), nullptr, DtInetSockFlagsDefault, false);
   struct
   {
      DtInetUdpSocket & socket;
      int code;
      char const * text;
   } const rows[] = {
      {local, 135, "Cannot open UDP socket from local TCP endpoint"},
      {remote, 135, "Cannot open UDP socket to a remote TCP endpoint"},
      {device, 10022, "Bad device: Device no such device not found"},
      {taken, 10048, "Error opening Boost socket\nAddress already in use"},
   };
   for (auto const & row : rows)
   {
      EXPECT_FALSE(row.socket.openSocket());
      EXPECT_EQ(row.socket.state(), DtInetSockError);
      EXPECT_EQ(row.socket.getLastError(), row.code);
      EXPECT_STREQ(row.socket.getLastErrorString(), (DtString("DtInetUdpSocket::openSocket(): ") + row.text));
   }
}

/// Notes the setters that its opening goes through, and fails in one of them if asked to.
class WatchedSocket : public DtInetUdpSocket
{
public:
   WatchedSocket(DtInetEndpoint const & destination, unsigned long flags, bool throws)
      : DtInetUdpSocket(destination, 0, nullptr, flags, false), throwing(throws)
   {
   }
   bool setReuseAddressOption(bool on) override { return note("reuse", on); }
   bool setNonBlockingOption(bool on) override { return note("nonBlocking", on); }
   bool setBroadcastOption(bool on) override
   {
      return note("broadcast", on) && DtInetUdpSocket::setBroadcastOption(on);
   }
   bool setSendBufferSize(unsigned long bytes) override { return note("send", bytes); }
   bool setReceiveBufferSize(unsigned long bytes) override
   {
      if (throwing)
         throw std::runtime_error("no more");
      return note("receive", bytes);
   }
   using DtInetUdpSocket::joinMulticastGroup;
   bool joinMulticastGroup(DtInetAddr const & group, DtInetDevice * device) override
   {
      note("join", localPort());
      return DtInetUdpSocket::joinMulticastGroup(group, device);
   }

   std::string calls;

private:
   bool note(char const * what, unsigned long value)
   {
      calls += std::string(what) + "=" + std::to_string(value) + " ";
      return true;
   }
   bool throwing;
};

TEST(DtInetUdpSocket, OpensThroughTheVirtualSetters)
{
   unsigned short const port = unusedPort();
   WatchedSocket socket(DtInetEndpoint(DtInetAddr("239.1.2.3"), port, DtInetProtoUdp), 0x442, false);
   ASSERT_TRUE(socket.openSocket());
   EXPECT_EQ(socket.calls,
             "reuse=1 nonBlocking=1 broadcast=1 send=65504 receive=65504 join=" + std::to_string(port) + " ");
   EXPECT_TRUE(socket.getBroadcastOption());
   WatchedSocket throwing(loopback(), 0x002, true);
   EXPECT_FALSE(throwing.openSocket());
   EXPECT_EQ(throwing.calls, "reuse=0 nonBlocking=0 broadcast=1 send=65504 ");
   EXPECT_EQ(throwing.getLastError(), 10022);
   EXPECT_STREQ(throwing.getLastErrorString(), "DtInetUdpSocket::openSocket(): no more");
   EXPECT_EQ(throwing.state(), DtInetSockError);
}

TEST(DtInetUdpSocket, DestinationHasToFitTheSocket)
{
   DtInetUdpSocket socket(loopback());
   EXPECT_FALSE(socket.setDestination(loopback(8, DtInetProtoTcp)));
   EXPECT_EQ(socket.getLastError(), 10022);
   EXPECT_STREQ(socket.getLastErrorString(),
                "DtInetUdpSocket::setDestination(): Specified destination endpoint is not UDP");
   EXPECT_EQ(socket.destination().port(), 9);
   EXPECT_TRUE(socket.setDestination(loopback(7, DtInetProtoNone)));
   EXPECT_STREQ(socket.destination().toDtString(true), "127.0.0.1:7(UDP)");
   // A broadcast destination lends the socket its port, and holds it.
   unsigned short const port = unusedPort();
   DtInetUdpSocket broadcast(DtInetEndpoint(DtInetAddr("127.255.255.255"), port, DtInetProtoNone));
   EXPECT_EQ(broadcast.localPort(), port);
   EXPECT_FALSE(broadcast.setDestination(loopback()));
   EXPECT_EQ(broadcast.getLastError(), 10056);
   EXPECT_STREQ(broadcast.getLastErrorString(), "DtInetUdpSocket::setDestination(): Cannot change "
                                                "destination endpoint of open broadcast/multicast socket");
   EXPECT_EQ(broadcast.state(), DtInetSockOpen);
   broadcast.clearError();
   EXPECT_FALSE(broadcast.connectToDestination());
   EXPECT_EQ(broadcast.getLastError(), 0);
   EXPECT_STREQ(
      broadcast.getLastErrorString(),
      "DtInetUdpSocket::connectToDestination(): cannot connect() to multicast / broadcast destination");
   EXPECT_EQ(broadcast.state(), DtInetSockOpen);
}

TEST(DtInetUdpSocket, ConnectsAndTellsWhyNot)
{
   DtInetUdpSocket socket(loopback(), 0, nullptr, DtInetSockFlagsDefault, false);
   EXPECT_TRUE(socket.disconnect());
   EXPECT_TRUE(socket.connectToDestination());
   EXPECT_EQ(socket.state(), DtInetSockConnected);
   EXPECT_STREQ(socket.localEndpoint().address().toDtString(), "127.0.0.1");
   EXPECT_TRUE(socket.openSocket());
   EXPECT_TRUE(socket.closeSocket()) << socket.getLastErrorString();
   EXPECT_FALSE(socket.connectToDestination());
   DtInetUdpSocket nowhere(DtInetEndpoint(DtInetAddr(), 9, DtInetProtoUdp));
   EXPECT_FALSE(nowhere.connectToDestination());
   EXPECT_EQ(nowhere.getLastError(), 10049);
   EXPECT_STREQ(nowhere.getLastErrorString(),
                "DtInetUdpSocket::connectToDestination(): Error connecting Boost "
                "socket\nCannot assign requested address");
   EXPECT_EQ(nowhere.state(), DtInetSockError);
   DtInetUdpSocket broken(loopback());
   ASSERT_TRUE(broken.connectToDestination());
   close(static_cast<int>(broken.descriptor()));
   EXPECT_FALSE(broken.disconnect());
   EXPECT_EQ(broken.getLastError(), 10009);
   EXPECT_STREQ(broken.getLastErrorString(),
                "DtInetUdpSocket::disconnect(): Error disconnecting Boost socket\nBad file descriptor");
   EXPECT_FALSE(broken.closeSocket());
   EXPECT_STREQ(broken.getLastErrorString(),
                "DtInetUdpSocket::closeSocket(): Error closing Boost socket\nBad file descriptor");
   EXPECT_EQ(broken.state(), DtInetSockError);
   EXPECT_TRUE(broken.closeSocket());
}

// Each option as a pair of setter and getter, on one socket and on the two of a device.

struct Option
{
   char const * name;
   bool (*set)(DtInetUdpSocket &, unsigned long);
   char const * setterText;
   unsigned long (*get)(DtInetUdpSocket &);
   char const * getterText;
   unsigned long value;
};

typedef unsigned long Size;
#define SETTER(name, Type) [](DtInetUdpSocket & s, unsigned long value) { return s.name(Type(value)); }
#define GETTER(name) [](DtInetUdpSocket & s) { return static_cast<unsigned long>(s.name()); }

Option const theOptions[] = {
   {"setNonBlockingOption", SETTER(setNonBlockingOption, bool), "enabling non-blocking IO",
    GETTER(isNonBlocking), nullptr, 1},
   {"setReuseAddressOption", SETTER(setReuseAddressOption, bool), "enabling address reuse",
    GETTER(getReuseAddressOption), "getReuseAddressOption", 1},
   {"setBroadcastOption", SETTER(setBroadcastOption, bool), "disabling broadcast", GETTER(getBroadcastOption),
    "getBroadcastOption", 0},
   {"setDoNotRouteOption", SETTER(setDoNotRouteOption, bool), "enabling do-not-route",
    GETTER(getDoNotRouteOption), "getDoNotRouteOption", 1},
   {"setSendBufferSize", SETTER(setSendBufferSize, Size), "setting send buffer size to 20000",
    GETTER(getSendBufferSize), "getDoNotRouteOption", 20000},
   {"setReceiveBufferSize", SETTER(setReceiveBufferSize, Size), "setting receive buffer size to 20000",
    GETTER(getReceiveBufferSize), "getDoNotRouteOption", 20000},
   {"setReceiveLowWatermark", SETTER(setReceiveLowWatermark, Size), "setting receive low watermark to 5",
    GETTER(getReceiveLowWatermark), "getReceiveLowWatermark", 5},
};

TEST(DtInetUdpSocketOptions, AreSetAndReadAndTellWhyNot)
{
   DtInetDevice lo(DtString("lo"));
   for (Option const & option : theOptions)
      for (DtInetDevice * const device : {static_cast<DtInetDevice *>(nullptr), &lo})
      {
         OpenUdpSocket socket(loopback(), 0, device, theExclusive, false);
         EXPECT_FALSE(option.set(socket, option.value));
         EXPECT_EQ(option.get(socket), 0u);
         EXPECT_EQ(socket.getLastError(), 0);
         ASSERT_TRUE(socket.openSocket());
         EXPECT_NE(option.get(socket), option.value) << option.name;
         EXPECT_TRUE(option.set(socket, option.value)) << socket.getLastErrorString();
         EXPECT_EQ(option.get(socket), option.value) << option.name;
         // A failure of either is told, with the texts as they have come to be.
         close(static_cast<int>(socket.descriptor()));
         EXPECT_FALSE(option.set(socket, option.value));
         EXPECT_EQ(socket.getLastError(), 10009);
         EXPECT_EQ(socket.state(), DtInetSockError);
         EXPECT_STREQ(socket.getLastErrorString(),
                      (DtString("DtInetUdpSocket::") + option.name + "(): Error " + option.setterText +
                       "\nBad file descriptor"));
         if (option.getterText == nullptr)
            continue;
         EXPECT_EQ(option.get(socket), 0u);
         EXPECT_STREQ(socket.getLastErrorString(),
                      (DtString("DtInetUdpSocket::") + option.getterText + "():\nBad file descriptor"));
      }
}

TEST(DtInetUdpSocketOptions, KeepToWhatTheSystemHas)
{
   DtInetUdpSocket socket(loopback());
   EXPECT_EQ(socket.getSendBufferSize(), 65504u);
   EXPECT_EQ(socket.getReceiveBufferSize(), 65504u);
   EXPECT_TRUE(socket.setSendBufferSize(std::numeric_limits<unsigned long>::max()));
   EXPECT_TRUE(socket.setReceiveBufferSize(std::numeric_limits<unsigned long>::max()));
   EXPECT_LT(socket.getReceiveBufferSize(), 1ul << 31);
   EXPECT_GT(socket.getReceiveBufferSize(), 65504u);
   EXPECT_EQ(socket.getSendLowWatermark(), 1u);
   EXPECT_FALSE(socket.setSendLowWatermark(5));
   EXPECT_EQ(socket.getLastError(), 10042);
   EXPECT_STREQ(socket.getLastErrorString(), "DtInetUdpSocket::setSendLowWatermark(): Error setting send low "
                                             "watermark to 5\nProtocol not available");
   EXPECT_EQ(socket.state(), DtInetSockError);
   LoopbackPeer peer;
   peer.send("12345", "127.0.0.1", socket.localPort());
   peer.send("1", "127.0.0.1", socket.localPort());
   EXPECT_EQ(socket.getBytesAvailable(), 5u);
   close(static_cast<int>(socket.descriptor()));
   EXPECT_EQ(socket.getBytesAvailable(), 0u);
   EXPECT_STREQ(socket.getLastErrorString(), "DtInetUdpSocket::getBytesAvailable():\nBad file descriptor");
}

TEST(DtInetUdpSocketOptions, OfGroups)
{
   for (char const * const address : {"127.0.0.1", "::1"})
   {
      DtInetUdpSocket socket(DtInetEndpoint(DtInetAddr(address), 9, DtInetProtoUdp), 0, nullptr, 0xC83,
                             false);
      EXPECT_FALSE(socket.setMcastTtlOption(256));
      EXPECT_FALSE(socket.setMcastDevice(DtInetAddr("127.0.0.1")));
      EXPECT_FALSE(socket.setMcastDevice(DtInetAddr("::1")));
      ASSERT_TRUE(socket.openSocket()) << socket.getLastErrorString();
      EXPECT_TRUE(socket.setMcastTtlOption(255)) << socket.getLastErrorString();
      boost::asio::ip::multicast::hops ttl;
      static_cast<BoostSocket *>(socket.udpSocket())->get_option(ttl);
      EXPECT_EQ(ttl.value(), 255);
      for (unsigned long const tooMany : {256ul, std::numeric_limits<unsigned long>::max()})
         try
         {
            socket.setMcastTtlOption(tooMany);
            ADD_FAILURE() << "256 hops";
         }
         catch (std::out_of_range const & error)
         {
            EXPECT_STREQ(error.what(), "multicast hops value out of range");
         }
      EXPECT_TRUE(socket.setMcastDevice(DtInetAddr("127.0.0.1"))) << socket.getLastErrorString();
      EXPECT_TRUE(socket.setMcastDevice(DtInetAddr("::1")));
      EXPECT_TRUE(socket.setMcastDevice(static_cast<DtInetDevice *>(nullptr)));
   }
   DtInetUdpSocket socket(loopback());
   EXPECT_FALSE(socket.setMcastDevice(DtInetAddr("192.0.2.77")));
   EXPECT_STREQ(socket.getLastErrorString(),
                "DtInetUdpSocket::setMcastDevice(): Error setting multicast device to "
                "192.0.2.77\nCannot assign requested address");
   EXPECT_EQ(socket.getLastError(), 10049);
   EXPECT_EQ(socket.state(), DtInetSockError);
   close(static_cast<int>(socket.descriptor()));
   EXPECT_FALSE(socket.setMcastTtlOption(3));
   EXPECT_STREQ(socket.getLastErrorString(),
                "DtInetUdpSocket::setMcastTtl(): Error setting multicast TTL to  3\n"
                "Bad file descriptor");
}

TEST(DtInetUdpSocketGroups, AreJoinedOnceAndLeftOtherwiseThanJoined)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace const host;
   NetworkNamespace::Inside const inside(host);
   DtInetDevice lo(DtString("lo"));
   DtInetAddr const group("239.1.2.3");
   DtInetUdpSocket socket(loopback());
   auto const drop = [&](DtInetDevice * device) { return socket.dropMulticastGroup(group, device); };
   auto const join = [&]
   { return socket.joinMulticastGroup(DtInetEndpoint(group, 1, DtInetProtoUdp), nullptr); };
   EXPECT_FALSE(drop(nullptr));
   EXPECT_EQ(socket.getLastError(), 0);
   EXPECT_TRUE(join());
   EXPECT_TRUE(join());
   EXPECT_FALSE(drop(&lo));
   EXPECT_EQ(socket.getLastError(), 10045);
   EXPECT_STREQ(socket.getLastErrorString(),
                "DtInetUdpSocket::dropMulticastGroup(): Error dropping group 239.1.2.3 "
                "cannot find a multicast capable device");
   EXPECT_EQ(socket.state(), DtInetSockOpen);
   EXPECT_TRUE(drop(nullptr));
   EXPECT_FALSE(drop(nullptr));
   // Linux has a limit of its own.
   for (int i = 1; i <= 20; ++i)
      EXPECT_TRUE(socket.joinMulticastGroup(DtInetAddr(("239.1.3." + std::to_string(i)).c_str()), &lo));
   EXPECT_FALSE(join());
   EXPECT_EQ(socket.getLastError(), 10055);
   EXPECT_STREQ(socket.getLastErrorString(),
                "DtInetUdpSocket::joinMulticastGroup(): Error joining group 239.1.2.3 on "
                "interface 127.0.0.1\nNo buffer space available");
   EXPECT_EQ(socket.state(), DtInetSockError);
   DtInetUdpSocket ipv6(DtInetEndpoint(DtInetAddr("::1"), 9, DtInetProtoUdp));
   // The scope that counts is the one in the address, not the field beside it.
   DtInetAddr scoped("ff15::1");
   scoped.setScope(DtInetIpv6Scope(77));
   EXPECT_TRUE(ipv6.joinMulticastGroup(scoped, &lo)) << ipv6.getLastErrorString();
   EXPECT_TRUE(ipv6.dropMulticastGroup(scoped, nullptr)) << ipv6.getLastErrorString();
   host.ip("link set lo down");
   EXPECT_FALSE(ipv6.joinMulticastGroup(DtInetAddr("ff15::1"), nullptr));
   EXPECT_EQ(ipv6.getLastError(), 10045);
   EXPECT_STREQ(ipv6.getLastErrorString(),
                "DtInetUdpSocket::joinMulticastGroup(): Error joining group ff15::1 cannot "
                "find a multicast capable device");
   EXPECT_EQ(ipv6.state(), DtInetSockOpen);
}

TEST(DtInetUdpSocket, LendsItsSystemSocketToBoost)
{
   OpenUdpSocket socket(loopback(), 0, nullptr, 0xCC3, false);
   BoostSocket * const boost = static_cast<BoostSocket *>(socket.udpSocket());
   EXPECT_EQ(socket.secondUdpSocket(), boost);
   EXPECT_FALSE(boost->is_open());
   ASSERT_TRUE(socket.openSocket());
   EXPECT_TRUE(boost->is_open());
   EXPECT_TRUE(boost->non_blocking());
   EXPECT_EQ(static_cast<unsigned>(boost->native_handle()), socket.descriptor());
   EXPECT_TRUE(socket.setNonBlockingOption(false));
   EXPECT_FALSE(boost->non_blocking());
   EXPECT_EQ(boost->local_endpoint().port(), socket.localPort());
   // What the caller does to it holds: here it closes the socket.
   LoopbackPeer peer;
   DtInetEndpoint to = loopback(peer.port());
   char text[] = "x";
   EXPECT_EQ(socket.sendTo(text, 1, to), 1);
   boost->close();
   EXPECT_EQ(socket.recv(text, 1), DtInetSockRcvFailed);
   EXPECT_EQ(socket.getLastError(), 10009);
   EXPECT_EQ(socket.state(), DtInetSockOpen);
   EXPECT_FALSE(socket.setBroadcastOption(true));
   EXPECT_EQ(socket.sendTo(text, 1, to), -1);
   EXPECT_TRUE(socket.closeSocket());

   OpenUdpSocket other(loopback());
   unsigned const descriptor = other.descriptor();
   BoostSocket * const late = static_cast<BoostSocket *>(other.udpSocket());
   EXPECT_EQ(static_cast<unsigned>(late->native_handle()), descriptor);
   EXPECT_EQ(other.descriptor(), descriptor);
}

TEST(DtInetUdpSocket, ReceivesOnASecondSocketIfGivenOne)
{
   boost::asio::io_context context;
   auto * const second =
      new BoostSocket(context, boost::asio::ip::udp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
   unsigned short const port = second->local_endpoint().port();
   OpenUdpSocket socket(loopback());
   socket.setSecondUdpSocket(second);
   EXPECT_EQ(socket.secondUdpSocket(), second);
   EXPECT_NE(socket.udpSocket(), second);
   LoopbackPeer peer;
   peer.send("first", "127.0.0.1", socket.localPort());
   peer.send("second", "127.0.0.1", port);
   char bytes[10];
   EXPECT_EQ(socket.recv(bytes, sizeof bytes), 6);
   EXPECT_TRUE(socket.closeSocket());
   EXPECT_FALSE(second->is_open());
}

} // namespace
