// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/bundles.h"
#include "tslutil/dis/pduQueue.h"
#include "tslutil/dis/sendWorker.h"
#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/datagramSocket.h"
#include "tslutil/inet/ioService.h"
#include "tslutil/thread/tslMutex.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

namespace tsl
{

/// A chain of one buffer, into which a flat operation wraps its bytes.
struct FlatChain
{
   std::vector<char> bytes;
   DtInetSockChain chain;
   /// How many of the first bytes may be other than 0.
   std::size_t dirty = 0;

   /// Has it hold `size` bytes, of which those that were there stay.
   void resize(std::size_t size)
   {
      if (bytes.size() != size || dirty > size)
         changeSize(size);
   }

   /// Has it hold zeros behind the first `used` bytes, of which only those are written that may be other.
   void zeroBehind(std::size_t used)
   {
      if (dirty > used)
         std::memset(bytes.data() + used, 0, dirty - used);
      dirty = used;
   }

private:
   [[gnu::cold]] void changeSize(std::size_t size)
   {
      bytes.resize(size);
      dirty = std::min(dirty, size);
   }
};

/// Lends the kept object for a scope: a call nested in that scope, from a callback, gets one of its own.
template<class Kept>
class Loan
{
public:
   explicit Loan(std::unique_ptr<Kept> & place) : home(place), kept(std::move(place))
   {
      if (kept == nullptr)
         kept.reset(new Kept);
   }
   ~Loan() { home = std::move(kept); }
   Loan(Loan const &) = delete;
   Loan & operator=(Loan const &) = delete;

   Kept & operator*() const { return *kept; }
   Kept * operator->() const { return kept.get(); }

private:
   std::unique_ptr<Kept> & home;
   std::unique_ptr<Kept> kept;
};

/// What a DIS socket needs to know its own traffic again: a socket to send on that has its own address.
struct SendSide
{
   IoService service;
   DatagramSocket socket{service};
   SendWorker worker{service, socket};
};

} // namespace tsl

/// What a DIS socket holds.
struct DtDisSocketImpl
{
   /// Null without self-reflection suppression.
   std::unique_ptr<tsl::SendSide> sendSide;
   DtInetEndpoint localSenderEp;

   tsl::Destinations additionalDestinations;
   tsl::Bundles bundles;
   tsl::PduQueue pendingPdus;

   int maxBundleSize = 0;
   unsigned long bundleByteAlignment = 8;
   int minPacketBytes = 12;
   DtPduFilterTest versionTest;
   DtPduFilterTest exerciseTest;
   DtPduFilterTest kindTest;
   DtPduFilterTest ipTest;
   /// Of the tables as they were last looked at.
   bool hasOwnReceiveCallbacks = false;

   /// Guards destinations, bundles, queue, counters and the error text, if the socket's flags ask for it.
   DtMutex lock;

   std::unique_ptr<tsl::FlatChain> flatSend;
   std::unique_ptr<tsl::FlatChain> flatReceive;
   std::unique_ptr<tsl::FlatChain> flatQueued;
   std::unique_ptr<DtInetSockChain> bundleChain;

   /// Whether a PDU passes the four tests.
   bool passesTests(void * header, DtInetEndpoint & from)
   {
      return (versionTest.passesAll() && exerciseTest.passesAll() && kindTest.passesAll() &&
              ipTest.passesAll()) ||
             evaluateTests(header, from);
   }

   bool hasOpenSendSocket() const { return sendSide != nullptr && sendSide->socket.isOpen(); }

   /// Gives back the memory that is kept for later use.
   void shrink();

private:
   bool evaluateTests(void * header, DtInetEndpoint & from);
};
