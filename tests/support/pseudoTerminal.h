// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>

/// Runs a function in a child process that has a terminal of its own, with the test in the user's place.
class PseudoTerminal
{
public:
   /// The child ends with what `child` returns. Throws std::runtime_error if there is no terminal to be had.
   explicit PseudoTerminal(std::function<int()> const & child);
   /// Kills the child if it still runs.
   ~PseudoTerminal();
   PseudoTerminal(PseudoTerminal const &) = delete;
   PseudoTerminal & operator=(PseudoTerminal const &) = delete;

   /// Reads on until `text` has come; true if it has, false if the child ends or nothing comes for long.
   bool shows(std::string const & text);
   /// Types `text`, as a user does.
   void type(std::string const & text) const;
   /// What has been shown so far, lines ended by "\r\n".
   std::string const & shown() const { return myShown; }
   /// Reads to the end, waits for the child and returns its status as of waitpid.
   int wait();

private:
   int myMaster;
   pid_t myChild;
   std::string myShown;
};

/// Runs a function in a child process without a terminal and returns the status as of waitpid.
int runWithoutTerminal(std::function<int()> const & child);
