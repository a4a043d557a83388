// SPDX-License-Identifier: MIT
#include "support/capturedStream.h"

#include "tslutil/base/tslNotify.h"

CapturedStream::CapturedStream() : mySavedLevel(DtNotifyLevel)
{
   for (DtOutputStream * stream : {&DtFatal, &DtWarn, &DtInfo, &DtVerbose, &DtDebug})
      stream->flush();
   DtSetTessalyPrinter(this);
}

CapturedStream::~CapturedStream()
{
   DtSetTessalyPrinter(&DtStandardOutConsole);
   DtNotifyLevel = mySavedLevel;
}

void CapturedStream::write(std::string const & text, int level, bool stamp)
{
   std::lock_guard<std::mutex> const guard(myMutex);
   myWrites.push_back({text, level, stamp});
}

std::string CapturedStream::text() const
{
   std::string all;
   for (Write const & one : writes())
      all += one.text;
   return all;
}

std::string CapturedStream::textAt(int level) const
{
   std::string all;
   for (Write const & one : writes())
      all += one.level == level ? one.text : std::string();
   return all;
}

std::vector<CapturedStream::Write> CapturedStream::writes() const
{
   std::lock_guard<std::mutex> const guard(myMutex);
   return myWrites;
}

void CapturedStream::clear()
{
   std::lock_guard<std::mutex> const guard(myMutex);
   myWrites.clear();
}
