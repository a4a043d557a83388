// SPDX-License-Identifier: MIT
#include "inet/socketKit.h"
#include "inet/steps.h"
#include "support/allocations.h"
#include "support/signalStorm.h"
#include "support/systemCalls.h"

#include <boost/asio/ip/tcp.hpp>

#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <netinet/tcp.h>
#include <tuple>
#include <unistd.h>

namespace
{

using namespace socketKit;

typedef unsigned long Size;

constexpr Size theMode = DtInetSockFlagNonBlocking;
char theBytes[200] = "hello";

/// Reaches what a socket keeps protected.
struct Tcp : Watched<DtInetTcpSocket>
{
   using DtInetSocket::myLocalEndpoint, DtInetTcpSocket::tcpServerSocket, DtInetTcpSocket::tcpSocket,
      Watched::Watched;

   Tcp(Size flags, unsigned short port) : Watched(loopback(port, DtInetProtoNone), 0, nullptr, flags, false)
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

/// Has the system end a stream at once; its socket doesn't hear of it.
bool reset(Tcp & socket)
{
   linger const now{1, 0};
   int const descriptor = static_cast<int>(socket.descriptor()), null = open("/dev/null", O_RDONLY);
   setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
   return dup2(null, descriptor) == descriptor && close(null) == 0;
}

/// How the peer has ended a stream. Otherwise what can be seen of a socket, and the setters that it called.
std::string lookOf(Tcp & socket)
{
   std::ostringstream text;
   if (socket.getTerminationCode() != 0)
      return std::to_string(socket.getTerminationCode()) + " " + socket.getTerminationString().stdString();
   text << socket.localEndpoint().toDtString(true) << " to " << socket.destination().toDtString(true)
        << std::hex << ", flags " << socket.flags() << (socket.isOk() ? ", ok" : "")
        << (socket.isNonBlocking() ? ", non-blocking" : "") << (socket.isNoDelay() ? ", no-delay" : "")
        << (socket.getReuseAddressOption() ? ", shared" : "")
        << (fcntl(static_cast<int>(socket.descriptor()), F_GETFD) == FD_CLOEXEC ? ", close-on-exec" : "");
   return text.str() + ": " + socket.calls.substr(0, socket.calls.size() - 1);
}

/// What Boost has got: 1 for a stream, 2 for a listener, 3 for one that reports aborted connections.
int boostOf(Tcp & socket)
{
   boost::asio::socket_base::enable_connection_aborted reports;
   auto * const acceptor = static_cast<boost::asio::ip::tcp::acceptor *>(socket.tcpServerSocket());
   if (acceptor == nullptr || socket.tcpSocket() != nullptr)
      return acceptor == nullptr ? socket.tcpSocket() != nullptr : -1;
   acceptor->get_option(reports);
   return reports.value() ? 3 : 2;
}

/// TCP sockets by name, each of which stands in braces for its port.
struct TcpWorld : World
{
   TcpWorld();

   /// Adds a verb that does something to a socket, which tells of its answer and its state.
   void on(std::string const & verb, std::function<int(Tcp &, Fields const &)> const & call)
   {
      verbs[verb] = [this, call](Fields const & row)
      {
         Tcp & socket = *sockets.at(row[1]);
         std::string const text = told(call(socket, row), socket);
         return names[row[1]] = std::to_string(socket.localPort()), text;
      };
   }
   template<class... Arguments>
   std::string add(Fields const & row, Arguments &&... arguments)
   {
      sockets[row[1]] = &owned.emplace_back(std::forward<Arguments>(arguments)...);
      return verbs["state"](row);
   }

   FullListener full;
   std::deque<Tcp> owned;
   std::unique_ptr<Stream> stream;
   std::map<std::string, Tcp *> sockets;
   std::vector<char> large = std::vector<char>(1 << 24);
   DtInetSockChain nowhere;
   rlim_t descriptors = 0;
   DtInetDevice lo{DtString("lo")};
};

// clang-format off
TcpWorld::TcpWorld()
{
   names["full"] = std::to_string(full.port);
   auto const deviceOf = [this](std::string const & name) { return name == "lo" ? &lo : nullptr; };
   verbs["bare"] = [=](auto & row) { return add(row); };
   verbs["client"] = [=](auto & row) { return add(row, DtInetEndpoint(DtInetAddr(row[3].c_str()), as<unsigned short>(row[4]), as<DtInetProtocol>(row[5])), 0, deviceOf(row[6]), as<Size>(row[2]), false); };
   verbs["server"] = [=](auto & row) { return add(row, as<unsigned short>(row[3]), deviceOf(row[5]), as<DtInetUtils::DtInetAddrFamily>(row[4]), as<Size>(row[2]), false); };
   verbs["stream"] = [this](auto & row) {
      stream = std::make_unique<Stream>(as<Size>(row[2]), 0xCC3);
      sockets = {{"server", &stream->server}, {"client", &stream->client}, {"accepted", &stream->accepted}};
      return verbs["state"](row);
   };
   verbs["far server"] = [this](auto & row) {
      far->onThread([&] { add(row, static_cast<unsigned short>(0)); });
      return verbs["state"](row);
   };
   always("far", [this](auto & row) { far->ip(row[1]); });
   on("time out", [](auto & socket, auto & row) {
      int const milliseconds = as<int>(row[2]);
      return setsockopt(static_cast<int>(socket.descriptor()), IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds, sizeof milliseconds) == 0;
   });
   verbs["look"] = [this](auto & row) { return lookOf(*sockets.at(row[1])); };
   on("state", [](auto & socket, auto &) { return socket.isOk(); });
   on("open", [](auto & socket, auto &) { return socket.openSocket(); });
   on("listen", [](auto & socket, auto &) { return socket.listenForConnections(); });
   on("connect", [](auto & socket, auto &) { return socket.connectToDestination(); });
   on("accept", [this](auto & socket, auto & row) { return socket.acceptConnection(sockets.at(row[2]), as<Size>(row[3])); });
   on("close", [](auto & socket, auto &) { return socket.closeSocket(); });
   on("use", [](auto & socket, auto & row) { return use(socket, row[2][0]); });
   on("receive nowhere", [this](auto & socket, auto &) { return socket.recvToChain(nowhere); });
   on("fill", [this](auto & socket, auto &) { return socket.send(large.data(), large.size()) > 0; });
   on("drain", [this](auto & socket, auto &) { return socket.recv(large.data(), large.size()) > 0; });
   on("destination", [](auto & socket, auto & row) { return socket.setDestination(loopback(9, as<DtInetProtocol>(row[2]))); });
   on("local udp", [](auto & socket, auto &) { return socket.myLocalEndpoint.setProtocol(DtInetProtoUdp), 1; });
   on("send watermark", [](auto & socket, auto & row) { return socket.setSendLowWatermark(as<Size>(row[2])); });
   on("share", [](auto & socket, auto & row) { return socket.setReuseAddressOption(row[2] == "1"); });
   on("non-blocking", [](auto & socket, auto & row) { return socket.setNonBlockingOption(row[2] == "1"); });
   on("report aborted", [](auto & socket, auto & row) { return socket.setConnAbortedOption(row[2] == "1"); });
   on("boost", [](auto & socket, auto &) { return boostOf(socket); });
   on("clear", [](auto & socket, auto &) { return socket.clearError(), 1; });
   on("fail in", [](auto & socket, auto & row) { return socket.failing = row[2][0], 1; });
   on("reset", [](auto & socket, auto &) { return reset(socket); });
   on("break", [](auto & socket, auto &) { return ::close(static_cast<int>(socket.descriptor())) == 0; });
   on("run out", [this](auto &, auto &) { return descriptors = limit(RLIMIT_NOFILE, 3), 1; });
   on("have more", [this](auto &, auto &) { return limit(RLIMIT_NOFILE, descriptors), 1; });
}
// clang-format on

TEST(DtInetTcpSocket, DoesAndTellsWhatItsScenariosSay)
{
   runSteps<TcpWorld>("inet/tcp.tsv");
}

TEST(DtInetTcpSocket, DoesAndTellsWhatItsScenariosInANetworkSay)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   runSteps<TcpWorld>("inet/tcpNetworks.tsv");
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

TEST(DtInetTcpSocket, BackgroundThreadSendsInOrderAndReceivesBlocks)
{
   Stream stream(0x302, 0x302);
   int const descriptor = static_cast<int>(stream.accepted.descriptor());
   std::string all(20000000, '.'), got(all);
   for (std::size_t i = 0; i < all.size(); ++i)
      all[i] = static_cast<char>(i % 251);
   std::string block;
   for (std::size_t sent = 0; sent < all.size(); sent += block.size())
   {
      block = all.substr(sent, 100000);
      ASSERT_EQ(stream.client.send(block.data(), block.size()), 100000);
   }
   EXPECT_EQ(recv(descriptor, got.data(), got.size(), MSG_WAITALL), ssize_t(all.size()));
   EXPECT_TRUE(got == all);
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
   std::vector<char> piece(1000003, 'x'), all(20 * piece.size());
   DtInetSockChain chain(20, &piece);
   ssize_t got = 0;
   auto const readAll = [&]
   { got = recv(int(stream.accepted.descriptor()), all.data(), all.size(), MSG_WAITALL); };
   std::tuple<char const *, std::function<void()>, std::function<int()>, int> const rows[] = {
      {"recv", [&] { use(stream.accepted, 's'); }, [&] { return use(stream.client, 'r'); }, 5},
      {"send", readAll, [&] { return stream.client.sendChain(chain); }, 20 * 1000003},
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
   EXPECT_EQ(got, 20 * 1000003);
   for (int i = 0; i < 20000; ++i)
      ASSERT_EQ(use(udp, 's'), 5) << told(udp);
   EXPECT_GT(storm.count(), 100);
}

} // namespace
