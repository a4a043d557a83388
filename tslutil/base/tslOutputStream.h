// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/thread/tslMutex.h"
#include "tslutil/tslutilExport.h"

#include <atomic>
#include <cstdarg>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

class DtOutputStream;
class DtPrinter;

/// Collects what is written to one DtOutputStream into lines. It has no put area: every character reaches
/// `overflow` and is judged by the level of that moment. Any thread may write; two that write at once
/// interleave their characters within a line.
class TSLUTIL_EXPORT DtOutputStreamBuffer : public std::streambuf
{
public:
   DtOutputStreamBuffer();
   ~DtOutputStreamBuffer() override;

   // Virtual operations, in slot order, behind those of the base.

   /// Says which stream this buffer serves, not owned. Until then it swallows text and cannot be flushed.
   virtual void setOutputStream(DtOutputStream * stream);

protected:
   /// Adds a character to the line, and hands a line that it ends, line feed included, to the stream. Drops
   /// it if the stream is silent. Returns the character, 0 for end-of-file.
   int_type overflow(int_type character) override;
   /// Hands the line as far as it goes, be it empty, to the stream. -1 without a stream, else 0.
   int sync() override;

private:
   friend class DtOutputStream;

   void forget(DtOutputStream const * stream);
   void append(char character);
   void deliver(bool stamp);

   std::string myLine;
   DtMutex myMutex;
   std::atomic<DtOutputStream *> myStream;
};

/// A graded stream of notifications: prints while its threshold is not above a level that it shares with
/// other streams. Text goes in with `<<`, or printf-style with the call operator, and out to every attached
/// printer. Any thread may use it. Locks are taken in this order: stream, buffer, printers, the printer's
/// own.
class TSLUTIL_EXPORT DtOutputStream : public std::ostream
{
public:
   /// A stream on `buffer` that prints while `threshold` <= `level`. Both outlive the stream, and so does
   /// `printer`, which is attached unless it is null.
   DtOutputStream(DtOutputStreamBuffer * buffer, int & level, int threshold, DtPrinter * printer);

   DtOutputStream(DtOutputStream const &) = delete;
   DtOutputStream & operator=(DtOutputStream const &) = delete;

   // Virtual operations, in slot order.

   /// Flushes the buffer and leaves it without a stream.
   ~DtOutputStream() override;
   /// Adds `printer`, not owned, behind the others. Null, or one that is attached already, changes nothing.
   virtual void attachPrinter(DtPrinter * printer);
   /// Removes `printer`, and tells whether it was attached. Once this returns, no thread is inside it.
   virtual bool detachPrinter(DtPrinter * printer);
   /// Removes all printers.
   virtual void detachAllPrinters();
   /// Hands `text` to every printer in the order of attachment, if the stream prints.
   virtual void write(std::string const & text, bool stamp);
   /// Sets the lowest level at which the stream prints.
   virtual void setThreshold(int threshold);
   /// The lowest level at which the stream prints.
   virtual int threshold() const;
   /// Whether the stream prints at present.
   virtual bool okToPrint() const;
   /// Flushes the buffer, then writes the text that `format`, as of printf, and its arguments make, cut at
   /// 2047 bytes. No line feed is added. Null flushes only; a silent stream does and formats nothing.
   [[gnu::format(printf, 2, 3)]] virtual void operator()(char const * format, ...);

private:
   [[gnu::format(printf, 2, 0)]] void print(char const * format, va_list arguments);
   void flushBuffer();

   DtOutputStreamBuffer * myBuffer;
   DtMutex myStreamMutex;
   std::vector<DtPrinter *> myPrinters;
   DtMutex myPrinterMutex;
   int myThreshold;
   int const * myLevel;
};
