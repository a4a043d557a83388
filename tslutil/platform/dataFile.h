// SPDX-License-Identifier: MIT
#pragma once

#include <fstream>

/// Files whose names come from elsewhere: only plain files are opened, and programs that this process starts
/// do not inherit them. A stream that stays closed has its fail bit set.
namespace tsl::platform
{

/// Opens `name` for reading.
void openPlainFile(std::ifstream & file, char const * name);

/// Opens `name` for output, makes it if need be and truncates it. Follows no link in the last part of the
/// name.
void openPlainFile(std::ofstream & file, char const * name);

/// Deletes a file.
void deleteFile(char const * name);

} // namespace tsl::platform
