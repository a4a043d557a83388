// SPDX-License-Identifier: MIT
#pragma once

// Files, directories and the search for a file, beside the names of DtFilename. The functions rest on the
// working directory and the environment of the process and hold no lock.

#include "tslutil/base/tslString.h"
#include "tslutil/system/tslFilename.h"

#include <cstdio>
#include <vector>

/// Opens a file as `fopen` does, null on failure; child processes don't inherit it.
TSLUTIL_EXPORT std::FILE * DtFileOpen(char const * name, char const * mode);

/// Closes what DtFileOpen gave; null is ignored.
TSLUTIL_EXPORT void DtFileClose(std::FILE * file);

/// The working directory; empty on failure.
TSLUTIL_EXPORT DtString DtGetCwd();

/// The directory for temporary files, with a trailing separator.
TSLUTIL_EXPORT DtFilename DtGetTempDirectory();

/// The user's home directory, as the system's user database has it; empty on failure.
TSLUTIL_EXPORT DtFilename DtGetUserHomeDirectory();

/// The directory for the user's settings, which need not exist; empty on failure.
TSLUTIL_EXPORT DtFilename DtGetOrvelUserConfigurationDirectory();

/// Makes every level of a path. True if at least one level was made: false if all were there already, and
/// true also if the last one could not be made behind one that could.
TSLUTIL_EXPORT bool DtMakeDirectory(DtFilename const & path);

/// Deletes the files in a directory, then the directory. False if that is still there, as it is with a
/// subdirectory inside.
TSLUTIL_EXPORT bool DtDeleteDirectory(DtFilename const & path);

/// The names in a directory, "." and ".." and subdirectories among them, that match a pattern of text, "*"
/// and "?"; "*.*" means all. Sorted; empty without a match.
TSLUTIL_EXPORT std::vector<DtFilename> DtGetFileListFromDirectory(DtString directory, DtString pattern);

/// The first directory of a list in which `file` can be opened; empty if there is none. The list is the
/// variable PATH if `pathList` is empty, and is written as that is. A directory of 512 or more characters
/// that is looked into ends the process.
TSLUTIL_EXPORT DtFilename DtSearchPathList(DtFilename const & file, DtString const & pathList);
