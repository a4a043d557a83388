// SPDX-License-Identifier: MIT
#include "tslutil/base/tslNotify.h"

#include "support/capturedStream.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

namespace
{

TEST(DtNotify, StartsWithThreeOfFiveStreamsOnStandardOutput)
{
   EXPECT_EQ(DtNotifyLevel, 2);
   testing::internal::CaptureStdout();
   for (DtOutputStream * stream : {&DtFatal, &DtWarn, &DtInfo, &DtVerbose, &DtDebug})
      (*stream)("%d", stream->threshold());
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
   EXPECT_EQ(folder.read("both.log") + folder.read("file.log"), "both\ntoo\nfile\n");
   EXPECT_EQ(captured.text(), "captured\n");
}

int theAborts = 0;

TEST(DtNotify, HelpersPrintTheirTextsAtTheirLevels)
{
   EXPECT_EQ(DtGetAbortFunc(), nullptr);
   theAborts = 0;
   DtSetAbortFunc([] { ++theAborts; });
   for (int const level : {-1, 0, 1})
      for (char const * format : {"a %d", static_cast<char const *>(nullptr)})
      {
         CapturedStream const captured;
         DtNotifyLevel = level;
         DtFatalError(format, 7);
         for (void (*help)(char const *, ...) :
              {DtFatalPerror, DtFatalNetPerror, DtWarnPerror, DtWarnNetPerror})
         {
            errno = EPIPE;
            help(format, 7);
         }
         EXPECT_EQ(captured.textAt(0), format != nullptr && level >= 0
                                          ? "**FATAL ERROR**: a 7\n**FATAL ERROR**: a 7: Broken pipe\n"
                                            "**FATAL ERROR**: a 7: Connection reset by peer \n"
                                          : "");
         EXPECT_EQ(captured.textAt(1), format != nullptr && level >= 1
                                          ? "a 7: Broken pipe\na 7: Connection reset by peer \n"
                                          : "");
      }
   EXPECT_EQ(theAborts, 18);
   DtSetAbortFunc(nullptr);
   CapturedStream const captured;
   DtWarnPerror("%s", std::string(3000, 'x').c_str());
   EXPECT_EQ(captured.text().find(':'), 2047u);
}

TEST(DtNotify, TextsOfSocketErrors)
{
   std::string texts;
   for (int const error : {0, EINTR, EWOULDBLOCK, 10101, 11004, EXDEV})
   {
      errno = error;
      texts += NTErrorString() + std::string("|");
   }
   EXPECT_EQ(texts, "unknown (non-WinSock) error|Interrupted System Call|Operation would block|Disconnect|"
                    "Valid name, no data record of requested type|unknown (non-WinSock) error|");
}

TEST(DtNotifyDeathTest, AbortExitsAndPartialLinesGoOutLastStreamFirst)
{
   auto const die = []
   {
      DtNotifyLevel = 4;
      DtSetTessalyPrinter(&DtStandardErrorConsole);
      DtWarn << "warn ";
      DtInfo << "info ";
      DtVerbose << "verbose ";
      DtDebug << "debug ";
      DtFatalError("the end");
   };
   EXPECT_EXIT(die(), testing::ExitedWithCode(255),
               "^\\*\\*FATAL ERROR\\*\\*: the end\ndebug verbose info warn $");
}

} // namespace
