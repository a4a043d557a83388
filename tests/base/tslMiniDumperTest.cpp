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

using ::testing::HasSubstr;

char const theQuestion[] = "A fatal error has occurred.\r\nWould you like to save a diagnostic file? (y/n) ";

int raiseFault()
{
   std::raise(SIGFPE);
   return 0;
}

int abortIt()
{
   std::abort();
}

/// A page that may not be written; a child process has it at the same place.
char volatile * forbiddenPage()
{
   static void * const page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
   return static_cast<char volatile *>(page);
}

int touchPage()
{
   *forbiddenPage() = 1;
   return 0;
}

int deepen(unsigned int depth)
{
   char volatile block[4096];
   block[depth % sizeof block] = 1;
   return depth == 1 ? 0 : deepen(depth + 2) + block[depth % sizeof block];
}

int overflowStack()
{
   return deepen(0);
}

class DtMiniDumperTest : public ::testing::Test
{
protected:
   /// What crashes by `crash` once the dumper is made.
   std::function<int()> crashing(char const * name, int (*crash)()) const
   {
      std::string const path = folder.path();
      return [path, name, crash]
      {
         rlimit const noCore = {0, 0};
         setrlimit(RLIMIT_CORE, &noCore);
         if (chdir(path.c_str()) != 0)
            return 1;
         {
            DtMiniDumper const dumper(name);
         }
         return crash();
      };
   }

   bool hasFiles() const { return !std::filesystem::is_empty(folder.path()); }

   TemporaryFolder folder;
};

TEST_F(DtMiniDumperTest, SavesADumpIfTheUserWantsOne)
{
   void const * const address = const_cast<char const *>(forbiddenPage());
   PseudoTerminal terminal(crashing("sim", touchPage));
   ASSERT_TRUE(terminal.shows(std::string("sim.dmp: ") + theQuestion)) << terminal.shown();
   terminal.type("y\n");
   int const status = terminal.wait();
   EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV) << status;
   EXPECT_THAT(terminal.shown(), HasSubstr("sim.dmp: Saved dump file to 'sim.dmp'\r\n"));
   std::string const dump = folder.read("sim.dmp");
   std::ostringstream head;
   head << "signal 11\ncode 2\naddress " << address << "\nprocess ";
   EXPECT_EQ(dump.substr(0, head.str().size()), head.str());
   for (char const * part : {"\nthread ", "\nregisters\n  ", "\nmap\n", " [stack]\n", "\nframes\n  0x"})
      EXPECT_THAT(dump, HasSubstr(part));
   auto const access = std::filesystem::status(folder.path("sim.dmp")).permissions();
   EXPECT_EQ(access, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(DtMiniDumperTest, AnyOtherAnswerSavesNothingAndSaysNoMore)
{
   for (char const * answer : {"n\n", "\n", "maybe yes\n", "\x04"})
   {
      PseudoTerminal terminal(crashing(nullptr, abortIt));
      ASSERT_TRUE(terminal.shows(std::string("Application.dmp: ") + theQuestion)) << terminal.shown();
      terminal.type(answer);
      int const status = terminal.wait();
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
      EXPECT_EQ(terminal.shown().find("dump file"), std::string::npos) << terminal.shown();
      EXPECT_FALSE(hasFiles());
   }
}

TEST_F(DtMiniDumperTest, AsksNobodyWithoutATerminalInTheForeground)
{
   int status = runWithoutTerminal(crashing("sim", raiseFault));
   EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGFPE) << status;
   std::function<int()> const crash = crashing("sim", raiseFault);
   PseudoTerminal terminal(
      [&crash]
      {
         pid_t const background = fork();
         if (background == 0)
         {
            setpgid(0, 0);
            _exit(crash());
         }
         int end = 0;
         waitpid(background, &end, 0);
         return WIFSIGNALED(end) ? WTERMSIG(end) : 0;
      });
   status = terminal.wait();
   EXPECT_EQ(WEXITSTATUS(status), SIGFPE);
   EXPECT_EQ(terminal.shown(), "");
   EXPECT_FALSE(hasFiles());
}

TEST_F(DtMiniDumperTest, CatchesAnOverflownStack)
{
   PseudoTerminal terminal(crashing("sim", overflowStack));
   ASSERT_TRUE(terminal.shows(theQuestion)) << terminal.shown();
   terminal.type("y\n");
   EXPECT_EQ(WTERMSIG(terminal.wait()), SIGSEGV);
   EXPECT_THAT(folder.read("sim.dmp"), HasSubstr("\nframes\n  0x"));
}

TEST_F(DtMiniDumperTest, TellsWhyNoFileWasSaved)
{
   folder.write("dir.dmp/x", "");
   PseudoTerminal isDirectory(crashing("dir", raiseFault));
   ASSERT_TRUE(isDirectory.shows(theQuestion)) << isDirectory.shown();
   isDirectory.type(" Yes\n");
   EXPECT_EQ(WTERMSIG(isDirectory.wait()), SIGFPE);
   EXPECT_THAT(isDirectory.shown(),
               HasSubstr("dir.dmp: Failed to create dump file 'dir.dmp' (error 21)\r\n"));

   std::filesystem::create_symlink("/dev/full", folder.path("full.dmp"));
   PseudoTerminal isFull(crashing("full", raiseFault));
   ASSERT_TRUE(isFull.shows(theQuestion)) << isFull.shown();
   isFull.type("y\n");
   EXPECT_EQ(WTERMSIG(isFull.wait()), SIGFPE);
   EXPECT_THAT(isFull.shown(), HasSubstr("full.dmp: Failed to save dump file to 'full.dmp' (error 28)\r\n"));
}

TEST_F(DtMiniDumperTest, OnlyTheFirstOfSeveralCrashingThreadsAsks)
{
   auto const crashTwice = []
   {
      std::thread first(raiseFault);
      std::thread second(touchPage);
      first.join();
      second.join();
      return 0;
   };
   PseudoTerminal terminal(crashing("sim", crashTwice));
   ASSERT_TRUE(terminal.shows(theQuestion)) << terminal.shown();
   terminal.type("y\n");
   EXPECT_TRUE(WIFSIGNALED(terminal.wait()));
   EXPECT_EQ(terminal.shown().find("fatal error"), terminal.shown().rfind("fatal error"));
   EXPECT_THAT(terminal.shown(), HasSubstr("Saved"));
}

} // namespace
