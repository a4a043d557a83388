// SPDX-License-Identifier: MIT
#include "tslutil/platform/text.h"

#include <cstring>
#include <langinfo.h>
#include <strings.h>

namespace tsl::platform
{

bool equalIgnoringCase(char const * left, char const * right)
{
   return strcasecmp(left, right) == 0;
}

bool decimalPointIsDot()
{
   return std::strcmp(nl_langinfo(RADIXCHAR), ".") == 0;
}

} // namespace tsl::platform
