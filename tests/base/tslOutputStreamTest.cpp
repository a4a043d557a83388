// SPDX-License-Identifier: MIT
#include "tslutil/base/tslOutputStream.h"

#include "support/capturedStream.h"
#include "support/temporaryFolder.h"
#include "support/tsv.h"
#include "support/watchdog.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <map>
#include <stdexcept>
#include <thread>

namespace
{

/// Notes what it gets behind its name, as "a1 text|", the text of a stamped line behind a "!", then does what
/// it is told to.
struct Notes : DtPrinter
{
   Notes(std::string & place, char letter) : noted(place), name(letter) {}
   void write(std::string const & text, int level, bool stamp) override
   {
      noted += name + std::to_string(level) + (stamp ? " !" : " ") + text + "|";
      then(text);
   }

   std::string & noted;
   char const name;
   std::function<void(std::string const &)> then = [](std::string const &) {};
};

/// A stream of its own at level 2 with threshold 1.
struct DtOutputStreamTest : ::testing::Test
{
   int level = 2;
   std::string noted;
   Notes notes{noted, 'a'};
   DtOutputStreamBuffer buffer;
   DtOutputStream stream{&buffer, level, 1, &notes};
};

TEST_F(DtOutputStreamTest, PrintsWhatTheTableSaysAtEachStep)
{
   Notes other(noted, 'b');
   std::map<std::string, DtPrinter *> printers = {{"a", &notes}, {"b", &other}, {"", nullptr}};
   notes.then = [&](std::string const & text)
   {
      if (text == "bad\n" || text == "worse")
         throw std::runtime_error("full");
      if (text == "outer\n")
         stream << "inner";
      if (text == "last\n")
         stream.detachAllPrinters();
   };
   typedef std::string const & Text;
   std::map<std::string, std::function<void(Text)>> const steps = {
      {"put", [&](Text text) { stream << text; }},
      {"putc", [&](Text text) { EXPECT_EQ(buffer.sputc(text[0]), 0xff); }},
      {"flush", [&](Text) { stream << std::flush; }},
      {"call", [&](Text text) { stream("%s", text.c_str()); }},
      {"null", [&](Text) { stream(nullptr); }},
      {"write", [&](Text text) { stream.write(text, true); }},
      {"level", [&](Text text) { level = std::stoi(text); }},
      {"threshold", [&](Text text) { stream.setThreshold(std::stoi(text)); }},
      {"attach", [&](Text text) { stream.attachPrinter(printers[text]); }},
      {"detach", [&](Text text) { noted += "01"[stream.detachPrinter(printers[text])]; }},
      {"detachAll", [&](Text) { stream.detachAllPrinters(); }}};
   for (Fields const & row : tableOf("base/outputStream.tsv"))
   {
      steps.at(row[0])(row[1]);
      EXPECT_EQ(std::exchange(noted, ""), row[2]) << row[0] << ' ' << row[1];
      EXPECT_TRUE(stream.good());
   }
}

TEST_F(DtOutputStreamTest, CallsItsSlotsAndFlushesAtItsEnd)
{
   struct Own : DtOutputStream
   {
      using DtOutputStream::DtOutputStream;
      int threshold() const override { return 5; }
      void write(std::string const & text, bool stamp) override { DtOutputStream::write("+" + text, stamp); }
   };
   {
      Own own(&buffer, level, 0, &notes);
      own << "lost\n";
      level = 5;
      own << "one\n";
      own("two");
      own << "partial";
   }
   EXPECT_EQ(noted, "a5 !+one\n|a5 +|a5 +two|a0 partial|");
   EXPECT_TRUE(buffer.pubsync() == -1 && buffer.sputc('x') == 'x');
}

TEST_F(DtOutputStreamTest, TakesNoLockWhileSilent)
{
   Watchdog const watchdog;
   std::promise<void> entered, letGo;
   notes.then = [&](std::string const & text)
   {
      if (!text.empty())
         entered.set_value(), letGo.get_future().wait();
   };
   // Inside the printer this holds the locks of the buffer and of the printers.
   std::thread holder([&] { stream << "stay\n"; });
   entered.get_future().wait();
   stream.setThreshold(3);
   stream << "silent\n";
   stream("silent");
   letGo.set_value();
   holder.join();
}

TEST(DtOutputStream, ManyThreadsMayWrite)
{
   CapturedStream captured;
   auto const write = []
   {
      for (int n = 0; n < 100; ++n)
      {
         DtInfo << "x\n";
         DtInfo("%c", 'y');
         DtInfo.detachPrinter(&DtStandardErrorConsole);
         DtDebug.setThreshold(4);
         DtDebug << "silent\n";
      }
   };
   std::thread other(write);
   write();
   other.join();
   EXPECT_EQ(captured.text().size(), 600u);
}

TEST(DtNotify, ThreeOfFiveStreamsStartOnStandardOutputAndAllAreSwitchedTogether)
{
   TemporaryFolder const folder;
   EXPECT_EQ(DtNotifyLevel, 2);
   testing::internal::CaptureStdout();
   for (DtOutputStream * stream : {&DtFatal, &DtWarn, &DtInfo, &DtVerbose, &DtDebug})
      (*stream)("%d", stream->threshold());
   CapturedStream captured;
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
   EXPECT_EQ(testing::internal::GetCapturedStdout(), "012both\ntoo\n");
   EXPECT_EQ(folder.read("both.log") + folder.read("file.log"), "both\ntoo\nfile\n");
   EXPECT_EQ(captured.text(), "captured\n");
}

TEST(DtNotify, HelpersPrintTheirTextsAtTheirLevels)
{
   static int aborts = 0;
   EXPECT_EQ(DtGetAbortFunc(), nullptr);
   DtSetAbortFunc([] { ++aborts; });
   std::string const fatal = "**FATAL ERROR**: a 7", system = ": Broken pipe\n",
                     network = ": Connection reset by peer \n";
   for (int const level : {-1, 0, 1})
      for (char const * format : {"a %d", static_cast<char const *>(nullptr)})
      {
         CapturedStream const captured;
         DtNotifyLevel = level;
         for (void (*help)(char const *, ...) :
              {DtFatalError, DtFatalPerror, DtFatalNetPerror, DtWarnPerror, DtWarnNetPerror})
         {
            errno = EPIPE;
            help(format, 7);
         }
         bool const fatals = format != nullptr && level >= 0, warnings = format != nullptr && level >= 1;
         EXPECT_EQ(captured.textAt(0), fatals ? fatal + "\n" + fatal + system + fatal + network : "");
         EXPECT_EQ(captured.textAt(1), warnings ? "a 7" + system + "a 7" + network : "");
      }
   EXPECT_EQ(std::exchange(aborts, 0), 18);
   DtSetAbortFunc(nullptr);
   CapturedStream const captured;
   DtWarnPerror("%s", std::string(3000, 'x').c_str());
   EXPECT_EQ(captured.text().find(':'), 2047u);
   for (Fields const & row : tableOf("base/socketErrors.tsv"))
   {
      errno = std::stoi(row[0]);
      EXPECT_EQ(NTErrorString(), row[1]);
   }
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
