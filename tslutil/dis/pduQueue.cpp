// SPDX-License-Identifier: MIT
#include "tslutil/dis/pduQueue.h"

#include <algorithm>
#include <utility>

namespace tsl
{

PduQueue::Source * PduQueue::spareSource()
{
   if (spareSources.empty())
   {
      sources.emplace_back(new Source);
      spareSources.reserve(sources.size());
      spareSources.push_back(sources.back().get());
   }
   Source * const source = spareSources.back();
   spareSources.pop_back();
   return source;
}

void PduQueue::push(BufferPool::Buffer pdu, DtInetEndpoint const & from)
{
   std::size_t const stride = 64;
   if (served >= stride && served >= entries.size() / 2)
   {
      entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(served));
      served = 0;
   }
   if (datagram == nullptr)
   {
      datagram = spareSource();
      datagram->endpoint = from;
   }
   entries.push_back(Entry{std::move(pdu), datagram});
   ++datagram->waiting;
}

void PduQueue::pop(BufferPool & pool)
{
   Entry & entry = entries[served];
   pool.give(std::move(entry.pdu));
   if (--entry.source->waiting == 0)
   {
      spareSources.push_back(entry.source);
      if (datagram == entry.source)
         datagram = nullptr;
   }
   if (++served == entries.size())
   {
      entries.clear();
      served = 0;
   }
}

void PduQueue::shrink()
{
   auto const isSpare = [](std::unique_ptr<Source> const & source) { return source->waiting == 0; };
   sources.erase(std::remove_if(sources.begin(), sources.end(), isSpare), sources.end());
   spareSources.clear();
   entries.shrink_to_fit();
   if (datagram != nullptr && entries.empty())
      datagram = nullptr;
}

} // namespace tsl
