// SPDX-License-Identifier: MIT
#include "tslutil/platform/mutex.h"

#include <pthread.h>

namespace tsl::platform
{

void lockMutex(std::recursive_mutex & mutex)
{
   pthread_mutex_lock(mutex.native_handle());
}

bool tryLockMutex(std::recursive_mutex & mutex)
{
   return pthread_mutex_trylock(mutex.native_handle()) == 0;
}

void unlockMutex(std::recursive_mutex & mutex)
{
   pthread_mutex_unlock(mutex.native_handle());
}

} // namespace tsl::platform
