// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/tslDisSocket.h"

#include <cstddef>
#include <cstdint>

namespace tsl
{

typedef DtInetSockChain::iterator ChainPlace;

/// Prints that an Attribute PDU that a PDU is coupled to isn't there.
void warnOfMissingAttribute();

/// The number of fill bytes behind a PDU in a received bundle.
inline std::int64_t fillBehind(std::int64_t size, unsigned long alignment)
{
   std::uint32_t const step = static_cast<std::uint32_t>(alignment);
   return step > 1 ? (0u - static_cast<std::uint32_t>(size)) & (step - 1) : 0;
}

/// What stands `position` bytes into a buffer of a chain, taken as a header; null for an empty chain.
inline DtDisSocket::DtDisSocketPduHeader * headerAt(ChainPlace current, ChainPlace end, std::int64_t position)
{
   char * const bytes = current == end ? nullptr : (*current)->data() + position;
   return reinterpret_cast<DtDisSocket::DtDisSocketPduHeader *>(bytes);
}

/// Reads the header of a PDU that stands anywhere in a chain, and no byte outside the chain's buffers. All
/// that the DIS socket knows of a received PDU comes through here.
class PduReader
{
public:
   /// `header` stands in the buffer at `current`; `offset` is where its caller takes it to be there, which
   /// may be less than the truth. The nearer bound holds.
   PduReader(DtDisSocket::DtDisSocketPduHeader * header, std::int64_t offset, ChainPlace current,
             ChainPlace end);

   /// Whether all bytes that matter lie in the one buffer.
   bool isWhole() const { return available >= theBytesRead; }
   /// Whether the chain ends within the header. What lies behind its end reads as 0.
   bool isCut() const { return gathered < theBytesGathered; }

   int version() const { return copy.protocolVersion; }
   int kind() const { return copy.pduType; }
   bool isAttribute() const { return copy.pduType == theAttributeKind; }
   /// Whether an Attribute PDU is coupled to this PDU.
   bool isCoupled() const
   {
      return copy.protocolVersion >= 7 && !isAttribute() && (copy.pduStatus & 0x08) != 0;
   }
   std::uint16_t length() const { return copy.length; }
   /// The header's bytes, which go with this object.
   DtDisSocket::DtDisSocketPduHeader * bytes() { return &copy; }

private:
   static constexpr int theAttributeKind = 72;
   /// The header up to its status byte.
   static constexpr std::int64_t theBytesRead = 11;
   static constexpr std::int64_t theBytesGathered = 12;

   void gather(char const * from, ChainPlace current, ChainPlace end);

   DtDisSocket::DtDisSocketPduHeader copy;
   std::int64_t available = 0;
   std::int64_t gathered = 0;
};

} // namespace tsl
