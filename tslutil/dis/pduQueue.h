// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/bufferPool.h"
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
   /// Adds a PDU. `from` is copied for the first one of a datagram and not looked at for the others.
   void push(BufferPool::Buffer pdu, DtInetEndpoint const & from);

   /// The PDU to deliver next, and where it came from. There must be one.
   std::vector<char> const & front() const { return *entries[served].pdu; }
   DtInetEndpoint const & frontSource() const { return entries[served].source->endpoint; }
   /// Removes it. Its buffer goes to the pool.
   void pop(BufferPool & pool);

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
      BufferPool::Buffer pdu;
      Source * source;
   };

   Source * spareSource();

   // Those before `served` are gone; they are cleared away in strides.
   std::vector<Entry> entries;
   std::size_t served = 0;
   std::vector<std::unique_ptr<Source>> sources;
   std::vector<Source *> spareSources;
   Source * datagram = nullptr;
};

} // namespace tsl
