// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

/// How a process on a terminal of its own ended, as of waitpid, and what the user saw, lines ended by "\r\n".
struct TerminalRun
{
   int status;
   std::string shown;
};

/// Runs `child` in a process that has a terminal of its own and ends with what `child` returns, as of
/// startChild. Once `question` stands there, the user types `answer`.
TerminalRun runOnTerminal(std::function<int()> const & child, std::string const & question = "\n",
                          std::string const & answer = "");

/// Runs, in a folder and on a terminal, a process that makes a dumper of this name and crashes; `answer` is
/// typed once the user is asked.
TerminalRun runToCrash(std::string const & folder, char const * name, void (*crash)(),
                       std::string const & answer);
