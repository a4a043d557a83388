// SPDX-License-Identifier: MIT
#include "tslutil/dis/pduQueue.h"

#include <algorithm>

namespace tsl
{

namespace
{

// A socket that keeps up has one datagram in the queue.
constexpr std::size_t theMostDatagramsToKeep = 16;
constexpr std::size_t theMostEntriesToKeep = 8192;
constexpr std::size_t theStride = 64;

} // namespace

void PduQueue::startDatagram(DtInetEndpoint const & from)
{
   if (spareDatagrams.empty())
   {
      datagrams.emplace_back(new Datagram);
      spareDatagrams.reserve(datagrams.size());
      spareDatagrams.push_back(datagrams.back().get());
   }
   datagram = spareDatagrams.back();
   spareDatagrams.pop_back();
   datagram->source = from;
   datagram->used = 0;
}

/// Clears away a datagram of which all is served, and with it some of what is served.
void PduQueue::endDatagram(Datagram & ended)
{
   spareDatagrams.push_back(&ended);
   if (datagram == &ended)
      datagram = nullptr;
   if (!empty())
   {
      if (served < theStride || served < filled / 2)
         return;
      std::copy(entries.begin() + static_cast<std::ptrdiff_t>(served),
                entries.begin() + static_cast<std::ptrdiff_t>(filled), entries.begin());
      filled -= served;
      served = 0;
      return;
   }
   served = filled = 0;
   if (datagrams.size() > theMostDatagramsToKeep || entries.size() > theMostEntriesToKeep)
      shrink();
}

void PduQueue::shrink()
{
   auto const isSpare = [](std::unique_ptr<Datagram> const & each) { return each->waiting == 0; };
   datagrams.erase(std::remove_if(datagrams.begin(), datagrams.end(), isSpare), datagrams.end());
   spareDatagrams.clear();
   entries.resize(filled);
   entries.shrink_to_fit();
}

} // namespace tsl
