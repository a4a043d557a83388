// SPDX-License-Identifier: MIT
#pragma once

// Starting processes, who this process is, and small helpers of its main function. For the main thread,
// unless said otherwise.

#include "tslutil/system/tslFilename.h"
#include "tslutil/tslutilExport.h"

#include <utility>
#include <vector>

/// How a started process shows itself. Where there are no windows, DtProcessShown shares this process's
/// terminal; all others get a session of their own without one, and nothing on descriptors 0 to 2.
enum DtProcessInteractivity_enum : int
{
   DtProcessDetached = 0,
   DtProcessHidden = 1,
   DtProcessShown = 2,
   DtProcessMinimized = 3
};

/// Starts a program in the working directory; true if that succeeded, else DtInfo tells the system's error
/// number. The command line is the program, then the arguments, with blanks between; nothing is quoted, so a
/// path or an argument with a blank is split unless it brings its own double quotes. The program is the
/// shortest part of the line up to a blank that can be executed; without a directory it is looked for along
/// PATH. It inherits the environment and descriptors 0 to 2 alone. Nobody need wait for it: its end is taken
/// note of at the next start, or when this process ends. Any thread.
TSLUTIL_EXPORT bool DtCreateProcess(DtFilename const & program, std::vector<char *> const & arguments,
                                    DtProcessInteractivity_enum how);

/// The same start in `directory`, unless that is empty, without a word on failure. On success both `handles`
/// are the process id as a pointer value, and waiting for the process is the caller's; on failure both are
/// null. Any thread.
TSLUTIL_EXPORT bool DtCreateProcessAndReturnHandles(DtFilename const & program,
                                                    std::vector<char *> const & arguments,
                                                    DtProcessInteractivity_enum how,
                                                    std::pair<void *, void *> & handles,
                                                    DtFilename const & directory);

/// This process's id, and its parent's. Any thread.
TSLUTIL_EXPORT int DtGetPid();
TSLUTIL_EXPORT int DtGetPPid();

/// The count that DtArgv gives for the line.
TSLUTIL_EXPORT int DtArgc(char * commandLine);

/// Splits a line at blanks. The result is one array for all calls: "main", then copies of the words, which
/// stay for good, then a null. `count`, unless null, gets the number of words + 1.
TSLUTIL_EXPORT char ** DtArgv(char * commandLine, int * count);

/// Degrees as degrees:minutes:seconds, as "12:30:00.0", with so many decimals of the seconds; returns
/// `buffer`, which has to have room. The sign is that of the whole degrees: -0.5 gives "0:30:00.0".
TSLUTIL_EXPORT char * DtDeg2DmsString(double degrees, char * buffer, int decimals);

/// The same with one decimal, in a buffer that the next call overwrites.
TSLUTIL_EXPORT char * DtDeg2DmsString(double degrees);

/// The index of the first entry of `list` equal to `value`, -1 if there is none. A 0 ends the list, so 0 is
/// never found.
TSLUTIL_EXPORT int DtIsInList(int const * list, int value);

/// The system and the compiler that the library was built for and with. Constant texts.
TSLUTIL_EXPORT char const * DtOperatingSystem();
TSLUTIL_EXPORT char const * DtCompiler();
