// SPDX-License-Identifier: MIT
// Sending and receiving: results, counters, texts, callbacks, and the background thread.
#include "tslutil/inet/tslInetUdpSocket.h"

#include "inet/socketKit.h"
#include "support/loopbackPeer.h"
#include "support/networkNamespace.h"
#include "support/watchdog.h"
#include "tslutil/inet/tslInetDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <deque>
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
   // On a blocking socket only the flat ones tell of a datagram that was cut; the chain has received nothing.
   std::tuple<char const *, std::function<int(DtInetUdpSocket &)>, int> const rows[] = {
      {"recv()", [&](auto & on) { return on.recv(bytes, 3); }, DtInetSockRcvFailed},
      {"recvFrom()", [&](auto & on) { return on.recvFrom(bytes, 3, from); }, DtInetSockRcvFailed},
      {"recvToChain()", [&](auto & on) { return on.recvToChain(chain.chain); }, 0},
      {"recvToChainFrom()", [&](auto & on) { return on.recvToChainFrom(chain.chain, from); }, 0},
   };
   for (auto const & row : rows)
      EXPECT_EQ(std::get<1>(row)(socket), DtInetSockRcvNothing);
   EXPECT_TRUE(from == loopback(7) && socket.getLastError() == 0);
   for (auto const & [name, receive, cutWhenBlocking] : rows)
   {
      peer.send("1234", "127.0.0.1", socket.localPort());
      EXPECT_EQ(receive(socket), DtInetSockRcvFailed);
      EXPECT_EQ(told(socket), std::string("10040 open ") + name + at + "Message too long");
      peer.send("1234", "127.0.0.1", blocking.localPort());
      EXPECT_EQ(receive(blocking), cutWhenBlocking);
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

// The callbacks around chains.

/// What a callback answers; the text notes what it was given.
struct Script
{
   int result;
   DtInetEndpoint const * endpoint;
   std::string * seen;
};

int follow(DtInetSocket *, int size, DtInetSockChain &, DtInetEndpoint & endpoint, void * data)
{
   Script const & script = *static_cast<Script *>(data);
   EXPECT_EQ(&endpoint, script.endpoint);
   *script.seen += std::to_string(size) + " ";
   return script.result;
}

TEST(DtInetUdpSocketCallbacks, OfSends)
{
   LoopbackPeer peer;
   struct
   {
      std::vector<int> before, after;
      unsigned long flags;
      int result;
      std::string sizes, onWire;
      Count counted;
      std::string text;
   } const rows[] = {
      {{}, {}, 0, 5, "", "hello", {1, 5}, ""},
      {{5}, {7}, 0, 12, "5 5 ", "hello", {1, 5}, ""},
      // Taken whole: later ones are passed over, and nothing is sent.
      {{0, 3}, {}, 0, 5, "5 ", "", {1, 5}, ""},
      {{2, 0, 1}, {1}, 0, 6, "5 2 5 ", "", {1, 5}, ""},
      // Taken in part: what was really sent counts.
      {{2, 1}, {}, 0, 5, "5 2 ", "hello", {1, 5}, ""},
      {{-1, 3}, {}, 0, -1, "5 ", "", {0, 0}, "Pre-send callback failed."},
      {{5}, {1, -2, 3}, 0, -1, "5 5 6 ", "hello", {1, 5}, "Post-send callback failed."},
      {{-1}, {2}, DtInetSockSkipPreCallbacks, 7, "5 ", "hello", {1, 5}, ""},
      {{5}, {-1}, DtInetSockSkipPostCallbacks, 5, "5 ", "hello", {1, 5}, ""},
   };
   for (auto const & row : rows)
   {
      DtInetUdpSocket socket(loopback(peer.port()));
      std::string seen;
      DtInetEndpoint to = loopback(peer.port());
      std::deque<Script> scripts;
      auto const add = [&](DtInetSockProcessingType type, int result) {
         socket.addProcessingCallback(type, follow, &scripts.emplace_back(Script{result, &to, &seen}), -1);
      };
      for (int const result : row.before)
         add(DtInetSockPreSend, result);
      for (int const result : row.after)
         add(DtInetSockPostSend, result);
      Chain chain({"he", "llo"});
      EXPECT_EQ(socket.sendChainTo(chain.chain, to, row.flags), row.result) << &row - rows;
      EXPECT_EQ(seen, row.sizes) << &row - rows;
      EXPECT_EQ(Counters(socket).sent, row.counted) << &row - rows;
      EXPECT_EQ(peer.receive(row.onWire.empty() ? 0.0 : 5.0).value_or(""), row.onWire);
      EXPECT_EQ(told(socket),
                row.text.empty() ? "0 open ? " : "-1 error sendChain()/sendChainTo(): " + row.text);
      // A flat send runs none, and an empty chain only those behind it.
      DtInetSockChain empty;
      EXPECT_EQ(socket.send(chain.pieces[0].data(), 2), 2);
      EXPECT_EQ(socket.sendChain(empty, DtInetSockSkipPostCallbacks), 0);
      EXPECT_EQ(seen, row.sizes);
      EXPECT_EQ(peer.receive(), "he");
   }
}

// Receive callbacks get no data: they find their script by what the test runs at the time.
struct ReceiveScript
{
   int setsStatus, result;
};

std::vector<ReceiveScript> theBefore, theAfter;
std::string theSeen;
int theData = 0;

template<bool isBefore, int place>
int followReceive(DtInetSocket *, int size, DtInetSockChain &, DtInetEndpoint & from, void * arg)
{
   EXPECT_NE(arg, &theData);
   int & status = *static_cast<int *>(arg);
   theSeen += std::to_string(size) + "/" + std::to_string(status) + (from.port() != 0 ? "! " : " ");
   ReceiveScript const & script = (isBefore ? theBefore : theAfter)[place];
   status = script.setsStatus != 0 ? script.setsStatus : status;
   return script.result;
}

TEST(DtInetUdpSocketCallbacks, OfReceives)
{
   LoopbackPeer peer;
   struct
   {
      std::vector<ReceiveScript> before, after;
      unsigned long flags;
      bool isSent;
      int result;
      char const * seen;
      Count counted;
   } const rows[] = {
      {{{0, 9}}, {{0, 5}}, 0, true, 5, "0/0 5/0! ", {1, 5}},
      // Served from elsewhere: the socket isn't read.
      {{{0, 3}, {-5, 7}}, {{0, 4}}, 0, false, 4, "0/0 0/0 7/-5 ", {1, 7}},
      {{{-5, 0}}, {{0, 0}}, 0, false, -5, "0/0 0/-5 ", {0, 0}},
      {{{-4, 7}}, {{0, 1}}, 0, true, 1, "0/0 5/-4! ", {1, 5}},
      // Dropped: the others still run, and share the status.
      {{}, {{-2, 0}, {0, 0}, {-3, 0}}, 0, true, -3, "5/0! -2/-2! -2/-2! ", {1, 5}},
      {{}, {{-2, 0}, {0, 6}}, 0, true, 6, "5/0! -2/-2! ", {1, 5}},
      {{}, {{0, 0}}, 0, false, 0, "0/0 ", {0, 0}},
      {{{-5, 7}}, {{0, 2}}, DtInetSockSkipPreCallbacks, true, 2, "5/0! ", {1, 5}},
      {{{-5, 7}}, {{0, 2}}, DtInetSockSkipPostCallbacks, false, 7, "0/0 ", {1, 7}},
   };
   DtInetSocketProcessingCb const before[] = {followReceive<true, 0>, followReceive<true, 1>};
   DtInetSocketProcessingCb const after[] = {followReceive<false, 0>, followReceive<false, 1>,
                                             followReceive<false, 2>};
   for (bool const withSender : {true, false})
      for (auto const & row : rows)
      {
         DtInetUdpSocket socket(loopback(9), 0, nullptr, theNonBlocking);
         theBefore = row.before;
         theAfter = row.after;
         theSeen.clear();
         for (std::size_t i = 0; i < row.before.size(); ++i)
            socket.addProcessingCallback(DtInetSockPreReceive, before[i], &theData, 1);
         for (std::size_t i = 0; i < row.after.size(); ++i)
            socket.addProcessingCallback(DtInetSockPostReceive, after[i], &theData, 1);
         if (row.isSent)
            peer.send("hello", "127.0.0.1", socket.localPort());
         Chain chain({"---", "---"});
         DtInetEndpoint from;
         EXPECT_EQ(withSender ? socket.recvToChainFrom(chain.chain, from, row.flags)
                              : socket.recvToChain(chain.chain, row.flags),
                   row.result);
         std::string seen = row.seen;
         if (!withSender)
            seen.erase(std::remove(seen.begin(), seen.end(), '!'), seen.end());
         EXPECT_EQ(theSeen, seen) << &row - rows;
         EXPECT_EQ(Counters(socket).received, row.counted) << &row - rows;
         // A flat receive, and one into an empty chain, run none.
         DtInetSockChain empty;
         char byte;
         EXPECT_TRUE(socket.recv(&byte, 1) == 0 && socket.recvFrom(&byte, 1, from) == 0);
         EXPECT_EQ(socket.recvToChain(empty), DtInetSockRcvNoRoom);
         EXPECT_EQ(theSeen, seen);
      }
}

// Sending and receiving by the background thread.

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
      // For as long as the datagram is under way, so that the two meet.
      for (int change = 0; change < 100; ++change)
         EXPECT_TRUE(socket.setNonBlockingOption(change % 2 == 0));
      EXPECT_TRUE(socket.setReceiveBufferSize(65504));
      received += socket.recv(bytes, 4) == 1 ? 1 : 0;
   }
   EXPECT_TRUE(eventually([&] { return (received += socket.recv(bytes, 4) == 1 ? 1 : 0) == 300; }));
}

} // namespace
