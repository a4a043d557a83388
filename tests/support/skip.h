// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

/// Skips the running test if `reason`, why the machine can't give what it needs, isn't empty.
#define SKIP_BECAUSE(reason)                                                                                 \
   if (std::string const whyToSkip = (reason); !whyToSkip.empty())                                           \
   GTEST_SKIP() << whyToSkip
