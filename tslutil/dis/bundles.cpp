// SPDX-License-Identifier: MIT
#include "tslutil/dis/bundles.h"

#include <algorithm>
#include <utility>

namespace tsl
{

Destination::Destination(DtInetEndpoint const & endpoint) : to(endpoint)
{
   if (!to.isUdp())
      to.setProtocol(DtInetProtoUdp);
}

Bundle * Bundles::find(DtInetEndpoint const & to)
{
   if (!to.isUdp())
      return find(Destination(to).to);
   if (lastFound == nullptr || lastFound->to != to)
   {
      auto const found = places.find(to);
      lastFound = found == places.end() ? nullptr : found->get();
   }
   return lastFound;
}

Bundle & Bundles::place(DtInetEndpoint const & to)
{
   Bundle * const found = find(to);
   if (found != nullptr)
      return *found;
   if (places.size() >= manyPlaces)
   {
      shrink();
      manyPlaces = std::max(manyPlaces, 2 * places.size());
   }
   lastFound = places.insert(std::make_unique<Bundle>(to)).first->get();
   return *lastFound;
}

void Bundles::add(Bundle & bundle, std::int64_t fill, DtInetSockChain const & pdu, std::int64_t total)
{
   if (bundle.bytes == 0)
      remove(bundle); // an empty PDU may stand in it
   if (fill > 0)
   {
      bundle.buffers.push_back(pool.take());
      bundle.buffers.back()->assign(static_cast<std::size_t>(fill), 0);
   }
   BufferPool::Buffer copy = pool.take();
   copy->reserve(static_cast<std::size_t>(total));
   for (std::vector<char> const * piece : pdu)
      copy->insert(copy->end(), piece->begin(), piece->end());
   bundle.buffers.push_back(std::move(copy));
   bundle.bytes += static_cast<int>(fill + total);
}

void Bundles::remove(Bundle & bundle)
{
   for (BufferPool::Buffer & buffer : bundle.buffers)
      pool.give(std::move(buffer));
   bundle.buffers.clear();
   bundle.bytes = 0;
}

void Bundles::shrink()
{
   lastFound = nullptr;
   for (auto place = places.begin(); place != places.end();)
   {
      bool const isUsed = (*place)->bytes > 0 || (*place)->isSending;
      place = isUsed ? std::next(place) : places.erase(place);
   }
}

} // namespace tsl
