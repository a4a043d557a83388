// SPDX-License-Identifier: MIT
#include "tslutil/base/tslMiniDumper.h"

#include "support/pseudoTerminal.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

char const theQuestion[] =
   ": A fatal error has occurred.\r\nWould you like to save a diagnostic file? (y/n) ";

auto const raiseFault = [] { std::raise(SIGFPE); };

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
      if (pid_t const child = fork(); child == 0)
         leave(), raiseFault();
      else
         waitpid(child, nullptr, 0);
   raiseFault();
}

TEST(DtMiniDumper, SavesADumpIfTheUserSaysYesAndTellsTheOutcome)
{
   TemporaryFolder const folder;
   folder.write("dir.dmp/x", "");
   std::filesystem::create_symlink("/dev/full", folder.path("full.dmp"));
   std::tuple<char const *, void (*)(), int, char const *, char const *> const rows[] = {
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
      bool const hangsUp = *answer == 4;
      TerminalRun const run = runToCrash(folder.path(), name, crash, answer + std::string(!hangsUp, '\n'));
      EXPECT_EQ(run.shown,
                "\r\n" + title + theQuestion + (hangsUp ? "" : std::string(answer) + "\r\n") + told);
      EXPECT_EQ(WIFSIGNALED(run.status) ? WTERMSIG(run.status) : 0, signal) << title;
      EXPECT_EQ(std::filesystem::is_regular_file(folder.path(title)),
                told.find("Saved") != std::string::npos);
   }
}

} // namespace
