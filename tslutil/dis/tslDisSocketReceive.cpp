// SPDX-License-Identifier: MIT
#include "tslutil/dis/disSocketImpl.h"
#include "tslutil/dis/pduReader.h"
#include "tslutil/dis/tslDisSocket.h"

#include <algorithm>
#include <cstdint>
#include <typeinfo>

namespace
{

constexpr unsigned long theSkipAll = DtInetSockSkipPreCallbacks | DtInetSockSkipPostCallbacks;

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
   return version < 7 ? 0 : 8;
}

int DtDisSocket::getNextBundle(int count, DtInetSockChain & chain, DtInetEndpoint & from, int * status)
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   if (*status != 0)
      return count;
   tsl::PduQueue & queue = myImpl->pendingPdus;
   if (queue.empty())
      return 0;
   std::vector<char> const & pdu = queue.front();
   std::size_t copied = 0;
   for (std::vector<char> * buffer : chain)
   {
      std::size_t const piece = std::min(buffer->size(), pdu.size() - copied);
      std::copy_n(pdu.begin() + static_cast<std::ptrdiff_t>(copied), piece, buffer->begin());
      copied += piece;
   }
   bool const fits = copied == pdu.size();
   *status = fits ? DtInetSockRcvFromQueue : DtInetSockRcvNoRoom;
   from = queue.frontSource();
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

/// Whether the callbacks of a receive are this class's own and nothing else.
bool DtDisSocket::hasOwnReceiveOnly()
{
   // Only subclasses can take the class's own callbacks away.
   std::size_t const after = myImpl->sendSide == nullptr ? 3 : 4;
   return callbacks(DtInetSockPreReceive).size() == 1 && callbacks(DtInetSockPostReceive).size() == after &&
          typeid(*this) == typeid(DtDisSocket);
}

/// Runs this class's own post-receive callbacks, without the way through their table.
DtInetSockRcvStatus DtDisSocket::judge(int count, int status, DtInetSockChain & chain, DtInetEndpoint & from)
{
   auto const judgeBy = [&](int result) { count = result != 0 ? result : status; };
   judgeBy(DtDisSocket::minSizeFilter(count, chain, from, &status));
   if (myImpl->sendSide != nullptr)
      judgeBy(DtDisSocket::suppressSelfReflect(count, chain, from, &status));
   judgeBy(DtDisSocket::unbundle(count, chain, from, &status));
   judgeBy(DtDisSocket::filterExercisePdus(count, chain, from, &status));
   return DtInetSockRcvStatus(count);
}

/// Receives as recvToChainFrom() does with this class's own callbacks.
DtInetSockRcvStatus DtDisSocket::receiveDirectly(DtInetSockChain & chain, DtInetEndpoint & from)
{
   int status = DtInetSockRcvNothing;
   int count = DtDisSocket::getNextBundle(0, chain, from, &status);
   if (status == DtInetSockRcvFromQueue)
      countReceived(count);
   else
      count = DtInetUdpSocket::recvToChainFrom(chain, from, theSkipAll);
   return judge(count, status, chain, from);
}

/// Serves a queued PDU that fits, from its own buffer: a whole header says all that the zeros behind the PDU
/// would say in a larger one.
DtInetSockRcvStatus DtDisSocket::serveQueued(char * data, std::size_t size, DtInetEndpoint & from)
{
   tsl::Loan<tsl::FlatChain> pdu(myImpl->flatQueued);
   {
      DtScopedLock guard(myImpl->lock, myLockNeeded);
      pdu->bytes.swap(myImpl->pendingPdus.front());
      from = myImpl->pendingPdus.frontSource();
      myImpl->pendingPdus.pop();
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
   tsl::PduQueue & queue = myImpl->pendingPdus;
   std::size_t const queuedSize = queue.empty() ? 0 : queue.front().size();
   bool const isOwn = hasOwnReceiveOnly();
   if (isOwn && (flags & theSkipAll) == 0 && queuedSize <= size && queuedSize >= sizeof(DtDisSocketPduHeader))
      return serveQueued(data, size, from);
   tsl::Loan<tsl::FlatChain> flat(myImpl->flatReceive);
   flat->clear(size);
   std::uint64_t const before = myTotalBytesReceived;
   DtInetSockRcvStatus const result = isOwn && (flags & theSkipAll) == 0
                                         ? receiveDirectly(flat->chain, from)
                                         : recvToChainFrom(flat->chain, from, flags);
   if (result > 0)
      std::copy_n(flat->bytes.begin(), std::min({size, flat->bytes.size(), static_cast<std::size_t>(result)}),
                  data);
   // What was counted is what was written, unless something did not fit or somebody else wrote too.
   std::uint64_t const counted = myTotalBytesReceived - before;
   bool const isNothing = counted == 0 && result == DtInetSockRcvNothing &&
                          (myNonBlocking || (myFlags & DtInetSockFlagAsyncReceive) != 0);
   if (isOwn && queuedSize <= size && (isNothing || (counted > 0 && counted <= size)))
      flat->dirty = static_cast<std::size_t>(counted);
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
