// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslMutex.h"

#include "tslutil/platform/mutex.h"

DtMutex::DtMutex() = default;

// The copy is inaccessible to callers; it must not hold the source's state.
DtMutex::DtMutex(DtMutex const &) {}

DtMutex & DtMutex::operator=(DtMutex const &)
{
   return *this;
}

DtMutex::~DtMutex() = default;

void DtMutex::lock()
{
   tsl::platform::lockMutex(myMutex);
}

bool DtMutex::tryLock()
{
   return tsl::platform::tryLockMutex(myMutex);
}

void DtMutex::unlock()
{
   tsl::platform::unlockMutex(myMutex);
}

DtScopedSequenceLock::DtScopedSequenceLock(void * userData, void (*begin)(void *), void (*end)(void *))
   : beginFunction(begin), endFunction(end), data(userData)
{
}

DtScopedSequenceLock::DtScopedSequenceLock(DtScopedSequenceLock const & other)
   : beginFunction(other.beginFunction), endFunction(other.endFunction), data(other.data)
{
   if (beginFunction != nullptr)
      beginFunction(data);
}

DtScopedSequenceLock & DtScopedSequenceLock::operator=(DtScopedSequenceLock const & other)
{
   beginFunction = other.beginFunction;
   endFunction = other.endFunction;
   data = other.data;
   return *this;
}

DtScopedSequenceLock::~DtScopedSequenceLock()
{
   if (endFunction != nullptr)
      endFunction(data);
}
