// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

/// The slot of a virtual member function: on x86-64 a pointer to one holds 1 + 8 x slot. A destructor takes
/// two slots, so the first operation behind a destructor in slot 0 stands in slot 2. Protected operations are
/// reached through a derived class that names them with `using`.
template<class Member>
std::size_t slotOf(Member member)
{
   std::uintptr_t word = 0;
   std::memcpy(&word, &member, sizeof word);
   return (word - 1) / sizeof(void *);
}

/// The same for an overloaded operation: slotOf<bool (Class::*)(int)>(&Class::f) picks the overload.

/// Whether the operations stand in consecutive slots, the first in `slot`.
template<class... Members>
bool inSlotsFrom(std::size_t slot, Members... members)
{
   return ((slotOf(members) == slot++) && ...);
}
