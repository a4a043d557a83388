// SPDX-License-Identifier: MIT
#include "tslutil/base/tslPrinter.h"

#include "support/pseudoTerminal.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <iostream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

/// The wall clock that the library sees, so that logs roll without waiting.
static std::time_t theTime = 1000000000;

extern "C" time_t time(time_t * result) noexcept
{
   return result != nullptr ? *result = theTime : theTime;
}

namespace
{

TEST(DtStandardPrinters, PrintTheTextAsItStandsAndOutliveALostReader)
{
   DtStdoutPrinter out;
   DtStderrPrinter err;
   std::cout.width(20);
   testing::internal::CaptureStdout();
   testing::internal::CaptureStderr();
   out.write("a\nb", 2, true);
   err.write("c", 0, false);
   EXPECT_EQ(testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout(), "ca\nb");
   std::cout.width(0);

   int const savedOut = dup(STDOUT_FILENO);
   int ends[2];
   ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
   dup2(ends[1], STDOUT_FILENO);
   close(ends[0]), close(ends[1]);
   out.write("lost\n", 2, true);
   dup2(savedOut, STDOUT_FILENO);
   close(savedOut);
   EXPECT_TRUE(std::cout.good());
   sigset_t blocked;
   EXPECT_TRUE(pthread_sigmask(SIG_SETMASK, nullptr, &blocked) == 0 && sigismember(&blocked, SIGPIPE) == 0);
}

TEST(DtFilePrinter, RollsWhenMoreThanTheIntervalHasPassed)
{
   TemporaryFolder const folder;
   // Names are split at the last point, even one of a directory.
   char const * const names[][3] = {{"run.x.log", "run.x_1.log", "run.x_2.log"},
                                    {"plain", "plain_1", "plain_2"},
                                    {"a.d/plain", "a_1.d/plain", "a_2.d/plain"}};
   DtFilePrinter printer;
   printer.write("nowhere", 2, true);
   printer.setLogRollingInterval(60);
   for (auto const & [name, first, second] : names)
   {
      folder.write(first, "of an earlier run");
      folder.write(second, "of an earlier run");
      printer.resetFile(folder.write(name, "of an earlier run").c_str());
      for (char const * text : {"a", "b", "c", "d"})
      {
         theTime += *text == 'a' || *text == 'c' ? 60 : 1;
         printer.write(text, 2, false);
      }
      EXPECT_EQ(folder.read(first) + "," + folder.read(second) + "," + folder.read(name), "a,bc,d");
   }
   printer.resetFile(nullptr);
   EXPECT_TRUE(printer.isOpen());
   printer.resetFile(folder.path("missing/x").c_str());
   EXPECT_FALSE(printer.isOpen());
}

TEST(DtFilePrinter, StampsWholeLinesAndOverwritesWhatItCannotRename)
{
   TemporaryFolder const folder;
   folder.write("run_1.log/x", "a directory in the way");
   DtFilePrinter printer(folder.path("run.log").c_str());
   printer.setLogRollingInterval(1);
   printer.write("lost", 2, true);
   printer.setPrintTimestamps(true);
   theTime += 2;
   printer.write("part", 2, false);
   printer.write("line\n", 2, true);
   std::string const stamp = std::string(std::asctime(std::localtime(&theTime)), 24);
   EXPECT_EQ(folder.read("run.log"), "part[" + stamp + "] line\n");
}

TEST(DtFilePrinter, GoesOnWhenThereIsRoomAgainAndIsNotInherited)
{
   TemporaryFolder const folder;
   int const next = dup(STDOUT_FILENO);
   close(next);
   DtFilePrinter printer(folder.path("run.log").c_str());
   EXPECT_EQ(fcntl(next, F_GETFD), FD_CLOEXEC);
   auto const oldHandler = std::signal(SIGXFSZ, SIG_IGN);
   rlimit limit = {};
   getrlimit(RLIMIT_FSIZE, &limit);
   rlimit const full = {4, limit.rlim_max};
   setrlimit(RLIMIT_FSIZE, &full);
   printer.write("full", 2, true);
   printer.write("waits", 2, true);
   setrlimit(RLIMIT_FSIZE, &limit);
   std::signal(SIGXFSZ, oldHandler);
   auto const write = [&printer]
   {
      for (int n = 0; n < 50; ++n)
         printer.write("x", 2, true);
   };
   std::thread other(write);
   write();
   other.join();
   EXPECT_EQ(folder.read("run.log"), "fullwaits" + std::string(100, 'x'));
}

TEST(DtWindowsConsolePrinter, WritesToTheTerminalAlone)
{
   // The second printer has no terminal any more.
   auto const print = []
   {
      DtWindowsConsolePrinter(true).write("to the user", 2, true);
      if (fork() == 0 && setsid() > 0)
         DtWindowsConsolePrinter().write("to nobody", 2, true);
      return wait(nullptr) > 0 ? 0 : 1;
   };
   EXPECT_EQ(runOnTerminal(print).shown, "to the user");
}

} // namespace
