// SPDX-License-Identifier: MIT
#pragma once

/// What the system knows of text: both follow the calling thread's locale. May be called on any thread.
namespace tsl::platform
{

/// Compares two texts but for upper and lower case: below 0, 0 or above 0, as std::strcmp does.
int compareIgnoringCase(char const * left, char const * right);

/// Whether numbers are written with "." ahead of their fraction.
bool decimalPointIsDot();

} // namespace tsl::platform
