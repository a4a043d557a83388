// SPDX-License-Identifier: MIT
#include "tslutil/system/tslProcess.h"

#include "support/capturedStream.h"
#include "support/childProcess.h"
#include "support/pseudoTerminal.h"
#include "support/tsv.h"
#include "support/watchdog.h"
#include "system/workFolder.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

/// Starts a program and waits for its end, its status; -1 if it does not start.
int runProgram(std::string const & program, Fields words, std::string const & directory = "",
               DtProcessInteractivity_enum how = DtProcessHidden)
{
   std::vector<char *> arguments;
   for (std::string & word : words)
      arguments.push_back(word.data());
   int status = -1;
   std::pair<void *, void *> handles(&status, nullptr);
   bool const isStarted =
      DtCreateProcessAndReturnHandles(program.c_str(), arguments, how, handles, directory.c_str());
   EXPECT_TRUE(handles.first == handles.second && isStarted == (handles.first != nullptr));
   if (isStarted)
      waitpid(static_cast<pid_t>(reinterpret_cast<std::intptr_t>(handles.first)), &status, 0);
   return status;
}

void writeScript(TemporaryFolder const & folder, std::string const & name, std::string const & body)
{
   std::filesystem::permissions(folder.write(name, "#!/bin/sh\n" + body), std::filesystem::perms(0755));
}

TEST(DtCreateProcess, SplitsTheCommandLineByBlanksAndQuotes)
{
   WorkFolder const folder;
   std::string const here = folder.path();
   setenv("PATH", (here + ":" + folder.pathBefore).c_str(), 1);
   for (Fields const & row : tableOf("system/commandLines.tsv"))
   {
      writeScript(folder, row[0],
                  "{ printf '%s|' \"${0#" + here + "}\" \"$@\"; printf %s \"${PWD#" + here + "}\"; } >" +
                     here + "/out");
      folder.write("out", "");
      EXPECT_EQ(runProgram(row[1], Fields(row.begin() + 4, row.end()), row[2]), 0) << row[1];
      EXPECT_EQ(folder.read("out"), row[3]);
   }
   for (auto const & [program, directory] : {std::pair("./none", ""), {"", ""}, {"./a", "none"}})
      EXPECT_EQ(runProgram(program, {}, directory), -1) << program;
   CapturedStream info;
   DtNotifyLevel = 2;
   EXPECT_FALSE(DtCreateProcess("./none", {nullptr}, DtProcessShown));
   EXPECT_EQ(info.textAt(2), "Create Process Failed with error (2)\n");
}

TEST(DtCreateProcess, GivesTheChildTheTerminalIfShownAndNothingElseEver)
{
   auto const body = []
   {
      TemporaryFolder const folder;
      writeScript(
         folder, "look",
         "echo \"$1 $(tty) $(readlink /proc/self/fd/0) $(ls -x /proc/self/fd) $PPID\"\n"
         "{ tty; readlink /proc/self/fd/0 /proc/self/fd/2; ls /proc/self/fd; } >\"$2\"\nkill -TERM $$");
      for (int i = 0; i < 20; ++i)
         EXPECT_GT(dup(0), 2);
      std::signal(SIGTERM, SIG_IGN);
      for (int how = 0; how <= 4; ++how)
         EXPECT_EQ(runProgram(folder.path("look"), {"how", folder.path("out")}, "",
                              static_cast<DtProcessInteractivity_enum>(how)),
                   SIGTERM);
      EXPECT_EQ(folder.read("out"), "not a tty\n/dev/null\n/dev/null\n0\n1\n2\n3\n");
      EXPECT_EQ(std::pair(DtGetPid(), DtGetPPid()), std::pair(getpid(), getppid()));
      return testing::Test::HasFailure() ? 1 : 0;
   };
   TerminalRun const run = runOnTerminal(body);
   EXPECT_EQ(run.status, 0);
   // The listing has itself open, as 3.
   EXPECT_THAT(run.shown,
               testing::MatchesRegex("how (/dev/pts/[0-9]+) /dev/pts/[0-9]+ 0  1  2  3 [0-9]+\r\n"));
}

TEST(DtCreateProcess, LeavesNoZombieAfterTheNextStartOrTheEnd)
{
   CapturedStream const captured;
   for (int i = 0; i < 1000; ++i)
      ASSERT_TRUE(DtCreateProcess("true", {}, DtProcessHidden));
   siginfo_t info = {};
   auto const startNone = [&](idtype_t kind, int process)
   {
      EXPECT_FALSE(DtCreateProcess("/none", {}, DtProcessHidden));
      return waitid(kind, static_cast<id_t>(process), &info, WEXITED | WNOWAIT | WNOHANG);
   };
   EXPECT_TRUE(eventually([&] { return startNone(P_ALL, 0) == -1 && errno == ECHILD; }));
   // The application's own are left to it.
   int const own = startChild([] { return 7; });
   EXPECT_TRUE(eventually([&] { return startNone(P_PID, own) == 0 && info.si_pid == own; }));
   EXPECT_EQ(startNone(P_PID, own), 0);
   EXPECT_EQ(ended(own), 7);
   // What a child has started would come to this process.
   prctl(PR_SET_CHILD_SUBREAPER, 1);
   auto const startAndEnd = [&]
   {
      bool const isStarted = DtCreateProcess("true", {}, DtProcessHidden);
      return waitid(P_ALL, 0, &info, WEXITED | WNOWAIT) == 0 && isStarted ? 0 : 1;
   };
   EXPECT_EQ(ended(startChild(startAndEnd)), 0);
   EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
   prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST(DtProcess, HelpsAMainFunction)
{
   char line[] = "  a  b\tc ", empty[] = "";
   int count = 0;
   char ** const words = DtArgv(line, &count);
   EXPECT_EQ(std::vector<std::string>(words, words + count), (std::vector<std::string>{"main", "a", "b\tc"}));
   char const * const kept = words[1];
   EXPECT_EQ(DtArgc(line), 3);
   EXPECT_EQ(DtArgv(empty, nullptr), words);
   EXPECT_EQ(words[1], nullptr);
   EXPECT_EQ(DtArgc(empty), 1);
   EXPECT_STREQ(kept, "a");
   std::string many;
   for (int i = 0; i < 5000; ++i)
      many += "x ";
   EXPECT_STREQ(DtArgv(many.data(), &count)[5000], "x");
   EXPECT_EQ(count, 5001);

   int const list[] = {5, 7, 5, 0, 9};
   for (auto const & [value, index] : {std::pair(5, 0), {7, 1}, {0, -1}, {9, -1}})
      EXPECT_EQ(DtIsInList(list, value), index);
   EXPECT_STREQ(DtOperatingSystem(), "Linux");
   EXPECT_STRNE(DtCompiler(), "");

   for (Fields const & row : tableOf("system/degrees.tsv"))
   {
      char buffer[512];
      EXPECT_EQ(DtDeg2DmsString(std::stod(row[0]), buffer, std::stoi(row[1])), buffer);
      EXPECT_EQ(std::string(buffer).rfind(row[2], 0), 0u) << buffer;
   }
   EXPECT_STREQ(DtDeg2DmsString(12.5), "12:30:00.0");
   EXPECT_EQ(DtDeg2DmsString(1e308), DtDeg2DmsString(-1e308));
}

} // namespace
