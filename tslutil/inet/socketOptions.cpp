// SPDX-License-Identifier: MIT
#include "tslutil/inet/socketOptions.h"

#include <algorithm>
#include <limits>

namespace tsl
{

int optionValue(unsigned long value)
{
   return static_cast<int>(std::min<unsigned long>(value, std::numeric_limits<int>::max()));
}

} // namespace tsl
