// SPDX-License-Identifier: MIT
#include "tslutil/base/tslNotify.h"

#include "tslutil/base/networkErrorText.h"
#include "tslutil/base/workBuffer.h"
#include "tslutil/platform/socketError.h"

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <system_error>
#include <utility>

namespace
{

/// Storage for an object that is constructed with this file's other objects and never destroyed, so that a
/// thread or another file's destructor may use it while the process ends.
template<class Object>
union Lasting
{
   template<class... Arguments>
   explicit Lasting(Arguments &&... arguments) : object(std::forward<Arguments>(arguments)...)
   {
   }
   ~Lasting() {}

   Object object;
};

constexpr char theFatalPrefix[] = "**FATAL ERROR**: ";

} // namespace

int DtNotifyLevel = 2;

bool DtNetDebugOn = false;
bool DtLispDebugOn = false;
bool DtSmoothDebugOn = false;
bool DtSmoothZDebugOn = false;

namespace
{

// Constructed in this order, behind the standard streams.
Lasting<DtStdoutPrinter> theStandardOut;
Lasting<DtStderrPrinter> theStandardError;
Lasting<DtOutputStreamBuffer> theFatalBuffer;
Lasting<DtOutputStreamBuffer> theWarnBuffer;
Lasting<DtOutputStreamBuffer> theInfoBuffer;
Lasting<DtOutputStreamBuffer> theVerboseBuffer;
Lasting<DtOutputStreamBuffer> theDebugBuffer;
Lasting<DtOutputStream> theFatal(&theFatalBuffer.object, DtNotifyLevel, 0, &theStandardOut.object);
Lasting<DtOutputStream> theWarn(&theWarnBuffer.object, DtNotifyLevel, 1, &theStandardOut.object);
Lasting<DtOutputStream> theInfo(&theInfoBuffer.object, DtNotifyLevel, 2, &theStandardOut.object);
Lasting<DtOutputStream> theVerbose(&theVerboseBuffer.object, DtNotifyLevel, 3, &theStandardOut.object);
Lasting<DtOutputStream> theDebug(&theDebugBuffer.object, DtNotifyLevel, 4, &theStandardOut.object);

/// Held while the printers of all streams are switched; guards what follows.
Lasting<DtMutex> theSwitchMutex;
/// The log files that setFileOutput made: they stay open, and reachable.
Lasting<std::vector<DtFilePrinter *>> theLogFiles;
DtWindowsConsolePrinter * theSharedConsole = nullptr;

/// Puts out what is left in the streams when the library is unloaded.
struct FlushAtUnload
{
   ~FlushAtUnload()
   {
      for (DtOutputStreamBuffer * buffer :
           {&theDebugBuffer.object, &theVerboseBuffer.object, &theInfoBuffer.object, &theWarnBuffer.object,
            &theFatalBuffer.object})
         buffer->pubsync();
   }
};
FlushAtUnload const theFlushAtUnload;

/// What goes behind the text of a helper.
enum Reason : int
{
   NoReason,
   SystemReason,
   NetworkReason
};

template<class Action>
void forEachStream(Action action)
{
   for (DtOutputStream * stream : {&DtWarn, &DtInfo, &DtVerbose, &DtFatal, &DtDebug})
      action(*stream);
}

DtWindowsConsolePrinter * sharedConsole()
{
   if (theSharedConsole == nullptr)
      theSharedConsole = new DtWindowsConsolePrinter(false);
   return theSharedConsole;
}

DtFilePrinter * newLogFile(char const * fileName)
{
   theLogFiles.object.push_back(new DtFilePrinter(fileName));
   return theLogFiles.object.back();
}

/// `error` is `errno` as the caller found it, before anything here could change it.
[[gnu::format(printf, 4, 0)]] void report(DtOutputStream & stream, Reason reason, int error,
                                          char const * format, va_list arguments)
{
   bool const isFatal = &stream == &DtFatal;
   if (format == nullptr || __atomic_load_n(&DtNotifyLevel, __ATOMIC_RELAXED) < (isFatal ? 0 : 1))
      return;
   errno = error;
   tsl::WorkBuffer const text(format, arguments);
   stream << (isFatal ? theFatalPrefix : "") << text.c_str();
   if (reason == SystemReason)
      stream << ": " << std::generic_category().message(error);
   // The blank behind the text of a network error is part of the output.
   if (reason == NetworkReason)
      stream << ": " << tsl::networkErrorText(tsl::platform::lastSocketErrorNumber(error)) << ' ';
   stream << std::endl;
}

void (*theAbortFunction)(void) = nullptr;

} // namespace

DtOutputStream & DtFatal = theFatal.object;
DtOutputStream & DtWarn = theWarn.object;
DtOutputStream & DtInfo = theInfo.object;
DtOutputStream & DtVerbose = theVerbose.object;
DtOutputStream & DtDebug = theDebug.object;
DtStdoutPrinter & DtStandardOutConsole = theStandardOut.object;
DtStderrPrinter & DtStandardErrorConsole = theStandardError.object;

void DtSetTessalyPrinter(DtPrinter * printer)
{
   DtScopedLock guard(theSwitchMutex.object, true);
   forEachStream(
      [printer](DtOutputStream & stream)
      {
         stream.detachAllPrinters();
         stream.attachPrinter(printer);
      });
}

void setFileOutput(char const * fileName, int toConsole, int toStdout)
{
   DtScopedLock guard(theSwitchMutex.object, true);
   forEachStream([](DtOutputStream & stream) { stream.detachAllPrinters(); });
   DtPrinter * const printers[] = {
      fileName != nullptr ? newLogFile(fileName) : nullptr,
      toConsole != 0 ? sharedConsole() : nullptr,
      toStdout != 0 ? &DtStandardOutConsole : nullptr,
   };
   forEachStream(
      [&printers](DtOutputStream & stream)
      {
         for (DtPrinter * printer : printers)
            stream.attachPrinter(printer);
      });
}

// Without a shared console one is taken and given back.
void closeConsole()
{
   DtScopedLock guard(theSwitchMutex.object, true);
   DtWindowsConsolePrinter * const console = sharedConsole();
   forEachStream([console](DtOutputStream & stream) { stream.detachPrinter(console); });
   theSharedConsole = nullptr;
   delete console;
}

void DtFatalError(char const * format, ...)
{
   int const error = errno;
   va_list arguments;
   va_start(arguments, format);
   report(DtFatal, NoReason, error, format, arguments);
   va_end(arguments);
   DtAbort();
}

void DtFatalPerror(char const * format, ...)
{
   int const error = errno;
   va_list arguments;
   va_start(arguments, format);
   report(DtFatal, SystemReason, error, format, arguments);
   va_end(arguments);
   DtAbort();
}

void DtFatalNetPerror(char const * format, ...)
{
   int const error = errno;
   va_list arguments;
   va_start(arguments, format);
   report(DtFatal, NetworkReason, error, format, arguments);
   va_end(arguments);
   DtAbort();
}

void DtWarnPerror(char const * format, ...)
{
   int const error = errno;
   va_list arguments;
   va_start(arguments, format);
   report(DtWarn, SystemReason, error, format, arguments);
   va_end(arguments);
}

void DtWarnNetPerror(char const * format, ...)
{
   int const error = errno;
   va_list arguments;
   va_start(arguments, format);
   report(DtWarn, NetworkReason, error, format, arguments);
   va_end(arguments);
}

void DtAbort()
{
   void (*const function)(void) = DtGetAbortFunc();
   if (function != nullptr)
      function();
   else
      std::exit(-1);
}

void DtSetAbortFunc(void (*function)(void))
{
   theAbortFunction = function;
}

void (*DtGetAbortFunc())(void)
{
   return theAbortFunction;
}

char const * NTErrorString()
{
   return tsl::networkErrorText(tsl::platform::lastSocketErrorNumber(errno));
}
