// SPDX-License-Identifier: MIT
#include "inet/socketKit.h"
#include "tslutil/inet/ioServiceRunnable.h"

#include <boost/asio/post.hpp>

#include <limits>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace
{

using namespace socketKit;
typedef OpenUdpSocket OpenSocket;

TEST(DtInetSocket, BeginsUnconfiguredAndRecordsErrorsWithAndWithoutTheErrorState)
{
   OpenSocket socket;
   EXPECT_TRUE(socket.flags() == 3203 && socket.protocol() == DtInetProtoNone &&
               socket.destination().protocol() == DtInetProtoNone);
   EXPECT_FALSE(socket.isNoDelay() || socket.isNonBlocking() || socket.hostIf() != nullptr);
   EXPECT_EQ(socket.getLastError() + socket.getTerminationCode(), 0);
   EXPECT_EQ(told(socket.refuse(10035, "would block"), socket), "-1, 10035 created ? would block");
   EXPECT_TRUE(socket.isErrorWouldBlockOrTryAgain());
   socket.clearError();
   EXPECT_FALSE(socket.isErrorWouldBlockOrTryAgain());
   EXPECT_EQ(told(bool(socket.fail(1237, "again")), socket), "0, 1237 error ? again");
   EXPECT_TRUE(socket.isErrorWouldBlockOrTryAgain());
   socket.clearError();
   EXPECT_EQ(told(socket), "0 error");
   EXPECT_TRUE(socket.closeSocket() && socket.setLocalPort(7) && socket.localPort() == 7);
}

// Callbacks note their call in a text, which the last bytes of the chain can't tell.
std::string theCalls;

template<char name>
int note(DtInetSocket *, int size, DtInetSockChain &, DtInetEndpoint &, void *)
{
   theCalls += name;
   return size;
}

/// The keys of the callbacks before a send, and the calls that sending a chain then makes.
std::string keysAndCalls(OpenSocket & socket)
{
   std::string keys;
   for (auto const & [key, info] : socket.myCallbacks[DtInetSockPreSend])
      keys += std::to_string(key) + " ";
   Chain chain({"abc"});
   DtInetEndpoint to = loopback();
   theCalls.clear();
   socket.sendChainTo(chain.chain, to);
   return keys + theCalls;
}

TEST(DtInetSocketCallbacks, StandInTheOrderOfTheirPriorityAndGoOneAtATime)
{
   OpenSocket socket;
   auto const add = [&](DtInetSocketProcessingCb callback, int priority, int type = DtInetSockPreSend)
   { return socket.addProcessingCallback(DtInetSockProcessingType(type), callback, nullptr, priority); };
   auto const remove = [&](DtInetSocketProcessingCb callback, int type = DtInetSockPreSend)
   { return socket.removeProcessingCallback(DtInetSockProcessingType(type), callback); };
   EXPECT_TRUE(add(note<'a'>, -1) && add(note<'b'>, 5) && add(note<'c'>, 2) && add(note<'d'>, -7));
   EXPECT_TRUE(add(note<'e'>, 5) && add(note<'b'>, 0));
   EXPECT_EQ(keysAndCalls(socket), "0 0 2 5 5 6 abcbed");
   EXPECT_TRUE(remove(note<'b'>));
   EXPECT_EQ(keysAndCalls(socket), "0 2 5 5 6 acbed");
   EXPECT_TRUE(remove(note<'b'>) && !remove(note<'b'>));
   EXPECT_TRUE(add(note<'f'>, std::numeric_limits<int>::max()) && add(note<'g'>, -1));
   EXPECT_EQ(keysAndCalls(socket), "0 2 5 6 2147483647 2147483647 acedfg");
   EXPECT_FALSE(add(note<'a'>, 1, 4) || add(note<'a'>, 1, -1) || remove(note<'a'>, DtInetSockPreReceive) ||
                remove(note<'a'>, 9));
}

// Removes itself and its follower, adds another one, and sends a chain of its own meanwhile.
int change(DtInetSocket * socket, int size, DtInetSockChain &, DtInetEndpoint & to, void *)
{
   theCalls += '*';
   for (bool const isThere : {true, false})
      for (DtInetSocketProcessingCb const callback : {change, note<'b'>})
         EXPECT_EQ(socket->removeProcessingCallback(DtInetSockPreSend, callback), isThere);
   EXPECT_TRUE(socket->addProcessingCallback(DtInetSockPreSend, note<'d'>, nullptr, -1));
   Chain own({"own"});
   socket->sendChainTo(own.chain, to);
   return size;
}

TEST(DtInetSocketCallbacks, MayChangeFromInsideOne)
{
   OpenSocket socket;
   for (DtInetSocketProcessingCb const callback : {change, note<'b'>, note<'c'>})
      socket.addProcessingCallback(DtInetSockPreSend, callback, nullptr, -1);
   EXPECT_EQ(keysAndCalls(socket), "0 1 2 *cdcd");
   EXPECT_EQ(keysAndCalls(socket), "2 3 cd");
}

void followReadHandle()
{
   LoopbackPeer peer;
   DtInetUdpSocket socket(loopback(peer.port())), other;
   DtInetEndpoint from;
   char byte = 0;
   auto const receive = [&](bool withSender)
   {
      peer.send("a", "127.0.0.1", socket.localPort());
      EXPECT_EQ(withSender ? socket.recvFrom(&byte, 1, from) : socket.recv(&byte, 1), 1);
   };
   receive(false);
   void * const handle = socket.getReadHandle();
   EXPECT_EQ(other.getReadHandle(), handle);
   int const descriptor = static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
   pollfd wanted{descriptor, POLLIN, 0};
   auto const isSignalled = [&] { return poll(&wanted, 1, 0) == 1; };
   // The first receive came before anybody had asked for the handle. One that names the sender tells nobody.
   for (bool const withSender : {false, false, true})
   {
      std::uint64_t value = 0;
      EXPECT_TRUE(isSignalled());
      EXPECT_EQ(read(descriptor, &value, sizeof value), 8);
      EXPECT_FALSE(isSignalled());
      receive(withSender);
   }
   EXPECT_FALSE(isSignalled());
}

// In a child: once somebody has asked for the handle, receives cost this process more.
TEST(DtInetSocket, ReadHandleTellsOfDatagramsReceivedByAllSockets)
{
   EXPECT_EXIT((followReadHandle(), _exit(HasFailure() ? 1 : 0)), testing::ExitedWithCode(0), "");
}

TEST(DtIoServiceRunnable, RunsItsServiceUntilTheThreadIsStopped)
{
   Watchdog const watchdog;
   tsl::IoService service;
   boost::shared_ptr<DtIoServiceRunnable> const runnable(new DtIoServiceRunnable(service, nullptr));
   DtThreadedObject thread(runnable);
   thread.start();
   std::atomic<int> turns(0);
   for (int i = 1; i <= 3; ++i)
   {
      boost::asio::post(service.context(), [&] { ++turns; });
      EXPECT_TRUE(eventually([&] { return turns == i; }));
      // The body goes on: its thread isn't stopped by this.
      runnable->stopService();
   }
   thread.stop(true);
   boost::asio::post(service.context(), [&] { ++turns; });
   EXPECT_EQ(turns, 3);
   EXPECT_FALSE(thread.running());
}

} // namespace
