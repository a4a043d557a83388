// SPDX-License-Identifier: MIT
#include "tslutil/dis/disSocketImpl.h"
#include "tslutil/dis/pduReader.h"
#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/udpSocketImpl.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <typeinfo>

namespace
{

constexpr unsigned long theSkipAll = DtInetSockSkipPreCallbacks | DtInetSockSkipPostCallbacks;

/// Whether `count` bytes that begin with a whole header are one PDU, coupled to no other.
bool isSingle(char * bytes, int count)
{
   tsl::PduHeader const header(bytes);
   return header.length() == count && !header.isCoupled();
}

} // namespace

int DtDisSocket::minPacketSize()
{
   return myImpl->minPacketBytes;
}

void DtDisSocket::setMinPacketSize(int bytes)
{
   myImpl->minPacketBytes = bytes;
}

unsigned long DtDisSocket::receiveBundleByteAlignment(int version)
{
   return tsl::alignmentIn(version);
}

int DtDisSocket::getNextBundle(int count, DtInetSockChain & chain, DtInetEndpoint & from, int * status)
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   if (*status != 0)
      return count;
   tsl::PduQueue & queue = myImpl->pendingPdus;
   if (queue.empty())
      return 0;
   char const * const pdu = queue.front();
   std::size_t const size = queue.frontSize();
   std::size_t copied = 0;
   for (std::vector<char> * buffer : chain)
   {
      std::size_t const piece = std::min(buffer->size(), size - copied);
      std::copy_n(pdu + copied, piece, buffer->begin());
      copied += piece;
   }
   bool const fits = copied == size;
   *status = fits ? DtInetSockRcvFromQueue : DtInetSockRcvNoRoom;
   tsl::EndpointAccess::assign(from, queue.frontSource());
   queue.pop();
   return fits ? static_cast<int>(copied) : 0;
}

int DtDisSocket::minSizeFilter(int count, DtInetSockChain &, DtInetEndpoint &, int * status)
{
   if (count < 1 || count >= minPacketSize())
      return count;
   *status = DtInetSockRcvFiltered;
   return 0;
}

int DtDisSocket::suppressSelfReflect(int count, DtInetSockChain &, DtInetEndpoint & from, int * status)
{
   if (count < 1 || from != myImpl->localSenderEp)
      return count;
   *status = DtInetSockRcvSelf;
   return 0;
}

int DtDisSocket::filterExercisePdus(int count, DtInetSockChain & chain, DtInetEndpoint & from, int * status)
{
   if (count < 1)
      return count;
   DtDisSocketPduHeader * const header = tsl::headerAt(chain.begin(), chain.end(), 0);
   tsl::PduReader const pdu(header, 0, chain.begin(), chain.end());
   void * const bytes = pdu.data();
   if (!protocolVersion()->evalTest(bytes, 0, DtPduFilterByte) ||
       !exerciseId()->evalTest(bytes, 1, DtPduFilterByte) ||
       !pduKind()->evalTest(bytes, 2, DtPduFilterByte) || !ipAddr()->evalTest(&from, 0, DtPduFilterOther))
   {
      *status = DtInetSockRcvFiltered;
      return 0;
   }
   bool coupled = false;
   int const size = getPduSize(header, 0, chain.begin(), chain.end(), status, coupled, false);
   std::int64_t const filled =
      size + (size == count ? 0 : tsl::fillBehind(size, receiveBundleByteAlignment(pdu.version())));
   if (!coupled)
      return size;
   int const extra =
      getCoupledAttributePduSize(header, 0, chain.begin(), chain.end(), status, static_cast<int>(filled));
   if (extra != 0)
      return static_cast<int>(filled) + extra;
   tsl::warnOfMissingAttribute();
   return size;
}

/// Whether the callbacks of a receive are this class's own, in their order, and nothing else.
inline bool DtDisSocket::hasOwnReceiveOnly()
{
   if (tsl::SocketAccess::haveCallbacksChanged(*this))
      myImpl->hasOwnReceiveCallbacks = isOwnReceive();
   return myImpl->hasOwnReceiveCallbacks && typeid(*this) == typeid(DtDisSocket);
}

/// The same by a look at the tables: a subclass may hand out the class's callbacks, and a program take them
/// away from here or order them anew.
bool DtDisSocket::isOwnReceive()
{
   bool const suppresses = myImpl->sendSide != nullptr;
   DtInetSockCallbackTable const & before = callbacks(DtInetSockPreReceive);
   DtInetSockCallbackTable const & after = callbacks(DtInetSockPostReceive);
   if (before.size() != 1 || after.size() != (suppresses ? 4 : 3))
      return false;
   auto entry = before.begin();
   auto const isNext = [&](DtInetSocketProcessingCb own) { return entry++->second->callback == own; };
   if (!isNext(&DtDisSocket::getNextBundle))
      return false;
   entry = after.begin();
   return isNext(&DtDisSocket::minSizeFilter) && (!suppresses || isNext(&DtDisSocket::suppressSelfReflect)) &&
          isNext(&DtDisSocket::unbundle) && isNext(&DtDisSocket::filterExercisePdus);
}

/// Runs this class's own post-receive callbacks, without the way through their table.
DtInetSockRcvStatus DtDisSocket::judge(int count, int status, DtInetSockChain & chain, DtInetEndpoint & from)
{
   auto const judgeBy = [&](int result) { count = result != 0 ? result : status; };
   judgeBy(DtDisSocket::minSizeFilter(count, chain, from, &status));
   if (myImpl->sendSide != nullptr)
      judgeBy(DtDisSocket::suppressSelfReflect(count, chain, from, &status));
   judgeBy(DtDisSocket::unbundle(count, chain, from, &status));
   std::vector<char> & first = *chain.front();
   tsl::PduHeader const header(first.data());
   if (count < 1 || first.size() < sizeof(DtDisSocketPduHeader) || header.isCoupled())
      judgeBy(DtDisSocket::filterExercisePdus(count, chain, from, &status));
   else if (myImpl->passesTests(header.data(), from))
      judgeBy(header.length());
   else
      count = DtInetSockRcvFiltered;
   return DtInetSockRcvStatus(count);
}

/// The same for one PDU that isSingle(). Calls nothing that isn't the library's.
inline DtInetSockRcvStatus DtDisSocket::judgeSingle(char * pdu, int size, DtInetEndpoint & from)
{
   if (size < myImpl->minPacketBytes)
      return DtInetSockRcvFiltered;
   if (myImpl->sendSide != nullptr && from == myImpl->localSenderEp)
      return DtInetSockRcvSelf;
   return myImpl->passesTests(pdu, from) ? DtInetSockRcvStatus(size) : DtInetSockRcvFiltered;
}

/// Receives with an empty queue as recvToChainFrom() does with this class's own callbacks.
DtInetSockRcvStatus DtDisSocket::receiveDirectly(char * data, std::size_t size, DtInetEndpoint & from)
{
   tsl::Loan<tsl::FlatChain> flat(myImpl->flatReceive);
   flat->resize(size);
   char * const bytes = flat->bytes.data();
   int const count = receivePiece(bytes, size, from);
   if (count < 1)
      return receivedNothing(*flat, count);
   flat->zeroBehind(static_cast<std::size_t>(count));
   bool const isPlain = size >= sizeof(DtDisSocketPduHeader) && isSingle(bytes, count);
   if (!__builtin_expect(isPlain, true))
      return splitReceived(*flat, data, count, from);
   DtInetSockRcvStatus const result = judgeSingle(bytes, count, from);
   if (result > 0)
      std::memcpy(data, bytes, static_cast<std::size_t>(count));
   return result;
}

/// Ends a receive that brought nothing. The callbacks leave such a count as it is.
DtInetSockRcvStatus DtDisSocket::receivedNothing(tsl::FlatChain & flat, int count)
{
   // Only a poll is sure to have written nothing.
   bool const isPoll = myNonBlocking || (myFlags & DtInetSockFlagAsyncReceive) != 0;
   if (count < 0 || !isPoll)
      flat.dirty = flat.bytes.size();
   return DtInetSockRcvStatus(count);
}

/// Goes on with a received datagram that needs more than a look at its header.
DtInetSockRcvStatus DtDisSocket::splitReceived(tsl::FlatChain & flat, char * data, int count,
                                               DtInetEndpoint & from)
{
   flat.chain.assign(1, &flat.bytes);
   DtInetSockRcvStatus const result = judge(count, DtInetSockRcvNothing, flat.chain, from);
   if (result > 0)
      std::copy_n(flat.bytes.begin(), std::min(flat.bytes.size(), static_cast<std::size_t>(result)), data);
   return result;
}

/// Serves a queued PDU that fits and isSingle(), from the queue's own memory.
DtInetSockRcvStatus DtDisSocket::serveSingle(char * data, DtInetEndpoint & from)
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   tsl::PduQueue & queue = myImpl->pendingPdus;
   char * const pdu = queue.front();
   int const count = static_cast<int>(queue.frontSize());
   tsl::EndpointAccess::assign(from, queue.frontSource());
   countReceived(count);
   DtInetSockRcvStatus const result = judgeSingle(pdu, count, from);
   if (result > 0)
      std::memcpy(data, pdu, static_cast<std::size_t>(count));
   queue.pop();
   return result;
}

/// The same for one that announces an Attribute PDU, from a buffer of its size: a whole header says all that
/// the zeros behind the PDU would say in a larger one.
DtInetSockRcvStatus DtDisSocket::serveCoupled(char * data, std::size_t size, DtInetEndpoint & from)
{
   tsl::Loan<tsl::FlatChain> pdu(myImpl->flatQueued);
   {
      DtScopedLock guard(myImpl->lock, myLockNeeded);
      tsl::PduQueue & queue = myImpl->pendingPdus;
      pdu->bytes.assign(queue.front(), queue.front() + queue.frontSize());
      tsl::EndpointAccess::assign(from, queue.frontSource());
      queue.pop();
   }
   pdu->chain.assign(1, &pdu->bytes);
   int const count = static_cast<int>(pdu->bytes.size());
   countReceived(count);
   DtInetSockRcvStatus const result = judge(count, DtInetSockRcvFromQueue, pdu->chain, from);
   std::size_t const wanted = result > 0 ? std::min(size, static_cast<std::size_t>(result)) : 0;
   std::size_t const copied = std::min(wanted, pdu->bytes.size());
   std::copy_n(pdu->bytes.begin(), copied, data);
   std::fill_n(data + copied, wanted - copied, '\0');
   return result;
}

DtInetSockRcvStatus DtDisSocket::recvFrom(char * data, std::size_t size, DtInetEndpoint & from,
                                          unsigned long flags)
{
   if ((flags & theSkipAll) != 0 || !hasOwnReceiveOnly())
      return receiveByChain(data, size, from, flags);
   tsl::PduQueue & queue = myImpl->pendingPdus;
   if (queue.empty())
      return receiveDirectly(data, size, from);
   std::size_t const queuedSize = queue.frontSize();
   if (queuedSize < sizeof(DtDisSocketPduHeader) || queuedSize > size)
      return receiveByChain(data, size, from, flags);
   return isSingle(queue.front(), static_cast<int>(queuedSize)) ? serveSingle(data, from)
                                                                : serveCoupled(data, size, from);
}

/// Receives with whatever callbacks there are.
DtInetSockRcvStatus DtDisSocket::receiveByChain(char * data, std::size_t size, DtInetEndpoint & from,
                                                unsigned long flags)
{
   tsl::Loan<tsl::FlatChain> flat(myImpl->flatReceive);
   flat->resize(size);
   flat->zeroBehind(0);
   flat->dirty = std::numeric_limits<std::size_t>::max(); // callbacks may write all, and resize it
   flat->chain.assign(1, &flat->bytes);
   DtInetSockRcvStatus const result = recvToChainFrom(flat->chain, from, flags);
   if (result > 0)
      std::copy_n(flat->bytes.begin(), std::min({size, flat->bytes.size(), static_cast<std::size_t>(result)}),
                  data);
   return result;
}

int DtDisSocket::unbundle(DtInetSocket * socket, int count, DtInetSockChain & chain, DtInetEndpoint & from,
                          void * status)
{
   return static_cast<DtDisSocket *>(socket)->unbundle(count, chain, from, static_cast<int *>(status));
}

int DtDisSocket::getNextBundle(DtInetSocket * socket, int count, DtInetSockChain & chain,
                               DtInetEndpoint & from, void * status)
{
   return static_cast<DtDisSocket *>(socket)->getNextBundle(count, chain, from, static_cast<int *>(status));
}

int DtDisSocket::suppressSelfReflect(DtInetSocket * socket, int count, DtInetSockChain & chain,
                                     DtInetEndpoint & from, void * status)
{
   return static_cast<DtDisSocket *>(socket)->suppressSelfReflect(count, chain, from,
                                                                  static_cast<int *>(status));
}

int DtDisSocket::filterExercisePdus(DtInetSocket * socket, int count, DtInetSockChain & chain,
                                    DtInetEndpoint & from, void * status)
{
   return static_cast<DtDisSocket *>(socket)->filterExercisePdus(count, chain, from,
                                                                 static_cast<int *>(status));
}

int DtDisSocket::minSizeFilter(DtInetSocket * socket, int count, DtInetSockChain & chain,
                               DtInetEndpoint & from, void * status)
{
   return static_cast<DtDisSocket *>(socket)->minSizeFilter(count, chain, from, static_cast<int *>(status));
}
