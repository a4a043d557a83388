// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslMutex.h"

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
   myMutex.lock();
}

bool DtMutex::tryLock()
{
   return myMutex.try_lock();
}

void DtMutex::unlock()
{
   myMutex.unlock();
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
