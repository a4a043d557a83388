// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <new>

namespace tsl
{

/// Memory for nodes of one size that come and go often. What a thread gives back it takes again, without a
/// lock and without the heap; what goes past the bound, and all of it at the end of the thread, goes to the
/// heap. A node may be given back on another thread than it was taken on.
template<std::size_t Size>
class NodePool
{
public:
   static void * take()
   {
      Kept & mine = kept;
      void * const node = mine.first;
      if (node == nullptr)
         return ::operator new(Size);
      mine.first = *static_cast<void **>(node);
      ++mine.room;
      return node;
   }

   static void giveBack(void * node) noexcept
   {
      Kept & mine = kept;
      if (mine.room == 0 && !open(mine))
      {
         ::operator delete(node);
         return;
      }
      *static_cast<void **>(node) = mine.first;
      mine.first = node;
      --mine.room;
   }

private:
   static_assert(Size >= sizeof(void *));

   static constexpr unsigned bound = 1024;

   /// What a thread keeps. Needs neither construction nor destruction, so that it serves also while a thread
   /// ends and after that of the main thread.
   struct Kept
   {
      void * first;
      unsigned room;
      bool used;
   };

   /// Empties it at the end of the thread.
   struct Drain
   {
      ~Drain()
      {
         while (kept.first != nullptr)
            ::operator delete(take());
         kept.room = 0;
      }
   };

   /// Makes room at the first use on a thread; false later, when there is none left.
   static bool open(Kept & mine) noexcept
   {
      if (mine.used)
         return false;
      static thread_local Drain drain;
      static_cast<void>(&drain);
      mine.used = true;
      mine.room = bound;
      return true;
   }

   [[gnu::tls_model("initial-exec")]] static inline thread_local Kept kept{};
};

} // namespace tsl
