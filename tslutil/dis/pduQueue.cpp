// SPDX-License-Identifier: MIT
#include "tslutil/dis/pduQueue.h"

#include <algorithm>

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

void PduQueue::push(DtInetEndpoint const & from)
{
   if (datagram == nullptr)
   {
      datagram = spareSource();
      datagram->endpoint = from;
   }
   entries.add().source = datagram;
   ++datagram->waiting;
}

void PduQueue::pop()
{
   Source * const source = entries[served].source;
   if (--source->waiting == 0)
   {
      spareSources.push_back(source);
      if (datagram == source)
         datagram = nullptr;
   }
   constexpr std::size_t theStride = 64;
   if (++served == entries.size())
      entries.clear();
   else if (served >= theStride && served >= entries.size() / 2)
      entries.removeFirst(served);
   else
      return;
   served = 0;
}

void PduQueue::shrink()
{
   entries.shrink();
   auto const isSpare = [](std::unique_ptr<Source> const & source) { return source->waiting == 0; };
   sources.erase(std::remove_if(sources.begin(), sources.end(), isSpare), sources.end());
   spareSources.clear();
}

} // namespace tsl
