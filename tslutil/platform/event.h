// SPDX-License-Identifier: MIT
#pragma once

/// An event to wait on together with sockets. Any thread.
namespace tsl::platform
{

/// Makes an auto-reset event that isn't signalled: a handle from 3 on that becomes readable when it is
/// signalled and is reset by reading it. -1 if the system has none left.
int makeEvent();

/// Signals; an event that is signalled stays so.
void signalEvent(int event);

} // namespace tsl::platform
