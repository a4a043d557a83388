// SPDX-License-Identifier: MIT
// Sending and receiving on TCP sockets.
#include "tslutil/inet/chainCore.h"
#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/tcpSocketImpl.h"

using namespace tsl::errorNumbers;

using tsl::errorMessage;
using tsl::platform::Transfer;

namespace
{

constexpr unsigned long theSendFlags = DtInetSockFlagSend | DtInetSockFlagAsyncSend;

bool isRetry(int number)
{
   return number == theWouldBlock || number == theTryAgain;
}

} // namespace

struct DtInetTcpSocket::ChainSend
{
   Transfer transmit(int)
   {
      Transfer const sent = socket.myImpl->send(socket.myFlags, socket.myDestination, chain);
      if (sent.error == 0)
         socket.myState = DtInetSockConnected;
      return sent;
   }

   bool failed(int error) { return socket.failedSend("DtInetTcpSocket::sendChain()", error); }
   void count(int bytes) { socket.countSent(bytes); }

   DtInetTcpSocket & socket;
   DtInetSockChain & chain;
   char const * operation;
};

// What is special in a chain receive of TCP: on a blocking socket a failed read that isn't the peer's end is
// a receive of nothing.
struct DtInetTcpSocket::ChainReceive
{
   Transfer read() { return socket.myImpl->receive(socket.myFlags, chain); }
   DtInetSockRcvStatus failed(int error) { return socket.failedReceive(error, !socket.myNonBlocking); }
   void tellSender() {}

   DtInetTcpSocket & socket;
   DtInetSockChain & chain;
};

int DtInetTcpSocket::send(char * data, std::size_t size, unsigned long)
{
   if (!maySend("DtInetTcpSocket::send()", "DtInetTcpSocket()::send()"))
      return -1;
   Transfer const sent = myImpl->send(myFlags, myDestination, data, size);
   if (sent.error != 0)
      return failedSend("DtInetTcpSocket::send()", sent.error);
   myState = DtInetSockConnected;
   countSent(sent.count);
   return sent.count;
}

int DtInetTcpSocket::sendTo(char * data, std::size_t size, DtInetEndpoint &, unsigned long flags)
{
   return send(data, size, flags);
}

int DtInetTcpSocket::sendChain(DtInetSockChain & chain, unsigned long flags)
{
   if (!maySend("DtInetTcpSocket::sendChain()", "DtInetTcpSocket()::sendChain()"))
      return -1;
   return tsl::sendChain(*this, chain, myDestination, flags,
                         ChainSend{*this, chain, "DtInetTcpSocket::sendChain()/sendChainTo(): "});
}

int DtInetTcpSocket::sendChainTo(DtInetSockChain & chain, DtInetEndpoint &, unsigned long flags)
{
   return sendChain(chain, flags);
}

DtInetSockRcvStatus DtInetTcpSocket::recv(char * data, std::size_t size, unsigned long)
{
   if (!myImpl->socket)
      return refuseToReceiveWithout("DtInetTcpSocket::recv()");
   if (!mayReceive("DtInetTcpSocket::recv()"))
      return DtInetSockRcvFailed;
   Transfer const got = myImpl->receive(myFlags, data, size);
   if (got.error != 0)
      return failedReceive(got.error, false);
   countReceived(got.count);
   return DtInetSockRcvStatus(got.count);
}

// The order of the first tests is the other way round than in recv(), on purpose.
DtInetSockRcvStatus DtInetTcpSocket::recvToChain(DtInetSockChain & chain, unsigned long flags)
{
   if (!mayReceive("DtInetTcpSocket::recvToChain()"))
      return DtInetSockRcvFailed;
   if (!myImpl->socket)
      return refuseToReceiveWithout("DtInetTcpSocket()::recvToChain()");
   return tsl::receiveChain(*this, chain, myDestination, flags, ChainReceive{*this, chain});
}

DtInetSockRcvStatus DtInetTcpSocket::recvFrom(char * data, std::size_t size, DtInetEndpoint & from,
                                              unsigned long flags)
{
   from = myDestination;
   return recv(data, size, flags);
}

DtInetSockRcvStatus DtInetTcpSocket::recvToChainFrom(DtInetSockChain & chain, DtInetEndpoint & from,
                                                     unsigned long flags)
{
   from = myDestination;
   return recvToChain(chain, flags);
}

// `unmade` is how the text about a missing socket names the operation.
bool DtInetTcpSocket::maySend(char const * operation, char const * unmade)
{
   bool const isConnected = myState == DtInetSockConnecting || myState == DtInetSockConnected;
   return (isConnected && (myFlags & theSendFlags) != 0 && myImpl->socket) ||
          refuseToSend(isConnected, operation, unmade);
}

[[gnu::cold]] DtInetSocket::Failure DtInetTcpSocket::refuseToSend(bool isConnected, char const * operation,
                                                                  char const * unmade)
{
   if (!isConnected)
      return fail(theNotConnected, DtString(operation) + ": " + "Error - not connected.");
   if ((myFlags & theSendFlags) == 0)
      return fail(theNotSupported, DtString(operation) + ": Socket not initialized for sending.");
   return refuse(theNoSocket, DtString(unmade) + " called on uninitialized socket");
}

bool DtInetTcpSocket::mayReceive(char const * operation)
{
   return myState == DtInetSockConnecting || myState == DtInetSockConnected || refuseToReceive(operation);
}

// Unlike a send, a receive leaves the state of an unconnected socket alone.
[[gnu::cold]] DtInetSocket::Failure DtInetTcpSocket::refuseToReceive(char const * operation)
{
   return refuse(theNotConnected,
                 DtString(operation) + " called on unconnected socket on " + myLocalEndpoint.toDtString());
}

[[gnu::cold]] DtInetSocket::Failure DtInetTcpSocket::refuseToReceiveWithout(char const * operation)
{
   return refuse(theNoSocket, DtString(operation) + " called on uninitialized socket");
}

// Whether an error tells that the peer is gone, which goes to the termination record, or not there yet, which
// is no news: neither is an error to be recorded.
bool DtInetTcpSocket::noteEnd(int number, int error)
{
   bool const isClosed = error == tsl::theEndOfStream;
   if (number == theNotConnected && myState == DtInetSockConnecting)
      return true;
   if (!isClosed && number != theAborted && number != theReset && number != theNotConnected &&
       number != theTimedOut)
      return false;
   myTerminationCode = isClosed ? theClosedByPeer : number;
   myTerminationText = isClosed ? DtString("Connection terminated by peer") : errorMessage(error);
   myState = DtInetSockTerminated;
   return true;
}

[[gnu::cold]] DtInetSocket::Failure DtInetTcpSocket::failedSend(char const * operation, int error)
{
   int const number = myImpl->socket->errorNumber(error);
   if (noteEnd(number, error))
      return {};
   // To be tested by isErrorWouldBlockOrTryAgain().
   if (isRetry(number))
      return refuse(number, "");
   return refuse(number, DtString(operation) + " failed from " + myLocalEndpoint.toDtString() + " to " +
                            myDestination.toDtString() + "\n" + errorMessage(error));
}

// `isIgnored`: what isn't the end of the connection is a receive of nothing.
DtInetSockRcvStatus DtInetTcpSocket::failedReceive(int error, bool isIgnored)
{
   if (myNonBlocking && tsl::platform::isWouldBlock(error))
      return DtInetSockRcvNothing;
   int const number = myImpl->socket->errorNumber(error);
   if (noteEnd(number, error))
      return DtInetSockRcvFailed;
   if (number == theNoBuffers)
      return DtInetSockRcvNoRoom;
   if (isIgnored || number == theTryAgain)
      return DtInetSockRcvNothing;
   return refuse(number, DtString("DtInetTcpSocket::recv() failed on socket at ") +
                            myLocalEndpoint.toDtString() + "\n" + errorMessage(error));
}
