// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace tsl
{

/// A queue that keeps its entries for reuse: pushing hands out the next one as some earlier use has left it,
/// with the memory that it holds. Grows as needed and gives back only when told to.
template<class Entry>
class Ring
{
public:
   bool isEmpty() const { return myCount == 0; }
   std::size_t count() const { return myCount; }

   /// The entry at a place from the front.
   Entry & operator[](std::size_t place) { return myEntries[(myFront + place) & (myEntries.size() - 1)]; }

   /// A further entry at the back, for the caller to fill. May move the others.
   Entry & push()
   {
      if (myCount == myEntries.size())
         grow();
      return (*this)[myCount++];
   }

   /// Gives up the front entry.
   void pop()
   {
      myFront = (myFront + 1) & (myEntries.size() - 1);
      --myCount;
   }

   /// Empties the queue and gives back its memory.
   void clear()
   {
      std::vector<Entry>().swap(myEntries);
      myFront = 0;
      myCount = 0;
   }

private:
   static constexpr std::size_t theFirstSize = 64;

   void grow()
   {
      std::vector<Entry> larger(myEntries.empty() ? theFirstSize : 2 * myEntries.size());
      for (std::size_t i = 0; i < myCount; ++i)
         larger[i] = std::move((*this)[i]);
      myEntries = std::move(larger);
      myFront = 0;
   }

   // Of a size that is a power of two.
   std::vector<Entry> myEntries;
   std::size_t myFront = 0;
   std::size_t myCount = 0;
};

} // namespace tsl
