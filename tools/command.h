// SPDX-License-Identifier: MIT
#pragma once

namespace CLI
{
class App;
}

/// What the program ends with.
enum ExitCode : int
{
   ExitWell = 0,
   /// What was to be shown does not hold.
   ExitFailed = 1,
   /// The call can't be carried out: usage, an unreadable file.
   ExitUsage = 2
};

// Each function adds one command with its options to the program. The command runs when its options have been
// read, writes its result to standard output and what went wrong to standard error, and sets `code`, which
// must outlive `app`. What it throws is told and ends the program: with 2 for a UsageError, else with 1.

/// A recording goes out through one DIS socket and comes back through another.
void addExchangeCommand(CLI::App & app, ExitCode & code);

/// Reads federation object models, tells whether they fit, merges them and compares them.
void addFomCommand(CLI::App & app, ExitCode & code);

/// Shows the blocks of shared memory and who holds them, and removes those that nobody holds.
void addShmCommand(CLI::App & app, ExitCode & code);

/// Prints a crash dump with the functions and lines of its addresses.
void addCrashCommand(CLI::App & app, ExitCode & code);

/// Finds a shared library on the search path, and tells how it was built and whether it loads.
void addLibCommand(CLI::App & app, ExitCode & code);

/// Sends files to a receiver on another host.
void addSendCommand(CLI::App & app, ExitCode & code);

/// Receives files that are sent to this host.
void addRecvCommand(CLI::App & app, ExitCode & code);
