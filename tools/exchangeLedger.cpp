// SPDX-License-Identifier: MIT
#include "tools/exchangeLedger.h"

#include <algorithm>
#include <cstring>

namespace
{

bool holds(char const * data, Pdu const & pdu)
{
   return std::memcmp(data, pdu.bytes.data(), pdu.bytes.size()) == 0;
}

/// Whether the unit is the first PDU, its fill and the second.
bool isPair(char const * data, std::size_t size, Pdu const & first, Pdu const & second)
{
   std::size_t const secondAt = first.bytes.size() + first.fill();
   return size == secondAt + second.bytes.size() && holds(data, first) && holds(data + secondAt, second) &&
          std::all_of(data + first.bytes.size(), data + secondAt, [](char c) { return c == 0; });
}

} // namespace

void ExchangeLedger::sent(Pdu const & pdu, Clock::time_point when)
{
   myOutstanding.push_back({&pdu, when});
   myOutstandingBytes += pdu.bytes.size();
   for (ExchangeRow * row : {&rows[{pdu.kind(), pdu.exercise()}], &total})
   {
      ++row->out;
      row->bytes += pdu.bytes.size();
   }
}

bool ExchangeLedger::arrived(char const * data, std::size_t size, Clock::time_point when)
{
   for (std::size_t position = 0; position < myOutstanding.size(); ++position)
   {
      std::size_t const count = matched(position, data, size);
      for (std::size_t i = 0; i < count; ++i)
         settle(position, when);
      if (count > 0)
      {
         disordered += position > 0 ? count : 0;
         return true;
      }
   }
   return false;
}

void ExchangeLedger::abandonOutstanding()
{
   lost += myOutstanding.size();
   myOutstanding.clear();
   myOutstandingBytes = 0;
}

std::size_t ExchangeLedger::matched(std::size_t position, char const * data, std::size_t size)
{
   Pdu const & pdu = *myOutstanding[position].pdu;
   if (size == pdu.bytes.size())
      return holds(data, pdu) ? 1 : 0;
   if (size < pdu.bytes.size() || !pdu.isCoupled() || position + 1 == myOutstanding.size())
      return 0;
   Pdu const & next = *myOutstanding[position + 1].pdu;
   if (!isPair(data, size, pdu, next))
      return 0;
   bool const isAttribute = next.kind() == theAttributeKind;
   ++(isAttribute ? coupled : attached);
   return isAttribute ? 2 : 1;
}

void ExchangeLedger::settle(std::size_t position, Clock::time_point when)
{
   auto const entry = myOutstanding.begin() + static_cast<std::ptrdiff_t>(position);
   Pdu const & pdu = *entry->pdu;
   latencies.push_back(std::chrono::duration<double, std::micro>(when - entry->when).count());
   myOutstandingBytes -= pdu.bytes.size();
   ++rows[{pdu.kind(), pdu.exercise()}].back;
   ++total.back;
   myOutstanding.erase(entry);
}
