// SPDX-License-Identifier: MIT
#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/tslInetDevice.h"

#include "disRoad.h"
#include "support/loopbackPeer.h"
#include "support/networkNamespace.h"
#include "support/watchdog.h"

#include <boost/asio/ip/udp.hpp>

#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <net/if.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr char theGroup[] = "239.7.7.7";

/// A suppressing socket, with the device loopback unless it is told another.
class Suppressor : public DtDisSocket
{
public:
   explicit Suppressor(DtInetEndpoint const & destination, unsigned long flags = theNonBlockingFlags,
                       unsigned short localPort = 0, DtInetDevice device = DtInetDevice(DtString("lo")))
      : DtDisSocket(destination, localPort, &device, flags, true, true)
   {
   }

   int sender() { return static_cast<boost::asio::ip::udp::socket *>(disSendSocket())->native_handle(); }
};

int sendText(DtDisSocket & socket, std::string text, DtInetEndpoint to)
{
   return socket.sendTo(text.data(), text.size(), to);
}

int sendTextInChain(DtDisSocket & socket, std::string const & text, DtInetEndpoint to)
{
   std::vector<char> bytes(text.begin(), text.end());
   DtInetSockChain chain{&bytes};
   return socket.sendChainTo(chain, to);
}

TEST(DtDisSocketSuppress, OwnTrafficIsToldFromOthers)
{
   DtInetEndpoint const group = udpEndpoint(theGroup, unusedPort());
   Suppressor one(group), other(group);
   DtInetDevice loopback(DtString("lo"));
   DtDisSocket plain(group, 0, &loopback, theNonBlockingFlags);
   ASSERT_EQ(one.state(), DtInetSockOpen) << one.getLastErrorString();
   EXPECT_NE(one.localSenderEndpoint().port(), 0);
   EXPECT_NE(one.localSenderEndpoint().port(), group.port());
   EXPECT_NE(one.localSenderEndpoint(), other.localSenderEndpoint());
   std::string const first = pdu(32, 7), second = pdu(40, 7);
   one.setBundling(100, 0, 0, false);
   for (std::string bytes : {first, second})
      EXPECT_EQ(one.send(bytes.data(), bytes.size()), static_cast<int>(bytes.size()));
   EXPECT_EQ(one.flush(), 1);
   EXPECT_EQ(receive(one).status, -3) << "the whole bundle at once";
   EXPECT_EQ(receive(one).status, 0);
   for (DtDisSocket * socket : {static_cast<DtDisSocket *>(&other), &plain})
   {
      Received const got = receive(*socket);
      EXPECT_EQ(got.bytes, first);
      EXPECT_EQ(got.from, one.localSenderEndpoint());
      EXPECT_EQ(receive(*socket).bytes, second);
   }
   EXPECT_EQ(sendText(plain, first, group), 32);
   EXPECT_EQ(receive(plain).bytes, first) << "without suppression its own come back";
   EXPECT_EQ(receive(one).bytes, first);
   EXPECT_TRUE(one.openSocket()) << "is open already";
}

TEST(DtDisSocketSuppress, SendSocketTakesNoPortAndNoDatagramAway)
{
   unsigned short const port = unusedPort();
   Suppressor same(udpEndpoint("127.0.0.1", port), theNonBlockingFlags, port);
   EXPECT_EQ(same.localPort(), port);
   EXPECT_NE(same.localSenderEndpoint().port(), port);
   unsigned short const wish = unusedPort();
   Suppressor wishing(udpEndpoint("127.0.0.1", port), theNonBlockingFlags, wish);
   EXPECT_EQ(wishing.localSenderEndpoint(), udpEndpoint("127.0.0.1", wish));
   LoopbackPeer peer;
   for (int i = 0; i < 5; ++i)
   {
      peer.send(pdu(32, 7), "127.0.0.1", wish);
      EXPECT_EQ(receive(wishing).status, 32) << "both its sockets have this port";
   }
}

TEST(DtDisSocketSuppress, FailuresAreTold)
{
   DtInetEndpoint const nobody = udpEndpoint("127.0.0.1", unusedPort());
   DtDisSocket homeless(nobody, 0, nullptr, theNonBlockingFlags, true, true);
   EXPECT_EQ(homeless.getLastError(), 10014);
   EXPECT_STREQ(homeless.getLastErrorString(), "DtDisSocket::openSocket(): Could not identify localhost "
                                               "interface for self-reflect suppression\n");
   EXPECT_EQ(homeless.state(), DtInetSockError);
   EXPECT_FALSE(homeless.setBroadcastOption(true)) << "there is no send socket";

   Suppressor mute(nobody, DtInetSockFlagReceive);
   EXPECT_EQ(sendText(mute, "x", nobody), -1);
   EXPECT_STREQ(mute.getLastErrorString(),
                "DtDisSocket::send()/sendTo(): Send socket not initialized for sending.");
   EXPECT_EQ(mute.getLastError(), 10045);
   EXPECT_EQ(mute.state(), DtInetSockError);
   EXPECT_EQ(sendTextInChain(mute, "x", nobody), -1);
   EXPECT_STREQ(mute.getLastErrorString(),
                "DtDisSocket::sendChain()/sendChainTo(): Send socket not initialized for sending.");

   Suppressor closed(nobody);
   DtString const from = closed.localSenderEndpoint().toDtString();
   EXPECT_TRUE(closed.closeSocket());
   EXPECT_EQ(closed.state(), DtInetSockClosed);
   DtString const tail = " failed from " + from + " to " + nobody.toDtString() + "\nBad file descriptor";
   EXPECT_EQ(sendText(closed, "x", nobody), -1);
   EXPECT_EQ(closed.getLastErrorString(), "DtDisSocket::send()/sendTo()" + tail);
   EXPECT_EQ(sendTextInChain(closed, "x", nobody), -1);
   EXPECT_EQ(closed.getLastErrorString(), "DtDisSocket::sendChain()/sendChainTo()" + tail);
   EXPECT_EQ(closed.getLastError(), 10009);
   EXPECT_EQ(closed.state(), DtInetSockClosed);
   EXPECT_FALSE(closed.openSocket());

   // The send socket wishes for the port that the receive socket has, and neither shares.
   Suppressor late(nobody, DtInetSockFlagSend, unusedPort());
   EXPECT_EQ(late.getLastError(), 10048);
   EXPECT_STREQ(late.getLastErrorString(), "DtDisSocket::openSocket(): Error opening Boost send socket for "
                                           "self-reflect suppression\nAddress already in use");
   EXPECT_EQ(late.state(), DtInetSockError);
}

TEST(DtDisSocketSuppress, OptionsReachBothSockets)
{
   struct Option
   {
      std::function<bool(DtDisSocket &)> set;
      int level, name, value;
      char const * failure;
   };
   DtInetAddr const address("127.0.0.1");
   std::vector<Option> const options = {
      {[](DtDisSocket & s) { return s.setBroadcastOption(false); }, SOL_SOCKET, SO_BROADCAST, 0,
       "DtDisSocket::setSendSockBroadcastOption(): Error disabling broadcast on send socket\n"},
      {[](DtDisSocket & s) { return s.setDoNotRouteOption(true); }, SOL_SOCKET, SO_DONTROUTE, 1,
       "DtDisSocket::setSendSockDoNotRouteOption(): Error enabling do-not-route on send socket\n"},
      {[](DtDisSocket & s) { return s.setReuseAddressOption(true); }, SOL_SOCKET, SO_REUSEADDR, 1,
       "DtDisSocket::setSendSockReuseAddrOption(): Error enabling address reuse on send socket\n"},
      {[](DtDisSocket & s) { return s.setSendBufferSize(5000); }, SOL_SOCKET, SO_SNDBUF, 10000,
       "DtDisSocket::setSendSockSendBuffSize(): Error setting send buffer size to 5000 on send socket\n"},
      {[](DtDisSocket & s) { return s.setReceiveBufferSize(6000); }, SOL_SOCKET, SO_RCVBUF, 12000,
       "DtDisSocket::setSendSockRcvBuffSize(): Error setting receive buffer size to 6000 on send socket\n"},
      {[](DtDisSocket & s) { return s.setReceiveLowWatermark(7); }, SOL_SOCKET, SO_RCVLOWAT, 7,
       "DtDisSocket::setSendSockRcvLowWatermark(): Error setting receive low watermark to 7 on send "
       "socket\n"},
      {[](DtDisSocket & s) { return s.setMcastTtlOption(9); }, IPPROTO_IP, IP_MULTICAST_TTL, 9,
       "DtDisSocket::setSendSockMcastTtl(): Error setting multicast TTL for send socket to  9\n"},
      {[&](DtDisSocket & s) { return s.setMcastDevice(address); }, IPPROTO_IP, IP_MULTICAST_IF, 0x0100007f,
       "DtDisSocket::setSendSockMcastDevice(): Error setting multicast device for send socket to "
       "127.0.0.1\n"},
      {[](DtDisSocket & s) { return s.setNonBlockingOption(true); }, 0, 0, 0,
       "DtDisSocket::setSendSockNonBlockingOption(): Error enabling non-blocking IO on send socket\n"}};
   DtInetEndpoint const nobody = udpEndpoint("127.0.0.1", unusedPort());
   Suppressor good(nobody, DtInetSockFlagsDefault), broken(nobody, DtInetSockFlagsDefault);
   int const handle = broken.sender();
   int const noSocket = open("/", O_PATH | O_CLOEXEC);
   dup2(noSocket, handle);
   close(noSocket);
   for (Option const & option : options)
   {
      EXPECT_TRUE(option.set(good)) << option.failure;
      int value = 0;
      socklen_t size = sizeof value;
      if (option.name != 0)
         getsockopt(good.sender(), option.level, option.name, &value, &size);
      EXPECT_EQ(value, option.value) << option.failure;
      EXPECT_EQ(good.state(), DtInetSockOpen);
      EXPECT_FALSE(option.set(broken));
      EXPECT_EQ(broken.getLastErrorString(), DtString(option.failure) + "Bad file descriptor");
      EXPECT_EQ(broken.getLastError(), 10009);
   }
   EXPECT_NE(fcntl(good.sender(), F_GETFL) & O_NONBLOCK, 0);
   EXPECT_TRUE(good.isNonBlocking());
   EXPECT_FALSE(good.setNonBlockingOption(false)) << "answers the flag";
   EXPECT_EQ(good.state(), DtInetSockOpen);
   EXPECT_THROW(good.setMcastTtlOption(256), std::out_of_range);
   EXPECT_TRUE(good.setMcastDevice(DtInetAddr("::1"))) << "goes to no socket";
   EXPECT_FALSE(good.setSendLowWatermark(5)) << "the system refuses it";
   EXPECT_STREQ(good.getLastErrorString(),
                "DtDisSocket::setSendSockSendLowWatermark(): Error setting send low "
                "watermark to 5on send socket\nProtocol not available");
   DtDisSocket plain(nobody, 0, nullptr, DtInetSockFlagsDefault);
   EXPECT_FALSE(plain.setNonBlockingOption(false));
   EXPECT_TRUE(plain.setNonBlockingOption(true));
   EXPECT_TRUE(plain.setBroadcastOption(false));

   EXPECT_FALSE(broken.closeSocket());
   EXPECT_STREQ(broken.getLastErrorString(),
                "DtDisSocket::closeSocket(): Error closing Boost send socket used for "
                "self-reflect suppression\nBad file descriptor");
   EXPECT_EQ(broken.state(), DtInetSockError);
}

TEST(DtDisSocketSuppress, SendSocketJoinsAndLeavesGroups)
{
   Suppressor dis(udpEndpoint("127.0.0.1", unusedPort()));
   DtInetDevice loopback(DtString("lo"));
   DtInetEndpoint const group = udpEndpoint(theGroup, 1);
   EXPECT_TRUE(dis.sendSockJoinMulticastGroup(group, &loopback));
   EXPECT_FALSE(dis.sendSockJoinMulticastGroup(group.address(), &loopback));
   EXPECT_STREQ(dis.getLastErrorString(),
                "DtDisSocket::joinMulticastGroup(): Error joining group 239.7.7.7 on send "
                "socket on interface 127.0.0.1\nAddress already in use");
   EXPECT_EQ(dis.state(), DtInetSockError);
   EXPECT_TRUE(dis.sendSockDropMulticastGroup(group, &loopback));
   EXPECT_FALSE(dis.sendSockDropMulticastGroup(group.address(), &loopback));
   EXPECT_STREQ(dis.getLastErrorString(),
                "DtDisSocket::dropMulticastGroup(): Error leaving group 239.7.7.7 on send "
                "socket on interface 127.0.0.1\nCannot assign requested address");
   EXPECT_EQ(dis.getLastError(), 10049);
}

TEST(DtDisSocketSuppress, WorkerSendsInOrderAndDropsWhatFails)
{
   Watchdog watchdog;
   LoopbackPeer peer;
   DtInetEndpoint const to = udpEndpoint("127.0.0.1", peer.port()), nobody;
   for (int turn = 0; turn < 20; ++turn)
   {
      Suppressor dis(to, DtInetSockFlagAsyncSend | DtInetSockFlagReuseAddress, unusedPort());
      ASSERT_EQ(dis.state(), DtInetSockOpen) << dis.getLastErrorString();
      dis.setBundling(30, 0, 0, false);
      dis.setBundling(0, 0, 0, false);
      for (int i = 0; i < 50; ++i)
      {
         std::string const text = std::to_string(i);
         ASSERT_EQ(sendText(dis, "lost", nobody), 4);
         ASSERT_EQ(sendText(dis, std::string(65520, 'x'), to), 65520) << "too long for any datagram";
         ASSERT_EQ(i % 2 == 0 ? sendText(dis, text, to) : sendTextInChain(dis, text, to),
                   static_cast<int>(text.size()));
      }
      dis.setBundling(100, 0, 0, false);
      EXPECT_EQ(sendText(dis, "last", to), 4);
      EXPECT_EQ(dis.totalPacketsSent(), 151u);
      EXPECT_TRUE(dis.closeSocket());
      for (int i = 0; i < 50; ++i)
         ASSERT_EQ(peer.receive(0), std::to_string(i)) << "all is out when the socket is closed";
      EXPECT_EQ(peer.receive(0), "last") << "what was bundled too";
      EXPECT_EQ(sendTextInChain(dis, "never", to), 5);
   }
}

TEST(DtDisSocketSuppress, FlatAndChainSendsDifferWhenTheyWouldBlock)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace here, there;
   NetworkNamespace::connect(here, "eth0", there, "eth0");
   here.addAddress("eth0", "10.1.0.1/24");
   here.onThread(
      [&]
      {
         // What goes to a host that doesn't answer waits in the system, until its buffer is full.
         DtInetEndpoint const nobody = udpEndpoint("10.1.0.9", 3000);
         for (bool const suppresses : {true, false})
         {
            DtInetDevice device(DtString("eth0"));
            DtDisSocket dis(nobody, 0, &device, theNonBlockingFlags, true, suppresses);
            dis.setSendBufferSize(1);
            int count = 0;
            while (sendText(dis, std::string(1000, 'x'), nobody) == 1000 && count < 1000)
               ++count;
            EXPECT_GT(count, 0);
            EXPECT_TRUE(dis.isErrorWouldBlockOrTryAgain()) << dis.getLastErrorString();
            EXPECT_EQ(sendText(dis, "x", nobody), -1);
            dis.clearError();
            EXPECT_EQ(sendTextInChain(dis, std::string(1000, 'x'), nobody), 0);
            EXPECT_TRUE(dis.isErrorWouldBlockOrTryAgain());
            dis.setBundling(100, 0, 0, false);
            EXPECT_EQ(sendText(dis, "bundled", nobody), 7);
            EXPECT_EQ(dis.flush(), 0);
            EXPECT_EQ(dis.state(), DtInetSockOpen);
         }
      });
}

TEST(DtDisSocketSuppress, InterfaceIsFoundByTheDestination)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace here, there;
   NetworkNamespace::connect(here, "eth0", there, "eth0");
   here.addAddress("eth0", "10.1.0.1/24");
   here.addAddress("eth0", "fd00::1/64");
   there.addAddress("eth0", "10.1.0.2/24");
   there.addAddress("eth0", "fd00::2/64");
   for (auto const & [group, sender] : std::vector<std::pair<char const *, char const *>>{
           {"10.1.0.255", "10.1.0.1"}, {theGroup, "10.1.0.1"}, {"ff15::7", "fd00::1"}})
   {
      SCOPED_TRACE(group);
      DtInetEndpoint const to(DtInetAddr(group, "255.255.255.0"), 3000, DtInetProtoUdp);
      std::unique_ptr<DtDisSocket> one, other;
      auto const open = [&](std::unique_ptr<DtDisSocket> & socket)
      { socket.reset(new DtDisSocket(to, 0, nullptr, theNonBlockingFlags, true, true)); };
      here.onThread([&] { open(one); });
      there.onThread([&] { open(other); });
      ASSERT_EQ(one->state(), DtInetSockOpen) << one->getLastErrorString();
      EXPECT_EQ(one->localSenderEndpoint().address(), DtInetAddr(sender));
      EXPECT_EQ(sendText(*one, pdu(32, 7), to), 32) << one->getLastErrorString();
      EXPECT_TRUE(eventually([&] { return receive(*other).bytes == pdu(32, 7); }));
      EXPECT_EQ(receive(*one).status, -3);
   }
}

/// One of two processes that send PDUs to a group in rounds, each round when all of the peer's last one has
/// come. Answers how many of its own it was given and how many of the peer's it missed.
int exchange(DtInetEndpoint const & group, char mine, char theirs, int rounds, int ready)
{
   Suppressor dis(group, DtInetSockFlagsDefault);
   char signal = 0;
   if (write(ready, "r", 1) != 1 || read(ready, &signal, 1) != 1)
      return -1;
   constexpr int batch = 50;
   int wrong = 0;
   for (int round = 0; round < rounds; ++round)
   {
      for (int i = 0; i < batch; ++i)
      {
         std::string bytes = pdu(48, 7, 1, 0, mine);
         bytes.replace(20, 8, std::to_string(10000000 + round * batch + i));
         if (dis.send(bytes.data(), bytes.size()) != 48)
            return -1;
      }
      for (int i = 0; i < batch;)
      {
         Received const got = receive(dis, 2000);
         if (got.status == DtInetSockRcvSelf)
            continue;
         wrong += got.status != 48 || got.bytes[40] != theirs ||
                  std::stoi(got.bytes.substr(20, 8)) != 10000000 + round * batch + i;
         ++i;
      }
   }
   return wrong;
}

TEST(DtDisSocketSuppress, TwoProcessesOnOneGroupHearEachOtherOnly)
{
   Watchdog watchdog(250);
   char const * const wish = std::getenv("DIS_EXCHANGE_PDUS");
   int const rounds = (wish != nullptr ? std::atoi(wish) : 2000) / 50;
   DtInetEndpoint const group = udpEndpoint(theGroup, unusedPort());
   int ends[2];
   ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
   pid_t const child = fork();
   if (child == 0)
      _exit(exchange(group, 'c', 'p', rounds, ends[0]) == 0 ? 0 : 1);
   EXPECT_EQ(exchange(group, 'p', 'c', rounds, ends[1]), 0);
   int status = -1;
   waitpid(child, &status, 0);
   EXPECT_EQ(status, 0);
   close(ends[0]);
   close(ends[1]);
}

} // namespace
