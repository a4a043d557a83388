// SPDX-License-Identifier: MIT
// A program of someone who has only the installed package.
#include "tslutil/tslutil.h"

int main()
{
   DtMutex mutex;
   DtScopedLock guard(mutex, true);
   return guard.locked() ? 0 : 1;
}
