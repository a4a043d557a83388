// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/thread/tslMutex.h"
#include "tslutil/tslutilExport.h"

#include <cstdint>
#include <ctime>
#include <fstream>
#include <string>

/// Where the text of the notification streams goes: standard output, standard error, a log file that rolls by
/// time, or a console. A stream keeps a plain pointer to each printer; whoever made the printer owns it and
/// detaches it before it dies. One printer may hang on several streams, so `write` is called from any thread.
/// A printer reports no failure of its own.
class TSLUTIL_EXPORT DtPrinter
{
public:
   // Virtual operations, in slot order.

   virtual ~DtPrinter();
   /// Puts `text` out as it stands. `level` is the threshold of the stream it comes from; `stamp` is true for
   /// a whole line made with `<<`.
   virtual void write(std::string const & text, int level, bool stamp) = 0;
};

/// Prints to `std::cout` and flushes.
class TSLUTIL_EXPORT DtStdoutPrinter : public DtPrinter
{
public:
   DtStdoutPrinter();
   ~DtStdoutPrinter() override;
   void write(std::string const & text, int level, bool stamp) override;

private:
   DtMutex myMutex;
};

/// Prints to `std::cerr` and flushes.
class TSLUTIL_EXPORT DtStderrPrinter : public DtPrinter
{
public:
   DtStderrPrinter();
   ~DtStderrPrinter() override;
   void write(std::string const & text, int level, bool stamp) override;

private:
   DtMutex myMutex;
};

/// Prints to a log file, on wish with a time stamp before each whole line. With a rolling interval, a write
/// that comes more than so many seconds after the last roll first renames the file to stem + "_" + count +
/// extension ("run.log" to "run_1.log", then "run_2.log") and starts an empty one under the old name. No file
/// is ever removed. A file that cannot be opened shows in `isOpen` alone. Any thread may call any operation.
class TSLUTIL_EXPORT DtFilePrinter : public DtPrinter
{
public:
   /// A printer without a file, which swallows text.
   DtFilePrinter();
   /// Opens `fileName` for output and truncates it; null opens nothing.
   explicit DtFilePrinter(char const * fileName);

   DtFilePrinter(DtFilePrinter const &) = delete;
   DtFilePrinter & operator=(DtFilePrinter const &) = delete;

   // Virtual operations, in slot order.

   /// Closes the file.
   ~DtFilePrinter() override;
   /// Rolls the file if it is time to, writes "[", the local time, "] " if time stamps are on and `stamp` is
   /// true, then `text`, and flushes. Does nothing without an open file.
   void write(std::string const & text, int level, bool stamp) override;
   /// Switches time stamps on or off; off at the start.
   virtual void setPrintTimestamps(bool on);
   /// Sets the rolling interval in seconds; 0, the start value, never rolls.
   virtual void setLogRollingInterval(unsigned int seconds);
   /// Closes the file, opens `fileName` in its place and starts the roll count anew. Null does nothing.
   virtual void resetFile(char const * fileName);
   /// Whether a file is open.
   virtual bool isOpen() const;

protected:
   /// Keeps `fileName` and splits it at its last ".", even one inside a directory's name.
   virtual void cacheFilename(std::string const & fileName);

private:
   void open(char const * fileName, std::time_t now);
   void roll(std::time_t now);

   mutable DtMutex myMutex;
   bool myPrintTimestamps;
   std::time_t myLastRollTime;
   int myRollCount;
   unsigned int myRollingInterval;
   std::string myFileName;
   std::string myFileStem;
   std::string myExtension;
   std::ofstream myFile;
};

/// Prints to a console of the process: the terminal that controls it, where the platform has no console
/// windows. Without one, text is swallowed.
class TSLUTIL_EXPORT DtWindowsConsolePrinter : public DtPrinter
{
public:
   /// Takes a console. `disableClose` removes the Close command from its window, where it has one.
   explicit DtWindowsConsolePrinter(bool disableClose = false);

   DtWindowsConsolePrinter(DtWindowsConsolePrinter const &) = delete;
   DtWindowsConsolePrinter & operator=(DtWindowsConsolePrinter const &) = delete;

   /// Gives the console back.
   ~DtWindowsConsolePrinter() override;
   void write(std::string const & text, int level, bool stamp) override;

private:
   std::intptr_t myConsole;
   DtMutex myMutex;
};
