// SPDX-License-Identifier: MIT
#include "tslutil/base/tslNotify.h"

#include "support/capturedStream.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace
{

int theAborts = 0;

void countAbort()
{
   ++theAborts;
}

TEST(DtNotify, StartsWithThreeOfFiveStreamsOnStandardOutput)
{
   EXPECT_EQ(DtNotifyLevel, 2);
   EXPECT_FALSE(DtNetDebugOn || DtLispDebugOn || DtSmoothDebugOn || DtSmoothZDebugOn);
   EXPECT_EQ(DtGetAbortFunc(), nullptr);
   testing::internal::CaptureStdout();
   int expected = 0;
   for (DtOutputStream * stream : {&DtFatal, &DtWarn, &DtInfo, &DtVerbose, &DtDebug})
   {
      EXPECT_EQ(stream->threshold(), expected++);
      (*stream)("%d", stream->threshold());
      EXPECT_FALSE(stream->detachPrinter(&DtStandardErrorConsole));
   }
   EXPECT_EQ(testing::internal::GetCapturedStdout(), "012");
}

TEST(DtNotify, OutputIsSwitchedForAllStreams)
{
   TemporaryFolder const folder;
   CapturedStream captured;
   testing::internal::CaptureStdout();
   setFileOutput(folder.path("both.log").c_str(), 0, 1);
   DtInfo << "both\n";
   DtFatal << "too\n";
   setFileOutput(nullptr, 1, 0);
   DtWarn << "nowhere but on a console\n" << std::flush;
   closeConsole();
   DtWarn << "nowhere\n";
   closeConsole();
   setFileOutput(folder.path("file.log").c_str(), 0, 0);
   DtWarn << "file\n";
   DtSetTessalyPrinter(nullptr);
   DtWarn << "nowhere\n";
   DtSetTessalyPrinter(&captured);
   DtWarn << "captured\n";
   EXPECT_EQ(testing::internal::GetCapturedStdout(), "both\ntoo\n");
   EXPECT_EQ(folder.read("both.log"), "both\ntoo\n");
   EXPECT_EQ(folder.read("file.log"), "file\n");
   EXPECT_EQ(captured.text(), "captured\n");
}

TEST(DtNotify, HelpersPrintTheirTextsAtTheirLevels)
{
   struct
   {
      void (*help)(char const *);
      int lowest;
      char const * text;
      int aborts;
   } const rows[] = {
      {[](char const * word) { DtFatalError(word, 7); }, 0, "**FATAL ERROR**: a 7\n", 1},
      {[](char const * word) { DtFatalPerror(word, 7); }, 0, "**FATAL ERROR**: a 7: Connection refused\n", 1},
      {[](char const * word) { DtFatalNetPerror(word, 7); }, 0, "**FATAL ERROR**: a 7: Connection refused \n",
       1},
      {[](char const * word) { DtWarnPerror(word, 7); }, 1, "a 7: Connection refused\n", 0},
      {[](char const * word) { DtWarnNetPerror(word, 7); }, 1, "a 7: Connection refused \n", 0},
   };
   CapturedStream captured;
   DtSetAbortFunc(countAbort);
   for (auto const & row : rows)
      for (int level = -1; level < 3; ++level)
         for (char const * format : {"a %d", static_cast<char const *>(nullptr)})
         {
            DtNotifyLevel = level;
            theAborts = 0;
            errno = ECONNREFUSED;
            row.help(format);
            EXPECT_EQ(captured.textAt(row.lowest), format != nullptr && level >= row.lowest ? row.text : "");
            EXPECT_EQ(theAborts, row.aborts);
            captured.clear();
         }
   DtSetAbortFunc(nullptr);
   DtNotifyLevel = 1;
   DtWarnPerror("%s", std::string(3000, 'x').c_str());
   EXPECT_EQ(captured.text().find(':'), 2047u);
}

TEST(DtNotify, TextsOfSocketErrors)
{
   struct
   {
      int error;
      char const * text;
   } const rows[] = {
      {0, "unknown (non-WinSock) error"},
      {EXDEV, "unknown (non-WinSock) error"},
      {EINTR, "Interrupted System Call"},
      {EWOULDBLOCK, "Operation would block"},
      {EADDRINUSE, "Address Already in use"},
      {EREMOTE, "Too many levels of remote in path"},
      {10067, "Too many processes"},
      {10101, "Disconnect"},
      {11001, "Host not found"},
      {11004, "Valid name, no data record of requested type"},
      {11005, "unknown (non-WinSock) error"},
   };
   for (auto const & row : rows)
   {
      errno = row.error;
      EXPECT_STREQ(NTErrorString(), row.text) << row.error;
   }
}

TEST(DtNotifyDeathTest, AbortEndsTheProcessWithStatus255)
{
   auto const die = []
   {
      DtSetTessalyPrinter(&DtStandardErrorConsole);
      DtFatalError("the end");
   };
   EXPECT_EXIT(die(), testing::ExitedWithCode(255), "^\\*\\*FATAL ERROR\\*\\*: the end\n$");
}

TEST(DtNotifyDeathTest, PartialLinesGoOutAtTheEndLastStreamFirst)
{
   auto const leave = []
   {
      DtNotifyLevel = 4;
      DtSetTessalyPrinter(&DtStandardErrorConsole);
      DtFatal << "fatal ";
      DtWarn << "warn ";
      DtInfo << "info ";
      DtVerbose << "verbose ";
      DtDebug << "debug ";
      std::exit(0);
   };
   EXPECT_EXIT(leave(), testing::ExitedWithCode(0), "^debug verbose info warn fatal $");
}

} // namespace
