// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetEndpoint.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace tsl
{

/// The PDUs of received bundles that wait to be delivered, first come first served. The PDUs of one datagram
/// share its memory and the endpoint that it came from: a datagram of tiny PDUs must not cost much for each.
/// Takes no memory once it has grown to its use. Not locked.
class PduQueue
{
public:
   bool empty() const { return served == filled; }

   /// What is added from here on comes from another datagram than what was added before.
   void beginDatagram() { datagram = nullptr; }
   /// The memory for the next PDUs of a datagram, at least one of which is to be added. `from` is copied for
   /// the first one of a datagram and not looked at for the others.
   char * room(std::size_t size, DtInetEndpoint const & from)
   {
      if (datagram == nullptr)
         startDatagram(from);
      if (datagram->bytes.size() - datagram->used < size)
         datagram->bytes.resize(2 * datagram->used + size);
      return datagram->bytes.data() + datagram->used;
   }
   /// Adds the PDU that stands in room(), behind so many bytes and what was added before.
   void add(std::size_t behind, std::size_t size)
   {
      if (filled == entries.size())
         entries.resize(2 * filled + 8);
      Entry & entry = entries[filled++];
      entry.datagram = datagram;
      entry.begin = datagram->used + behind;
      entry.size = size;
      datagram->used = entry.begin + size;
      ++datagram->waiting;
   }

   // The PDU to deliver next, and where it came from. There must be one.

   char * front() { return entries[served].datagram->bytes.data() + entries[served].begin; }
   std::size_t frontSize() const { return entries[served].size; }
   DtInetEndpoint const & frontSource() const { return entries[served].datagram->source; }
   void pop()
   {
      Datagram & from = *entries[served].datagram;
      ++served;
      if (--from.waiting == 0)
         endDatagram(from);
   }

   /// Gives back the memory that is not in use.
   void shrink();

private:
   struct Datagram
   {
      DtInetEndpoint source;
      std::vector<char> bytes;
      std::size_t used = 0;
      std::size_t waiting = 0;
   };
   struct Entry
   {
      Datagram * datagram;
      std::size_t begin;
      std::size_t size;
   };

   void startDatagram(DtInetEndpoint const & from);
   void endDatagram(Datagram & ended);

   // The first entries are served already; they are cleared away in strides. Those behind the filled ones are
   // for later use.
   std::vector<Entry> entries;
   std::size_t served = 0;
   std::size_t filled = 0;
   std::vector<std::unique_ptr<Datagram>> datagrams;
   std::vector<Datagram *> spareDatagrams;
   Datagram * datagram = nullptr;
};

} // namespace tsl
