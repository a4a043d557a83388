// SPDX-License-Identifier: MIT
#pragma once

// Finds the libraries of an RTI on the search path, and judges before one is loaded whether it was built for
// this library's processor width and compiler. Nothing here throws or runs any code of what is judged. What
// is found wrong with a library can be reported by DtTslRtiMismatchException.

#include "tslutil/base/tslString.h"
#include "tslutil/system/tslFilename.h"

/// A family of RTI libraries: the interface that they offer. Any other value counts as DtHLALib13.
enum DtHLALib : int
{
   DtHLALib13 = 0,
   DtHLALib1516 = 1,
   DtHLALib1516e = 2
};

/// The first directory of the environment's PATH in which the file `name` can be opened; empty if there is
/// none.
TSLUTIL_EXPORT DtFilename DtLibPath(DtString const & name);

/// Whether the two libraries of a family, as the search path has them, fit this library. The second one is
/// looked at only if the first fits. Adds to `report` what was looked for and found.
TSLUTIL_EXPORT bool checkRtiCompilerVersion(DtHLALib library, DtString & report);

/// Whether one file fits this library: a 64-bit library from the same major version of the same compiler.
/// Adds to `report` what was found, as checkRtiCompilerVersion does; of what isn't a library no more than its
/// name, and of what can't be opened not even that.
TSLUTIL_EXPORT bool DtCheckRtiLibraryFile(DtFilename const & file, DtString & report);
