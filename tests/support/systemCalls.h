// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

/// Counts the calls to the system by which the calling thread moves data or waits for it, the library's calls
/// included.
struct SystemCallCount
{
   /// Why they can't be counted in this build; empty if they can.
   static std::string whyNot() { return theReason; }

   /// The calls since construction.
   std::size_t here() const { return total - before; }

   /// All calls so far.
   static thread_local std::size_t total;
   static char const * const theReason;
   std::size_t before = total;
};
