// SPDX-License-Identifier: MIT
#include "tslutil/dis/bundles.h"

#include "tslutil/inet/endpointAccess.h"

#include <algorithm>
#include <iterator>

namespace tsl
{

Destination::Destination(DtInetEndpoint const & endpoint) : to(endpoint)
{
   if (!to.isUdp())
      to.setProtocol(DtInetProtoUdp);
}

void Bundle::add(std::int64_t fill, char const * data, std::size_t size)
{
   startPdu(fill).assign(data, data + size);
   bytes += static_cast<int>(size);
}

void Bundle::add(std::int64_t fill, DtInetSockChain const & pdu)
{
   std::vector<char> & copy = startPdu(fill);
   copy.clear();
   for (std::vector<char> const * piece : pdu)
      copy.insert(copy.end(), piece->begin(), piece->end());
   bytes += static_cast<int>(copy.size());
}

/// The buffer for the next PDU, behind its fill.
std::vector<char> & Bundle::startPdu(std::int64_t fill)
{
   if (bytes == 0)
      buffers.clear(); // an empty PDU may stand in it
   if (fill > 0)
      buffers.add().assign(static_cast<std::size_t>(fill), '\0');
   bytes += static_cast<int>(fill);
   return buffers.add();
}

void Bundle::clear()
{
   buffers.clear();
   bytes = 0;
}

Bundle * Bundles::find(DtInetEndpoint const & to)
{
   if (!to.isUdp())
      return find(Destination(to).to);
   if (lastFound == nullptr || !EndpointAccess::equal(lastFound->to, to))
   {
      auto const found = places.find(to);
      lastFound = found == places.end() ? nullptr : found->get();
   }
   return lastFound;
}

Bundle & Bundles::place(DtInetEndpoint const & to)
{
   if (places.size() >= manyPlaces)
   {
      shrink();
      manyPlaces = std::max(manyPlaces, 2 * places.size());
   }
   lastFound = places.insert(std::make_unique<Bundle>(to)).first->get();
   return *lastFound;
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
