// SPDX-License-Identifier: MIT
#pragma once

/// The streams through which the library and its callers speak to a person, and what acts on all of them. The
/// streams and the two standard printers live from the loading of the library to the end of the process: they
/// are flushed when it ends and never destroyed, so that a late thread may still write.

#include "tslutil/base/tslOutputStream.h"
#include "tslutil/base/tslPrinter.h"
#include "tslutil/tslutilExport.h"

/// How much is printed: a stream prints while its threshold is not above this. 2 at the start. Read at every
/// character and write, without a lock.
TSLUTIL_EXPORT extern int DtNotifyLevel;

/// What ends the process; threshold 0.
TSLUTIL_EXPORT extern DtOutputStream & DtFatal;
/// Failed system calls and misuse; threshold 1.
TSLUTIL_EXPORT extern DtOutputStream & DtWarn;
/// Notes for the user, and dumps; threshold 2.
TSLUTIL_EXPORT extern DtOutputStream & DtInfo;
/// Threshold 3.
TSLUTIL_EXPORT extern DtOutputStream & DtVerbose;
/// Threshold 4.
TSLUTIL_EXPORT extern DtOutputStream & DtDebug;

/// Standard output, to which all five streams print at the start.
TSLUTIL_EXPORT extern DtStdoutPrinter & DtStandardOutConsole;
/// Standard error, to which nothing prints at the start.
TSLUTIL_EXPORT extern DtStderrPrinter & DtStandardErrorConsole;

// Switches for the application, false at the start; nothing in this library reads them.
TSLUTIL_EXPORT extern bool DtNetDebugOn;
TSLUTIL_EXPORT extern bool DtLispDebugOn;
TSLUTIL_EXPORT extern bool DtSmoothDebugOn;
TSLUTIL_EXPORT extern bool DtSmoothZDebugOn;

/// Makes `printer`, not owned, the only printer of the five streams; null leaves them without one.
TSLUTIL_EXPORT void DtSetTessalyPrinter(DtPrinter * printer);

/// Replaces the printers of the five streams: a log file if `fileName` is not null, the shared console if
/// `toConsole` is not 0, standard output if `toStdout` is not 0. A log file made here stays open for good.
TSLUTIL_EXPORT void setFileOutput(char const * fileName, int toConsole, int toStdout);

/// Takes the shared console off the five streams and gives it back.
TSLUTIL_EXPORT void closeConsole();

// The fatal helpers print one line to DtFatal, "**FATAL ERROR**: " and the text that `format`, as of printf,
// and its arguments make, cut at 2047 bytes. They print nothing for a null format or a negative level, and
// call DtAbort in every case.

/// The text alone.
[[gnu::format(printf, 1, 2)]] TSLUTIL_EXPORT void DtFatalError(char const * format, ...);
/// The text, ": " and the text of `errno`.
[[gnu::format(printf, 1, 2)]] TSLUTIL_EXPORT void DtFatalPerror(char const * format, ...);
/// The text, ": ", the text of the last socket error and a blank.
[[gnu::format(printf, 1, 2)]] TSLUTIL_EXPORT void DtFatalNetPerror(char const * format, ...);

/// Prints one line to DtWarn: the text of `format` and its arguments, ": " and the text of `errno`. Prints
/// nothing for a null format or a level below 1.
[[gnu::format(printf, 1, 2)]] TSLUTIL_EXPORT void DtWarnPerror(char const * format, ...);
/// As DtWarnPerror, with the text of the last socket error and a blank behind it.
[[gnu::format(printf, 1, 2)]] TSLUTIL_EXPORT void DtWarnNetPerror(char const * format, ...);

/// Calls the abort function, and returns if it does; without one ends the process with `exit(-1)`.
TSLUTIL_EXPORT void DtAbort();
/// Sets what DtAbort calls; null, the start value, means `exit`. Set it before there are threads.
TSLUTIL_EXPORT void DtSetAbortFunc(void (*function)(void));
/// What DtAbort calls, or null.
TSLUTIL_EXPORT void (*DtGetAbortFunc())(void);

/// The text, in static storage, of the calling thread's last socket error.
TSLUTIL_EXPORT char const * NTErrorString();
