// SPDX-License-Identifier: MIT
#pragma once

/// What the system knows of text: both follow the calling thread's locale. May be called on any thread.
namespace tsl::platform
{

/// Whether two texts are equal but for upper and lower case.
bool equalIgnoringCase(char const * left, char const * right);

/// Whether numbers are written with "." ahead of their fraction.
bool decimalPointIsDot();

} // namespace tsl::platform
