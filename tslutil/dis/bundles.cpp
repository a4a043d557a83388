// SPDX-License-Identifier: MIT
#include "tslutil/dis/bundles.h"

#include "tslutil/inet/chainCore.h"

#include <algorithm>
#include <iterator>

namespace tsl
{

Destination::Destination(DtInetEndpoint const & endpoint) : to(endpoint)
{
   if (!to.isUdp())
      to.setProtocol(DtInetProtoUdp);
}

void Bundle::add(std::int64_t fill, DtInetSockChain const & pdu)
{
   // The size of a chain ends at the largest int, whatever its vectors hold.
   std::size_t left = static_cast<std::size_t>(chainSize(pdu));
   char * copy = startPdu(fill, left);
   for (std::vector<char> const * piece : pdu)
   {
      std::size_t const size = std::min(left, piece->size());
      copy = std::copy_n(piece->begin(), size, copy);
      left -= size;
   }
}

void Bundle::clear()
{
   buffers.clear();
   bytes = 0;
}

Bundle * Bundles::lookUp(DtInetEndpoint const & to)
{
   if (!to.isUdp())
      return lookUp(Destination(to).to);
   auto const found = places.find(to);
   lastFound = found == places.end() ? nullptr : found->get();
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
