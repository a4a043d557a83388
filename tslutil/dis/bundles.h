// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/reusedRow.h"
#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/tslInetSocket.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

namespace tsl
{

/// An endpoint that a DIS socket sends to. Endpoints without a protocol would be equal to every other, so
/// that of a key is always UDP.
struct Destination
{
   explicit Destination(DtInetEndpoint const & endpoint);

   DtInetEndpoint to;
};

/// PDUs that wait to go to one endpoint as one datagram.
struct Bundle : Destination
{
   using Destination::Destination;

   /// Adds a copy of a PDU behind `fill` zeros.
   void add(std::int64_t fill, char const * data, std::size_t size)
   {
      std::copy_n(data, size, startPdu(fill, size));
   }
   void add(std::int64_t fill, DtInetSockChain const & pdu);
   /// Ends the bundle.
   void clear();

   /// The size of the datagram; 0 while there is no bundle for this endpoint.
   int bytes = 0;
   /// The PDUs in order, and buffers of zeros between them where they fill up to the alignment.
   ReusedRow<std::vector<char>> buffers;
   /// Under way: a callback of its own send must neither add to it nor send it again.
   bool isSending = false;

private:
   /// The memory for the next PDU, behind its fill.
   char * startPdu(std::int64_t fill, std::size_t size)
   {
      if (bytes == 0)
         buffers.clear(); // an empty PDU may stand in it
      if (fill > 0)
         buffers.add().assign(static_cast<std::size_t>(fill), '\0');
      bytes += static_cast<int>(fill) + static_cast<int>(size);
      std::vector<char> & copy = buffers.add();
      if (copy.size() != size)
         copy.resize(size);
      return copy.data();
   }
};

/// Orders destinations by their endpoints and finds them by an endpoint alone. They are held by pointer,
/// since sending takes its endpoint by plain reference.
struct ByEndpoint
{
   typedef void is_transparent;

   template<class Left, class Right>
   bool operator()(Left const & left, Right const & right) const
   {
      return endpoint(left) < endpoint(right);
   }

private:
   static DtInetEndpoint const & endpoint(DtInetEndpoint const & key) { return key; }
   template<class Kind>
   static DtInetEndpoint const & endpoint(std::unique_ptr<Kind> const & destination)
   {
      return destination->to;
   }
};

typedef std::set<std::unique_ptr<Destination>, ByEndpoint> Destinations;

/// The bundles of a socket, in the order of their endpoints. A bundle that has gone leaves its place behind,
/// so that the next one to its endpoint takes no memory. Not locked.
class Bundles
{
public:
   typedef std::set<std::unique_ptr<Bundle>, ByEndpoint> Places;

   /// The bundle for an endpoint, which may be an empty place; null if there is not even that.
   Bundle * find(DtInetEndpoint const & to) { return isLast(to) ? lastFound : lookUp(to); }
   /// The same for an endpoint that has protocol UDP; null for any other.
   Bundle * findForUdp(DtInetEndpoint const & to)
   {
      if (isLast(to))
         return lastFound;
      return to.isUdp() ? lookUp(to) : nullptr;
   }
   /// A place for an endpoint that has none. Those that are in use stay where they are.
   Bundle & place(DtInetEndpoint const & to);

   Places::iterator begin() { return places.begin(); }
   Places::iterator end() { return places.end(); }

   /// Forgets the places that are not in use.
   void shrink();

private:
   bool isLast(DtInetEndpoint const & to) const
   {
      return lastFound != nullptr && EndpointAccess::haveSameUdpName(lastFound->to, to);
   }
   Bundle * lookUp(DtInetEndpoint const & to);

   Places places;
   Bundle * lastFound = nullptr;
   std::size_t manyPlaces = 64;
};

} // namespace tsl
