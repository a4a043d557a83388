// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslPrinter.h"

#include <mutex>
#include <string>
#include <vector>

/// Takes what the five streams print, in place of all their printers, while it lives. Afterwards they print
/// to standard output, and the notification level is what it was.
class CapturedStream : public DtPrinter
{
public:
   struct Write
   {
      std::string text;
      int level;
      bool stamp;
   };

   CapturedStream();
   ~CapturedStream() override;
   void write(std::string const & text, int level, bool stamp) override;

   /// What was printed, all streams in one.
   std::string text() const;
   /// What the stream with the threshold `level` printed.
   std::string textAt(int level) const;
   /// The single calls, those without text included.
   std::vector<Write> writes() const;
   /// Forgets what was printed.
   void clear();

private:
   mutable std::mutex myMutex;
   std::vector<Write> myWrites;
   int mySavedLevel;
};
