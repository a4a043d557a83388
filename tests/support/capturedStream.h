// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslNotify.h"

#include <map>
#include <mutex>
#include <string>

/// Takes what the five streams print, in place of all their printers, while it lives. Afterwards they print
/// to standard output, and the notification level is what it was.
class CapturedStream : public DtPrinter
{
public:
   CapturedStream() : mySavedLevel(DtNotifyLevel)
   {
      for (DtOutputStream * stream : {&DtFatal, &DtWarn, &DtInfo, &DtVerbose, &DtDebug})
         stream->flush();
      DtSetTessalyPrinter(this);
   }

   ~CapturedStream() override
   {
      DtSetTessalyPrinter(&DtStandardOutConsole);
      DtNotifyLevel = mySavedLevel;
   }

   void write(std::string const & text, int level, bool /*stamp*/) override
   {
      std::lock_guard<std::mutex> const guard(myMutex);
      myTexts[theAll] += text;
      myTexts[level] += text;
   }

   /// What was printed, all streams in one.
   std::string text() const { return textAt(theAll); }

   /// What the stream with the threshold `level` printed.
   std::string textAt(int level) const
   {
      std::lock_guard<std::mutex> const guard(myMutex);
      return myTexts[level];
   }

   /// Forgets what was printed.
   void clear()
   {
      std::lock_guard<std::mutex> const guard(myMutex);
      myTexts.clear();
   }

private:
   static constexpr int theAll = -1000;
   mutable std::mutex myMutex;
   mutable std::map<int, std::string> myTexts;
   int mySavedLevel;
};
