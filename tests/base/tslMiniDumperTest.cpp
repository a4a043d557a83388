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
#include <sys/resource.h>
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
      {
         leave();
         raiseFault();
      }
   }
   while (wait(nullptr) > 0)
   {
   }
   raiseFault();
}

/// The body of a process that makes a dumper and crashes in `folder`.
std::function<int()> crashing(TemporaryFolder const & folder, char const * name, void (*crash)())
{
   return [&folder, name, crash]
   {
      rlimit const noCore = {0, 0};
      setrlimit(RLIMIT_CORE, &noCore);
      DtMiniDumper{name};
      if (chdir(folder.path().c_str()) == 0)
         crash();
      return 0;
   };
}

TEST(DtMiniDumper, SavesADumpIfTheUserSaysYesAndTellsTheOutcome)
{
   TemporaryFolder const folder;
   folder.write("dir.dmp/x", "");
   std::filesystem::create_symlink("/dev/full", folder.path("full.dmp"));
   struct
   {
      char const * name;
      void (*crash)();
      int signal;
      char const * answer;
      char const * shown;
   } const rows[] = {
      {"sim", [] { *static_cast<char volatile *>(thePage) = 1; }, SIGSEGV, "y\n",
       "y\r\nsim.dmp: Saved dump file to 'sim.dmp'\r\n"},
      {"deep", [] { overflowStack(0); }, SIGSEGV, " Yes\n",
       " Yes\r\ndeep.dmp: Saved dump file to 'deep.dmp'\r\n"},
      {"two", crashTwice, SIGFPE, "y\n", "y\r\ntwo.dmp: Saved dump file to 'two.dmp'\r\n"},
      {"dir", raiseFault, SIGFPE, "y\n", "y\r\ndir.dmp: Failed to create dump file 'dir.dmp' (error 21)\r\n"},
      {"full", raiseFault, SIGFPE, "y\n",
       "y\r\nfull.dmp: Failed to save dump file to 'full.dmp' (error 28)\r\n"},
      {nullptr, std::abort, SIGABRT, "n\n", "n\r\n"},
      {"no", crashAside, SIGFPE, "\n", "\r\n"},
      {"no", raiseFault, SIGFPE, "\x04", ""},
   };
   for (auto const & row : rows)
   {
      std::string const title = std::string(row.name != nullptr ? row.name : "Application") + ".dmp";
      TerminalRun const run = runOnTerminal(crashing(folder, row.name, row.crash), theQuestion, row.answer);
      EXPECT_EQ(run.shown, "\r\n" + title + theQuestion + row.shown);
      EXPECT_EQ(WIFSIGNALED(run.status) ? WTERMSIG(run.status) : 0, row.signal) << title;
      EXPECT_EQ(std::filesystem::is_regular_file(folder.path(title)),
                run.shown.find("Saved") != std::string::npos);
   }
   std::ostringstream begin;
   begin << "signal 11\ncode 2\naddress " << thePage << "\nprocess .*\nthread .*\nregisters\n  .*";
   EXPECT_THAT(folder.read("sim.dmp"), ::testing::MatchesRegex(begin.str() + "\nmap\n.*\nframes\n  0x.*\n"));
}

} // namespace
