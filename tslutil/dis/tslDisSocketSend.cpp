// SPDX-License-Identifier: MIT
#include "tslutil/dis/disSocketImpl.h"
#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/chainCore.h"
#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/platform/socket.h"

#include <memory>

namespace
{

char const theFlatOperation[] = "DtDisSocket::send()/sendTo()";
char const theChainOperation[] = "DtDisSocket::sendChain()/sendChainTo()";

} // namespace

bool DtDisSocket::addDestination(DtInetEndpoint const & destination)
{
   DtInetAddr const & mine = myDestination.address();
   DtInetAddr const & other = destination.address();
   if ((mine.isIPv6() && !other.isIPv6()) || (mine.isIPv4() && !other.isIPv4()))
      return false;
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   myImpl->additionalDestinations.insert(std::make_unique<tsl::Destination>(destination));
   return true;
}

void DtDisSocket::removeDestination(DtInetEndpoint const & destination)
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   tsl::Destinations & destinations = myImpl->additionalDestinations;
   auto const found = destinations.find(tsl::Destination(destination).to);
   if (found != destinations.end())
      destinations.erase(found);
}

template<class SendOne>
int DtDisSocket::sendToAll(char const * operation, SendOne const & sendOne)
{
   if (!tsl::EndpointAccess::isOk(myDestination))
      return failDestination(operation, "Error - no default destination set: ", myDestination);
   int result = sendOne(myDestination);
   bool isFirstInvalid = true;
   for (std::unique_ptr<tsl::Destination> const & destination : myImpl->additionalDestinations)
   {
      DtInetEndpoint & to = destination->to;
      if (tsl::EndpointAccess::isOk(to))
      {
         result = sendOne(to);
         continue;
      }
      char const * const text = "Error - additional destination is invalid: ";
      result = isFirstInvalid ? failDestination(operation, text, to) : failDestination(nullptr, ", ", to);
      isFirstInvalid = false;
   }
   return result;
}

/// Fails for a destination. Without an operation the text goes on from the one before.
int DtDisSocket::failDestination(char const * operation, char const * text, DtInetEndpoint const & to)
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   DtString const before = operation == nullptr ? myLastErrorText : DtString(operation);
   return fail(109, before + text + to.toDtString(false));
}

int DtDisSocket::send(char * data, std::size_t size, unsigned long flags)
{
   return sendToAll("DtDisSocket::send(): ",
                    [=](DtInetEndpoint & to)
                    {
                       // What joinsBundle() knows that sendTo() would come to.
                       return joinsBundle(data, size, to, flags) ? static_cast<int>(size)
                                                                 : sendTo(data, size, to, flags);
                    });
}

int DtDisSocket::sendChain(DtInetSockChain & chain, unsigned long flags)
{
   return sendToAll("DtDisSocket::sendChain(): ",
                    [&](DtInetEndpoint & to) { return sendChainTo(chain, to, flags); });
}

/// Whether the flags let this socket send at all; if they don't, that is recorded.
bool DtDisSocket::maySend(char const * operation)
{
   if ((myFlags & (DtInetSockFlagSend | DtInetSockFlagAsyncSend)) != 0)
      return true;
   return fail(10045, DtString(operation) + ": Send socket not initialized for sending.");
}

/// The endpoint that a send to `to` goes to.
DtInetEndpoint & DtDisSocket::targetOf(DtInetEndpoint & to)
{
   if (myState == DtInetSockConnected)
      return myDestination;
   if (to.protocol() == DtInetProtoNone)
      to.setProtocol(DtInetProtoUdp);
   return to;
}

/// Records that the send socket failed. The state stays.
int DtDisSocket::refuseSend(char const * operation, DtInetEndpoint const & to, int error)
{
   return refuse(tsl::datagramErrorNumber(error), DtString(operation) + " failed from " +
                                                     myImpl->localSenderEp.toDtString(false) + " to " +
                                                     to.toDtString(false) + "\n" + tsl::errorMessage(error));
}

int DtDisSocket::sendTo(char * data, std::size_t size, DtInetEndpoint & to, unsigned long flags)
{
   if (isBundling())
   {
      if (joinsBundle(data, size, to, flags))
         return static_cast<int>(size);
      tsl::Loan<tsl::FlatChain> wrapped(myImpl->flatSend);
      wrapped->bytes.assign(data, data + size);
      wrapped->chain.assign(1, &wrapped->bytes);
      return sendChainTo(wrapped->chain, to, flags);
   }
   if (myImpl->sendSide == nullptr)
   {
      DtScopedLock guard(myImpl->lock, myLockNeeded);
      return DtInetUdpSocket::sendTo(data, size, to, flags);
   }
   if (!maySend(theFlatOperation))
      return -1;
   DtInetEndpoint & target = targetOf(to);
   tsl::platform::Transfer sent{};
   if ((myFlags & DtInetSockFlagAsyncSend) != 0)
      sent.count = myImpl->sendSide->worker.post(data, size, target);
   else
      sent = myImpl->sendSide->socket.sendTo(data, size, target);
   if (sent.error != 0)
      return refuseSend(theFlatOperation, target, sent.error);
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   countSent(sent.count);
   return sent.count;
}

/// How the send socket sends a chain.
struct DtDisSocket::ChainWays
{
   char const * operation;
   DtDisSocket & socket;
   DtInetSockChain & chain;
   DtInetEndpoint & target;

   tsl::platform::Transfer transmit(int taken)
   {
      tsl::SendSide & side = *socket.myImpl->sendSide;
      // What callbacks took over counts on this thread's sends only, on purpose.
      if ((socket.myFlags & DtInetSockFlagAsyncSend) != 0)
         return tsl::platform::Transfer{side.worker.post(chain, target), 0};
      tsl::platform::Transfer sent = side.socket.sendTo(chain, target);
      sent.count += taken;
      return sent;
   }

   bool failed(int error)
   {
      socket.refuseSend(theChainOperation, target, error);
      return socket.myNonBlocking && tsl::platform::isWouldBlock(error);
   }

   void count(int bytes)
   {
      DtScopedLock guard(socket.myImpl->lock, socket.myLockNeeded);
      socket.countSent(bytes);
   }
};

int DtDisSocket::sendChainTo(DtInetSockChain & chain, DtInetEndpoint & to, unsigned long flags)
{
   if (myImpl->sendSide == nullptr)
   {
      DtScopedLock guard(myImpl->lock, myLockNeeded);
      return DtInetUdpSocket::sendChainTo(chain, to, flags);
   }
   if (!maySend(theChainOperation))
      return -1;
   return tsl::sendChain(*this, chain, to, flags,
                         ChainWays{"DtDisSocket::sendChain()/sendChainTo(): ", *this, chain, targetOf(to)});
}
