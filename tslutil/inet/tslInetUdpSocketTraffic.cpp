// SPDX-License-Identifier: MIT
// Sending and receiving on UDP sockets.
#include "tslutil/inet/chainCore.h"
#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/readHandle.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/udpSocketImpl.h"

using namespace tsl::errorNumbers;

using tsl::platform::SocketName;
using tsl::platform::Transfer;

namespace
{

char const theChainSend[] = "DtInetUdpSocket::sendChain()/sendChainTo()";
char const theNoDestinationReason[] = ": Error - no default destination set.";
char const theChainReceiveFrom[] = "DtInetUdpSocket::recvToChainFrom()";

} // namespace

// What is special in a chain send of UDP: the count is what was really sent, whatever callbacks took before.
struct DtInetUdpSocket::ChainSend
{
   Transfer transmit(int) { return socket.myImpl->send(socket.myFlags, socket.target(to), chain); }

   bool failed(int error)
   {
      socket.refuseSend(theChainSend, to, error);
      return socket.myNonBlocking && socket.myLastError == theWouldBlock;
   }

   void count(int bytes) { socket.countSent(bytes); }

   DtInetUdpSocket & socket;
   DtInetSockChain & chain;
   DtInetEndpoint & to;
   char const * operation;
};

// What is special in a chain receive of UDP.
struct DtInetUdpSocket::ChainReceive
{
   Transfer read() { return socket.myImpl->receive(socket.myFlags, wantsSender ? &sender : nullptr, chain); }

   DtInetSockRcvStatus failed(int error) { return socket.failedChainReceive(operation, error, wantsSender); }

   void tellSender()
   {
      if (wantsSender)
         tsl::EndpointAccess::setSender(from, sender);
   }

   DtInetUdpSocket & socket;
   DtInetSockChain & chain;
   DtInetEndpoint & from;
   bool wantsSender;
   char const * operation;
   SocketName sender;
};

DtInetSocket::Failure DtInetUdpSocket::failSend(int code, char const * operation, char const * reason)
{
   return fail(code, DtString(operation) + reason);
}

int DtInetUdpSocket::send(char * data, std::size_t size, unsigned long flags)
{
   if (!myDestination.isOk())
      return failSend(theNoDestination, "DtInetUdpSocket::send()", theNoDestinationReason);
   return sendTo(data, size, myDestination, flags);
}

int DtInetUdpSocket::sendChain(DtInetSockChain & chain, unsigned long flags)
{
   if (!myDestination.isOk())
      return failSend(theNoDestination, "DtInetUdpSocket::sendChain()", theNoDestinationReason);
   return sendChainTo(chain, myDestination, flags);
}

// Whether the socket may send to an endpoint, which becomes UDP if it has no protocol.
inline bool DtInetUdpSocket::maySend(char const * operation, DtInetEndpoint & to)
{
   if ((myFlags & (DtInetSockFlagSend | DtInetSockFlagAsyncSend)) == 0)
      return failSend(theNotSupported, operation, ": Socket not initialized for sending.");
   if (myState == DtInetSockConnected)
      return true;
   if (to.isTcp())
      return failSend(theNotSupported, "DtInetUdpSocket::sendTo()", ": endpoint is a TCP endpoint");
   if (to.protocol() == DtInetProtoNone)
      to.setProtocol(DtInetProtoUdp);
   return true;
}

// A connected socket sends to its destination, whatever the caller names.
inline DtInetEndpoint & DtInetUdpSocket::target(DtInetEndpoint & to)
{
   return myState == DtInetSockConnected ? myDestination : to;
}

int DtInetUdpSocket::sendTo(char * data, std::size_t size, DtInetEndpoint & to, unsigned long)
{
   static char const theOperation[] = "DtInetUdpSocket::send()/sendTo()";
   if (!maySend(theOperation, to))
      return -1;
   Transfer const sent = myImpl->send(myFlags, target(to), data, size);
   if (sent.error != 0)
      return refuseSend(theOperation, to, sent.error);
   countSent(sent.count);
   return sent.count;
}

int DtInetUdpSocket::sendChainTo(DtInetSockChain & chain, DtInetEndpoint & to, unsigned long flags)
{
   if (!maySend(theChainSend, to))
      return -1;
   return tsl::sendChain(*this, chain, to, flags,
                         ChainSend{*this, chain, to, "DtInetUdpSocket::sendChain()/sendChainTo(): "});
}

DtInetSocket::Failure DtInetUdpSocket::refuseSend(char const * operation, DtInetEndpoint & to, int error)
{
   return refuse(tsl::datagramErrorNumber(error),
                 DtString(operation) + " failed from " + myLocalEndpoint.toDtString() + " to " +
                    target(to).toDtString() + "\n" + tsl::errorMessage(error));
}

DtInetSockRcvStatus DtInetUdpSocket::recv(char * data, std::size_t size, unsigned long)
{
   Transfer const got = myImpl->receive(myFlags, nullptr, data, size);
   if (got.error != 0)
      return failedReceive("DtInetUdpSocket::recv()", got.error);
   tsl::signalReadHandle();
   countReceived(got.count);
   return DtInetSockRcvStatus(got.count);
}

// An empty queue is a success of 0 bytes from nowhere, and is counted.
DtInetSockRcvStatus DtInetUdpSocket::recvFrom(char * data, std::size_t size, DtInetEndpoint & from,
                                              unsigned long)
{
   SocketName sender;
   Transfer const got = myImpl->receive(myFlags, &sender, data, size);
   if (got.error != 0)
      return failedReceive("DtInetUdpSocket::recvFrom()", got.error);
   countReceived(got.count);
   tsl::EndpointAccess::setSender(from, sender);
   return DtInetSockRcvStatus(got.count);
}

DtInetSockRcvStatus DtInetUdpSocket::recvToChain(DtInetSockChain & chain, unsigned long flags)
{
   auto const receive = [&](DtInetEndpoint & from)
   {
      return tsl::receiveChain(*this, chain, from, flags,
                               ChainReceive{*this, chain, from, false, "DtInetUdpSocket::recvToChain()", {}});
   };
   // Only callbacks see the endpoint, and each call shows them a new one.
   if (callbacks(DtInetSockPreReceive).empty() && callbacks(DtInetSockPostReceive).empty())
      return receive(myImpl->nowhere);
   DtInetEndpoint from;
   return receive(from);
}

DtInetSockRcvStatus DtInetUdpSocket::recvToChainFrom(DtInetSockChain & chain, DtInetEndpoint & from,
                                                     unsigned long flags)
{
   return tsl::receiveChain(*this, chain, from, flags,
                            ChainReceive{*this, chain, from, true, theChainReceiveFrom, {}});
}

DtInetSockRcvStatus DtInetUdpSocket::failedPieceReceive(int error)
{
   return failedChainReceive(theChainReceiveFrom, error, true);
}

bool DtInetUdpSocket::isNothingYet(int number) const
{
   return (number == theWouldBlock && myNonBlocking) || number == theTryAgain;
}

DtInetSockRcvStatus DtInetUdpSocket::failedReceive(char const * operation, int error)
{
   // The usual answer of a poll.
   if (myNonBlocking && tsl::platform::isWouldBlock(error))
      return DtInetSockRcvNothing;
   int const number = tsl::datagramErrorNumber(error);
   if (isNothingYet(number))
      return DtInetSockRcvNothing;
   return number == theNoBuffers ? DtInetSockRcvNoRoom : refuseReceive(operation, error);
}

// On a blocking socket a failed read of a chain is a receive of nothing.
DtInetSockRcvStatus DtInetUdpSocket::failedChainReceive(char const * operation, int error, bool wantsSender)
{
   if (tsl::platform::isWouldBlock(error))
      return DtInetSockRcvNothing;
   int const number = tsl::datagramErrorNumber(error);
   if (number == theNoBuffers)
      return DtInetSockRcvNoRoom;
   if (!myNonBlocking || isNothingYet(number) || (wantsSender && number == theReset))
      return DtInetSockRcvNothing;
   return refuseReceive(operation, error);
}

DtInetSockRcvStatus DtInetUdpSocket::refuseReceive(char const * operation, int error)
{
   return refuse(tsl::datagramErrorNumber(error), DtString(operation) + " failed on socket at " +
                                                     myLocalEndpoint.toDtString() + "\n" +
                                                     tsl::errorMessage(error));
}
