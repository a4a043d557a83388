// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// How many blocks the calling thread has taken from `operator new` so far. A test program that calls this
/// has its `operator new` counted, the library's calls included.
std::size_t allocationsOfThisThread();
