// SPDX-License-Identifier: MIT
#include "tslutil/dis/disSocketImpl.h"
#include "tslutil/dis/pduReader.h"
#include "tslutil/dis/tslDisSocket.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <typeinfo>

namespace
{

std::int64_t sizeOf(tsl::ChainPlace place)
{
   return static_cast<std::int64_t>((*place)->size());
}

} // namespace

/// One walk through the PDUs of a datagram. It keeps its true place in the chain, and beside it the `offset`
/// that getPduSize() and getCoupledAttributePduSize() are told: that one stays as it is within a buffer and
/// is set by a step into another buffer only. This is meant, as is that only the first PDU of a datagram is
/// ever merged with its Attribute PDU.
class DtDisSocket::Unbundling
{
public:
   Unbundling(DtDisSocket & disSocket, int count, DtInetSockChain & chain, DtInetEndpoint & source,
              int * statusWord)
      : socket(disSocket),
        isOwn(typeid(disSocket) == typeid(DtDisSocket)),
        from(source),
        status(statusWord),
        current(chain.begin()),
        end(chain.end()),
        remaining(count),
        result(count)
   {
   }

   int run();

private:
   bool isAtPdu() { return remaining > 0 && remaining >= minPacketSize(); }
   DtDisSocketPduHeader * pdu() const { return tsl::headerAt(current, end, position); }
   std::int64_t room() const { return std::max<std::int64_t>(sizeOf(current) - position, 0); }

   // The socket's virtual operations, called by their slots only where a subclass may have its own.

   int minPacketSize() { return isOwn ? socket.DtDisSocket::minPacketSize() : socket.minPacketSize(); }
   unsigned long alignmentOf(int version)
   {
      return isOwn ? tsl::alignmentIn(version) : socket.receiveBundleByteAlignment(version);
   }
   unsigned short pduSize()
   {
      return isOwn ? socket.DtDisSocket::getPduSize(pdu(), offset, current, end, status, coupled, false)
                   : socket.getPduSize(pdu(), offset, current, end, status, coupled, false);
   }

   void measure();
   void mergeAttribute();
   void keepFirst();
   void queuePlain();
   void queueNext();
   void copyPdu(char * copy, std::int64_t fill);
   bool stepTo(tsl::ChainPlace place, std::int64_t distance);

   DtDisSocket & socket;
   bool const isOwn;
   DtInetEndpoint & from;
   int * const status;
   tsl::ChainPlace current;
   tsl::ChainPlace const end;
   std::int64_t position = 0;
   unsigned short offset = 0;
   std::int64_t remaining;
   std::int64_t result;
   // Of the PDU at hand.
   std::int64_t size = 0;
   bool coupled = false;
   unsigned long alignment = 0;
};

int DtDisSocket::Unbundling::run()
{
   tsl::PduQueue & queue = socket.myImpl->pendingPdus;
   bool const isQueueEmpty = queue.empty();
   queue.beginDatagram();
   if (isQueueEmpty && isAtPdu())
      keepFirst();
   if (isOwn && current != end && std::next(current) == end)
      queuePlain();
   while (isAtPdu())
      queueNext();
   if (remaining > 0)
      result -= remaining;
   return static_cast<int>(result);
}

/// Finds the size of the PDU at hand, and how the one behind it is aligned.
void DtDisSocket::Unbundling::measure()
{
   size = pduSize();
   bool const isHere = current != end && position < sizeOf(current);
   int const version =
      isHere ? pdu()->protocolVersion : tsl::PduReader(pdu(), position, current, end).version();
   alignment = alignmentOf(version);
}

void DtDisSocket::Unbundling::keepFirst()
{
   measure();
   if (size == 0)
      remaining = result = 0;
   else if (size == remaining)
      remaining = 0;
   else
   {
      if (coupled)
         mergeAttribute();
      std::int64_t const unit = static_cast<unsigned short>(size + tsl::fillBehind(size, alignment));
      remaining -= unit;
      if (!stepTo(current, unit))
      {
         remaining = 0;
         result = size;
      }
   }
}

void DtDisSocket::Unbundling::mergeAttribute()
{
   int localStatus = 1;
   std::int64_t const filled = size + tsl::fillBehind(size, alignment);
   unsigned short const extra =
      socket.getCoupledAttributePduSize(pdu(), offset, current, end, &localStatus, static_cast<int>(filled));
   if (localStatus < 1)
      tsl::warnOfMissingAttribute();
   else
      size = filled + extra;
}

/// Queues PDUs from the last buffer for as long as nothing is special about them: queueNext() in short.
void DtDisSocket::Unbundling::queuePlain()
{
   tsl::PduQueue & queue = socket.myImpl->pendingPdus;
   std::int64_t const minSize = std::max(socket.myImpl->minPacketBytes, 1);
   char * at = (*current)->data() + position;
   std::int64_t left = room();
   std::int64_t rest = remaining;
   std::int64_t fill = -1; // none is queued yet
   while (rest >= minSize && left >= tsl::PduHeader::theBytesRead)
   {
      tsl::PduHeader const header(at);
      std::int64_t const pduSize = header.length();
      if (pduSize == 0 || pduSize > std::min(rest, left) || header.isCoupled())
         break;
      if (fill < 0)
      {
         std::size_t const all = static_cast<std::size_t>(std::min(rest, left));
         std::memcpy(queue.room(all, from), at, all);
         fill = 0;
      }
      queue.add(static_cast<std::size_t>(fill), static_cast<std::size_t>(pduSize));
      fill = pduSize == rest ? 0 : tsl::fillBehind(pduSize, tsl::alignmentIn(header.version()));
      std::int64_t const step = pduSize + fill;
      rest = step < left ? rest - step : 0;
      left -= step;
      at += step;
   }
   position += room() - left;
   remaining = rest;
}

void DtDisSocket::Unbundling::queueNext()
{
   measure();
   if (size == 0 || size > remaining)
   {
      remaining = 0;
      return;
   }
   std::int64_t const fill = size == remaining ? 0 : tsl::fillBehind(size, alignment);
   if (coupled)
   {
      // No status that this starts from counts as found: a later PDU never has its Attribute PDU merged.
      int localStatus = -1;
      socket.getCoupledAttributePduSize(pdu(), offset, current, end, &localStatus,
                                        static_cast<int>(size + fill));
      tsl::warnOfMissingAttribute();
   }
   tsl::PduQueue & queue = socket.myImpl->pendingPdus;
   copyPdu(queue.room(static_cast<std::size_t>(size), from), fill);
   queue.add(0, static_cast<std::size_t>(size));
}

/// Copies the PDU at hand, from as many buffers as it lies in, and goes on behind it and its fill. What is
/// not to be had reads as 0. The fill is taken off once for each piece, on purpose.
void DtDisSocket::Unbundling::copyPdu(char * copy, std::int64_t fill)
{
   std::int64_t piece = 0;
   std::int64_t left = size;
   for (;; ++current, position = 0)
   {
      piece = std::min(left, room());
      copy = std::copy_n((*current)->data() + position, piece, copy);
      left -= piece;
      remaining -= piece + fill;
      if (left == 0 || remaining < 1 || std::next(current) == end)
         break;
   }
   std::fill_n(copy, left, '\0');
   if (remaining == 0)
      return;
   if (room() > piece + fill)
      position += piece + fill;
   else if (!stepTo(std::next(current), piece - room() + fill))
      remaining = 0;
}

/// Goes `distance` bytes, cut to 16 bits, on from the start of a buffer; false at the end of the chain.
bool DtDisSocket::Unbundling::stepTo(tsl::ChainPlace place, std::int64_t distance)
{
   offset = static_cast<unsigned short>(distance);
   current = socket.advanceToOffset(offset, place, end);
   position = offset;
   return current != end;
}

int DtDisSocket::unbundle(int count, DtInetSockChain & chain, DtInetEndpoint & from, int * status)
{
   if (count < 0 || *status == DtInetSockRcvFromQueue || (count == 0 && myImpl->pendingPdus.empty()))
      return count;
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   return Unbundling(*this, count, chain, from, status).run();
}

unsigned short DtDisSocket::getPduSize(DtDisSocketPduHeader * header, int offset,
                                       DtInetSockChain::iterator current, DtInetSockChain::iterator end,
                                       int * status, bool & coupled, bool expectAttribute)
{
   coupled = false;
   tsl::PduReader const pdu(header, offset, current, end);
   if (pdu.isCut())
   {
      *status = DtInetSockRcvNoRoom;
      return 0;
   }
   if (expectAttribute && !pdu.isAttribute())
      *status = DtInetSockRcvFailed;
   coupled = pdu.isCoupled();
   // A header that straddles buffers has no size and so ends the walk through its datagram, on purpose.
   return pdu.isWhole() ? pdu.length() : 0;
}

unsigned short DtDisSocket::getCoupledAttributePduSize(DtDisSocketPduHeader *, int offset,
                                                       DtInetSockChain::iterator current,
                                                       DtInetSockChain::iterator end, int * status,
                                                       int advance)
{
   unsigned short position = static_cast<unsigned short>(offset + advance);
   current = advanceToOffset(position, current, end);
   if (current == end)
   {
      *status = DtInetSockRcvNoRoom;
      return 0;
   }
   bool isCoupledItself = false;
   return getPduSize(tsl::headerAt(current, end, position), position, current, end, status, isCoupledItself,
                     true);
}

DtInetSockChain::iterator DtDisSocket::advanceToOffset(unsigned short & offset,
                                                       DtInetSockChain::iterator current,
                                                       DtInetSockChain::iterator end)
{
   while (current != end && offset > (*current)->size())
   {
      offset = static_cast<unsigned short>(offset - (*current)->size());
      ++current;
   }
   while (current != end && (*current)->empty())
      ++current;
   return current;
}
