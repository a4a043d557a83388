// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// Writing to where a person reads along: the standard streams and the process's console.
namespace tsl::platform
{

/// While one of these lives, a write by its thread to a pipe that nobody reads any more fails, and does not
/// end the process. Leaves `errno` as it is.
class BrokenPipeGuard
{
public:
   BrokenPipeGuard();
   ~BrokenPipeGuard();
   BrokenPipeGuard(BrokenPipeGuard const &) = delete;
   BrokenPipeGuard & operator=(BrokenPipeGuard const &) = delete;

private:
   bool myChangedIt;
};

/// What openConsole answers if there is none.
constexpr std::intptr_t theNoConsole = -1;

/// Takes a console that the user can read: a window of its own where there are such, else the terminal that
/// controls the process. With `disableClose` the user cannot close a window and with it the process.
std::intptr_t openConsole(bool disableClose);

/// Writes to a console. Failures are not told; a process in the background is not stopped for it.
void writeConsole(std::intptr_t console, char const * text, std::size_t size);

/// Gives a console back.
void closeConsole(std::intptr_t console);

} // namespace tsl::platform
