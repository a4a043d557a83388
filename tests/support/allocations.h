// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>

/// Counts, from its construction on, the blocks that are taken from malloc, on which operator new stands, the
/// library's calls included. Several may count at the same time, on any thread.
struct AllocationCount
{
   /// By the calling thread, which must be the one that made this object.
   std::size_t here() const { return byThisThread - hereBefore; }
   std::size_t anywhere() const { return byAllThreads - anywhereBefore; }
   static thread_local std::size_t byThisThread;
   static std::atomic<std::size_t> byAllThreads;
   std::size_t hereBefore = byThisThread, anywhereBefore = byAllThreads;
};

/// All that the calling thread has taken so far.
inline std::size_t allocationsOfThisThread()
{
   return AllocationCount::byThisThread;
}
