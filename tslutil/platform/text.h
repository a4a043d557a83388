// SPDX-License-Identifier: MIT
#pragma once

/// What the system knows of text: all follow the calling thread's locale. May be called on any thread.
namespace tsl::platform
{

/// Compares two texts but for upper and lower case: below 0, 0 or above 0, as std::strcmp does.
int compareIgnoringCase(char const * left, char const * right);

/// Change the letters of a text in place.
void changeToUpper(char * text);
/// The same, to lower case.
void changeToLower(char * text);

/// Whether numbers are written with "." ahead of their fraction.
bool decimalPointIsDot();

} // namespace tsl::platform
