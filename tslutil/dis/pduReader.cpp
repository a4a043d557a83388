// SPDX-License-Identifier: MIT
#include "tslutil/dis/pduReader.h"

#include "tslutil/base/tslNotify.h"

#include <ostream>

namespace tsl
{

static_assert(sizeof(DtDisSocket::DtDisSocketPduHeader) == 12, "the header must lie as it does on the wire");

void warnOfMissingAttribute()
{
   DtWarn << "Failed to read expected Coupled Attribute PDU" << std::endl;
}

void PduReader::gather(char const * from, ChainPlace current, ChainPlace end)
{
   bytes = copy;
   std::memset(copy, 0, sizeof copy);
   if (current == end)
      return;
   for (std::int64_t room = available;;)
   {
      std::int64_t const piece = std::min(std::max<std::int64_t>(room, 0), theBytesGathered - gathered);
      if (piece > 0)
         std::memcpy(copy + gathered, from, static_cast<std::size_t>(piece));
      gathered += piece;
      if (gathered == theBytesGathered || ++current == end)
         return;
      from = (*current)->data();
      room = static_cast<std::int64_t>((*current)->size());
   }
}

} // namespace tsl
