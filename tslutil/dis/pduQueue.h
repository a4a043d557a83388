// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/reusedRow.h"
#include "tslutil/inet/tslInetEndpoint.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace tsl
{

/// The PDUs of received bundles that wait to be delivered, first come first served. The PDUs of one datagram
/// share the endpoint that it came from: a datagram of tiny PDUs must not cost an endpoint for each. Takes no
/// memory once it has grown to its use. Not locked.
class PduQueue
{
public:
   bool empty() const { return served == entries.size(); }

   /// What is pushed from here on comes from another datagram than what was pushed before.
   void beginDatagram() { datagram = nullptr; }
   /// The bytes of the PDU that push() adds, left over from an earlier one.
   std::vector<char> & room() { return entries.spare().bytes; }
   /// Adds the PDU in room(). `from` is copied for the first one of a datagram and not looked at for the
   /// others.
   void push(DtInetEndpoint const & from);

   /// The PDU to deliver next, and where it came from. There must be one.
   std::vector<char> & front() { return entries[served].bytes; }
   DtInetEndpoint const & frontSource() const { return entries[served].source->endpoint; }
   void pop();

   /// Gives back the memory that is not in use.
   void shrink();

private:
   struct Source
   {
      DtInetEndpoint endpoint;
      std::size_t waiting = 0;
   };
   struct Entry
   {
      std::vector<char> bytes;
      Source * source = nullptr;
   };

   Source * spareSource();

   // The first entries are served already; they are cleared away in strides.
   ReusedRow<Entry> entries;
   std::size_t served = 0;
   std::vector<std::unique_ptr<Source>> sources;
   std::vector<Source *> spareSources;
   Source * datagram = nullptr;
};

} // namespace tsl
