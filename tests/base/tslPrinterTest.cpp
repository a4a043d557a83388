// SPDX-License-Identifier: MIT
#include "tslutil/base/tslPrinter.h"

#include "support/pseudoTerminal.h"
#include "support/slots.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

/// Added to the wall clock that the library sees.
std::time_t theClockStep = 0;

} // namespace

/// In the place of the system's, so that logs roll without waiting.
extern "C" time_t time(time_t * result) noexcept
{
   timespec now = {};
   clock_gettime(CLOCK_REALTIME, &now);
   time_t const told = now.tv_sec + theClockStep;
   if (result != nullptr)
      *result = told;
   return told;
}

namespace
{

TEST(DtStandardPrinters, PrintAtOnceAsTheTextStands)
{
   DtStdoutPrinter out;
   DtStderrPrinter err;
   std::cout.width(20);
   testing::internal::CaptureStdout();
   testing::internal::CaptureStderr();
   out.write("a\nb", 2, true);
   err.write("c", 0, false);
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "c");
   EXPECT_EQ(testing::internal::GetCapturedStdout(), "a\nb");
   std::cout.width(0);
}

TEST(DtStandardPrinters, OutliveALostReader)
{
   DtStdoutPrinter out;
   std::cout.flush();
   int const savedOut = dup(STDOUT_FILENO);
   int ends[2];
   ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
   dup2(ends[1], STDOUT_FILENO);
   close(ends[0]);
   close(ends[1]);
   errno = 0;
   out.write("lost\n", 2, true);
   dup2(savedOut, STDOUT_FILENO);
   close(savedOut);
   EXPECT_TRUE(std::cout.good());
   sigset_t pending;
   sigpending(&pending);
   EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
   sigset_t blocked;
   pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
   EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
}

class DtFilePrinterTest : public ::testing::Test
{
protected:
   ~DtFilePrinterTest() override { theClockStep = 0; }

   bool exists(std::string const & name) const { return std::filesystem::exists(folder.path(name)); }

   TemporaryFolder folder;
};

TEST_F(DtFilePrinterTest, SlotOrder)
{
   struct Open : DtFilePrinter
   {
      using DtFilePrinter::cacheFilename;
   };
   EXPECT_EQ(slotOf(&DtPrinter::write), 2u);
   EXPECT_EQ(slotOf(&DtFilePrinter::setPrintTimestamps), 3u);
   EXPECT_EQ(slotOf(&DtFilePrinter::setLogRollingInterval), 4u);
   EXPECT_EQ(slotOf(&DtFilePrinter::resetFile), 5u);
   EXPECT_EQ(slotOf(&DtFilePrinter::isOpen), 6u);
   EXPECT_EQ(slotOf(&Open::cacheFilename), 7u);
}

TEST_F(DtFilePrinterTest, StampsWholeLinesWhenAskedTo)
{
   DtFilePrinter printer(folder.write("run.log", "old").c_str());
   EXPECT_TRUE(printer.isOpen());
   printer.write("one\n", 2, true);
   printer.setPrintTimestamps(true);
   printer.write("two\n", 2, false);
   std::time_t before = time(nullptr);
   printer.write("three\n", 2, true);
   std::time_t after = time(nullptr);
   std::string const asEarly = std::string(std::asctime(std::localtime(&before)), 24);
   std::string const asLate = std::string(std::asctime(std::localtime(&after)), 24);
   std::string const text = folder.read("run.log");
   EXPECT_TRUE(text == "one\ntwo\n[" + asEarly + "] three\n" || text == "one\ntwo\n[" + asLate + "] three\n")
      << text;
}

TEST_F(DtFilePrinterTest, RollsWhenMoreThanTheIntervalHasPassed)
{
   folder.write("run_1.log", "from an earlier run");
   // The clock stands while this test looks at it.
   std::time_t const start = time(nullptr) + 100;
   auto const at = [start](int seconds) { theClockStep += start + seconds - time(nullptr); };
   at(0);
   DtFilePrinter printer(folder.path("run.log").c_str());
   printer.setLogRollingInterval(60);
   struct
   {
      int seconds;
      char const * text;
      char const * first;
      char const * second;
      char const * current;
   } const rows[] = {
      {50, "a", "from an earlier run", "", "a"},
      {64, "b", "a", "", "b"},
      {120, "c", "a", "", "bc"},
      {130, "d", "a", "bc", "d"},
   };
   for (auto const & row : rows)
   {
      at(row.seconds);
      printer.write(row.text, 2, false);
      EXPECT_EQ(folder.read("run_1.log"), row.first) << row.seconds;
      EXPECT_EQ(exists("run_2.log") ? folder.read("run_2.log") : "", row.second) << row.seconds;
      EXPECT_EQ(folder.read("run.log"), row.current) << row.seconds;
   }
   printer.setLogRollingInterval(0);
   at(100000);
   printer.write("e", 2, false);
   EXPECT_EQ(folder.read("run.log"), "de");
   EXPECT_FALSE(exists("run_3.log"));
}

TEST_F(DtFilePrinterTest, RolledNamesSplitAtTheLastPointEvenOfADirectory)
{
   char const * const rows[][2] = {
      {"plain", "plain_1"}, {"a.b.log", "a.b_1.log"}, {"dir.d/plain", "dir_1.d/plain"}, {"ends.", "ends_1."}};
   folder.write("dir.d/x", "");
   folder.write("dir_1.d/x", "");
   DtFilePrinter printer;
   EXPECT_FALSE(printer.isOpen());
   printer.write("nowhere", 2, true);
   printer.setLogRollingInterval(1);
   for (auto const & [name, rolled] : rows)
   {
      printer.resetFile(folder.path(name).c_str());
      printer.write("old", 2, true);
      theClockStep += 3;
      printer.write("new", 2, true);
      EXPECT_TRUE(exists(rolled)) << name;
      EXPECT_EQ(folder.read(name), "new");
   }
   printer.resetFile(nullptr);
   EXPECT_TRUE(printer.isOpen());
   printer.resetFile(folder.path("missing/x").c_str());
   EXPECT_FALSE(printer.isOpen());
   EXPECT_FALSE(DtFilePrinter(nullptr).isOpen());
}

TEST_F(DtFilePrinterTest, OverwritesTheLogIfItCannotBeRenamed)
{
   folder.write("run_1.log/x", "a directory is in the way");
   DtFilePrinter printer(folder.path("run.log").c_str());
   printer.setLogRollingInterval(1);
   printer.write("old", 2, true);
   theClockStep = 3;
   printer.write("new", 2, true);
   EXPECT_EQ(folder.read("run.log"), "new");
}

TEST_F(DtFilePrinterTest, GoesOnWhenThereIsRoomAgainAndIsNotInherited)
{
   DtFilePrinter printer(folder.path("run.log").c_str());
   bool isInherited = false;
   for (auto const & entry : std::filesystem::directory_iterator("/proc/self/fd"))
   {
      std::error_code gone;
      if (std::filesystem::read_symlink(entry.path(), gone) == folder.path("run.log"))
         isInherited |= (fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC) == 0;
   }
   EXPECT_FALSE(isInherited);

   auto const oldHandler = std::signal(SIGXFSZ, SIG_IGN);
   rlimit limit = {};
   getrlimit(RLIMIT_FSIZE, &limit);
   rlimit const full = {4, limit.rlim_max};
   setrlimit(RLIMIT_FSIZE, &full);
   printer.write("full", 2, true);
   printer.write("waits", 2, true);
   setrlimit(RLIMIT_FSIZE, &limit);
   std::signal(SIGXFSZ, oldHandler);
   printer.write("last", 2, true);
   EXPECT_EQ(folder.read("run.log"), "fullwaitslast");
}

TEST_F(DtFilePrinterTest, ManyThreadsMayWriteAndSwitch)
{
   DtFilePrinter printer(folder.path("run.log").c_str());
   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i)
      threads.emplace_back(
         [&printer]
         {
            for (unsigned n = 0; n < 50; ++n)
            {
               printer.write("line\n", 2, true);
               printer.setLogRollingInterval(1000 + n);
               printer.setPrintTimestamps(false);
            }
         });
   for (std::thread & thread : threads)
      thread.join();
   EXPECT_EQ(folder.read("run.log").size(), 4u * 50u * 5u);
}

TEST(DtWindowsConsolePrinter, WritesToTheTerminalAlone)
{
   auto const print = []
   {
      std::signal(SIGTTOU, SIG_DFL);
      DtWindowsConsolePrinter printer(true);
      printer.write("to the user", 2, true);
      return 3;
   };
   PseudoTerminal terminal(print);
   int const status = terminal.wait();
   EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3);
   EXPECT_EQ(terminal.shown(), "to the user");
   EXPECT_EQ(WEXITSTATUS(runWithoutTerminal(print)), 3);
}

} // namespace
