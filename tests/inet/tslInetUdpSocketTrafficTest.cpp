// SPDX-License-Identifier: MIT
// Sending and receiving: results, counters and texts.
#include "tslutil/inet/tslInetUdpSocket.h"

#include "inet/socketKit.h"
#include "support/loopbackPeer.h"
#include "support/networkNamespace.h"
#include "support/watchdog.h"
#include "tslutil/inet/tslInetDevice.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <pthread.h>
#include <unistd.h>

namespace
{

using namespace socketKit;

// The same exchange with every combination of what sends and what receives.
class Exchange : public testing::TestWithParam<std::tuple<unsigned long, unsigned long, bool>>
{
};

TEST_P(Exchange, CarriesDatagramsAndCountsThem)
{
   Watchdog const watchdog;
   auto const [senderFlags, receiverFlags, isIpv6] = GetParam();
   DtInetAddr const address(isIpv6 ? "::1" : "127.0.0.1");
   DtInetUdpSocket receiver(DtInetEndpoint(address, 9, DtInetProtoUdp), 0, nullptr, receiverFlags);
   DtInetUdpSocket sender(DtInetEndpoint(address, receiver.localPort(), DtInetProtoNone), 0, nullptr,
                          senderFlags);
   ASSERT_TRUE(receiver.isOk() && sender.isOk());
   char bytes[] = "0123456789";
   Chain chain({"ab", "", "cde"});
   EXPECT_EQ(sender.send(bytes, 10), 10);
   EXPECT_EQ(sender.sendChain(chain.chain), 5);
   EXPECT_EQ(sender.send(bytes, 0), 0);
   EXPECT_EQ(sender.send(bytes, 4, DtInetSockSkipPreCallbacks), 4);
   EXPECT_EQ(Counters(sender).sent, Count(4, 19));

   DtInetEndpoint from;
   char got[20] = "";
   ASSERT_TRUE(eventually([&] { return receiver.recvFrom(got, sizeof got, from) != 0; }));
   EXPECT_STREQ(got, bytes);
   EXPECT_EQ(from.protocol(), DtInetProtoUdp);
   EXPECT_EQ(from.address(), address);
   EXPECT_EQ(from.port(), sender.localPort());
   Chain into({"-", "--", "---"});
   DtInetEndpoint chainFrom;
   ASSERT_TRUE(eventually([&] { return receiver.recvToChainFrom(into.chain, chainFrom) != 0; }));
   EXPECT_EQ(into.text(), "abcde-");
   EXPECT_EQ(chainFrom, from);
   Chain last({"...."});
   ASSERT_TRUE(eventually([&] { return receiver.recvToChain(last.chain) == 4; }));
   EXPECT_EQ(last.text(), "0123");
   // From the queue the polls in vain count too.
   bool const isQueued = (receiverFlags & DtInetSockFlagAsyncReceive) != 0;
   EXPECT_EQ(Counters(receiver).received, Count(isQueued ? receiver.totalPacketsReceived() : 3, 19));
   sender.clearStats();
   EXPECT_EQ(Counters(sender).sent, Count(0, 0));
   EXPECT_TRUE(sender.isOk());
}

INSTANTIATE_TEST_SUITE_P(Ways, Exchange,
                         testing::Combine(testing::Values(DtInetSockFlagsDefault + 0ul, 0xE81ul, theAsync),
                                          testing::Values(theNonBlocking, 0xD83ul, theAsync),
                                          testing::Bool()));

class LostSocket : public DtInetUdpSocket
{
public:
   LostSocket()
   {
      DtString nowhere("no-such-host.invalid");
      myDestination.hostLookup(nowhere, 9, DtInetUtils::DtInetFamilyIpv4);
   }
};

TEST(DtInetUdpSocketSend, TellsWhyNot)
{
   LoopbackPeer peer;
   std::string const local = " failed from 0.0.0.0:";
   DtInetUdpSocket socket(loopback(peer.port()));
   std::string const from = local + std::to_string(socket.localPort()) + " to ";
   DtInetUdpSocket receiveOnly(loopback(peer.port()), 0, nullptr, 0x001);
   // Only a look-up of the socket's own that failed counts: assigning an endpoint leaves its error behind.
   LostSocket lost;
   DtInetEndpoint tcp = loopback(peer.port(), DtInetProtoTcp);
   DtInetEndpoint any(DtInetAddr(), 9, DtInetProtoUdp);
   DtInetEndpoint zero = loopback(0);
   DtInetEndpoint good = loopback(peer.port());
   struct
   {
      DtInetUdpSocket & socket;
      DtInetEndpoint * to;
      std::size_t size;
      int code;
      DtInetSockState state;
      std::string flat;
      std::string chain;
   } const rows[] = {
      {lost, nullptr, 1, 109, DtInetSockError, "DtInetUdpSocket::send(): Error - no default destination set.",
       "DtInetUdpSocket::sendChain(): Error - no default destination set."},
      {receiveOnly, &good, 1, 10045, DtInetSockError,
       "DtInetUdpSocket::send()/sendTo(): Socket not initialized for sending.",
       "DtInetUdpSocket::sendChain()/sendChainTo(): Socket not initialized for sending."},
      {socket, &any, 1, 10049, DtInetSockOpen,
       "DtInetUdpSocket::send()/sendTo()" + from + "0.0.0.0:9\nCannot assign requested address",
       "DtInetUdpSocket::sendChain()/sendChainTo()" + from + "0.0.0.0:9\nCannot assign requested address"},
      {socket, &zero, 1, 10049, DtInetSockOpen,
       "DtInetUdpSocket::send()/sendTo()" + from + "127.0.0.1:any\nCannot assign requested address",
       "DtInetUdpSocket::sendChain()/sendChainTo()" + from +
          "127.0.0.1:any\nCannot assign requested address"},
      {socket, &good, 70000, 10040, DtInetSockOpen,
       "DtInetUdpSocket::send()/sendTo()" + from + "127.0.0.1:" + std::to_string(peer.port()) +
          "\nMessage too long",
       "DtInetUdpSocket::sendChain()/sendChainTo()" + from + "127.0.0.1:" + std::to_string(peer.port()) +
          "\nMessage too long"},
      {socket, &tcp, 1, 10045, DtInetSockError, "DtInetUdpSocket::sendTo(): endpoint is a TCP endpoint",
       "DtInetUdpSocket::sendTo(): endpoint is a TCP endpoint"},
   };
   for (auto const & row : rows)
   {
      std::vector<char> bytes(row.size);
      DtInetSockChain chain{&bytes};
      EXPECT_EQ(row.to == nullptr ? row.socket.send(bytes.data(), row.size)
                                  : row.socket.sendTo(bytes.data(), row.size, *row.to),
                -1);
      EXPECT_EQ(row.socket.getLastError(), row.code);
      EXPECT_STREQ(row.socket.getLastErrorString(), row.flat.c_str());
      EXPECT_EQ(row.socket.state(), row.state);
      EXPECT_EQ(row.to == nullptr ? row.socket.sendChain(chain) : row.socket.sendChainTo(chain, *row.to), -1);
      EXPECT_EQ(row.socket.getLastError(), row.code);
      EXPECT_STREQ(row.socket.getLastErrorString(), row.chain.c_str());
      EXPECT_EQ(Counters(row.socket).sent, Count(0, 0));
   }
   // The error state alone stops nothing.
   DtInetEndpoint undecided = loopback(peer.port(), DtInetProtoNone);
   char byte = '!';
   EXPECT_EQ(socket.sendTo(&byte, 1, undecided), 1);
   EXPECT_EQ(undecided.protocol(), DtInetProtoUdp);
   EXPECT_EQ(peer.receive(), "!");
}

// Nobody answers for the address, so the system holds what is sent and soon takes no more.
TEST(DtInetUdpSocketSend, FlatOneFailsAndAChainIsNothingIfItWouldBlock)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace const host;
   NetworkNamespace::connect(host, "eth0", host, "eth1");
   host.addAddress("eth0", "10.1.1.1/24");
   NetworkNamespace::Inside const inside(host);
   Watchdog const watchdog;
   // Its background thread leaves the system's socket non-blocking, also while this one is to block.
   DtInetUdpSocket socket(DtInetEndpoint(DtInetAddr("10.1.1.77"), 9, DtInetProtoUdp), 0, nullptr,
                          theNonBlocking | DtInetSockFlagAsyncReceive);
   ASSERT_TRUE(socket.setSendBufferSize(1));
   std::vector<char> bytes(1000);
   DtInetSockChain chain{&bytes};
   while (socket.send(bytes.data(), bytes.size()) == 1000)
      socket.clearStats();
   EXPECT_TRUE(socket.isErrorWouldBlockOrTryAgain());
   EXPECT_EQ(socket.state(), DtInetSockOpen);
   EXPECT_EQ(Counters(socket).sent, Count(0, 0));
   socket.clearError();
   EXPECT_EQ(socket.sendChain(chain), 0);
   EXPECT_TRUE(socket.isErrorWouldBlockOrTryAgain());
   EXPECT_EQ(Counters(socket).sent, Count(1, 0));
   // A blocking one waits, until the system gives up on the address.
   ASSERT_TRUE(socket.setNonBlockingOption(false));
   EXPECT_EQ(socket.send(bytes.data(), bytes.size()), 1000);
}

TEST(DtInetUdpSocketSend, ConnectedOneGoesToTheDestinationWhateverIsNamed)
{
   LoopbackPeer first;
   LoopbackPeer second;
   DtInetUdpSocket socket(loopback(first.port()));
   ASSERT_TRUE(socket.connectToDestination());
   DtInetEndpoint elsewhere = loopback(second.port(), DtInetProtoTcp);
   char text[] = "abc";
   Chain chain({"d", "ef"});
   EXPECT_EQ(socket.sendTo(text, 3, elsewhere), 3);
   EXPECT_EQ(socket.sendChainTo(chain.chain, elsewhere), 3);
   EXPECT_EQ(elsewhere.protocol(), DtInetProtoTcp);
   EXPECT_EQ(first.receive(), "abc");
   EXPECT_EQ(first.receive(), "def");
   // A new destination is where it goes from then on, though the system's socket is connected to the old one.
   ASSERT_TRUE(socket.setDestination(loopback(second.port())));
   EXPECT_EQ(socket.send(text, 3), 3);
   EXPECT_EQ(second.receive(), "abc");
}

// Nobody has the port: the report of that reaches a connected socket, and costs no datagram.
TEST(DtInetUdpSocketSend, SurvivesAPeerThatIsNotThere)
{
   Watchdog const watchdog;
   unsigned short const port = unusedPort();
   DtInetUdpSocket socket(loopback(port), 0, nullptr, theNonBlocking);
   ASSERT_TRUE(socket.connectToDestination());
   char byte = 'x';
   DtInetEndpoint from;
   EXPECT_EQ(socket.send(&byte, 1), 1);
   EXPECT_EQ(socket.recvFrom(&byte, 1, from), DtInetSockRcvFailed);
   EXPECT_EQ(socket.getLastError(), 10054);
   EXPECT_STREQ(socket.getLastErrorString(), (DtString("DtInetUdpSocket::recvFrom() failed on socket at ") +
                                              socket.localEndpoint().toDtString() + "\nConnection refused"));
   EXPECT_EQ(socket.state(), DtInetSockConnected);
   socket.clearError();
   EXPECT_EQ(socket.send(&byte, 1), 1);
   Chain chain({"a"});
   EXPECT_EQ(socket.recvToChainFrom(chain.chain, from), DtInetSockRcvNothing);
   EXPECT_EQ(socket.getLastError(), 0);
   EXPECT_EQ(socket.send(&byte, 1), 1);
   EXPECT_EQ(socket.recvToChain(chain.chain), DtInetSockRcvFailed);
   EXPECT_EQ(socket.getLastError(), 10054);
   EXPECT_EQ(socket.send(&byte, 1), 1);
   // The report of that one is pending when somebody comes to the port.
   LoopbackPeer late("127.0.0.1", port);
   EXPECT_EQ(socket.send(&byte, 1), 1);
   EXPECT_EQ(late.receive(), "x");
}

TEST(DtInetUdpSocketReceive, TellsWhyNot)
{
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(9), 0, nullptr, theNonBlocking);
   DtInetUdpSocket blocking(loopback(9));
   std::string const at = " failed on socket at 0.0.0.0:" + std::to_string(socket.localPort()) + "\n";
   char bytes[4];
   DtInetEndpoint from = loopback(7);
   Chain chain({"ab", "c"});
   DtInetSockChain none;
   EXPECT_EQ(socket.recv(bytes, 4), DtInetSockRcvNothing);
   EXPECT_EQ(socket.recvFrom(bytes, 4, from), DtInetSockRcvNothing);
   EXPECT_EQ(socket.recvToChain(chain.chain), DtInetSockRcvNothing);
   EXPECT_EQ(socket.recvToChainFrom(chain.chain, from), DtInetSockRcvNothing);
   EXPECT_EQ(socket.recvToChain(none), DtInetSockRcvNoRoom);
   EXPECT_EQ(socket.recvToChainFrom(none, from), DtInetSockRcvNoRoom);
   EXPECT_EQ(from, loopback(7));
   EXPECT_EQ(socket.getLastError(), 0);
   struct
   {
      std::string operation;
      int result;
   } const rows[] = {{"recv()", 0}, {"recvFrom()", 1}, {"recvToChain()", 2}, {"recvToChainFrom()", 3}};
   auto const receive = [&](int way, DtInetUdpSocket & on)
   {
      return way == 0   ? on.recv(bytes, 3)
             : way == 1 ? on.recvFrom(bytes, 3, from)
             : way == 2 ? on.recvToChain(chain.chain)
                        : on.recvToChainFrom(chain.chain, from);
   };
   for (auto const & row : rows)
   {
      peer.send("1234", "127.0.0.1", socket.localPort());
      EXPECT_EQ(receive(row.result, socket), DtInetSockRcvFailed);
      EXPECT_EQ(socket.getLastError(), 10040);
      EXPECT_STREQ(socket.getLastErrorString(),
                   ("DtInetUdpSocket::" + row.operation + at + "Message too long").c_str());
      EXPECT_EQ(socket.state(), DtInetSockOpen);
      // On a blocking socket only the flat ones tell; the chain has received nothing.
      peer.send("1234", "127.0.0.1", blocking.localPort());
      EXPECT_EQ(receive(row.result, blocking), row.result < 2 ? DtInetSockRcvFailed : DtInetSockRcvNothing);
   }
   EXPECT_EQ(Counters(socket).received, Count(0, 0));
   // What fits exactly is no error.
   peer.send("123", "127.0.0.1", socket.localPort());
   EXPECT_EQ(socket.recvToChainFrom(chain.chain, from), 3);
   EXPECT_EQ(from.port(), peer.port());
   close(static_cast<int>(socket.descriptor()));
   EXPECT_EQ(socket.recv(bytes, 4), DtInetSockRcvFailed);
   EXPECT_EQ(socket.getLastError(), 10009);
}

TEST(DtInetUdpSocketChain, HasAtMost64VectorsAtATime)
{
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, theNonBlocking);
   Chain many(std::vector<std::string>(70, "ab"));
   EXPECT_EQ(socket.sendChain(many.chain), 128);
   EXPECT_EQ(peer.receive()->size(), 128u);
   peer.send(std::string(128, 'x'), "127.0.0.1", socket.localPort());
   EXPECT_EQ(socket.recvToChain(many.chain), 128);
   peer.send(std::string(129, 'x'), "127.0.0.1", socket.localPort());
   EXPECT_EQ(socket.recvToChain(many.chain), DtInetSockRcvFailed);
   DtInetUdpSocket async(loopback(peer.port()), 0, nullptr, theAsync);
   EXPECT_EQ(async.sendChain(many.chain), 140);
   EXPECT_EQ(peer.receive()->size(), 140u);
}

// A signal interrupts the wait, and is no reason to return.
TEST(DtInetUdpSocketReceive, GoesOnAfterASignal)
{
   Watchdog const watchdog;
   struct sigaction action = {};
   struct sigaction before = {};
   action.sa_handler = [](int) {};
   sigaction(SIGUSR1, &action, &before);
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(9));
   std::atomic<int> result(0);
   std::thread receiver(
      [&]
      {
         char byte;
         result = socket.recv(&byte, 1);
      });
   for (int i = 0; i < 20; ++i)
   {
      pthread_kill(receiver.native_handle(), SIGUSR1);
      usleep(1000);
   }
   EXPECT_EQ(result, 0);
   peer.send("x", "127.0.0.1", socket.localPort());
   receiver.join();
   EXPECT_EQ(result, 1);
   sigaction(SIGUSR1, &before, nullptr);
}

} // namespace
