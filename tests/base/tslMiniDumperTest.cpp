// SPDX-License-Identifier: MIT
#include "tslutil/base/tslMiniDumper.h"

#include "support/pseudoTerminal.h"
#include "support/temporaryFolder.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

char const theQuestion[] =
   ": A fatal error has occurred.\r\nWould you like to save a diagnostic file? (y/n) ";

/// A page that may not be written; a child process has it at the same place.
void * const thePage = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);

void raiseFault()
{
   std::raise(SIGFPE);
}

int overflowStack(unsigned int depth)
{
   char volatile block[4096];
   block[depth % sizeof block] = 1;
   return depth == 1 ? 0 : overflowStack(depth + 2) + block[depth % sizeof block];
}

void crashTwice()
{
   std::thread first(raiseFault);
   std::thread(raiseFault).join();
   first.join();
}

/// Two that nobody can be asked for, without a terminal and in its background, before one that counts.
void crashAside()
{
   for (void (*leave)() : {+[] { setsid(); }, +[] { setpgid(0, 0); }})
   {
      if (fork() == 0)
         leave(), raiseFault();
   }
   while (wait(nullptr) > 0)
   {
   }
   raiseFault();
}

TEST(DtMiniDumper, SavesADumpIfTheUserSaysYesAndTellsTheOutcome)
{
   TemporaryFolder const folder;
   folder.write("dir.dmp/x", "");
   std::filesystem::create_symlink("/dev/full", folder.path("full.dmp"));
   std::tuple<char const *, void (*)(), int, char const *, char const *> const rows[] = {
      {"sim", [] { *static_cast<char volatile *>(thePage) = 1; }, SIGSEGV, "y",
       "Saved dump file to 'sim.dmp'"},
      {"deep", [] { overflowStack(0); }, SIGSEGV, " Yes", "Saved dump file to 'deep.dmp'"},
      {"two", crashTwice, SIGFPE, "y", "Saved dump file to 'two.dmp'"},
      {"dir", raiseFault, SIGFPE, "y", "Failed to create dump file 'dir.dmp' (error 21)"},
      {"full", raiseFault, SIGFPE, "y", "Failed to save dump file to 'full.dmp' (error 28)"},
      {nullptr, std::abort, SIGABRT, "n", ""},
      {"no", crashAside, SIGFPE, "", ""},
      {"no", raiseFault, SIGFPE, "\x04", ""}};
   for (auto const & [name, crash, signal, answer, outcome] : rows)
   {
      std::string const title = std::string(name != nullptr ? name : "Application") + ".dmp";
      std::string const told = *outcome != '\0' ? title + ": " + outcome + "\r\n" : "";
      // The last hangs up.
      std::string const typed = answer + std::string(*answer != 4, '\n');
      std::string const echo = *answer != 4 ? answer + std::string("\r\n") : "";
      TerminalRun const run = runToCrash(folder.path(), name, crash, typed);
      EXPECT_EQ(run.shown, "\r\n" + title + theQuestion + echo + told);
      EXPECT_EQ(WIFSIGNALED(run.status) ? WTERMSIG(run.status) : 0, signal) << title;
      EXPECT_EQ(std::filesystem::is_regular_file(folder.path(title)),
                told.find("Saved") != std::string::npos);
   }
   std::ostringstream begin;
   begin << "signal 11\ncode 2\naddress " << thePage << "\nprocess .*\nthread .*\nregisters\n  .*";
   EXPECT_THAT(folder.read("sim.dmp"), ::testing::MatchesRegex(begin.str() + "\nmap\n.*\nframes\n  0x.*\n"));
}

} // namespace
