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
   /// A number that fits the low word.
   DtU128(std::uint64_t number) : high(0), low(number) {}

   /// Adds 1; the largest number wraps to 0.
   DtU128 & operator++()
   {
      if (++low == 0)
         ++high;
      return *this;
   }

   /// The same; the result is the number before.
   DtU128 operator++(int)
   {
      DtU128 const old(*this);
      ++*this;
      return old;
   }

   /// Takes 1 off; 0 wraps to the largest number.
   DtU128 & operator--()
   {
      if (low-- == 0)
         --high;
      return *this;
   }

   /// The same; the result is the number before.
   DtU128 operator--(int)
   {
      DtU128 const old(*this);
      --*this;
      return old;
   }

   /// The upper 64 bits.
   std::uint64_t high;
   /// The lower 64 bits.
   std::uint64_t low;
};
