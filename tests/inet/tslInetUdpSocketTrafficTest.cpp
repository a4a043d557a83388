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
#include <functional>
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
   DtInetUdpSocket receiver({address, 9, DtInetProtoUdp}, 0, nullptr, receiverFlags);
   DtInetUdpSocket sender({address, receiver.localPort(), DtInetProtoNone}, 0, nullptr, senderFlags);
   ASSERT_TRUE(receiver.isOk() && sender.isOk());
   char bytes[] = "0123456789", got[20] = "";
   Chain chain({"ab", "", "cde"}), into({"-", "--", "---"}), last({"...."});
   EXPECT_EQ(sender.send(bytes, 10), 10);
   EXPECT_EQ(sender.sendChain(chain.chain), 5);
   EXPECT_EQ(sender.send(bytes, 0), 0);
   EXPECT_EQ(sender.send(bytes, 4, DtInetSockSkipPreCallbacks), 4);
   EXPECT_EQ(Counters(sender).sent, Count(4, 19));
   DtInetEndpoint from, chainFrom;
   ASSERT_TRUE(eventually([&] { return receiver.recvFrom(got, sizeof got, from) != 0; }));
   EXPECT_STREQ(got, bytes);
   EXPECT_EQ(from, DtInetEndpoint(address, sender.localPort(), DtInetProtoUdp));
   EXPECT_EQ(from.protocol(), DtInetProtoUdp);
   ASSERT_TRUE(eventually([&] { return receiver.recvToChainFrom(into.chain, chainFrom) != 0; }));
   EXPECT_EQ(into.text(), "abcde-");
   EXPECT_EQ(chainFrom, from);
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
   DtInetUdpSocket socket(loopback(peer.port())), receiveOnly(loopback(peer.port()), 0, nullptr, 0x001);
   // Only a look-up of the socket's own that failed counts: assigning an endpoint leaves its error behind.
   LostSocket lost;
   DtInetEndpoint tcp = loopback(peer.port(), DtInetProtoTcp), any(DtInetAddr(), 9, DtInetProtoUdp);
   DtInetEndpoint zero = loopback(0), good = loopback(peer.port());
   std::string const from = " failed from 0.0.0.0:" + std::to_string(socket.localPort()) + " to ";
   std::string const both = "send()/sendTo()", chains = "sendChain()/sendChainTo()";
   // clang-format off
   struct
   {
      DtInetUdpSocket & socket;
      DtInetEndpoint * to;
      std::size_t size;
      std::string code, flat, chain, text;
   } const rows[] = {
      {lost, nullptr, 1, "109 error ", "send()", "sendChain()", ": Error - no default destination set."},
      {receiveOnly, &good, 1, "10045 error ", both, chains, ": Socket not initialized for sending."},
      {socket, &any, 1, "10049 open ", both, chains, from + "0.0.0.0:9\nCannot assign requested address"},
      {socket, &zero, 1, "10049 open ", both, chains, from + "127.0.0.1:any\nCannot assign requested address"},
      {socket, &good, 70000, "10040 open ", both, chains, from + "127.0.0.1:" + std::to_string(peer.port()) + "\nMessage too long"},
      {socket, &tcp, 1, "10045 error ", "sendTo()", "sendTo()", ": endpoint is a TCP endpoint"},
   };
   // clang-format on
   for (auto const & [on, to, size, code, flat, chainName, text] : rows)
   {
      std::vector<char> bytes(size);
      DtInetSockChain chain{&bytes};
      EXPECT_EQ(to == nullptr ? on.send(bytes.data(), size) : on.sendTo(bytes.data(), size, *to), -1);
      EXPECT_EQ(told(on), code + flat + text);
      EXPECT_EQ(to == nullptr ? on.sendChain(chain) : on.sendChainTo(chain, *to), -1);
      EXPECT_EQ(told(on), code + chainName + text);
      EXPECT_EQ(Counters(on).sent, Count(0, 0));
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
   EXPECT_TRUE(socket.isErrorWouldBlockOrTryAgain() && socket.state() == DtInetSockOpen);
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
   LoopbackPeer first, second;
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
   EXPECT_EQ(told(socket), "10054 connected recvFrom() failed on socket at " +
                              socket.localEndpoint().toDtString().stdString() + "\nConnection refused");
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
   DtInetUdpSocket socket(loopback(9), 0, nullptr, theNonBlocking), blocking(loopback(9));
   std::string const at = " failed on socket at 0.0.0.0:" + std::to_string(socket.localPort()) + "\n";
   char bytes[4];
   DtInetEndpoint from = loopback(7);
   Chain chain({"ab", "c"});
   DtInetSockChain none;
   EXPECT_EQ(socket.recvToChain(none), DtInetSockRcvNoRoom);
   EXPECT_EQ(socket.recvToChainFrom(none, from), DtInetSockRcvNoRoom);
   struct
   {
      char const * name;
      std::function<int(DtInetUdpSocket &)> receive;
      DtInetSockRcvStatus cutWhenBlocking;
   } const rows[] = {
      {"recv()", [&](DtInetUdpSocket & on) { return on.recv(bytes, 3); }, DtInetSockRcvFailed},
      {"recvFrom()", [&](DtInetUdpSocket & on) { return on.recvFrom(bytes, 3, from); }, DtInetSockRcvFailed},
      // On a blocking socket only the flat ones tell; the chain has received nothing.
      {"recvToChain()", [&](DtInetUdpSocket & on) { return on.recvToChain(chain.chain); },
       DtInetSockRcvNothing},
      {"recvToChainFrom()", [&](DtInetUdpSocket & on) { return on.recvToChainFrom(chain.chain, from); },
       DtInetSockRcvNothing},
   };
   for (auto const & row : rows)
      EXPECT_EQ(row.receive(socket), DtInetSockRcvNothing);
   EXPECT_TRUE(from == loopback(7) && socket.getLastError() == 0);
   for (auto const & row : rows)
   {
      peer.send("1234", "127.0.0.1", socket.localPort());
      EXPECT_EQ(row.receive(socket), DtInetSockRcvFailed);
      EXPECT_EQ(told(socket), std::string("10040 open ") + row.name + at + "Message too long");
      peer.send("1234", "127.0.0.1", blocking.localPort());
      EXPECT_EQ(row.receive(blocking), row.cutWhenBlocking);
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
   struct sigaction action = {}, before = {};
   action.sa_handler = [](int) {};
   sigaction(SIGUSR1, &action, &before);
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(9));
   std::atomic<int> result(0);
   std::thread receiver([&, byte = ' ']() mutable { result = socket.recv(&byte, 1); });
   for (int i = 0; i < 20; ++i, usleep(1000))
      pthread_kill(receiver.native_handle(), SIGUSR1);
   EXPECT_EQ(result, 0);
   peer.send("x", "127.0.0.1", socket.localPort());
   receiver.join();
   EXPECT_EQ(result, 1);
   sigaction(SIGUSR1, &before, nullptr);
}

} // namespace
