// SPDX-License-Identifier: MIT
#include "support/allocations.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local std::size_t count = 0;

} // namespace

std::size_t allocationsOfThisThread()
{
   return count;
}

// The forms that are not here call these.
void * operator new(std::size_t size)
{
   ++count;
   if (void * const block = std::malloc(size == 0 ? 1 : size))
      return block;
   throw std::bad_alloc();
}

void operator delete(void * block) noexcept
{
   std::free(block);
}

void operator delete(void * block, std::size_t) noexcept
{
   std::free(block);
}
