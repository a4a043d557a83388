// SPDX-License-Identifier: MIT
#include "tslutil/dis/disSocketImpl.h"
#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/chainCore.h"

#include <cstdint>
#include <memory>
#include <typeinfo>

namespace
{

/// Where the next PDU of a bundle begins. The mask finds the next multiple of a power of two; no other
/// alignment is corrected or refused.
std::int64_t padded(std::int64_t bytes, unsigned long alignment)
{
   std::uint32_t const step = static_cast<std::uint32_t>(alignment);
   std::uint32_t const mask = 0u - step;
   std::uint32_t const size = static_cast<std::uint32_t>(bytes);
   return step > 1 && size != (size & mask) ? (size + step) & mask : size;
}

/// Marks a bundle for the time of its send.
class UnderWay
{
public:
   explicit UnderWay(tsl::Bundle & sentBundle) : bundle(sentBundle) { bundle.isSending = true; }
   ~UnderWay() { bundle.isSending = false; }
   UnderWay(UnderWay const &) = delete;
   UnderWay & operator=(UnderWay const &) = delete;

private:
   tsl::Bundle & bundle;
};

} // namespace

void DtDisSocket::setBundling(int maxSize, int, int, bool)
{
   bool const wasOn = isBundling();
   setMaxBundleSize(maxSize);
   bool const isOn = isBundling();
   if (isOn && !wasOn)
      addProcessingCallback(DtInetSockPreSend, &DtDisSocket::addToBundle, this, 1);
   else if (wasOn && !isOn)
      removeProcessingCallback(DtInetSockPreSend, &DtDisSocket::addToBundle);
}

bool DtDisSocket::setMaxBundleSize(int maxSize)
{
   myImpl->maxBundleSize = maxSize;
   return true;
}

int DtDisSocket::getMaxBundleSize()
{
   return myImpl->maxBundleSize;
}

bool DtDisSocket::isBundling()
{
   return myImpl->maxBundleSize > 0;
}

void DtDisSocket::setBundleByteAlignment(unsigned long alignment)
{
   myImpl->bundleByteAlignment = alignment;
}

unsigned long DtDisSocket::sendBundleByteAlignment()
{
   return myImpl->bundleByteAlignment;
}

/// Sends a bundle and ends it. One that is under way already, and an empty one, have nothing to send.
DtInetSockFlushStatus DtDisSocket::sendBundle(tsl::Bundle & bundle)
{
   if (bundle.bytes == 0 || bundle.isSending)
      return DtInetSockFlushDone;
   tsl::Loan<DtInetSockChain> chain(myImpl->bundleChain);
   chain->clear();
   for (std::size_t i = 0; i < bundle.buffers.size(); ++i)
      chain->push_back(&bundle.buffers[i]);
   int sent = 0;
   {
      UnderWay const mark(bundle);
      sent = sendChainTo(*chain, bundle.to, flags() | DtInetSockSkipPreCallbacks);
   }
   if (sent != bundle.bytes)
      return sent == 0 ? DtInetSockFlushNothing : DtInetSockFlushFailed;
   bundle.clear();
   return DtInetSockFlushDone;
}

int DtDisSocket::addToBundle(int, DtInetSockChain & chain, DtInetEndpoint & to, void *)
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   std::int64_t const total = tsl::chainSize(chain);
   tsl::Bundle * bundle = myImpl->bundles.find(to);
   // A callback of the bundle's own send: the bundle is out of reach, and its datagram is on its way.
   bool const isUnderWay = bundle != nullptr && bundle->isSending;
   std::int64_t current = bundle == nullptr || isUnderWay ? 0 : bundle->bytes;
   std::int64_t start = padded(current, sendBundleByteAlignment());
   if (start != 0 && start + total > getMaxBundleSize())
   {
      if (sendBundle(*bundle) != DtInetSockFlushDone)
         return -1;
      start = current = 0;
   }
   if (isUnderWay || total > getMaxBundleSize())
      return sendChainTo(chain, to, flags() | DtInetSockSkipPreCallbacks) == total ? 0 : -1;
   if (bundle == nullptr)
      bundle = &myImpl->bundles.place(to);
   bundle->add(start - current, chain);
   return 0;
}

/// Adds a PDU to a bundle that has room for it, as a chain send does by its callback addToBundle(), if that
/// callback is all that the send would run.
bool DtDisSocket::joinsBundle(char const * data, std::size_t size, DtInetEndpoint & to, unsigned long flags)
{
   DtInetSockCallbackTable const & before = callbacks(DtInetSockPreSend);
   DtInetSocketProcessingCb const addition = &DtDisSocket::addToBundle;
   // Nothing to send runs no callback, so it never comes to a bundle.
   if (size == 0 || before.size() != 1 || before.begin()->second->callback != addition ||
       !callbacks(DtInetSockPostSend).empty() || (flags & DtInetSockSkipPreCallbacks) != 0 ||
       (myFlags & (DtInetSockFlagSend | DtInetSockFlagAsyncSend)) == 0 ||
       typeid(*this) != typeid(DtDisSocket))
      return false;
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   tsl::Bundle * const bundle = myImpl->bundles.findForUdp(to);
   if (bundle == nullptr || bundle->bytes == 0 || bundle->isSending)
      return false;
   std::int64_t const start = padded(bundle->bytes, myImpl->bundleByteAlignment);
   if (start + static_cast<std::int64_t>(size) > myImpl->maxBundleSize)
      return false;
   bundle->add(start - bundle->bytes, data, size);
   countSent(static_cast<int>(size));
   return true;
}

DtInetSockFlushStatus DtDisSocket::flush()
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   for (std::unique_ptr<tsl::Bundle> const & bundle : myImpl->bundles)
   {
      DtInetSockFlushStatus const status = sendBundle(*bundle);
      if (status != DtInetSockFlushDone)
         return status;
   }
   return DtInetSockFlushDone;
}

DtInetSockFlushStatus DtDisSocket::flushBundle(DtInetEndpoint & to)
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   tsl::Bundle * const bundle = myImpl->bundles.find(to);
   return bundle == nullptr ? DtInetSockFlushDone : sendBundle(*bundle);
}

int DtDisSocket::addToBundle(DtInetSocket * socket, int count, DtInetSockChain & chain, DtInetEndpoint & to,
                             void * data)
{
   return static_cast<DtDisSocket *>(socket)->addToBundle(count, chain, to, data);
}

int DtDisSocket::flushBundle(DtInetSocket * socket, int count, DtInetSockChain & chain, DtInetEndpoint & to,
                             void *)
{
   if (static_cast<DtDisSocket *>(socket)->flushBundle(to) == DtInetSockFlushFailed)
      return -1;
   return count < 1 ? count : tsl::chainSize(chain);
}
