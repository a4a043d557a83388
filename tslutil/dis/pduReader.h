// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/tslDisSocket.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace tsl
{

typedef DtInetSockChain::iterator ChainPlace;

/// Prints that an Attribute PDU that a PDU is coupled to isn't there.
void warnOfMissingAttribute();

/// The alignment of PDUs in a received bundle, by their version.
inline unsigned long alignmentIn(int version)
{
   return version < 7 ? 0 : 8;
}

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

/// What the header of a PDU says. All that the DIS socket knows of a received PDU comes through here.
class PduHeader
{
public:
   /// The header up to its status byte: what has to be there.
   static constexpr std::int64_t theBytesRead = 11;

   explicit PduHeader(void * header) : bytes(static_cast<unsigned char *>(header)) {}

   int version() const { return bytes[0]; }
   bool isAttribute() const { return bytes[2] == theAttributeKind; }
   /// Whether an Attribute PDU is coupled to this PDU.
   bool isCoupled() const { return (bytes[10] & 0x08) != 0 && version() >= 7 && !isAttribute(); }
   std::uint16_t length() const
   {
      DtNetU16 length;
      std::memcpy(static_cast<void *>(&length), bytes + 8, sizeof length);
      return length;
   }
   void * data() const { return bytes; }

protected:
   unsigned char * bytes;

private:
   static constexpr int theAttributeKind = 72;
};

/// Reads the header of a PDU that stands anywhere in a chain, and no byte outside the chain's buffers: in its
/// place or, if it straddles buffers, gathered in this object.
class PduReader : public PduHeader
{
public:
   /// `header` stands in the buffer at `current`; `offset` is where its caller takes it to be there, which
   /// may be less than the truth. The nearer bound holds.
   PduReader(DtDisSocket::DtDisSocketPduHeader * header, std::int64_t offset, ChainPlace current,
             ChainPlace end)
      : PduHeader(header)
   {
      if (current != end)
         available = roomFor(header, offset, **current);
      if (!isWhole())
         gather(reinterpret_cast<char const *>(header), current, end);
   }
   PduReader(PduReader const &) = delete;
   PduReader & operator=(PduReader const &) = delete;

   /// Whether all bytes that matter lie in the one buffer.
   bool isWhole() const { return available >= theBytesRead; }
   /// Whether the chain ends within the header. What lies behind its end reads as 0.
   bool isCut() const { return !isWhole() && gathered < theBytesGathered; }

private:
   static constexpr std::int64_t theBytesGathered = 12;

   static std::int64_t roomFor(void const * header, std::int64_t offset, std::vector<char> const & buffer);
   void gather(char const * from, ChainPlace current, ChainPlace end);

   std::int64_t available = 0;
   std::int64_t gathered = 0;
   unsigned char copy[theBytesGathered];
};

inline std::int64_t PduReader::roomFor(void const * header, std::int64_t offset,
                                       std::vector<char> const & buffer)
{
   std::int64_t const size = static_cast<std::int64_t>(buffer.size());
   std::int64_t const position = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(header) -
                                                           reinterpret_cast<std::uintptr_t>(buffer.data()));
   // A header outside the buffer is its caller's own copy, and its size the caller's affair.
   bool const isInside = position >= 0 && position <= size;
   return size - (isInside ? std::max(position, offset) : offset);
}

} // namespace tsl
