// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"

#include "disKit.h"
#include "support/networkNamespace.h"
#include "support/watchdog.h"

#include <boost/asio/ip/udp.hpp>

#include <fcntl.h>
#include <functional>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr char theGroup[] = "239.7.7.7";

/// A suppressing socket with a device, loopback unless it is told another.
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

int sendFlat(DtDisSocket & socket, std::string const & text, DtInetEndpoint to)
{
   return socket.sendTo(const_cast<char *>(text.data()), text.size(), to);
}

int sendInChain(DtDisSocket & socket, std::string const & text, DtInetEndpoint to)
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
   DtDisSocket plain(group, 0, &loopback, theNonBlockingFlags),
      exact(group, 0, &loopback, theNonBlockingFlags, true, true);
   std::string const first = pdu(32, 7), second = pdu(40, 7);
   one.setBundling(100, 0, 0, false);
   for (std::string bytes : {first, second})
      EXPECT_EQ(one.send(bytes.data(), bytes.size()), static_cast<int>(bytes.size()));
   EXPECT_EQ(one.flush(), 1);
   EXPECT_EQ(Received(one).status, -3) << "the whole bundle at once";
   EXPECT_EQ(Received(one).status, 0);
   for (DtDisSocket * socket : std::vector<DtDisSocket *>{&other, &plain, &exact})
   {
      Received const got(*socket);
      EXPECT_EQ(got.bytes, first);
      EXPECT_EQ(got.from, one.localSenderEndpoint());
      EXPECT_EQ(Received(*socket).bytes, second);
   }
   EXPECT_EQ(sendFlat(plain, first, group), 32);
   EXPECT_EQ(Received(plain).bytes, first) << "without suppression its own come back";
   EXPECT_EQ(Received(exact).bytes, first);
   EXPECT_EQ(sendFlat(exact, first, group), 32);
   EXPECT_EQ(Received(exact).status, -3);
   EXPECT_TRUE(exact.openSocket()) << "is open already";
}

TEST(DtDisSocketSuppress, SendSocketTakesNoPortAndNoDatagramAway)
{
   unsigned short const port = unusedPort(), wish = unusedPort();
   DtInetEndpoint const to = udpEndpoint("127.0.0.1", port);
   Suppressor same(to, theNonBlockingFlags, port), wishing(to, theNonBlockingFlags, wish);
   EXPECT_EQ(same.localPort(), port);
   EXPECT_EQ(DtDisSocket(to, 0, nullptr, theNonBlockingFlags, false).localPort(), port);
   EXPECT_NE(same.localSenderEndpoint().port(), port);
   EXPECT_NE(same.localSenderEndpoint().port(), 0);
   EXPECT_EQ(wishing.localSenderEndpoint(), udpEndpoint("127.0.0.1", wish));
   LoopbackPeer peer;
   for (int i = 0; i < 5; ++i)
   {
      peer.send(pdu(32, 7), "127.0.0.1", wish);
      EXPECT_EQ(Received(wishing).status, 32) << "both its sockets have this port";
   }
}

TEST(DtDisSocketSuppress, FailuresAreTold)
{
   DtInetEndpoint const nobody = udpEndpoint("127.0.0.1", unusedPort());
   DtDisSocket homeless(nobody, 0, nullptr, theNonBlockingFlags, true, true);
   DtString const open = "DtDisSocket::openSocket(): ";
   expectError(homeless, 10014,
               open + "Could not identify localhost interface for self-reflect suppression\n");
   EXPECT_FALSE(homeless.setBroadcastOption(true)) << "there is no send socket";
   // This send socket wishes for the port that the receive socket has, and neither shares.
   Suppressor unshared(nobody, DtInetSockFlagSend, unusedPort());
   expectError(unshared, 10048,
               open + "Error opening Boost send socket for self-reflect suppression\n" +
                  "Address already in use");
   // Two descriptors for the receiving side, and none left for the send socket.
   DtInetDevice loopback(DtString("lo"));
   DtDisSocket late(nobody, 0, &loopback, theNonBlockingFlags, false, true);
   rlimit before{};
   getrlimit(RLIMIT_NOFILE, &before);
   int const next = dup(0);
   close(next);
   rlimit const few{static_cast<rlim_t>(next) + 2, before.rlim_max};
   setrlimit(RLIMIT_NOFILE, &few);
   EXPECT_FALSE(late.openSocket());
   setrlimit(RLIMIT_NOFILE, &before);
   expectError(late, 10024,
               open + "Error opening Boost send socket for self-reflect suppression\nToo many open files");
   Suppressor mute(nobody, DtInetSockFlagReceive), closed(nobody);
   DtString const from = closed.localSenderEndpoint().toDtString();
   EXPECT_TRUE(closed.closeSocket());
   for (auto const & [send, name] : {std::pair(&sendFlat, DtString("DtDisSocket::send()/sendTo()")),
                                     {&sendInChain, "DtDisSocket::sendChain()/sendChainTo()"}})
   {
      EXPECT_EQ(send(mute, "x", nobody), -1);
      expectError(mute, 10045, name + ": Send socket not initialized for sending.");
      EXPECT_EQ(send(closed, "x", nobody), -1);
      expectError(closed, 10009,
                  name + " failed from " + from + " to " + nobody.toDtString() + "\nBad file descriptor",
                  DtInetSockClosed);
   }
   EXPECT_FALSE(closed.openSocket()) << "a closed socket stays closed";
   Suppressor refused(nobody);
   DtInetSocketProcessingCb const refuse = [](auto *, int, auto &, auto &, void *) { return -1; };
   for (auto const & [when, name] : {std::pair(DtInetSockPostSend, "Post"), {DtInetSockPreSend, "Pre"}})
   {
      refused.addProcessingCallback(when, refuse, nullptr, 1);
      EXPECT_EQ(sendInChain(refused, "x", nobody), -1);
      expectError(refused, -1,
                  DtString("DtDisSocket::sendChain()/sendChainTo(): ") + name + "-send callback failed.");
   }
}

TEST(DtDisSocketSuppress, OptionsReachBothSockets)
{
   typedef DtDisSocket Dis;
   typedef std::function<bool(Dis &, unsigned long)> Setter;
   auto const setMcastDevice = [](Dis & dis, unsigned long)
   { return dis.setMcastDevice(DtInetAddr("127.0.0.1")); };
   DtInetEndpoint const nobody = udpEndpoint("127.0.0.1", unusedPort());
   Suppressor good(nobody, DtInetSockFlagsDefault), broken(nobody, DtInetSockFlagsDefault);
   int const noSocket = open("/", O_PATH | O_CLOEXEC);
   dup2(noSocket, broken.sender());
   close(noSocket);
   for (auto const & [set, argument, level, name, wanted, operation, failure] :
        std::vector<std::tuple<Setter, unsigned long, int, int, int, DtString, DtString>>{
           {&Dis::setBroadcastOption, 0, 1, SO_BROADCAST, 0, "BroadcastOption", "disabling broadcast"},
           {&Dis::setDoNotRouteOption, 1, 1, SO_DONTROUTE, 1, "DoNotRouteOption", "enabling do-not-route"},
           {&Dis::setReuseAddressOption, 1, 1, SO_REUSEADDR, 1, "ReuseAddrOption", "enabling address reuse"},
           {&Dis::setSendBufferSize, 5000, 1, SO_SNDBUF, 10000, "SendBuffSize",
            "setting send buffer size to 5000"},
           {&Dis::setReceiveBufferSize, 6000, 1, SO_RCVBUF, 12000, "RcvBuffSize",
            "setting receive buffer size to 6000"},
           {&Dis::setReceiveLowWatermark, 7, 1, SO_RCVLOWAT, 7, "RcvLowWatermark",
            "setting receive low watermark to 7"},
           {&Dis::setMcastTtlOption, 9, 0, IP_MULTICAST_TTL, 9, "McastTtl",
            "setting multicast TTL for send socket to  9"},
           {setMcastDevice, 0, 0, IP_MULTICAST_IF, 0x0100007f, "McastDevice",
            "setting multicast device for send socket to 127.0.0.1"},
           {&Dis::setNonBlockingOption, 1, 1, SO_TYPE, SOCK_DGRAM, "NonBlockingOption",
            "enabling non-blocking IO"}})
   {
      EXPECT_TRUE(set(good, argument)) << failure;
      int value = 0;
      socklen_t size = sizeof value;
      getsockopt(good.sender(), level, name, &value, &size);
      EXPECT_EQ(value, wanted) << failure;
      EXPECT_FALSE(set(broken, argument));
      char const * const tail = level == SOL_SOCKET ? " on send socket\n" : "\n";
      expectError(broken, 10009,
                  "DtDisSocket::setSendSock" + operation + "(): Error " + failure + tail +
                     "Bad file descriptor");
   }
   EXPECT_NE(fcntl(good.sender(), F_GETFL) & O_NONBLOCK, 0);
   EXPECT_FALSE(good.setNonBlockingOption(false)) << "answers the flag";
   EXPECT_THROW(good.setMcastTtlOption(256), std::out_of_range);
   EXPECT_TRUE(good.setMcastDevice(DtInetAddr("::1"))) << "goes to no socket";
   EXPECT_EQ(good.state(), DtInetSockOpen);
   EXPECT_FALSE(good.setSendLowWatermark(5)) << "the system refuses it";
   EXPECT_STREQ(good.getLastErrorString(),
                "DtDisSocket::setSendSockSendLowWatermark(): Error setting send low "
                "watermark to 5on send socket\nProtocol not available");
   EXPECT_FALSE(broken.closeSocket());
   expectError(broken, 10009,
               DtString("DtDisSocket::closeSocket(): Error closing Boost send socket used for ") +
                  "self-reflect suppression\nBad file descriptor");
   DtDisSocket plain(nobody, 0, nullptr, DtInetSockFlagsDefault);
   for (bool const on : {false, true})
      EXPECT_EQ(plain.setNonBlockingOption(on), on);
}

TEST(DtDisSocketSuppress, SendSocketJoinsAndLeavesGroups)
{
   Suppressor dis(udpEndpoint("127.0.0.1", unusedPort()));
   DtInetDevice loopback(DtString("lo"));
   DtInetEndpoint const group = udpEndpoint(theGroup, 1);
   DtString const place = " group 239.7.7.7 on send socket on interface 127.0.0.1\n";
   EXPECT_TRUE(dis.sendSockJoinMulticastGroup(group, &loopback));
   EXPECT_FALSE(dis.sendSockJoinMulticastGroup(group.address(), &loopback));
   expectError(dis, 10048,
               "DtDisSocket::joinMulticastGroup(): Error joining" + place + "Address already in use");
   EXPECT_TRUE(dis.sendSockDropMulticastGroup(group, &loopback));
   EXPECT_FALSE(dis.sendSockDropMulticastGroup(group.address(), &loopback));
   expectError(dis, 10049,
               "DtDisSocket::dropMulticastGroup(): Error leaving" + place +
                  "Cannot assign requested address");
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
      for (int const size : {30, 0})
         dis.setBundling(size, 0, 0, false);
      for (int i = 0; i < 50; ++i)
      {
         std::string const text = std::to_string(i);
         ASSERT_EQ(sendFlat(dis, "lost", nobody), 4);
         ASSERT_EQ(sendFlat(dis, std::string(65520, 'x'), to), 65520) << "too long for any datagram";
         ASSERT_EQ((i % 2 == 0 ? sendFlat(dis, text, to) : sendInChain(dis, text, to)),
                   static_cast<int>(text.size()));
      }
      dis.setBundling(100, 0, 0, false);
      EXPECT_EQ(sendFlat(dis, "last", to), 4);
      EXPECT_EQ(dis.totalPacketsSent(), 151u);
      EXPECT_TRUE(dis.closeSocket());
      for (int i = 0; i < 50; ++i)
         ASSERT_EQ(peer.receive(0), std::to_string(i)) << "all is out when the socket is closed";
      EXPECT_EQ(peer.receive(0), "last") << "what was bundled too";
      dis.setBundling(0, 0, 0, false);
      EXPECT_EQ(sendInChain(dis, "never", to), 5);
      EXPECT_FALSE(peer.receive(0));
   }
   DtInetDevice loopback(DtString("lo"));
   DtDisSocket unopened(to, unusedPort(), &loopback, DtInetSockFlagAsyncSend | DtInetSockFlagReuseAddress,
                        false, true);
   EXPECT_EQ(sendFlat(unopened, "early", to), 5);
   EXPECT_TRUE(unopened.openSocket());
   EXPECT_EQ(peer.receive(), "early") << "waits for the open";
}

TEST(DtDisSocketSuppress, NetworksOfTwoHosts)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace here, there;
   NetworkNamespace::connect(here, "eth0", there, "eth0");
   for (char const * address : {"10.1.0.1/24", "fd00::1/64"})
      here.addAddress("eth0", address);
   for (char const * address : {"10.1.0.2/24", "fd00::2/64"})
      there.addAddress("eth0", address);
   // The interface is found by the destination.
   for (auto const & [group, sender] : std::vector<std::pair<char const *, char const *>>{
           {"10.1.0.255", "10.1.0.1"}, {theGroup, "10.1.0.1"}, {"ff15::7", "fd00::1"}})
   {
      DtInetEndpoint const to = udpEndpoint(group, 3000);
      std::unique_ptr<DtDisSocket> one, other;
      here.onThread([&, &socket = one]
                    { socket.reset(new DtDisSocket(to, 0, nullptr, theNonBlockingFlags, true, true)); });
      there.onThread([&, &socket = other]
                     { socket.reset(new DtDisSocket(to, 0, nullptr, theNonBlockingFlags, true, true)); });
      EXPECT_EQ(one->localSenderEndpoint().address(), DtInetAddr(sender)) << one->getLastErrorString();
      EXPECT_EQ(sendFlat(*one, pdu(32, 7), to), 32) << one->getLastErrorString();
      EXPECT_TRUE(eventually([&, &socket = *other] { return Received(socket).bytes == pdu(32, 7); }))
         << group;
      EXPECT_EQ(Received(*one).status, -3) << group;
   }
   // What goes to a host that doesn't answer waits in the system, until its buffer is full.
   DtInetEndpoint const nobody = udpEndpoint("10.1.0.9", 3000);
   for (bool const suppresses : {true, false})
      here.onThread(
         [&]
         {
            DtInetDevice device(DtString("eth0"));
            DtDisSocket dis(nobody, 0, &device, theNonBlockingFlags, true, suppresses);
            dis.setSendBufferSize(1);
            std::string const text(1000, 'x');
            for (int left = 1000; left > 0 && sendFlat(dis, text, nobody) == 1000; --left)
               ;
            EXPECT_TRUE(dis.isErrorWouldBlockOrTryAgain()) << dis.getLastErrorString();
            EXPECT_EQ(sendFlat(dis, text, nobody), -1);
            dis.clearError();
            EXPECT_EQ(sendInChain(dis, text, nobody), 0);
            EXPECT_TRUE(dis.isErrorWouldBlockOrTryAgain());
            dis.setBundling(100, 0, 0, false);
            EXPECT_EQ(sendFlat(dis, "bundled", nobody), 7);
            EXPECT_EQ(dis.flush(), 0);
            EXPECT_EQ(dis.state(), DtInetSockOpen);
         });
}

/// One of two processes that send PDUs to a group in rounds, each round when all of the peer's last one has
/// come. Answers how often it got something else than the peer's next PDU or a drop of its own.
int exchange(DtInetEndpoint const & group, char mine, char theirs, int rounds, int ready)
{
   Suppressor dis(group, DtInetSockFlagsDefault);
   char signal = 0;
   if (write(ready, "r", 1) != 1 || read(ready, &signal, 1) != 1)
      return -1;
   int sent = 10000000, got = sent, wrong = 0;
   for (int const end = sent + 50 * rounds; got < end;)
   {
      for (int const stop = sent + 50; sent < stop; ++sent)
      {
         std::string bytes = pdu(48, 7, 1, 0, mine).replace(20, 8, std::to_string(sent));
         wrong += dis.send(bytes.data(), bytes.size()) != 48;
      }
      while (got < sent)
      {
         Received const next(dis, 2000);
         if (next.status != DtInetSockRcvSelf)
            wrong += next.bytes != pdu(48, 7, 1, 0, theirs).replace(20, 8, std::to_string(got++));
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
