// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

/// Files and directories, as the system gives them. Names are the system's own; nothing here keeps them. What
/// is opened is not inherited by child processes, and interrupted calls are taken up again.
namespace tsl::platform
{

/// Between the parts of a path, and between the paths of a list.
#ifdef _WIN32
constexpr char pathSeparator = '\\';
constexpr char listSeparator = ';';
#else
constexpr char pathSeparator = '/';
constexpr char listSeparator = ':';
#endif

/// Whether there is anything of this name.
bool pathExists(char const * name);

/// Whether what has this name may be written.
bool pathWritable(char const * name);

/// Whether this is a file that can be opened for reading. What isn't a plain file can't: opening it could
/// wait for ever.
bool fileReadable(char const * name);

/// The size of a file in bytes; 0 of a directory. False if the system won't tell.
bool fileSize(char const * name, std::uint64_t & size);

/// As `std::fopen`.
std::FILE * openFile(char const * name, char const * mode);

/// Makes one directory, open to all that the process's mask lets in. False if that fails, as it does if it is
/// there.
bool makeDirectory(char const * name);

/// Deletes what can be deleted in a directory that is no directory itself.
void deleteFilesIn(char const * directory);

/// Deletes an empty directory.
bool deleteDirectory(char const * name);

/// The names of all entries of a directory, "." and ".." among them, in no order; none if it can't be read.
std::vector<std::string> directoryEntries(char const * directory);

/// The working directory; empty on failure.
std::string workingDirectory();

/// Where temporary files belong, with a trailing separator. No environment variable counts.
std::string temporaryDirectory();

/// The home directory and the directory for settings of the user whom the process runs as; empty on failure.
/// No environment variable counts.
std::string homeDirectory();
std::string settingsDirectory();

} // namespace tsl::platform
