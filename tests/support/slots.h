// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstring>

/// Whether virtual operations stand in consecutive slots, the first in `slot`: on x86-64 a pointer to one
/// holds 1 + 8 x slot. For pure ones, which the table of all slots can't tell apart.
template<class... Members>
bool inSlotsFrom(std::uintptr_t slot, Members... members)
{
   std::uintptr_t word = 0;
   return ((std::memcpy(&word, &members, sizeof word), word == 1 + sizeof(void *) * slot++) && ...);
}
