// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetSocket.h"

#include "support/loopbackPeer.h"
#include "support/slots.h"
#include "support/watchdog.h"
#include "tslutil/inet/ioServiceRunnable.h"
#include "tslutil/inet/tslInetUdpSocket.h"

#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <limits>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace
{

/// Reaches what a socket keeps protected.
class OpenSocket : public DtInetUdpSocket
{
public:
   using DtInetSocket::fail;
   using DtInetSocket::findAndRemoveCallback;
   using DtInetSocket::myCallbacks;
   using DtInetSocket::myTerminationCode;
   using DtInetSocket::myTerminationText;
   using DtInetSocket::refuse;
};

TEST(DtInetSocket, SlotOrder)
{
   typedef DtInetSocket S;
   EXPECT_TRUE(inSlotsFrom(
      2, &S::setDestination, &S::destination, &S::localEndpoint, &S::setLocalPort, &S::localPort,
      &S::bindToDevice, &S::hostIf, &S::openSocket, &S::closeSocket, &S::connectToDestination, &S::send,
      &S::sendTo, &S::sendChain, &S::sendChainTo, &S::recv, &S::recvToChain, &S::recvFrom,
      &S::recvToChainFrom, &S::state, &S::isOk, &S::protocol, &S::family, &S::descriptor, &S::flags,
      &S::setSocket, &S::setNonBlockingOption, &S::setReuseAddressOption, &S::setSendBufferSize,
      &S::setReceiveBufferSize, &S::setDoNotRouteOption, &S::setSendLowWatermark, &S::setReceiveLowWatermark,
      &S::isNonBlocking, &S::isNoDelay, &S::getReuseAddressOption, &S::getDoNotRouteOption,
      &S::getSendBufferSize, &S::getReceiveBufferSize, &S::getBytesAvailable, &S::getSendLowWatermark,
      &S::getReceiveLowWatermark, &S::isIPv4, &S::isIPv6, &S::isTcp, &S::isUdp, &S::getLastError,
      &S::getLastErrorString, &S::isErrorWouldBlockOrTryAgain, &S::clearError, &S::getTerminationCode,
      &S::getTerminationString, &S::totalBytesSent, &S::totalPacketsSent, &S::totalBytesReceived,
      &S::totalPacketsReceived, &S::clearStats, &S::addProcessingCallback, &S::removeProcessingCallback,
      &OpenSocket::findAndRemoveCallback));
   EXPECT_EQ(slotOf(&DtIoServiceRunnable::stopService), slotOf(&DtRunnable::stop) + 1);
}

TEST(DtInetSocket, BeginsUnconfigured)
{
   OpenSocket socket;
   EXPECT_EQ(socket.flags(), 3203u);
   EXPECT_EQ(socket.protocol(), DtInetProtoNone);
   EXPECT_EQ(socket.destination().protocol(), DtInetProtoNone);
   EXPECT_FALSE(socket.isNoDelay());
   EXPECT_FALSE(socket.isNonBlocking());
   EXPECT_EQ(socket.hostIf(), nullptr);
   EXPECT_EQ(socket.getLastError() + socket.getTerminationCode(), 0);
   socket.myTerminationCode = 2;
   socket.myTerminationText = "gone";
   EXPECT_EQ(socket.getTerminationCode(), 2);
   EXPECT_STREQ(socket.getTerminationString(), "gone");
}

TEST(DtInetSocket, RecordsErrorsWithAndWithoutTheErrorState)
{
   OpenSocket socket;
   int const result = socket.refuse(10035, "would block");
   EXPECT_EQ(result, -1);
   EXPECT_EQ(socket.state(), DtInetSockCreated);
   EXPECT_TRUE(socket.isErrorWouldBlockOrTryAgain());
   EXPECT_STREQ(socket.getLastErrorString(), "would block");
   socket.clearError();
   EXPECT_FALSE(socket.isErrorWouldBlockOrTryAgain());
   bool const answer = socket.fail(1237, "again");
   EXPECT_FALSE(answer);
   EXPECT_TRUE(socket.isErrorWouldBlockOrTryAgain());
   socket.clearError();
   EXPECT_EQ(socket.getLastError(), 0);
   EXPECT_STREQ(socket.getLastErrorString(), "");
   EXPECT_EQ(socket.state(), DtInetSockError);
   EXPECT_TRUE(socket.closeSocket());
   EXPECT_TRUE(socket.setLocalPort(7));
   EXPECT_EQ(socket.localPort(), 7);
}

// Callbacks note their call in a text, which the last bytes of the chain can't tell.
std::string theCalls;

template<char name>
int note(DtInetSocket *, int size, DtInetSockChain &, DtInetEndpoint &, void *)
{
   theCalls += name;
   return size;
}

std::vector<int> keys(OpenSocket const & socket, DtInetSockProcessingType type)
{
   std::vector<int> found;
   for (auto const & entry : socket.myCallbacks[type])
      found.push_back(entry.first);
   return found;
}

TEST(DtInetSocketCallbacks, StandInTheOrderOfTheirPriority)
{
   OpenSocket socket;
   auto const add = [&](DtInetSocketProcessingCb callback, int priority)
   { return socket.addProcessingCallback(DtInetSockPreSend, callback, nullptr, priority); };
   EXPECT_TRUE(add(note<'a'>, -1));
   EXPECT_TRUE(add(note<'b'>, 5));
   EXPECT_TRUE(add(note<'c'>, 2));
   EXPECT_TRUE(add(note<'d'>, -7));
   EXPECT_TRUE(add(note<'e'>, 5));
   EXPECT_EQ(keys(socket, DtInetSockPreSend), (std::vector<int>{0, 2, 5, 5, 6}));
   std::vector<char> bytes(3);
   DtInetSockChain chain{&bytes};
   DtInetEndpoint to(DtInetAddr("127.0.0.1"), 9);
   theCalls.clear();
   socket.sendChainTo(chain, to);
   EXPECT_EQ(theCalls, "acbed");
   EXPECT_TRUE(add(note<'f'>, std::numeric_limits<int>::max()));
   EXPECT_TRUE(add(note<'g'>, -1));
   EXPECT_EQ(keys(socket, DtInetSockPreSend).back(), std::numeric_limits<int>::max());
   EXPECT_FALSE(socket.addProcessingCallback(DtInetSockProcessingType(4), note<'a'>, nullptr, 1));
   EXPECT_FALSE(socket.addProcessingCallback(DtInetSockProcessingType(-1), note<'a'>, nullptr, 1));
}

TEST(DtInetSocketCallbacks, AreRemovedOneAtATime)
{
   OpenSocket socket;
   int data[2];
   socket.addProcessingCallback(DtInetSockPostReceive, note<'a'>, &data[0], 1);
   socket.addProcessingCallback(DtInetSockPostReceive, note<'a'>, &data[1], 2);
   EXPECT_FALSE(socket.removeProcessingCallback(DtInetSockPostReceive, note<'b'>));
   EXPECT_FALSE(socket.removeProcessingCallback(DtInetSockPreReceive, note<'a'>));
   EXPECT_FALSE(socket.removeProcessingCallback(DtInetSockProcessingType(9), note<'a'>));
   EXPECT_TRUE(socket.removeProcessingCallback(DtInetSockPostReceive, note<'a'>));
   ASSERT_EQ(keys(socket, DtInetSockPostReceive), std::vector<int>{2});
   EXPECT_EQ(socket.myCallbacks[DtInetSockPostReceive].begin()->second->userData, &data[1]);
   EXPECT_TRUE(socket.removeProcessingCallback(DtInetSockPostReceive, note<'a'>));
   EXPECT_FALSE(socket.removeProcessingCallback(DtInetSockPostReceive, note<'a'>));
}

// Removes itself and its follower, adds another one, and sends a chain of its own meanwhile.
int change(DtInetSocket * socket, int size, DtInetSockChain &, DtInetEndpoint & to, void *)
{
   theCalls += '*';
   EXPECT_TRUE(socket->removeProcessingCallback(DtInetSockPreSend, change));
   EXPECT_TRUE(socket->removeProcessingCallback(DtInetSockPreSend, note<'b'>));
   EXPECT_FALSE(socket->removeProcessingCallback(DtInetSockPreSend, note<'b'>));
   EXPECT_TRUE(socket->addProcessingCallback(DtInetSockPreSend, note<'d'>, nullptr, -1));
   std::vector<char> bytes(1);
   DtInetSockChain own{&bytes};
   socket->sendChainTo(own, to);
   return size;
}

TEST(DtInetSocketCallbacks, MayChangeFromInsideOne)
{
   OpenSocket socket;
   socket.addProcessingCallback(DtInetSockPreSend, change, nullptr, 1);
   socket.addProcessingCallback(DtInetSockPreSend, note<'b'>, nullptr, 2);
   socket.addProcessingCallback(DtInetSockPreSend, note<'c'>, nullptr, 3);
   std::vector<char> bytes(3);
   DtInetSockChain chain{&bytes};
   DtInetEndpoint to(DtInetAddr("127.0.0.1"), 9);
   theCalls.clear();
   socket.sendChainTo(chain, to);
   EXPECT_EQ(theCalls, "*cdcd");
   EXPECT_EQ(keys(socket, DtInetSockPreSend), (std::vector<int>{3, 4}));
}

void followReadHandle()
{
   LoopbackPeer peer;
   DtInetUdpSocket socket(DtInetEndpoint(DtInetAddr("127.0.0.1"), peer.port()));
   DtInetUdpSocket other;
   char byte = 0;
   peer.send("a", "127.0.0.1", socket.localPort());
   ASSERT_EQ(socket.recv(&byte, 1), 1);
   void * const handle = socket.getReadHandle();
   ASSERT_NE(handle, nullptr);
   EXPECT_EQ(other.getReadHandle(), handle);
   int const descriptor = static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
   EXPECT_GE(descriptor, 3);
   auto const isSignalled = [&]
   {
      pollfd wanted{descriptor, POLLIN, 0};
      return poll(&wanted, 1, 0) == 1;
   };
   std::uint64_t value = 0;
   // The first receive came before anybody had asked for the handle.
   for (char const * text : {"", "b", "c"})
   {
      if (*text != '\0')
      {
         EXPECT_FALSE(isSignalled());
         peer.send(text, "127.0.0.1", socket.localPort());
         ASSERT_EQ(socket.recv(&byte, 1), 1);
      }
      EXPECT_TRUE(isSignalled());
      EXPECT_EQ(read(descriptor, &value, sizeof value), 8);
   }
   peer.send("d", "127.0.0.1", socket.localPort());
   DtInetEndpoint from;
   ASSERT_EQ(socket.recvFrom(&byte, 1, from), 1);
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
