// SPDX-License-Identifier: MIT
#pragma once

#include "tools/exchangeLedger.h"
#include "tools/pdu.h"

#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/tslInetEndpoint.h"

#include <memory>
#include <string>
#include <vector>

struct ExchangeOptions
{
   /// A locator; empty for a free port of the device's own address.
   std::string to;
   /// The name or address of an interface; empty for loopback or, with a locator, for the system's choice.
   std::string device;
   /// The largest bundle in bytes; 0 for a datagram for each PDU.
   int bundle = 1400;
   /// PDUs per second; 0 for as fast as they come back.
   double rate = 0;
   int loops = 1;
   bool suppress = false;
};

/// How an exchange went.
struct ExchangeResult
{
   ExchangeLedger ledger;
   std::size_t datagrams = 0;
   double seconds = 0;
   /// PDUs from the sender that were never sent, or came twice.
   std::size_t strange = 0;
   /// PDUs from somebody else.
   std::size_t foreign = 0;
   /// What the suppressing sender recognised as its own and dropped, and what it failed to recognise.
   std::size_t ownDropped = 0;
   std::size_t ownHeard = 0;
   /// Why the exchange ended early; empty if it didn't.
   std::string failure;

   /// Whether every PDU came back byte for byte and in order, and nothing else from the sender.
   bool isWhole() const;
};

/// Sends PDUs through one DIS socket and takes them back through another, in this thread. At no time is more
/// under way than a receive buffer holds, so that loopback loses nothing.
class Exchange
{
public:
   /// Opens both sockets. Throws UsageError, or std::runtime_error if a socket can't be opened.
   explicit Exchange(ExchangeOptions const & options);

   /// Sends all PDUs, as often as the options say, until all have come back or are given up.
   ExchangeResult run(std::vector<Pdu> & pdus);

   /// The addresses in use.
   std::string senderText() const;
   std::string destinationText() const;

private:
   using Clock = ExchangeLedger::Clock;

   void chooseDevice();
   void chooseDestination();
   unsigned short freePort() const;
   bool isGroup() const;

   void sendAll(std::vector<Pdu> & pdus);
   void waitForFrame(std::size_t index);
   void makeRoom(std::size_t size);
   void handOver(Pdu & pdu);
   void alignFor(Pdu const & pdu);
   void flush();
   std::size_t datagramsOut() const;
   void sweep();
   void take(int count, DtInetEndpoint & from);
   void sweepOwn();
   void drain();

   ExchangeOptions const myOptions;
   std::unique_ptr<DtInetDevice> myDevice;
   DtInetEndpoint myDestination;
   std::unique_ptr<DtDisSocket> myReceiver;
   std::unique_ptr<DtDisSocket> mySender;

   ExchangeResult myResult;
   std::vector<char> myBuffer;
   /// Where the sender's PDUs come from, as the receiver sees it; no endpoint until one has come.
   DtInetEndpoint mySource;
   Clock::time_point myStart;
   /// What stands in the sender's bundle.
   std::size_t myBundleBytes = 0;
   std::size_t myBundleBuffers = 0;
   /// The PDUs that the sender has taken.
   std::size_t mySent = 0;
   int mySilences = 0;
};
