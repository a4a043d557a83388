// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetSocketMgr.h"

#include "inet/socketKit.h"
#include "inet/steps.h"
#include "support/allocations.h"
#include "support/skip.h"
#include "support/systemCalls.h"

#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>
#include <unistd.h>

namespace
{

using namespace socketKit;

constexpr unsigned long theExclusive = DtInetSockFlagsDefault & ~0x400ul;

std::string theLog;

DtInetEndpoint keyOf(char name, DtInetProtocol protocol = DtInetProtoNone)
{
   return loopback(static_cast<unsigned short>(name), protocol);
}

// A connection that answers by a letter: '+' takes or gives 8 bytes, 'p' 4 of them, '.' none; 't' tells that
// the peer has gone, 'x' is a failure.
struct Scripted : DtInetUdpSocket
{
   typedef DtInetSockRcvStatus Status;

   explicit Scripted(char itsName) : DtInetUdpSocket(keyOf(itsName)), name(itsName) {}

   Status take()
   {
      theLog += name;
      myState = next == 't' ? DtInetSockTerminated : DtInetSockOpen;
      myLastError = next == 'x' ? 10055 : 0;
      return Status(next == '+' ? 8 : next == '.' ? 0 : next == 'p' ? 4 : -1);
   }
   int sendTo(char *, std::size_t, DtInetEndpoint &, unsigned long) override { return take(); }
   int sendChainTo(DtInetSockChain &, DtInetEndpoint &, unsigned long) override { return take(); }
   Status recvFrom(char *, std::size_t, DtInetEndpoint &, unsigned long) override { return take(); }
   Status recvToChainFrom(DtInetSockChain &, DtInetEndpoint &, unsigned long) override { return take(); }

   char const name;
   char next = '.';
};

bool logCapital(DtInetSocket * socket, void *)
{
   return (theLog += static_cast<char>(static_cast<Scripted *>(socket)->name - 'a' + 'A')).empty();
}

// A manager of three connections, a, b and c, that writes down which are read, written or (in capitals)
// removed.
struct Walk
{
   Walk()
   {
      manager.addSocketRemovalCallback(logCapital);
      for (Scripted & socket : sockets)
         EXPECT_EQ(manager.addConnection(&socket), &socket);
   }

   // Reads, or sends to those behind "to ", once for each word of the script, which says what a, b and c
   // answer. Tells what the calls did and their results.
   std::string run(std::string const & script, bool isChain = false, std::string const & targets = "")
   {
      std::vector<DtInetEndpoint *> to;
      for (std::size_t i = 3; i < targets.size(); ++i)
         to.push_back(&(keys[targets[i]] = keyOf(targets[i])));
      std::istringstream words(script);
      std::string told;
      for (std::string word; words >> word; told += theLog)
      {
         theLog = told.empty() ? "" : " ";
         for (std::size_t i = 0; i < 3; ++i)
            sockets[i].next = word[i];
         int const got = !targets.empty()
                            ? isChain ? manager.sendTo(chain.chain, to) : manager.sendTo(bytes, 8, to)
                         : isChain ? manager.recvToChainFrom(chain.chain, from)
                                   : manager.recvFrom(bytes, 8, from);
         theLog += std::to_string(got);
      }
      return told;
   }

   Scripted sockets[3]{Scripted('a'), Scripted('b'), Scripted('c')};
   DtInetSocketMgr manager;
   std::map<char, DtInetEndpoint> keys;
   DtInetEndpoint from;
   char bytes[8] = {};
   Chain chain{{"12345678"}};
};

TEST(DtInetSocketMgr, WalksItsConnectionsAndDropsThoseThatFail)
{
   for (Fields const & row : tableOf("inet/walks.tsv"))
      for (bool const isChain : {false, true})
         EXPECT_EQ(Walk().run(row[0], isChain, row[1]), row[isChain ? 3 : 2]) << row[0] << " " << row[1];
   // Sockets that share an endpoint take turns; from where the last reader was, reading goes on.
   Walk walk;
   walk.manager.socketList().emplace(keyOf('b', DtInetProtoUdp), &walk.sockets[0]);
   EXPECT_EQ(walk.run(".+. +++ +++ ... +.. .+."), "ab8 a8 c8 abac0 a8 b8");
   EXPECT_TRUE(walk.manager.removeConnection(&walk.sockets[1]));
   EXPECT_EQ(walk.manager.peerSocket(keyOf('b')), &walk.sockets[0]);
   EXPECT_EQ(walk.run("..."), "ac0");
   EXPECT_TRUE(walk.manager.removeConnection(keyOf('b')));
   EXPECT_FALSE(walk.manager.removeConnection(keyOf('b')) || walk.manager.removeConnection(&walk.sockets[1]));
   EXPECT_EQ(walk.run("..."), "c0");
}

char theLetters[] = "abcdefgRX";
DtInetSocket * theLast = nullptr;

// Write their data, a letter, and refuse if it is a capital.
bool note(DtInetSocket * socket, void * letter)
{
   theLast = socket;
   return (theLog += *static_cast<char const *>(letter)).back() >= 'a';
}
bool replace(DtInetSocket *, void * manager)
{
   auto & all = *static_cast<DtInetSocketMgr *>(manager);
   return all.removeSocketRemovalCallback(note) && all.addSocketRemovalCallback(note, theLetters, -1);
}

/// Managers and peers by name, which in braces is a port; "it" is the socket that was added or noted last.
struct Managers : World
{
   // clang-format off
   Managers()
   {
      verbs["peer"] = [this](auto & row) { return names[row[1]] = std::to_string(peers[row[1]].port()); };
      verbs["hear"] = [this](auto & row) { return peers.at(row[1]).receive().value_or("nothing"); };
      always("client", [this](auto & row) { managers[row[1]] = std::make_unique<DtInetSocketMgr>(); });
      always("server", [this](auto & row) {
         DtInetEndpoint any = loopback(0, as<DtInetProtocol>(row[2]));
         managers[row[1]] = std::make_unique<DtInetSocketMgr>(any);
         names[row[1]] = std::to_string(managers[row[1]]->serverSocket()->localPort());
      });
      verbs["end"] = [this](auto & row) { return theLog.clear(), managers.erase(row[1]), theLog; };
      verbs["ask it"] = [](auto &) { return told(theLast->isOk(), *theLast); };
      verbs["close it"] = [](auto &) { return told(theLast->closeSocket(), *theLast); };
      on("add", [this](auto & manager, auto & row) { return added(manager, manager.addConnection(loopback(as<unsigned short>(row[3]), as<DtInetProtocol>(row[2])), as<unsigned short>(row[4]), nullptr, row[5] != "closed", row[5] == "own")); });
      on("add it", [this](auto & manager, auto &) { return added(manager, manager.addConnection(theLast)); });
      on("remove", [](auto & manager, auto & row) { return manager.removeConnection(loopback(as<unsigned short>(row[2]))); });
      on("remove it", [](auto & manager, auto &) { return manager.removeConnection(theLast); });
      on("count", [](auto & manager, auto &) { return manager.socketList().size(); });
      on("flags", [](auto & manager, auto &) { return manager.getServerFlags(); });
      on("process", [](auto & manager, auto &) { return manager.processConnections(); });
      on("send", [this](auto & manager, auto &) { return manager.sendTo(theLetters, 5, all); });
      on("note nothing", [](auto & manager, auto &) { return manager.addSocketAdditionCallback(nullptr); });
      on("note added", [](auto & manager, auto & row) { return manager.addSocketAdditionCallback(note, std::strchr(theLetters, row[2][0]), std::stoi(row[3])); });
      on("forget added", [](auto & manager, auto &) { return manager.removeSocketAdditionCallback(note, theLetters + 6); });
      on("note removed", [](auto & manager, auto & row) { return manager.addSocketRemovalCallback(note, std::strchr(theLetters, row[2][0])); });
      on("replace removed", [](auto & manager, auto &) { return manager.addSocketRemovalCallback(replace, &manager); });
   }
   // clang-format on

   /// Adds a verb that does something to a manager. It tells the answer, in brackets what was noted, and the
   /// error.
   template<class Call>
   void on(std::string const & verb, Call const & call)
   {
      verbs[verb] = [this, call](Fields const & row)
      {
         DtInetSocketMgr & manager = *managers.at(row[1]);
         theLog.clear();
         manager.clearError();
         std::ostringstream text;
         text << call(manager, row);
         text << " [" << theLog << "] " << manager.getLastError();
         std::string const error = manager.getLastErrorString().stdString();
         return text.str() + (error.empty() ? "" : " " + error);
      };
   }
   char const * added(DtInetSocketMgr & manager, DtInetSocket * socket)
   {
      if (socket == nullptr || (theLast = socket) == manager.serverSocket())
         return socket == nullptr ? "none" : "server";
      return made.try_emplace(socket, socket).second ? "new" : "known";
   }

   std::map<DtInetSocket *, std::unique_ptr<DtInetSocket>> made;
   std::map<std::string, std::unique_ptr<DtInetSocketMgr>> managers;
   std::map<std::string, LoopbackPeer> peers;
   std::vector<DtInetEndpoint *> all;
};

TEST(DtInetSocketMgr, DoesAndTellsWhatItsScenariosSay)
{
   runSteps<Managers>("inet/managers.tsv");
}

bool destroy(DtInetSocket * socket, void * count)
{
   delete socket;
   return ++*static_cast<int *>(count) < 0;
}

// A TCP server on loopback and clients of it, which destroy what they remove.
struct Service
{
   explicit Service(unsigned short atPort = 0)
      : endpoint(loopback(atPort, DtInetProtoTcp)),
        server(endpoint, nullptr, theNonBlocking, theExclusive),
        port(server.serverSocket()->localPort())
   {
      server.addSocketRemovalCallback(destroy, &removed);
      clients.addSocketRemovalCallback(destroy, &lost);
   }

   bool connects(int count)
   {
      DtInetSocket * client = nullptr;
      while (count-- > 0 && (client = clients.addConnection(loopback(port, DtInetProtoTcp))) != nullptr &&
             client->connectToDestination())
         ;
      return count < 0;
   }
   bool accepts(int count)
   {
      return eventually([&] { return (count -= server.processConnections()) <= 0; });
   }
   DtInetSockRcvStatus readBy(DtInetSocketMgr & reader) { return reader.recvFrom(bytes, 8, from); }

   // Sends to all, of whom each one of `count` readers hears: answers how many peers were told of.
   std::size_t hearAll(DtInetSocketMgr & sender, DtInetSocketMgr & reader, int count)
   {
      EXPECT_EQ(sender.sendTo(bytes, 7, all), 7);
      std::set<unsigned short> peers;
      for (; count > 0 && eventually([&] { return readBy(reader) == 7; }); --count)
         peers.insert(from.port());
      EXPECT_EQ(count, 0);
      return peers.size();
   }

   Watchdog const watchdog;
   int removed = 0, lost = 0;
   DtInetEndpoint endpoint, from;
   DtInetSocketMgr server;
   // Without reuse, the system gives each a port on which no former connection fades.
   DtInetSocketMgr clients{theExclusive};
   unsigned short const port;
   char bytes[8] = "message";
   std::vector<DtInetEndpoint *> all;
};

struct OwnKind : DtInetTcpSocket
{
};

template<class Socket>
DtInetSocket * make(void *, DtInetSocketMgr *)
{
   return new Socket;
}

TEST(DtInetSocketMgr, AcceptsStreamsOfTheFactory)
{
   Service service;
   DtInetSocketMgr & server = service.server;
   server.addSocketCreationCallback(make<DtInetUdpSocket>);
   ASSERT_TRUE(service.connects(1));
   EXPECT_EQ(server.processConnections(), 0);
   server.addSocketCreationCallback(make<OwnKind>);
   EXPECT_TRUE(service.accepts(1));
   DtInetSocket * const accepted = server.socketList().begin()->second;
   EXPECT_TRUE(dynamic_cast<OwnKind *>(accepted) != nullptr && accepted->isNonBlocking());
   // One is ready by now, for which waiting costs one call and no memory.
   SystemCallCount const calls;
   AllocationCount const allocations;
   EXPECT_EQ(server.processConnections(), 0);
   EXPECT_EQ(allocations.here(), 0u);
   EXPECT_TRUE(calls.here() == 1 || !SystemCallCount::whyNot().empty()) << calls.here();
   server.addSocketCreationCallback(nullptr);
   EXPECT_TRUE(service.connects(1) && service.accepts(1));
   EXPECT_TRUE(server.removeConnection(accepted) && service.connects(1));
   EXPECT_FALSE(dynamic_cast<OwnKind *>(server.socketList().begin()->second));
}

// The system calls them silent as long as they have so little; what is accepted has the listener's watermark.
// Only the last has something, behind all that are read in any case.
TEST(DtInetSocketMgr, ReadsConnectionsBelowTheirWatermark)
{
   Service service;
   EXPECT_TRUE(service.server.serverSocket()->setReceiveLowWatermark(100));
   ASSERT_TRUE(service.connects(9) && service.accepts(9));
   for (auto const & [key, client] : service.clients.socketList())
      EXPECT_TRUE(client->setReceiveLowWatermark(100) && client->setNonBlockingOption(true));
   for (DtInetSocketMgr * const reader : {&service.server, &service.clients})
   {
      DtInetSocket & last = *reader->socketList().rbegin()->second;
      for (auto const & [key, peer] :
           (reader == &service.server ? service.clients : service.server).socketList())
         if (key.port() == last.localPort() && peer->localPort() == last.destination().port())
            peer->send(service.bytes, 7);
      EXPECT_TRUE(eventually([&] { return service.readBy(*reader) == 7; }));
   }
}

TEST(DtInetSocketMgr, ServesAThousandConnections)
{
   constexpr int theCount = 1000;
   limit(RLIMIT_NOFILE, 2 * theCount + 200);
   SKIP_BECAUSE(limit(RLIMIT_NOFILE, 2 * theCount + 200) < 2 * theCount + 200 ? "too few descriptors" : "");
   Service service;
   DtInetSocketMgr & server = service.server;
   theLog.clear();
   server.addSocketAdditionCallback(note, theLetters + 7);
   ASSERT_TRUE(service.connects(theCount) && service.accepts(theCount));
   EXPECT_EQ(theLog, std::string(theCount, 'R'));
   // All hear what is sent to all, and none is read twice before the others.
   EXPECT_EQ(service.hearAll(server, service.clients, theCount), 1u);
   EXPECT_EQ(service.hearAll(service.clients, server, theCount), std::size_t(theCount));
   SystemCallCount const calls;
   AllocationCount const allocations;
   EXPECT_EQ(service.readBy(server), 0);
   EXPECT_EQ(allocations.here(), 0u);
   EXPECT_TRUE(calls.here() < 12 || !SystemCallCount::whyNot().empty()) << calls.here();
   EXPECT_EQ(service.from, server.socketList().rbegin()->first);
}

// The end that closes first, the server's, keeps the port for a while.
TEST(DtInetSocketMgr, OutlivesManyConnectionsAndRestarts)
{
   char const * const wanted = std::getenv("MGR_CYCLES");
   int const cycles = (wanted == nullptr ? 300 : std::atoi(wanted)) / 100, descriptor = dup(0);
   close(descriptor);
   unsigned short port = 0;
   for (int restart = 0; restart < 100; ++restart)
   {
      Service service(port);
      ASSERT_EQ(told(*service.server.serverSocket()), "0 listening") << restart;
      port = service.port;
      for (int i = 0; i < cycles; ++i)
      {
         ASSERT_TRUE(service.connects(1) && service.accepts(1));
         ASSERT_TRUE(service.server.removeConnection(service.server.socketList().begin()->second));
         ASSERT_TRUE(
            eventually([&] { return service.readBy(service.clients) == 0 && service.lost == i + 1; }));
      }
      EXPECT_EQ(service.removed, cycles);
   }
   EXPECT_EQ(dup(0), descriptor);
   close(descriptor);
}

} // namespace
