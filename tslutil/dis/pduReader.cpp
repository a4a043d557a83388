// SPDX-License-Identifier: MIT
#include "tslutil/dis/pduReader.h"

#include "tslutil/base/tslNotify.h"

#include <algorithm>
#include <cstring>
#include <ostream>

namespace tsl
{

static_assert(sizeof(DtDisSocket::DtDisSocketPduHeader) == 12, "the header must lie as it does on the wire");

void warnOfMissingAttribute()
{
   DtWarn << "Failed to read expected Coupled Attribute PDU" << std::endl;
}

PduReader::PduReader(DtDisSocket::DtDisSocketPduHeader * header, std::int64_t offset, ChainPlace current,
                     ChainPlace end)
{
   if (current == end)
      return;
   std::int64_t const size = static_cast<std::int64_t>((*current)->size());
   std::int64_t const position = static_cast<std::int64_t>(
      reinterpret_cast<std::uintptr_t>(header) - reinterpret_cast<std::uintptr_t>((*current)->data()));
   available = size - offset;
   // A header outside the buffer is its caller's own copy, and its size the caller's affair.
   if (position >= 0 && position <= size)
      available = std::min(available, size - position);
   if (isWhole())
   {
      gathered = theBytesGathered;
      std::memcpy(static_cast<void *>(&copy), header, theBytesRead);
   }
   else
      gather(reinterpret_cast<char const *>(header), current, end);
}

void PduReader::gather(char const * from, ChainPlace current, ChainPlace end)
{
   char * const out = reinterpret_cast<char *>(&copy);
   for (std::int64_t room = available;;)
   {
      std::int64_t const piece = std::min(std::max<std::int64_t>(room, 0), theBytesGathered - gathered);
      if (piece > 0)
         std::memcpy(out + gathered, from, static_cast<std::size_t>(piece));
      gathered += piece;
      if (gathered == theBytesGathered || ++current == end)
         return;
      from = (*current)->data();
      room = static_cast<std::int64_t>((*current)->size());
   }
}

} // namespace tsl
