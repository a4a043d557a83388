// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <iosfwd>
#include <string>

/// How far a transfer is: "name  45 %, 1.2 of 2.7 MB, 6.5 MB/s, 0:23 left".
std::string progressText(std::string const & name, double done, double total, double seconds);

/// A name from elsewhere as it may be shown: what could steer a terminal becomes "?".
std::string shownName(std::string const & name);

/// Shows on one line of a terminal how far a transfer is; on what is no terminal, nothing.
class TransferProgress
{
public:
   TransferProgress(std::ostream & out, bool isTerminal) : myOut(out), myIsTerminal(isTerminal) {}

   /// A transfer begins.
   void begin();
   /// So many bytes of it are over.
   void show(std::string const & name, int done, int total);
   /// It has ended: the line is cleared.
   void end();

private:
   typedef std::chrono::steady_clock Clock;

   std::ostream & myOut;
   bool const myIsTerminal;
   bool myIsShown = false;
   Clock::time_point myBegin;
   Clock::time_point myLast;
};

/// Progress on standard error, if that is a terminal.
TransferProgress progressOnTerminal();
