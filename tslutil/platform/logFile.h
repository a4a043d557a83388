// SPDX-License-Identifier: MIT
#pragma once

#include <ctime>
#include <fstream>
#include <string>

/// What a log file needs of the system.
namespace tsl::platform
{

/// Opens `name` for output and truncates it; programs that this process starts do not inherit it. On failure
/// the stream's fail bit is set. `file` must be closed.
void openForOutput(std::ofstream & file, char const * name);

/// The local time as `asctime` writes it, without its line feed.
std::string localTimeText(std::time_t time);

} // namespace tsl::platform
