// SPDX-License-Identifier: MIT
#include "tslutil/base/tslOutputStream.h"

#include "tslutil/base/tslPrinter.h"
#include "tslutil/base/workBuffer.h"

#include <algorithm>

DtOutputStreamBuffer::DtOutputStreamBuffer() : myStream(nullptr) {}

DtOutputStreamBuffer::~DtOutputStreamBuffer() = default;

void DtOutputStreamBuffer::setOutputStream(DtOutputStream * stream)
{
   DtScopedLock guard(myMutex, true);
   myStream = stream;
}

void DtOutputStreamBuffer::forget(DtOutputStream const * stream)
{
   DtScopedLock guard(myMutex, true);
   if (myStream == stream)
      myStream = nullptr;
}

// The level is asked before the lock is taken, so that a silent stream costs a comparison and no more.
DtOutputStreamBuffer::int_type DtOutputStreamBuffer::overflow(int_type character)
{
   DtOutputStream const * const stream = myStream.load(std::memory_order_relaxed);
   if (stream != nullptr && stream->okToPrint() && !traits_type::eq_int_type(character, traits_type::eof()))
      append(traits_type::to_char_type(character));
   return traits_type::not_eof(character);
}

void DtOutputStreamBuffer::append(char character)
{
   DtScopedLock guard(myMutex, true);
   try
   {
      myLine += character;
      if (character == '\n')
         deliver(true);
   }
   catch (...)
   {
      myLine.clear();
   }
}

int DtOutputStreamBuffer::sync()
{
   if (myStream == nullptr)
      return -1;
   DtScopedLock guard(myMutex, true);
   try
   {
      deliver(false);
   }
   catch (...)
   {
      myLine.clear();
   }
   return 0;
}

// The line leaves the buffer first: a printer that writes to its own stream begins a new one.
void DtOutputStreamBuffer::deliver(bool stamp)
{
   DtOutputStream * const stream = myStream;
   if (stream == nullptr)
      return;
   std::string line;
   line.swap(myLine);
   stream->write(line, stamp);
   if (myLine.empty())
   {
      line.clear();
      myLine.swap(line);
   }
}

DtOutputStream::DtOutputStream(DtOutputStreamBuffer * buffer, int & level, int threshold, DtPrinter * printer)
   : std::ostream(buffer), myBuffer(buffer), myThreshold(threshold), myLevel(&level)
{
   {
      DtScopedLock guard(myStreamMutex, true);
      myBuffer->setOutputStream(this);
   }
   DtOutputStream::attachPrinter(printer);
}

DtOutputStream::~DtOutputStream()
{
   flushBuffer();
   myBuffer->forget(this);
}

void DtOutputStream::attachPrinter(DtPrinter * printer)
{
   if (printer == nullptr)
      return;
   DtScopedLock guard(myPrinterMutex, true);
   if (std::find(myPrinters.begin(), myPrinters.end(), printer) == myPrinters.end())
      myPrinters.push_back(printer);
}

bool DtOutputStream::detachPrinter(DtPrinter * printer)
{
   if (printer == nullptr)
      return false;
   DtScopedLock guard(myPrinterMutex, true);
   auto const place = std::find(myPrinters.begin(), myPrinters.end(), printer);
   if (place == myPrinters.end())
      return false;
   myPrinters.erase(place);
   return true;
}

void DtOutputStream::detachAllPrinters()
{
   DtScopedLock guard(myPrinterMutex, true);
   myPrinters.clear();
}

// Walks by index, since a printer may attach or detach printers while it writes.
void DtOutputStream::write(std::string const & text, bool stamp)
{
   if (!okToPrint())
      return;
   DtScopedLock guard(myPrinterMutex, true);
   for (std::size_t i = 0; i < myPrinters.size(); ++i)
      myPrinters[i]->write(text, threshold(), stamp);
}

void DtOutputStream::setThreshold(int threshold)
{
   __atomic_store_n(&myThreshold, threshold, __ATOMIC_RELAXED);
}

int DtOutputStream::threshold() const
{
   return __atomic_load_n(&myThreshold, __ATOMIC_RELAXED);
}

bool DtOutputStream::okToPrint() const
{
   return threshold() <= __atomic_load_n(myLevel, __ATOMIC_RELAXED);
}

void DtOutputStream::operator()(char const * format, ...)
{
   if (!okToPrint())
      return;
   va_list arguments;
   va_start(arguments, format);
   print(format, arguments);
   va_end(arguments);
}

void DtOutputStream::print(char const * format, va_list arguments)
{
   flushBuffer();
   if (format != nullptr)
      write(tsl::WorkBuffer(format, arguments).c_str(), false);
}

void DtOutputStream::flushBuffer()
{
   DtScopedLock guard(myStreamMutex, true);
   myBuffer->pubsync();
}
