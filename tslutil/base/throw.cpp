// SPDX-License-Identifier: MIT
#include "tslutil/base/throw.h"

#include "tslutil/system/tslFilename.h"

namespace tsl
{

DtString sourceFileName(char const * path)
{
   return DtFilename::stripPath(DtFilename(path));
}

} // namespace tsl
