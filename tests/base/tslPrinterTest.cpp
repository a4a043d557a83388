// SPDX-License-Identifier: MIT
#include "tslutil/base/tslPrinter.h"

#include "support/pseudoTerminal.h"
#include "support/temporaryFolder.h"
#include "support/tsv.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <iostream>
#include <map>
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

TEST(DtFilePrinter, DoesWhatTheTableSaysAtEachStep)
{
   TemporaryFolder const folder;
   DtFilePrinter printer;
   theTime = 1000000000;
   setenv("TZ", "UTC", 1);
   typedef std::string const & Text;
   std::map<std::string, std::function<std::string(Text)>> const steps = {
      {"there is", [&](Text name) { return folder.write(name, "of an earlier run"), ""; }},
      {"reset", [&](Text name) { return printer.resetFile(folder.path(name).c_str()), ""; }},
      {"resetToNull", [&](Text) { return printer.resetFile(nullptr), ""; }},
      {"isOpen", [&](Text) { return std::to_string(printer.isOpen()); }},
      {"interval", [&](Text time) { return printer.setLogRollingInterval(unsigned(std::stoi(time))), ""; }},
      {"stamps", [&](Text) { return printer.setPrintTimestamps(true), ""; }},
      {"pass", [&](Text seconds) { return theTime += std::stoi(seconds), ""; }},
      {"part", [&](Text text) { return printer.write(text, 2, false), ""; }},
      {"line", [&](Text text) { return printer.write(text, 2, true), ""; }},
      {"read", [&](Text name) { return folder.read(name); }}};
   for (Fields const & row : tableOf("base/filePrinter.tsv"))
      EXPECT_EQ(steps.at(row[0])(row[1]), row[2]) << row[1];
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
