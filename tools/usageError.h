// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

/// What the user asked for and can't be: an unknown interface, a host that is not found, a file that can't be
/// read. The text says what to do.
struct UsageError : std::runtime_error
{
   using std::runtime_error::runtime_error;
};
