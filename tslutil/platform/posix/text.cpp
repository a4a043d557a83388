// SPDX-License-Identifier: MIT
#include "tslutil/platform/text.h"

#include <cstring>
#include <langinfo.h>
#include <strings.h>

namespace tsl::platform
{

int compareIgnoringCase(char const * left, char const * right)
{
   return strcasecmp(left, right);
}

bool decimalPointIsDot()
{
   return std::strcmp(nl_langinfo(RADIXCHAR), ".") == 0;
}

} // namespace tsl::platform
