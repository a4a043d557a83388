// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// How many blocks the calling thread has taken so far from malloc, on which operator new stands, the
/// library's calls included.
std::size_t allocationsOfThisThread();

/// The same for all threads together.
std::size_t allocationsOfAllThreads();

/// Counts allocations from its construction on. Several may count at the same time, on any thread.
struct AllocationCount
{
   /// By the calling thread, which must be the one that made this object.
   std::size_t here() const { return allocationsOfThisThread() - hereBefore; }
   std::size_t anywhere() const { return allocationsOfAllThreads() - anywhereBefore; }
   std::size_t hereBefore = allocationsOfThisThread(), anywhereBefore = allocationsOfAllThreads();
};
