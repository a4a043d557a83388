// SPDX-License-Identifier: MIT
#include "tslutil/base/throw.h"

namespace tsl
{

DtString sourceFileName(char const * path)
{
   DtString name(path);
   name.snipFront('/', true);
   return name;
}

} // namespace tsl
