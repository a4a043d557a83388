// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

/// The named event that all sockets of a process signal: made when somebody first asks for it, since a signal
/// costs a system call from then on.
namespace tsl
{

/// The event, or one of the two values below.
extern std::atomic<int> theReadEvent;
/// Nobody has asked for the event, and nothing has happened.
constexpr int theQuietEvent = -2;
/// Nobody has asked for the event, but it is to be signalled from the start.
constexpr int theDueEvent = -1;

/// The handle of DtInetSocket::getReadHandle(); null if the system gives none.
void * readHandle();

/// What signalReadHandle() does unless the event is due already.
void signalReadEvent();

/// Signals the event, or keeps in mind that it is to be signalled.
inline void signalReadHandle()
{
   if (theReadEvent.load() != theDueEvent)
      signalReadEvent();
}

} // namespace tsl
