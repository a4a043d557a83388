// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

namespace tsl
{

/// A row of objects that stay, with the memory they hold, when they are taken off it, and come back when it
/// grows again: a row that is filled and emptied time and again takes no memory. Objects don't move.
template<class Item>
class ReusedRow
{
public:
   std::size_t size() const { return used; }
   bool empty() const { return used == 0; }
   Item & operator[](std::size_t index) { return *items[index]; }
   Item const & operator[](std::size_t index) const { return *items[index]; }

   /// The object that the next add() puts on the row, as it was left or new.
   Item & spare()
   {
      if (used == items.size())
         grow();
      return *items[used];
   }

   Item & add()
   {
      Item & added = spare();
      ++used;
      return added;
   }

   /// Takes the first objects off.
   void removeFirst(std::size_t count)
   {
      auto const first = items.begin();
      std::rotate(first, first + static_cast<std::ptrdiff_t>(count),
                  first + static_cast<std::ptrdiff_t>(used));
      used -= count;
   }

   /// Takes all off. Those beyond what a busy socket needs go for good.
   void clear()
   {
      used = 0;
      if (items.size() > theMostToKeep)
         items.resize(theMostToKeep);
   }

   /// Frees those that are not on the row.
   void shrink()
   {
      items.resize(used);
      items.shrink_to_fit();
   }

   void swap(ReusedRow & other) noexcept
   {
      items.swap(other.items);
      std::swap(used, other.used);
   }

private:
   [[gnu::cold]] void grow() { items.push_back(std::make_unique<Item>()); }

   static constexpr std::size_t theMostToKeep = 1024;

   std::vector<std::unique_ptr<Item>> items;
   std::size_t used = 0;
};

} // namespace tsl
