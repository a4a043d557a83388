// SPDX-License-Identifier: MIT
#pragma once

// The keyboard, read key by key without stopping the simulation. The keyboard is descriptor 0, if that is a
// terminal in whose foreground the process stands; else there is no key. A terminal in the background is
// never touched. For the main thread.

#include "tslutil/tslutilExport.h"

/// Whether a key is waiting: 0 for none, negative if the system fails. From the first call on the terminal
/// hands out single keys and echoes nothing, Enter as 13, until DtRestoreKbHit or the end of the process.
TSLUTIL_EXPORT int DtKbHit();

/// Gives the terminal back as it was before DtKbHit. Nothing if it is as it was.
TSLUTIL_EXPORT void DtRestoreKbHit();

/// Waits for a key, without echo; the terminal is then as it was before. -1 without a keyboard.
TSLUTIL_EXPORT int DtGetCh();

/// The key that is waiting, with echo; 0 if none is.
TSLUTIL_EXPORT char DtPollBlockingInputChar();

/// Once a key is waiting, reads a line with echo and waits for its end, a carriage return, which is the
/// text's last character. Without a key the text is empty. After size - 2 characters without an end it stops,
/// drops the last of them and tells so on DtWarn.
TSLUTIL_EXPORT void DtPollBlockingInputLine(char * buffer, int size);

/// The same into 512 bytes that the next call overwrites; null if no text was read.
TSLUTIL_EXPORT char * DtPollBlockingInputLine();
