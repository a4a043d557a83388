// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

/// The SHA-256 digest of `size` bytes, in lower-case hexadecimal digits.
std::string sha256(void const * bytes, std::size_t size);
