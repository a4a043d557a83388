// SPDX-License-Identifier: MIT
#pragma once

#include "tools/pdu.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <utility>
#include <vector>

/// What became of the PDUs of one kind in one exercise.
struct ExchangeRow
{
   std::size_t out = 0;
   std::size_t back = 0;
   std::size_t bytes = 0;
};

/// The account of an exchange: every PDU that is sent is entered, every unit that is received is matched with
/// what is still outstanding, byte for byte and in order.
///
/// A receiving DIS socket hands a PDU with the coupled bit that stands first in its datagram over together
/// with its Attribute PDU; one match then settles both. If what follows it is no Attribute PDU, it is
/// attached all the same and delivered once more by itself; the match then settles the first alone.
class ExchangeLedger
{
public:
   using Clock = std::chrono::steady_clock;

   /// Enters a PDU, which must stay where it is until it is settled or abandoned.
   void sent(Pdu const & pdu, Clock::time_point when);
   /// Matches what a receive call delivered; false if nothing like it is outstanding.
   bool arrived(char const * data, std::size_t size, Clock::time_point when);
   /// Counts all that is outstanding as lost.
   void abandonOutstanding();

   std::size_t outstandingPdus() const { return myOutstanding.size(); }
   std::size_t outstandingBytes() const { return myOutstandingBytes; }

   /// By kind and exercise.
   std::map<std::pair<int, int>, ExchangeRow> rows;
   ExchangeRow total;
   std::size_t lost = 0;
   /// PDUs that overtook an earlier one.
   std::size_t disordered = 0;
   /// Units of a PDU with its Attribute PDU.
   std::size_t coupled = 0;
   /// Units of a PDU with one that is no Attribute PDU.
   std::size_t attached = 0;
   /// From send to receive call, in microseconds, in the order of arrival.
   std::vector<double> latencies;

private:
   struct Entry
   {
      Pdu const * pdu;
      Clock::time_point when;
   };

   /// How many entries from `position` on the unit settles: 0, 1 or 2.
   std::size_t matched(std::size_t position, char const * data, std::size_t size);
   void settle(std::size_t position, Clock::time_point when);

   std::deque<Entry> myOutstanding;
   std::size_t myOutstandingBytes = 0;
};
