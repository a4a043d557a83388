// SPDX-License-Identifier: MIT
#include "inet/socketKit.h"
#include "support/allocations.h"
#include "support/signalStorm.h"
#include "support/slots.h"
#include "support/systemCalls.h"

#include <boost/asio/ip/tcp.hpp>

#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <tuple>
#include <unistd.h>

namespace
{

using namespace socketKit;

typedef unsigned long Size;

constexpr Size theExclusive = DtInetSockFlagsDefault & ~static_cast<Size>(DtInetSockFlagReuseAddress);
constexpr Size theMode = DtInetSockFlagNonBlocking;
char theBytes[200] = "hello";

/// Reaches what a socket keeps protected.
struct Tcp : Watched<DtInetTcpSocket>
{
   using DtInetSocket::myDestination, DtInetSocket::myLocalEndpoint, DtInetTcpSocket::initAcceptedConnection,
      DtInetTcpSocket::openAcceptedConnection, DtInetTcpSocket::tcpServerSocket, DtInetTcpSocket::tcpSocket,
      Watched::Watched;

   Tcp(Size flags, unsigned short port, bool opens = false)
      : Watched(loopback(port, DtInetProtoNone), 0, nullptr, flags, opens)
   {
   }
   bool setTcpNoDelayOption(bool on) override
   {
      return note('d', on) && DtInetTcpSocket::setTcpNoDelayOption(on);
   }
};

/// A client and the connection that its server has accepted, which must not hang. They are blocking while
/// they connect.
struct Stream
{
   explicit Stream(Size clientFlags = 0xC83, Size acceptedFlags = 0xC83, int family = 4)
      : server(0, nullptr, DtInetUtils::DtInetAddrFamily(family)),
        client(
           DtInetEndpoint(DtInetAddr::loopbackAddress(server.family()), server.localPort(), DtInetProtoTcp),
           0, nullptr, clientFlags & ~theMode)
   {
      EXPECT_TRUE(client.connectToDestination()) << told(client);
      EXPECT_TRUE(server.acceptConnection(&accepted, acceptedFlags) && accepted.isOk()) << told(accepted);
      EXPECT_EQ(client.setNonBlockingOption((clientFlags & theMode) != 0), true);
   }

   /// Has the system end the stream at once on the accepted side.
   void reset()
   {
      linger const now{1, 0};
      int const descriptor = static_cast<int>(accepted.descriptor()), null = open("/dev/null", O_RDONLY);
      setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
      dup2(null, descriptor);
      close(null);
   }

   Watchdog const watchdog{120};
   Tcp server, client, accepted;
};

/// A listener that has no room for a further connection, and doesn't answer.
struct FullListener
{
   FullListener() { listen(acceptor.native_handle(), 0), filler.connectToDestination(); }

   boost::asio::io_context context;
   boost::asio::ip::tcp::acceptor acceptor{context, {boost::asio::ip::make_address("127.0.0.1"), 0}};
   unsigned short const port = acceptor.local_endpoint().port();
   Tcp filler{0x002, port};
};

TEST(DtInetTcpSocket, SlotOrder)
{
   typedef Tcp S;
   typedef DtInetTcpSocket B;
   EXPECT_TRUE(inSlotsFrom(slotOf(&DtInetSocket::removeProcessingCallback) + 2, &B::listenForConnections,
                           &B::acceptConnection, &B::setTcpNoDelayOption, &B::setTcpLingerOption,
                           &B::setConnAbortedOption, &B::setTcpKeepAliveOption, &B::getTcpLingerOption,
                           &B::getConnAbortedOption, &B::getTcpKeepAliveOption, &S::initAcceptedConnection,
                           &S::openAcceptedConnection, &S::tcpSocket, &S::tcpServerSocket));
}

TEST(DtInetTcpSocket, TellsWhyNot)
{
   Stream stream;
   DtInetTcpSocket bare, target, listener(0, nullptr, DtInetUtils::DtInetFamilyIpv4, 0xC83, false);
   DtInetDevice lo(DtString("lo"));
   DtInetTcpSocket portless(0, &lo), taken(stream.server.localPort()),
      unopened(loopback(9, DtInetProtoTcp), 0, nullptr, 0x003, false);
   Tcp open(0x003, 9, true), localUdp(0x003, 9), remoteUdp(0x003, 9),
      muted(0x001, stream.server.localPort(), true);
   Tcp thrown(0x003, 9), nowhere(DtInetEndpoint(DtInetAddr(), 9, DtInetProtoTcp)), refused(0x003, 1),
      thrower(0, nullptr, DtInetUtils::DtInetFamilyIpv4, 0x700000083, false);
   localUdp.myLocalEndpoint.setProtocol(DtInetProtoUdp);
   remoteUdp.myDestination = loopback();
   thrown.failing = 's', thrower.failing = 'd';
   ASSERT_TRUE(muted.connectToDestination());
   Chain chain({"abc"}), none({});
   std::string const port = std::to_string(open.localPort());
   // clang-format off
   Telling const rows[] = {
      {bare, [&] { return bare.closeSocket(); }, "0, 10009 none closeSocket() called on uninitialized socket"},
      {bare, [&] { return bare.recv(theBytes, 1); }, "-1, 10009 none recv() called on uninitialized socket"},
      {bare, [&] { return bare.recvToChain(chain.chain); }, "-1, 10057 none recvToChain() called on unconnected socket on 0.0.0.0:any"},
      {bare, [&] { return bare.openSocket(); }, "0, 127 error openSocket(): Invalid state 0"},
      {bare, [&] { return bare.listenForConnections(); }, "0, 127 error listenForConnections(): Invalid state -1"},
      {target, [&] { return target.listenForConnections(); }, "0, 10009 none ? DtInetTcpSocket()::listenForConnections() called on uninitialized socket"},
      {listener, [&] { return listener.openSocket() && listener.connectToDestination(); }, "0, 0 created ? "},
      {listener, [&] { return listener.acceptConnection(&target); }, "0, 10022 created ? "},
      {listener, [&] { return listener.setReuseAddressOption(true) || listener.getSendBufferSize() != 0; }, "0, 10022 created ? "},
      {portless, [&] { return portless.isOk(); }, "0, 10045 error ? Cannot open socket to listen on port 0"},
      {taken, [&] { return taken.isOk(); }, "0, 10048 error listenForConnections(): Error opening Boost acceptor socket\nAddress already in use"},
      {stream.server, [&] { return stream.server.acceptConnection(&stream.accepted); }, "0, 10037 listening ? "},
      {stream.server, [&] { return stream.server.acceptConnection(&listener); }, "0, 10037 listening ? "},
      {open, [&] { return open.recv(theBytes, 1); }, "-1, 10057 open recv() called on unconnected socket on 0.0.0.0:" + port},
      {open, [&] { return open.setDestination(loopback(9, DtInetProtoTcp)); }, "0, 10056 open setDestination(): Cannot change destination endpoint of open socket"},
      {open, [&] { return open.sendChain(chain.chain); }, "-1, 10057 error sendChain(): Error - not connected."},
      {open, [&] { return open.closeSocket() && open.openSocket(); }, "0, 127 error openSocket(): Invalid state 9"},
      {localUdp, [&] { return localUdp.openSocket(); }, "0, 135 error openSocket(): Cannot open TCP socket from local UDP endpoint"},
      {remoteUdp, [&] { return remoteUdp.connectToDestination(); }, "0, 135 error openSocket(): Cannot open TCP socket to a remote UDP endpoint"},
      {thrown, [&] { return thrown.openSocket(); }, "0, 10022 error openSocket(): Cannot allocate memory"},
      {nowhere, [&] { return nowhere.connectToDestination(); }, "0, 10049 error connectToDestination(): Error connecting Boost socket\nCannot assign requested address"},
      {refused, [&] { return refused.connectToDestination(); }, "0, 10061 error connectToDestination(): Error connecting Boost socket\nConnection refused"},
      {unopened, [&] { return unopened.setDestination(loopback()); }, "0, 10022 created setDestination(): Specified destination endpoint is not TCP"},
      {muted, [&] { return muted.send(theBytes, 1); }, "-1, 10045 error send(): Socket not initialized for sending."},
      {stream.client, [&] { return stream.client.recvToChain(none.chain); }, "-4, 0 connected ? "},
      {stream.client, [&] { return stream.client.setSendLowWatermark(5); }, "0, 10042 error setSendLowWatermark(): Error setting send low watermark to 5\nProtocol not available"},
      {thrower, [&] { return thrower.listenForConnections(); }, "0, 14 error listenForConnections(): Error opening Boost acceptor socket\nCannot allocate memory"},
   };
   // clang-format on
   for (Telling const & row : rows)
      EXPECT_EQ(told(row.call(), row.socket), row.told);
   // Flags are a word of 32 bits.
   EXPECT_TRUE(thrower.flags() == 0x080 && thrower.calls == "b0 d1 ");
}

TEST(DtInetTcpSocket, RolesOpenThroughTheVirtualSetters)
{
   DtInetDevice lo(DtString("lo"));
   Tcp server(unusedPort(), &lo, DtInetUtils::DtInetFamilyIpv4, theNonBlocking), accepted, bare;
   EXPECT_TRUE(server.isOk() && server.listenForConnections() && server.isNonBlocking() && server.isTcp());
   EXPECT_STREQ(server.localEndpoint().address().toDtString(), "127.0.0.1");
   // Sharing the address is the listener's own affair, and the answer to a mode is the mode.
   EXPECT_FALSE(server.getReuseAddressOption() || server.setNonBlockingOption(false));
   EXPECT_TRUE(server.setReuseAddressOption(true) && server.getReuseAddressOption());
   Tcp client(0x0C2, server.localPort());
   EXPECT_TRUE(client.connectToDestination() && client.state() == DtInetSockConnecting && client.isOk());
   EXPECT_EQ(client.calls, "b1 d1 r0 s65504 v65504 ");
   EXPECT_STREQ(client.localEndpoint().address().toDtString(), "127.0.0.1");
   EXPECT_TRUE(server.acceptConnection(&accepted, 0x0C2) && accepted.state() == DtInetSockConnected);
   EXPECT_EQ(accepted.calls, "b1 b1 d0 r0 ");
   EXPECT_TRUE(accepted.destination() == client.localEndpoint() &&
               accepted.localPort() == server.localPort());
   EXPECT_TRUE(!accepted.getReuseAddressOption() && accepted.isNonBlocking() && !accepted.isNoDelay());
   for (Tcp * const socket : {&server, &client, &accepted})
      EXPECT_NE(fcntl(static_cast<int>(socket->descriptor()), F_GETFD) & FD_CLOEXEC, 0);
   EXPECT_TRUE(server.tcpSocket() == nullptr && bare.tcpSocket() == nullptr &&
               client.tcpServerSocket() == nullptr);
   // Boost hears of what it keeps a mark of, whenever it gets the socket.
   boost::asio::socket_base::enable_connection_aborted reports;
   EXPECT_TRUE(server.setConnAbortedOption(true));
   static_cast<boost::asio::ip::tcp::acceptor *>(server.tcpServerSocket())->get_option(reports);
   EXPECT_TRUE(reports.value() && server.setConnAbortedOption(false) && !server.getConnAbortedOption());
   // A listener of IPv6 hears IPv4 too.
   DtInetTcpSocket wide(0, nullptr, DtInetUtils::DtInetFamilyIpv6), mapped;
   Tcp ipv4(loopback(wide.localPort(), DtInetProtoTcp), 0, &lo);
   EXPECT_STREQ(ipv4.localEndpoint().address().toDtString(), "127.0.0.1");
   EXPECT_TRUE(ipv4.connectToDestination() && wide.acceptConnection(&mapped) && mapped.isIPv6());
}

int addOne(DtInetSocket * socket, int size, DtInetSockChain &, DtInetEndpoint & endpoint, void *)
{
   return size == 5 && endpoint == socket->destination() ? 1 : -7;
}

DtInetEndpoint theOther;
std::string theGot;

/// Sends "hello", or receives up to 9 bytes into theGot: flat or by a chain, the capitals with an endpoint.
int use(DtInetSocket & socket, char way, DtInetEndpoint & other = theOther)
{
   Chain out({"he", "", "llo"}), in({"...", "......"});
   std::string flat(9, '.');
   int result = 0;
   // clang-format off
   switch (way)
   {
   case 's': return socket.send(theBytes, 5);
   case 'S': return socket.sendTo(theBytes, 5, other);
   case 'c': return socket.sendChain(out.chain);
   case 'C': return socket.sendChainTo(out.chain, other);
   case 'r': result = socket.recv(flat.data(), 9); break;
   case 'R': result = socket.recvFrom(flat.data(), 9, other); break;
   case 'v': result = socket.recvToChain(in.chain); break;
   default: result = socket.recvToChainFrom(in.chain, other);
   }
   // clang-format on
   theGot = tolower(way) == 'v' ? in.text() : flat;
   return result;
}

void exchange(DtInetSocket & from, DtInetSocket & to, char const * ways)
{
   // A stream ignores where it is to send.
   DtInetEndpoint other = from.isTcp() ? loopback() : from.destination();
   int got = 0;
   from.clearStats();
   to.clearStats();
   EXPECT_EQ(use(from, ways[0], other), tolower(ways[0]) == 'c' ? 6 : 5) << told(from);
   EXPECT_TRUE(eventually([&] { return (got = use(to, ways[1], other)) != 0; }));
   EXPECT_TRUE(got == 5 && theGot == "hello....") << theGot << told(to);
   EXPECT_TRUE(islower(ways[1]) || (other == to.destination() && other.protocol() == to.protocol()));
   // From the queue the polls in vain count too.
   bool const isQueued = (to.flags() & DtInetSockFlagAsyncReceive) != 0;
   EXPECT_EQ(Counters(to).received, Count(isQueued ? to.totalPacketsReceived() : 1, 5));
   EXPECT_EQ(Counters(from).sent, Count(1, 5));
}

// The same with every kind of socket and of flags.
TEST(DtInetSocketTraffic, CarriesAllBytesAndCountsCallsInAllWays)
{
   for (Size const flags : {Size(DtInetSockFlagsDefault), theNonBlocking, theAsync, Size(0xE81), Size(0xD83)})
      for (int const family : {4, 6})
      {
         Stream stream(flags, (flags & ~Size(0x300)) | DtInetSockFlagSend, family);
         DtInetAddr const address = DtInetAddr::loopbackAddress(stream.server.family());
         DtInetUdpSocket left({address, 9, DtInetProtoUdp}, 0, nullptr, flags);
         DtInetUdpSocket right({address, left.localPort(), DtInetProtoNone}, 0, nullptr, flags);
         EXPECT_TRUE(left.setDestination({address, right.localPort(), DtInetProtoUdp}));
         DtInetSocket * const ends[] = {&stream.client, &stream.accepted, &left, &right};
         for (DtInetSocket * const end : ends)
            end->addProcessingCallback(DtInetSockPostSend, addOne, nullptr, 0);
         for (std::size_t i = 0; i < 4; ++i)
            for (char const * const ways : {"sr", "SR", "cv", "CV"})
               exchange(*ends[i], *ends[i ^ 1], ways);
         left.clearStats();
         EXPECT_TRUE(left.send(theBytes, 0) == 0 && Counters(left).sent == Count(1, 0) && left.isOk());
         EXPECT_TRUE(stream.client.closeSocket() && stream.client.state() == DtInetSockClosed);
      }
}

TEST(DtInetTcpSocket, EndOfThePeerGoesToTheTerminationRecord)
{
   // The calls that notice it, each with the client's flags.
   // clang-format off
   std::tuple<int, char const *, bool, std::vector<std::pair<char, Size>>> const rows[] = {
      {2, "Connection terminated by peer", false, {{'r', 2}, {'v', 2}, {'r', 0x42}, {'v', 0x42}, {'r', 0x342}, {'s', 0x342}}},
      {10054, "Connection reset by peer", true, {{'r', 2}, {'v', 0x42}, {'s', 0x42}, {'c', 2}, {'s', 0x342}}},
      {10054, "Broken pipe", false, {{'s', 2}}}};
   // clang-format on
   for (auto const & [code, text, isReset, calls] : rows)
      for (auto const & [way, flags] : calls)
      {
         Stream stream(flags);
         Tcp & client = stream.client;
         isReset ? stream.reset() : static_cast<void>(stream.accepted.closeSocket());
         EXPECT_TRUE(eventually([&, way = way] { return use(client, way) == -1; }));
         EXPECT_EQ(told(client), "0 terminated ? ") << way << flags;
         EXPECT_TRUE(use(client, 'r') == -1 && client.getLastError() == 10057 && !client.isOk() &&
                     client.state() == DtInetSockTerminated);
         client.clearError();
         EXPECT_EQ(told(client.closeSocket(), client), "1, 0 closed ? ");
         EXPECT_EQ(client.getTerminationCode(), code);
         EXPECT_STREQ(client.getTerminationString(), text);
      }
}

// The state of a non-blocking connect under way.
TEST(DtInetTcpSocket, ConnectingOneDoesNotMistakeTheWaitForAnEnd)
{
   FullListener full;
   Tcp waiting(0x042, full.port), refused(0x042, 1), server(0, nullptr), accepted, other;
   Tcp first(0x042, server.localPort()), second(0x042, server.localPort());
   EXPECT_TRUE(waiting.connectToDestination() && refused.connectToDestination());
   // A refused one tells once.
   EXPECT_TRUE(eventually([&] { return use(refused, 'r') == -1 && refused.getLastError() != 0; }));
   EXPECT_EQ(told(refused), "10061 connecting recv() failed on socket at " +
                               refused.localEndpoint().toDtString().stdString() + "\nConnection refused");
   refused.clearError();
   for (Tcp * const socket : {&waiting, &refused})
      for (char const way : {'s', 'c', 'r', 'v'})
         EXPECT_EQ(told(use(*socket, way), *socket), "-1, 0 connecting ? ") << way;
   // One that is answered receives, hears of the end, and becomes connected by its first send.
   EXPECT_TRUE(first.connectToDestination() && server.acceptConnection(&accepted) &&
               second.connectToDestination() && server.acceptConnection(&other));
   EXPECT_EQ(told(use(first, 'r'), first), "0, 0 connecting ? ");
   EXPECT_EQ(told(use(first, 's'), first), "5, 0 connected ? ");
   other.closeSocket();
   EXPECT_TRUE(eventually([&] { return use(second, 'r') == -1; }) && second.getTerminationCode() == 2);
}

TEST(DtInetTcpSocket, FullBufferIsAFailureToBeTriedAgain)
{
   Stream stream(0xC83, theNonBlocking);
   std::vector<char> large(1 << 20);
   std::size_t sent = 0;
   int result = 0;
   while ((result = stream.accepted.send(large.data(), large.size())) > 0)
      sent += static_cast<std::size_t>(result);
   for (char const way : {'s', 'c'})
      EXPECT_EQ(told(use(stream.accepted, way), stream.accepted), "-1, 10035 connected ? ");
   EXPECT_TRUE(stream.accepted.isErrorWouldBlockOrTryAgain());
   for (std::size_t got = 0; got < sent; got += static_cast<std::size_t>(result))
      ASSERT_GT(result = stream.client.recv(large.data(), large.size()), 0);
   EXPECT_EQ(use(stream.accepted, 'c'), 5);
}

TEST(DtInetTcpSocket, FailureOfAnAcceptIsTheTargetsOrTheListeners)
{
   Stream stream;
   DtInetTcpSocket poller(0, nullptr, DtInetUtils::DtInetFamilyIpv4, theNonBlocking), target, other, third;
   EXPECT_EQ(told(poller.acceptConnection(&target), poller), "0, 0 listening ? ");
   rlimit before;
   getrlimit(RLIMIT_NOFILE, &before);
   rlimit const few{3, before.rlim_max};
   setrlimit(RLIMIT_NOFILE, &few);
   std::string const answers[] = {told(stream.server.acceptConnection(&other), other), told(stream.server),
                                  told(poller.acceptConnection(&target), poller), told(target)};
   setrlimit(RLIMIT_NOFILE, &before);
   EXPECT_EQ(
      answers[0],
      "1, 10024 error acceptConnection(): Error creating new connection on socket\nToo many open files");
   EXPECT_EQ(answers[1], "0 listening ? ");
   EXPECT_EQ(answers[2], "0, 10024 error acceptConnection(): Error on non-blocking accept()\n");
   EXPECT_EQ(answers[3], "0 created ? ");
   close(static_cast<int>(stream.server.descriptor()));
   EXPECT_EQ(told(stream.server.acceptConnection(&third), stream.server),
             "1, 10009 error acceptConnection(): Error on Boost acceptor socket\nBad file descriptor");
   EXPECT_EQ(told(third), "0 created ? ");
}

TEST(DtInetTcpSocket, ListenerStartsAgainWhileItsConnectionsFade)
{
   unsigned short const port = unusedPort();
   for (int i = 0; i < 100; ++i)
   {
      DtInetTcpSocket server(port), second(port), accepted;
      ASSERT_EQ(told(server), "0 listening ? ") << i;
      EXPECT_EQ(second.getLastError(), 10048);
      Tcp client(0x002, port);
      ASSERT_TRUE(client.connectToDestination() && server.acceptConnection(&accepted, theExclusive));
      EXPECT_TRUE(accepted.closeSocket() && use(client, 'r') == -1);
   }
}

TEST(DtInetTcpSocket, BackgroundThreadSendsInOrderAndReceivesBlocks)
{
   Stream stream(0x302, 0x302);
   int const descriptor = static_cast<int>(stream.accepted.descriptor());
   std::vector<char> block(100000);
   constexpr std::size_t theTotal = 20000000;
   auto const byteAt = [](std::size_t place) { return static_cast<char>(place % 251); };
   for (std::size_t sent = 0; sent < theTotal; sent += block.size())
   {
      for (std::size_t k = 0; k < block.size(); ++k)
         block[k] = byteAt(sent + k);
      ASSERT_EQ(stream.client.send(block.data(), block.size()), 100000);
   }
   std::size_t wrong = 0, sum = 0;
   for (ssize_t n = 1; n > 0 && sum < theTotal; sum += static_cast<std::size_t>(n))
   {
      n = read(descriptor, block.data(), block.size());
      for (ssize_t k = 0; k < n; ++k)
         wrong += block[static_cast<std::size_t>(k)] != byteAt(sum + static_cast<std::size_t>(k));
   }
   EXPECT_TRUE(sum == theTotal && wrong == 0) << sum << " " << wrong;
   ASSERT_EQ(write(descriptor, "1234567890", 10), 10);
   EXPECT_TRUE(eventually([&] { return use(stream.client, 'r') == DtInetSockRcvNoRoom; }));
   EXPECT_EQ(use(stream.client, 'r'), 0);
   // An accepted connection has no thread: what it sends waits for one, and its queue stays empty.
   EXPECT_TRUE(use(stream.client, 's') == 5 && use(stream.accepted, 'r') == 0 &&
               use(stream.accepted, 's') == 5);
}

TEST(DtInetTcpSocket, CostsOneCallAndNoMemoryAndOneDescriptor)
{
   auto const descriptors = []
   { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
   auto const before = descriptors();
   Stream stream(0xC83, theNonBlocking);
   EXPECT_EQ(descriptors() - before, 3);
   Chain chain({std::string(72, 'x'), std::string(72, 'x')});
   auto const goesWrong = [&]
   {
      return stream.client.send(theBytes, 144) != 144 || stream.accepted.recv(theBytes, 144) != 144 ||
             stream.client.sendChain(chain.chain) != 144 || stream.accepted.recvToChain(chain.chain) != 144 ||
             stream.accepted.recv(theBytes, 144) != 0;
   };
   int wrong = goesWrong();
   SystemCallCount const callCount;
   AllocationCount const count;
   for (int i = 0; i < 100; ++i)
      wrong += goesWrong();
   EXPECT_EQ(count.anywhere(), 0u);
   EXPECT_TRUE(callCount.here() == 500u || !SystemCallCount::whyNot().empty()) << callCount.here();
   EXPECT_EQ(wrong, 0);
}

// Signals interrupt each wait, and are no reason to return.
TEST(DtInetTcpSocket, StormOfSignalsBreaksNothing)
{
   Stream stream;
   FullListener full;
   LoopbackPeer peer;
   DtInetUdpSocket udp(loopback(peer.port()));
   DtInetTcpSocket accepted;
   Tcp client(0x002, stream.server.localPort()), waiting(0x002, full.port);
   std::vector<char> piece(1000003, 'x'), room(300000);
   DtInetSockChain chain(20, &piece);
   int const size = 20 * 1000003;
   std::size_t got = 0;
   auto const readAll = [&]
   {
      for (int n = 1; n > 0 && got < std::size_t(size); got += static_cast<std::size_t>(n))
         n = std::max<int>(stream.accepted.recv(room.data(), room.size()), 0);
   };
   std::tuple<char const *, std::function<void()>, std::function<int()>, int> const rows[] = {
      {"recv", [&] { use(stream.accepted, 's'); }, [&] { return use(stream.client, 'r'); }, 5},
      {"send", readAll, [&] { return stream.client.sendChain(chain); }, size},
      {"accept", [&] { client.connectToDestination(); },
       [&] { return stream.server.acceptConnection(&accepted) && accepted.isOk(); }, 1},
      // The system asks the listener again after a second.
      {"connect", [&] { full.acceptor.accept(); },
       [&] { return waiting.connectToDestination() && use(waiting, 's') == 5; }, 1},
      {"UDP recv", [&] { peer.send("12345", "127.0.0.1", udp.localPort()); }, [&] { return use(udp, 'r'); },
       5},
   };
   SignalStorm const storm;
   for (auto const & [name, other, wait, result] : rows)
   {
      std::thread thread([other = other] { usleep(30000), other(); });
      EXPECT_EQ(wait(), result) << name;
      thread.join();
   }
   EXPECT_EQ(got, std::size_t(size));
   for (int i = 0; i < 20000; ++i)
      ASSERT_EQ(use(udp, 's'), 5) << told(udp);
   EXPECT_GT(storm.count(), 100);
}

// A neighbour that doesn't answer any more shows as an unreachable host.
TEST(DtInetTcpSocket, PeerThatVanishesEndsTheStream)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   Watchdog const watchdog(60);
   NetworkNamespace near, far;
   NetworkNamespace::connect(near, "eth0", far, "eth0");
   near.addAddress("eth0", "10.1.0.1/24");
   far.addAddress("eth0", "10.1.0.2/24");
   std::unique_ptr<DtInetTcpSocket> server;
   far.onThread([&] { server = std::make_unique<DtInetTcpSocket>(static_cast<unsigned short>(0)); });
   NetworkNamespace::Inside const inside(near);
   Tcp client(DtInetEndpoint(DtInetAddr("10.1.0.2"), server->localPort(), DtInetProtoTcp));
   ASSERT_TRUE(client.connectToDestination()) << told(client);
   int const milliseconds = 500;
   setsockopt(static_cast<int>(client.descriptor()), IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds,
              sizeof milliseconds);
   far.ip("address delete 10.1.0.2/24 dev eth0");
   near.ip("ntable change name arp_cache dev eth0 mcast_probes 1 retrans 50\nneigh flush dev eth0");
   EXPECT_TRUE(use(client, 's') == 5 && use(client, 'r') == -1 && client.state() == DtInetSockTerminated);
   EXPECT_EQ(client.getTerminationCode(), 10060) << told(client);
   EXPECT_STREQ(client.getTerminationString(), "No route to host");
}

} // namespace
