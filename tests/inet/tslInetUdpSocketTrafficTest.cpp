// SPDX-License-Identifier: MIT
// Sending and receiving: results, counters, texts, callbacks, and the background thread.
#include "inet/socketKit.h"

#include <algorithm>
#include <csignal>
#include <functional>
#include <pthread.h>
#include <unistd.h>

namespace
{

using namespace socketKit;

using DtInetUdpSocketSend = WithPeer;

TEST_F(DtInetUdpSocketSend, TellsWhyNot)
{
   DtInetUdpSocket socket(loopback(peer.port())), receiveOnly(loopback(peer.port()), 0, nullptr, 0x001);
   // Only a look-up of the socket's own that failed counts: assigning an endpoint leaves its error behind.
   OpenUdpSocket lost;
   DtString nowhere("no-such-host.invalid");
   lost.myDestination.hostLookup(nowhere, 9, DtInetUtils::DtInetFamilyIpv4);
   DtInetEndpoint tcp = loopback(peer.port(), DtInetProtoTcp), any(DtInetAddr(), 9, DtInetProtoUdp);
   DtInetEndpoint zero = loopback(0), good = loopback(peer.port());
   std::string const from = " failed from 0.0.0.0:" + std::to_string(socket.localPort()) + " to ";
   std::string const both = "send()/sendTo()", chains = "sendChain()/sendChainTo()";
   // clang-format off
   std::tuple<DtInetUdpSocket &, DtInetEndpoint *, std::size_t, std::string, std::string, std::string, std::string> const rows[] = {
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
      EXPECT_EQ(told(to == nullptr ? on.send(bytes.data(), size) : on.sendTo(bytes.data(), size, *to), on),
                "-1, " + code + flat + text);
      EXPECT_EQ(told(to == nullptr ? on.sendChain(chain) : on.sendChainTo(chain, *to), on),
                "-1, " + code + chainName + text);
      EXPECT_EQ(Counters(on).sent, Count(0, 0));
   }
   // The error state alone stops nothing.
   DtInetEndpoint undecided = loopback(peer.port(), DtInetProtoNone);
   char byte = '!';
   EXPECT_TRUE(socket.sendTo(&byte, 1, undecided) == 1 && undecided.protocol() == DtInetProtoUdp);
   EXPECT_EQ(peer.receive(), "!");
}

// Nobody answers for the address, so the system holds what is sent and soon takes no more.
TEST_F(DtInetUdpSocketSend, FlatOneFailsAndAChainIsNothingIfItWouldBlock)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace const host;
   NetworkNamespace::connect(host, "eth0", host, "eth1");
   host.addAddress("eth0", "10.1.1.1/24");
   NetworkNamespace::Inside const inside(host);
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

TEST_F(DtInetUdpSocketSend, ConnectedOneGoesToTheDestinationWhateverIsNamed)
{
   LoopbackPeer second;
   DtInetUdpSocket socket(loopback(peer.port()));
   ASSERT_TRUE(socket.connectToDestination());
   DtInetEndpoint elsewhere = loopback(second.port(), DtInetProtoTcp);
   char text[] = "abc";
   Chain chain({"d", "ef"});
   EXPECT_TRUE(socket.sendTo(text, 3, elsewhere) == 3 && socket.sendChainTo(chain.chain, elsewhere) == 3);
   EXPECT_EQ(elsewhere.protocol(), DtInetProtoTcp);
   for (char const * const sent : {"abc", "def"})
      EXPECT_EQ(peer.receive(), sent);
   // A new destination is where it goes from then on, though the system's socket is connected to the old one.
   EXPECT_TRUE(socket.setDestination(loopback(second.port())) && socket.send(text, 3) == 3);
   EXPECT_EQ(second.receive(), "abc");
}

// Nobody has the port: the report of that reaches a connected socket, and costs no datagram.
TEST_F(DtInetUdpSocketSend, SurvivesAPeerThatIsNotThere)
{
   unsigned short const port = unusedPort();
   DtInetUdpSocket socket(loopback(port), 0, nullptr, theNonBlocking);
   ASSERT_TRUE(socket.connectToDestination());
   char byte = 'x';
   DtInetEndpoint from;
   Chain chain({"a"});
   auto const sends = [&] { return socket.send(&byte, 1) == 1; };
   EXPECT_TRUE(sends());
   EXPECT_EQ(told(socket.recvFrom(&byte, 1, from), socket),
             "-1, 10054 connected recvFrom() failed on socket at " +
                socket.localEndpoint().toDtString().stdString() + "\nConnection refused");
   socket.clearError();
   EXPECT_TRUE(sends());
   EXPECT_EQ(told(socket.recvToChainFrom(chain.chain, from), socket), "0, 0 connected ? ");
   EXPECT_TRUE(sends() && socket.recvToChain(chain.chain) == DtInetSockRcvFailed &&
               socket.getLastError() == 10054);
   EXPECT_TRUE(sends());
   // The report of that one is pending when somebody comes to the port.
   LoopbackPeer late("127.0.0.1", port);
   EXPECT_TRUE(sends());
   EXPECT_EQ(late.receive(), "x");
}

using DtInetUdpSocketReceive = WithPeer;

TEST_F(DtInetUdpSocketReceive, TellsWhyNot)
{
   DtInetUdpSocket socket(loopback(9), 0, nullptr, theNonBlocking), blocking(loopback(9));
   std::string const at = " failed on socket at 0.0.0.0:" + std::to_string(socket.localPort()) + "\n";
   char bytes[4];
   DtInetEndpoint from = loopback(7);
   Chain chain({"ab", "c"}), none({});
   // On a blocking socket only the flat ones tell of a datagram that was cut; the chain has received nothing.
   std::tuple<char const *, std::function<int(DtInetUdpSocket &, Chain &)>, int> const rows[] = {
      {"recv()", [&](auto & on, auto &) { return on.recv(bytes, 3); }, DtInetSockRcvFailed},
      {"recvFrom()", [&](auto & on, auto &) { return on.recvFrom(bytes, 3, from); }, DtInetSockRcvFailed},
      {"recvToChain()", [&](auto & on, auto & to) { return on.recvToChain(to.chain); }, 0},
      {"recvToChainFrom()", [&](auto & on, auto & to) { return on.recvToChainFrom(to.chain, from); }, 0},
   };
   for (auto const & [name, receive, cutWhenBlocking] : rows)
   {
      EXPECT_EQ(receive(socket, none), cutWhenBlocking == 0 ? DtInetSockRcvNoRoom : DtInetSockRcvNothing);
      EXPECT_EQ(told(receive(socket, chain), socket), "0, 0 open ? ");
      EXPECT_EQ(from.port(), 7);
   }
   for (auto const & [name, receive, cutWhenBlocking] : rows)
   {
      deliver("1234", socket);
      EXPECT_EQ(told(receive(socket, chain), socket),
                std::string("-1, 10040 open ") + name + at + "Message too long");
      deliver("1234", blocking);
      EXPECT_EQ(receive(blocking, chain), cutWhenBlocking);
   }
   EXPECT_EQ(Counters(socket).received, Count(0, 0));
   // What fits exactly is no error.
   deliver("123", socket);
   EXPECT_TRUE(socket.recvToChainFrom(chain.chain, from) == 3 && from.port() == peer.port());
   close(static_cast<int>(socket.descriptor()));
   EXPECT_TRUE(socket.recv(bytes, 4) == DtInetSockRcvFailed && socket.getLastError() == 10009);
}

TEST_F(DtInetUdpSocketReceive, AndSendTakeAtMost64VectorsOfAChain)
{
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, theNonBlocking);
   DtInetUdpSocket async(loopback(peer.port()), 0, nullptr, theAsync);
   Chain many(std::vector<std::string>(70, "ab"));
   EXPECT_TRUE(socket.sendChain(many.chain) == 128 && peer.receive()->size() == 128);
   EXPECT_TRUE(async.sendChain(many.chain) == 140 && peer.receive()->size() == 140);
   for (int const result : {128, int(DtInetSockRcvFailed)})
   {
      deliver(std::string(result == 128 ? 128 : 129, 'x'), socket);
      EXPECT_EQ(socket.recvToChain(many.chain), result);
   }
}

// The callbacks around chains.

/// What a callback answers, and the status that one of a receive leaves, if not 0.
struct Script
{
   int result, setsStatus = 0;
};
typedef std::vector<Script> Scripts;

Scripts theScripts[4];
std::string theSeen;
DtInetEndpoint theEnd;
int theData[3];

/// The callback of a type that was added at a place notes what it was given. Those of receives get a status
/// in place of their data.
template<int type, int place>
int follow(DtInetSocket *, int size, DtInetSockChain &, DtInetEndpoint & endpoint, void * arg)
{
   constexpr bool isReceive = type < DtInetSockPreSend;
   Script const & script = theScripts[type][place];
   int & status = *static_cast<int *>(arg);
   EXPECT_EQ(arg == &theData[place], !isReceive);
   EXPECT_TRUE(isReceive || &endpoint == &theEnd);
   theSeen += std::to_string(size) + (isReceive ? "/" + std::to_string(status) : "") +
              (isReceive && endpoint.port() != 0 ? "! " : " ");
   status = isReceive && script.setsStatus != 0 ? script.setsStatus : status;
   return script.result;
}

template<int type>
void addCallbacks(DtInetUdpSocket & socket, Scripts const & scripts)
{
   DtInetSocketProcessingCb const callbacks[] = {follow<type, 0>, follow<type, 1>, follow<type, 2>};
   theScripts[type] = scripts;
   theSeen.clear();
   for (std::size_t i = 0; i < scripts.size(); ++i)
      socket.addProcessingCallback(DtInetSockProcessingType(type), callbacks[i], &theData[i], -1);
}

using DtInetUdpSocketCallbacks = WithPeer;

TEST_F(DtInetUdpSocketCallbacks, OfSends)
{
   std::tuple<Scripts, Scripts, unsigned long, int, std::string, std::string, Count, std::string> const
      rows[] = {
         {{}, {}, 0, 5, "", "hello", {1, 5}, ""},
         {{{5}}, {{7}}, 0, 12, "5 5 ", "hello", {1, 5}, ""},
         // Taken whole: later ones are passed over, and nothing is sent.
         {{{0}, {3}}, {}, 0, 5, "5 ", "", {1, 5}, ""},
         {{{2}, {0}, {1}}, {{1}}, 0, 6, "5 2 5 ", "", {1, 5}, ""},
         // Taken in part: what was really sent counts.
         {{{2}, {1}}, {}, 0, 5, "5 2 ", "hello", {1, 5}, ""},
         {{{-1}, {3}}, {}, 0, -1, "5 ", "", {0, 0}, "Pre-send callback failed."},
         {{{5}}, {{1}, {-2}, {3}}, 0, -1, "5 5 6 ", "hello", {1, 5}, "Post-send callback failed."},
         {{{-1}}, {{2}}, DtInetSockSkipPreCallbacks, 7, "5 ", "hello", {1, 5}, ""},
         {{{5}}, {{-1}}, DtInetSockSkipPostCallbacks, 5, "5 ", "hello", {1, 5}, ""},
      };
   theEnd = loopback(peer.port());
   for (auto const & [before, after, flags, result, sizes, onWire, counted, text] : rows)
   {
      DtInetUdpSocket socket(theEnd);
      addCallbacks<DtInetSockPreSend>(socket, before);
      addCallbacks<DtInetSockPostSend>(socket, after);
      Chain chain({"he", "llo"});
      DtInetSockChain empty;
      EXPECT_EQ(told(socket.sendChainTo(chain.chain, theEnd, flags), socket),
                std::to_string(result) +
                   (text.empty() ? ", 0 open ? " : ", -1 error sendChain()/sendChainTo(): ") + text);
      EXPECT_EQ(std::pair(theSeen, Counters(socket).sent), std::pair(sizes, counted));
      EXPECT_EQ(peer.receive(onWire.empty() ? 0.0 : 5.0).value_or(""), onWire);
      // A flat send runs none, and an empty chain only those behind it.
      EXPECT_EQ(socket.send(chain.pieces[0].data(), 2), 2);
      EXPECT_EQ(socket.sendChain(empty, DtInetSockSkipPostCallbacks), 0);
      EXPECT_TRUE(theSeen == sizes && peer.receive() == "he") << theSeen;
   }
}

TEST_F(DtInetUdpSocketCallbacks, OfReceives)
{
   std::tuple<Scripts, Scripts, unsigned long, bool, int, std::string, Count> const rows[] = {
      {{{9}}, {{5}}, 0, true, 5, "0/0 5/0! ", {1, 5}},
      // Served from elsewhere: the socket isn't read.
      {{{3}, {7, -5}}, {{4}}, 0, false, 4, "0/0 0/0 7/-5 ", {1, 7}},
      {{{0, -5}}, {{0}}, 0, false, -5, "0/0 0/-5 ", {0, 0}},
      {{{7, -4}}, {{1}}, 0, true, 1, "0/0 5/-4! ", {1, 5}},
      // Dropped: the others still run, and share the status.
      {{}, {{0, -2}, {0}, {0, -3}}, 0, true, -3, "5/0! -2/-2! -2/-2! ", {1, 5}},
      {{}, {{0, -2}, {6}}, 0, true, 6, "5/0! -2/-2! ", {1, 5}},
      {{}, {{0}}, 0, false, 0, "0/0 ", {0, 0}},
      {{{7, -5}}, {{2}}, DtInetSockSkipPreCallbacks, true, 2, "5/0! ", {1, 5}},
      {{{7, -5}}, {{2}}, DtInetSockSkipPostCallbacks, false, 7, "0/0 ", {1, 7}},
   };
   for (bool const withSender : {true, false})
      for (auto const & [before, after, flags, isSent, result, told, counted] : rows)
      {
         DtInetUdpSocket socket(loopback(9), 0, nullptr, theNonBlocking);
         addCallbacks<DtInetSockPreReceive>(socket, before);
         addCallbacks<DtInetSockPostReceive>(socket, after);
         if (isSent)
            deliver("hello", socket);
         Chain chain({"---", "---"});
         DtInetSockChain empty;
         DtInetEndpoint from;
         char byte;
         EXPECT_EQ(withSender ? socket.recvToChainFrom(chain.chain, from, flags)
                              : socket.recvToChain(chain.chain, flags),
                   result);
         std::string seen = told;
         if (!withSender)
            seen.erase(std::remove(seen.begin(), seen.end(), '!'), seen.end());
         EXPECT_EQ(std::pair(theSeen, Counters(socket).received), std::pair(seen, counted));
         // A flat receive, and one into an empty chain, run none.
         EXPECT_TRUE(socket.recv(&byte, 1) == 0 && socket.recvFrom(&byte, 1, from) == 0);
         EXPECT_EQ(socket.recvToChain(empty), DtInetSockRcvNoRoom);
         EXPECT_EQ(theSeen, seen);
      }
}

// Sending and receiving by the background thread.
using DtInetUdpSocketAsync = WithPeer;

// The queue's own counts, as callers know them: every poll of it is a packet, and -4 takes four bytes off.
TEST_F(DtInetUdpSocketAsync, CountsPollsOfTheQueue)
{
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, theAsync);
   char bytes[4];
   DtInetEndpoint from = loopback(7);
   Chain chain({"-", "--"});
   EXPECT_TRUE(socket.recv(bytes, 4) == 0 && socket.recvFrom(bytes, 4, from) == 0 &&
               socket.recvToChain(chain.chain) == DtInetSockRcvNothing);
   EXPECT_STREQ(from.toDtString(true), "0.0.0.0:any(UDP)");
   EXPECT_EQ(Counters(socket).received, Count(2, 0));
   auto const poll = [&](bool isFlat)
   {
      socket.clearStats();
      return isFlat ? socket.recv(bytes, 4) : socket.recvToChain(chain.chain);
   };
   for (bool const isFlat : {true, false})
   {
      deliver("12345", socket);
      EXPECT_TRUE(eventually([&] { return poll(isFlat) == DtInetSockRcvNoRoom; }));
      EXPECT_EQ(Counters(socket).received, Count(1, static_cast<std::uint64_t>(-4)));
   }
   EXPECT_TRUE(chain.text() == "123" && socket.getLastError() == 0);
}

TEST_F(DtInetUdpSocketAsync, FailureOfASendShowsAtTheNext)
{
   DtInetEndpoint const any(DtInetAddr(), peer.port(), DtInetProtoUdp);
   std::tuple<DtInetEndpoint, int, int> const rows[] = {{loopback(peer.port()), 70000, 10040},
                                                        {any, 5, 10049}};
   for (auto const & [to, size, code] : rows)
   {
      DtInetUdpSocket socket(to, 0, nullptr, 0xF80);
      std::vector<char> bytes(static_cast<std::size_t>(size));
      EXPECT_EQ(socket.send(bytes.data(), bytes.size()), size);
      EXPECT_TRUE(eventually([&] { return socket.send(bytes.data(), 1) == -1; }));
      EXPECT_TRUE(socket.getLastError() == code && socket.recv(bytes.data(), 1) == DtInetSockRcvFailed);
   }
}

// A datagram larger than the engine's buffer yields -4, and the reading goes on.
TEST_F(DtInetUdpSocketAsync, TellsOfADatagramThatWasCut)
{
   int const before = DtInetUtils::getMaxPacketBufferSize();
   DtInetUtils::setMaxPacketBufferSize(1000);
   DtInetUdpSocket socket(loopback(peer.port()), 0, nullptr, 0xD83);
   DtInetUtils::setMaxPacketBufferSize(before);
   std::vector<char> room(2000);
   for (std::size_t const size : {1001u, 1000u})
   {
      deliver(std::string(size, 'x'), socket);
      int got = 0;
      EXPECT_TRUE(eventually([&] { return (got = socket.recv(room.data(), room.size())) != 0; }));
      EXPECT_EQ(got, size == 1000u ? 1000 : int(DtInetSockRcvNoRoom));
   }
}

TEST_F(DtInetUdpSocketAsync, SendsAllBeforeItCloses)
{
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
