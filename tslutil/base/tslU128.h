// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// An unsigned integer of 128 bits in the host's form, for addresses and identifiers that are counted up and
/// down. A plain value.
class DtU128
{
public:
   /// Leaves both words unset.
   DtU128() = default;
   DtU128(std::uint64_t number) : high(0), low(number) {}

   DtU128 & operator++()
   {
      if (++low == 0)
         ++high;
      return *this;
   }

   DtU128 operator++(int)
   {
      DtU128 const old(*this);
      ++*this;
      return old;
   }

   DtU128 & operator--()
   {
      if (low-- == 0)
         --high;
      return *this;
   }

   DtU128 operator--(int)
   {
      DtU128 const old(*this);
      --*this;
      return old;
   }

   std::uint64_t high;
   std::uint64_t low;
};
