// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// How many blocks the calling thread has taken so far from operator new in any form, the library's calls
/// included. Under a sanitizer, whose own checks of new and delete stay in force, malloc counts as well.
std::size_t allocationsOfThisThread();

/// The same for all threads together.
std::size_t allocationsOfAllThreads();

/// Counts allocations from its construction on. Several may count at the same time, on any thread.
class AllocationCount
{
public:
   /// By the calling thread, which must be the one that made this object.
   std::size_t here() const { return allocationsOfThisThread() - hereBefore; }
   std::size_t anywhere() const { return allocationsOfAllThreads() - anywhereBefore; }

private:
   std::size_t hereBefore = allocationsOfThisThread();
   std::size_t anywhereBefore = allocationsOfAllThreads();
};
