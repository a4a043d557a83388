// SPDX-License-Identifier: MIT
#include "tslutil/base/tslPrinter.h"

#include "tslutil/platform/console.h"
#include "tslutil/platform/logFile.h"

#include <cstdio>
#include <iostream>

namespace
{

// A failure of this write must not silence the stream for good: a full disk may have room again.
void print(std::ostream & out, DtMutex & mutex, std::string const & text)
{
   DtScopedLock guard(mutex, true);
   tsl::platform::BrokenPipeGuard const readerMayBeGone;
   bool const wasGood = out.good();
   out.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
   if (wasGood && !out.good())
      out.clear();
}

} // namespace

DtPrinter::~DtPrinter() = default;

DtStdoutPrinter::DtStdoutPrinter() = default;

DtStdoutPrinter::~DtStdoutPrinter() = default;

void DtStdoutPrinter::write(std::string const & text, int /*level*/, bool /*stamp*/)
{
   print(std::cout, myMutex, text);
}

DtStderrPrinter::DtStderrPrinter() = default;

DtStderrPrinter::~DtStderrPrinter() = default;

void DtStderrPrinter::write(std::string const & text, int /*level*/, bool /*stamp*/)
{
   print(std::cerr, myMutex, text);
}

DtFilePrinter::DtFilePrinter()
   : myPrintTimestamps(false), myLastRollTime(0), myRollCount(0), myRollingInterval(0)
{
}

DtFilePrinter::DtFilePrinter(char const * fileName) : DtFilePrinter()
{
   if (fileName == nullptr)
      return;
   open(fileName, std::time(nullptr));
   DtFilePrinter::cacheFilename(fileName);
}

DtFilePrinter::~DtFilePrinter()
{
   DtScopedLock guard(myMutex, true);
   if (myFile.is_open())
      myFile.close();
}

// One printer hangs on several streams, each with locks of its own: the file's lock is held from the first
// look to the flush.
void DtFilePrinter::write(std::string const & text, int /*level*/, bool stamp)
{
   DtScopedLock guard(myMutex, true);
   if (!myFile.is_open())
      return;
   bool const stamped = myPrintTimestamps && stamp;
   std::time_t const now = stamped || myRollingInterval != 0 ? std::time(nullptr) : 0;
   if (myRollingInterval != 0 && std::difftime(now, myLastRollTime) > myRollingInterval)
      roll(now);
   if (stamped)
      myFile << '[' << tsl::platform::localTimeText(now) << "] ";
   myFile << text << std::flush;
   // Else the log would stay dead after a full disk has room again.
   if (!myFile)
      myFile.clear();
}

void DtFilePrinter::setPrintTimestamps(bool on)
{
   DtScopedLock guard(myMutex, true);
   myPrintTimestamps = on;
}

void DtFilePrinter::setLogRollingInterval(unsigned int seconds)
{
   DtScopedLock guard(myMutex, true);
   myRollingInterval = seconds;
}

void DtFilePrinter::resetFile(char const * fileName)
{
   if (fileName == nullptr)
      return;
   DtScopedLock guard(myMutex, true);
   if (myFile.is_open())
      myFile.close();
   open(fileName, std::time(nullptr));
   cacheFilename(fileName);
   myRollCount = 0;
}

bool DtFilePrinter::isOpen() const
{
   DtScopedLock guard(myMutex, true);
   return myFile.is_open();
}

void DtFilePrinter::cacheFilename(std::string const & fileName)
{
   DtScopedLock guard(myMutex, true);
   std::size_t const point = fileName.rfind('.');
   myFileName = fileName;
   myFileStem = fileName.substr(0, point);
   myExtension = point == std::string::npos ? std::string() : fileName.substr(point);
}

void DtFilePrinter::open(char const * fileName, std::time_t now)
{
   tsl::platform::openForOutput(myFile, fileName);
   myLastRollTime = now;
}

// A rename that fails is not looked at: the log is then overwritten.
void DtFilePrinter::roll(std::time_t now)
{
   myFile.close();
   ++myRollCount;
   std::string const rolledName = myFileStem + '_' + std::to_string(myRollCount) + myExtension;
   static_cast<void>(std::rename(myFileName.c_str(), rolledName.c_str()));
   open(myFileName.c_str(), now);
}

DtWindowsConsolePrinter::DtWindowsConsolePrinter(bool disableClose) : myConsole(tsl::platform::theNoConsole)
{
   DtScopedLock guard(myMutex, true);
   myConsole = tsl::platform::openConsole(disableClose);
}

DtWindowsConsolePrinter::~DtWindowsConsolePrinter()
{
   DtScopedLock guard(myMutex, true);
   if (myConsole != tsl::platform::theNoConsole)
      tsl::platform::closeConsole(myConsole);
}

void DtWindowsConsolePrinter::write(std::string const & text, int /*level*/, bool /*stamp*/)
{
   DtScopedLock guard(myMutex, true);
   if (myConsole != tsl::platform::theNoConsole)
      tsl::platform::writeConsole(myConsole, text.data(), text.size());
}
