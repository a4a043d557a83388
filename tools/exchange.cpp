// SPDX-License-Identifier: MIT
#include "tools/exchange.h"

#include "tools/usageError.h"

#include "tslutil/inet/tslInetUdpSocket.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <thread>

namespace
{

constexpr unsigned long theBlockingFlags = 0xC83;
constexpr unsigned long theNonBlockingFlags = theBlockingFlags | 0x040;
constexpr unsigned long theExclusiveFlags = theBlockingFlags & ~0x400ul;
constexpr unsigned short theUsualPort = 3000;

/// A datagram carries at most so many buffers: a longer bundle would be cut.
constexpr std::size_t theMaxBuffers = 64;
/// What may be under way at a time. A receive buffer of the system's usual size holds this.
constexpr std::size_t theMaxPdusOut = 128;
constexpr std::size_t theMinBytesOut = 64 * 1024;
constexpr std::size_t theLargestDatagram = 64 * 1024;

constexpr double theFramesPerSecond = 60;
constexpr auto thePatience = std::chrono::seconds(1);
/// So many times in succession nothing comes for as long as the patience: then nothing will.
constexpr int theMaxSilences = 3;

std::string text(DtString const & string)
{
   return string.string();
}

std::runtime_error failure(std::string const & what, DtInetSocket & socket)
{
   return std::runtime_error(what + ": " + text(socket.getLastErrorString()));
}

std::unique_ptr<DtDisSocket> openSocket(char const * name, DtInetEndpoint const & destination,
                                        unsigned short port, DtInetDevice * device, unsigned long flags,
                                        bool suppress)
{
   auto socket = std::make_unique<DtDisSocket>(destination, port, device, flags, true, suppress);
   if (!socket->isOk())
      throw failure(std::string("cannot open the ") + name + " socket", *socket);
   return socket;
}

} // namespace

bool ExchangeResult::isWhole() const
{
   return failure.empty() && ledger.total.back == ledger.total.out && ledger.lost == 0 &&
          ledger.disordered == 0 && strange == 0 && ownHeard == 0;
}

Exchange::Exchange(ExchangeOptions const & options) : myOptions(options), myBuffer(theLargestDatagram)
{
   chooseDevice();
   chooseDestination();
   // A group is heard on its own port, by the sender too. Otherwise the sender stays off the receiver's port.
   unsigned short const port = myDestination.port();
   myReceiver = openSocket("receiving", myDestination, port, myDevice.get(), theNonBlockingFlags, false);
   mySender = openSocket("sending", myDestination, isGroup() ? port : freePort(), myDevice.get(),
                         theBlockingFlags, options.suppress);
   mySender->setBundling(options.bundle, 0, 0, false);
}

void Exchange::chooseDevice()
{
   if (myOptions.device.empty() && !myOptions.to.empty())
      return;
   std::string const name = myOptions.device.empty() ? "127.0.0.1" : myOptions.device;
   myDevice = std::make_unique<DtInetDevice>(DtString(name.c_str()));
   if (!myDevice->isOk())
      throw UsageError("there is no interface " + name +
                       ". Name one that the command 'ip address' lists, or its address.");
}

void Exchange::chooseDestination()
{
   if (!myOptions.to.empty())
   {
      DtString locator(myOptions.to.c_str());
      DtInetEndpoint asked(locator, theUsualPort, DtInetProtoUdp);
      if (!asked.isOk())
         throw UsageError("--to " + myOptions.to + ": " + text(asked.getLastErrorString()));
      myDestination = asked;
      return;
   }
   DtInetAddr const * address = myDevice->ipv4Addr() ? myDevice->ipv4Addr() : myDevice->ipv6Addr();
   if (!address)
      throw UsageError("the interface " + myOptions.device + " has no address. Give it one, or use --to.");
   myDestination = DtInetEndpoint(*address, theUsualPort, DtInetProtoUdp);
   myDestination.setPort(freePort());
}

/// A port that nobody uses on the address that the sockets will have.
unsigned short Exchange::freePort() const
{
   DtInetUdpSocket probe(myDestination, 0, myDevice.get(), theExclusiveFlags, true);
   if (!probe.isOk())
      throw failure("cannot find a free port", probe);
   return probe.localPort();
}

bool Exchange::isGroup() const
{
   return myDestination.address().isMulticast() || myDestination.address().isBroadcast();
}

std::string Exchange::senderText() const
{
   return text(myOptions.suppress ? mySender->localSenderEndpoint().toDtString()
                                  : mySender->localEndpoint().toDtString());
}

std::string Exchange::destinationText() const
{
   return text(myDestination.toDtString());
}

ExchangeResult Exchange::run(std::vector<Pdu> & pdus)
{
   myStart = Clock::now();
   try
   {
      sendAll(pdus);
   }
   catch (std::runtime_error const & error)
   {
      myResult.failure = error.what();
      myResult.ledger.abandonOutstanding();
   }
   myResult.seconds = std::chrono::duration<double>(Clock::now() - myStart).count();
   myResult.datagrams = datagramsOut();
   return std::move(myResult);
}

void Exchange::sendAll(std::vector<Pdu> & pdus)
{
   myResult.ledger.latencies.reserve(pdus.size() * static_cast<std::size_t>(myOptions.loops));
   std::size_t index = 0;
   for (int loop = 0; loop < myOptions.loops; ++loop)
   {
      for (Pdu & pdu : pdus)
      {
         waitForFrame(index++);
         makeRoom(pdu.bytes.size());
         handOver(pdu);
      }
   }
   flush();
   drain();
   sweepOwn();
}

/// With a rate, PDUs leave in frames, as a simulation's do, and a frame ends with a flush.
void Exchange::waitForFrame(std::size_t index)
{
   if (myOptions.rate <= 0)
      return;
   double const frame = std::floor(static_cast<double>(index) / myOptions.rate * theFramesPerSecond);
   auto const due = myStart + std::chrono::duration_cast<Clock::duration>(
                                 std::chrono::duration<double>(frame / theFramesPerSecond));
   if (Clock::now() >= due)
      return;
   flush();
   while (Clock::now() < due)
   {
      sweep();
      std::this_thread::sleep_until(std::min(due, Clock::now() + std::chrono::microseconds(200)));
   }
}

void Exchange::makeRoom(std::size_t size)
{
   std::size_t const limit = std::max(theMinBytesOut, 2 * static_cast<std::size_t>(myOptions.bundle));
   ExchangeLedger const & ledger = myResult.ledger;
   if (ledger.outstandingPdus() < theMaxPdusOut && ledger.outstandingBytes() + size <= limit)
      return;
   flush();
   drain();
}

void Exchange::handOver(Pdu & pdu)
{
   alignFor(pdu);
   std::size_t const size = pdu.bytes.size();
   std::size_t const alignment = mySender->sendBundleByteAlignment();
   std::size_t fill = (0 - myBundleBytes) & (alignment - 1);
   if (myBundleBuffers + (fill > 0 ? 2 : 1) > theMaxBuffers)
   {
      flush();
      fill = 0;
   }
   std::size_t const before = datagramsOut();
   myResult.ledger.sent(pdu, Clock::now());
   if (mySender->send(pdu.bytes.data(), size, 0) != static_cast<int>(size))
      throw failure("cannot send", *mySender);
   ++mySent;
   bool const isOut = datagramsOut() != before;
   if (isOut)
      myBundleBytes = myBundleBuffers = fill = 0;
   if (mySender->isBundling() && size <= static_cast<std::size_t>(myOptions.bundle))
   {
      myBundleBytes += fill + size;
      myBundleBuffers += fill > 0 ? 2 : 1;
   }
   if (isOut)
      sweep();
}

/// The receiver expects the alignment of the version at hand, the sender has one for all: it changes between
/// bundles.
void Exchange::alignFor(Pdu const & pdu)
{
   unsigned long const alignment = std::max(1ul, myReceiver->receiveBundleByteAlignment(pdu.version()));
   if (mySender->sendBundleByteAlignment() == alignment)
      return;
   flush();
   mySender->setBundleByteAlignment(alignment);
}

void Exchange::flush()
{
   if (mySender->flush() != DtInetSockFlushDone)
      throw failure("cannot send a bundle", *mySender);
   myBundleBytes = myBundleBuffers = 0;
}

/// The socket counts a bundled PDU when it is taken and its bundle when it leaves.
std::size_t Exchange::datagramsOut() const
{
   std::size_t const counted = mySender->totalPacketsSent();
   return mySender->isBundling() ? counted - mySent : counted;
}

void Exchange::sweep()
{
   for (;;)
   {
      DtInetEndpoint from;
      int const count = myReceiver->recvFrom(myBuffer.data(), myBuffer.size(), from, 0);
      if (count == DtInetSockRcvNothing)
         break;
      if (count == DtInetSockRcvFailed)
         throw failure("cannot receive", *myReceiver);
      if (count > 0)
         take(count, from);
   }
   sweepOwn();
}

void Exchange::take(int count, DtInetEndpoint & from)
{
   auto const size = static_cast<std::size_t>(count);
   if (size <= myBuffer.size() && myResult.ledger.arrived(myBuffer.data(), size, Clock::now()))
      mySource = from;
   else if (from == mySource)
      ++myResult.strange;
   else
      ++myResult.foreign;
}

/// A sender that shares its group's port hears itself, unless it suppresses that.
void Exchange::sweepOwn()
{
   if (!myOptions.suppress)
      return;
   while (mySender->getBytesAvailable() > 0)
   {
      DtInetEndpoint from;
      int const count = mySender->recvFrom(myBuffer.data(), myBuffer.size(), from, 0);
      if (count == DtInetSockRcvFailed)
         throw failure("cannot read the sending socket", *mySender);
      myResult.ownDropped += count == DtInetSockRcvSelf;
      myResult.ownHeard += count > 0 && from == mySource;
   }
}

/// Receives until nothing is under way, or nothing has come for as long as the patience.
void Exchange::drain()
{
   ExchangeLedger & ledger = myResult.ledger;
   auto lastArrival = Clock::now();
   while (ledger.outstandingPdus() > 0)
   {
      std::size_t const before = ledger.outstandingPdus();
      sweep();
      if (ledger.outstandingPdus() < before)
      {
         lastArrival = Clock::now();
         mySilences = 0;
      }
      else if (Clock::now() - lastArrival > thePatience)
      {
         ledger.abandonOutstanding();
         if (++mySilences == theMaxSilences)
            throw std::runtime_error("nothing comes back. The destination must be an address that this "
                                     "machine hears: its own, a broadcast address or a multicast group.");
      }
      else
         std::this_thread::sleep_for(std::chrono::microseconds(100));
   }
}
