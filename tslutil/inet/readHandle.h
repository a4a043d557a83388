// SPDX-License-Identifier: MIT
#pragma once

namespace tsl
{

/// The handle that DtInetSocket::getReadHandle() answers. Any thread.
void * readHandle();

/// Signals it. Costs a system call only once somebody has asked for the handle; until then it is remembered.
void signalReadHandle();

} // namespace tsl
