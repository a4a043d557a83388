// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>

/// The operations of a lock that its holder may take again, each one call to the system, with no check of
/// what that answers: it has nothing to tell of a lock that is used as it is meant.
namespace tsl::platform
{

/// Blocks until the calling thread holds the lock.
void lockMutex(std::recursive_mutex & mutex);

/// Takes the lock if that is possible at once.
bool tryLockMutex(std::recursive_mutex & mutex);

/// Releases one hold of the calling thread.
void unlockMutex(std::recursive_mutex & mutex);

} // namespace tsl::platform
