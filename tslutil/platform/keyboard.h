// SPDX-License-Identifier: MIT
#pragma once

/// The keyboard, key by key: descriptor 0, if that is a terminal in whose foreground the process stands. A
/// terminal in the background is never touched. For one thread, unless said otherwise.
namespace tsl::platform
{

/// Whether a key is waiting: 1, 0 for none or no keyboard, -1 with `errno` set on failure. From then on the
/// terminal hands out single keys, without echo and Enter as 13, until restoreKeyboard. The end of the
/// process restores it too, and so do signals that end or stop it, unless the application handles them.
int keyWaiting();

/// Waits for a key; -1 without a keyboard. The terminal is then as it was before.
int readKey();

/// Puts the terminal back as it was before keyWaiting. Any thread, and inside a crash.
void restoreKeyboard();

} // namespace tsl::platform
