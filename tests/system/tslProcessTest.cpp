// SPDX-License-Identifier: MIT
#include "tslutil/system/tslProcess.h"

#include "support/capturedStream.h"
#include "support/childProcess.h"
#include "support/pseudoTerminal.h"
#include "support/temporaryFolder.h"
#include "support/watchdog.h"

#include <gmock/gmock.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

/// Starts a program and waits for its end, its status; -1 if it does not start.
int runProgram(std::string const & program, std::vector<std::string> words,
               std::string const & directory = "", DtProcessInteractivity_enum how = DtProcessHidden)
{
   std::vector<char *> arguments;
   for (std::string & word : words)
      arguments.push_back(word.data());
   int status = -1;
   std::pair<void *, void *> handles(&status, nullptr);
   bool const isStarted = DtCreateProcessAndReturnHandles(program.c_str(), arguments, how, handles,
                                                          DtFilename(directory.c_str()));
   EXPECT_EQ(handles.first, handles.second);
   EXPECT_EQ(isStarted, handles.first != nullptr);
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
   TemporaryFolder const folder;
   std::string const out = folder.path("out"), path = folder.path("a b"), shorter = folder.path("a");
   std::string const script =
      "for word in \"$0\" \"$@\"; do printf '%s|' \"$word\"; done >" + out + "; pwd >>" + out;
   std::string const here = std::filesystem::current_path().string() + "\n";
   struct
   {
      std::string program;
      std::vector<std::string> arguments;
      std::string directory, got, written; ///< the last a script that is there from now on
   } const rows[] = {
      {path,
       {"1", "2  3", "\"4  5\"6", "7\\8", "\\\"9\\\\\"0 \""},
       "",
       path + "|1|2|3|4  56|7\\8|\"9\\0 |" + here,
       "a b"},
      {"\"" + path + "\"1", {}, folder.path(), path + "1|" + folder.path() + "\n", "a b1"},
      {"\"" + path + "\" 1", {"\"\""}, "", path + "|1||" + here, "a b"},
      {path, {}, "", shorter + "|b|" + here, "a"},
      {"a b", {"c"}, "/", shorter + "|b|c|/\n", "a b"},
   };
   std::string const savedPath = std::getenv("PATH");
   setenv("PATH", (folder.path() + ":" + savedPath).c_str(), 1);
   for (auto const & row : rows)
   {
      writeScript(folder, row.written, script);
      std::filesystem::remove(out);
      EXPECT_EQ(runProgram(row.program, row.arguments, row.directory), 0) << row.program;
      EXPECT_EQ(folder.read("out"), row.got);
   }
   setenv("PATH", savedPath.c_str(), 1);
   EXPECT_EQ(runProgram(folder.path("none"), {}), -1);
   EXPECT_EQ(runProgram("", {}), -1);
   EXPECT_EQ(runProgram(path, {}, folder.path("none")), -1);
   CapturedStream info;
   DtNotifyLevel = 2;
   EXPECT_FALSE(DtCreateProcess(out.c_str(), {nullptr}, DtProcessShown));
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
   CapturedStream const info;
   for (int i = 0; i < 1000; ++i)
      ASSERT_TRUE(DtCreateProcess("true", {}, DtProcessHidden));
   siginfo_t ended = {};
   auto const startNone = [&](idtype_t kind, int process)
   {
      EXPECT_FALSE(DtCreateProcess("/none", {}, DtProcessHidden));
      return waitid(kind, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT | WNOHANG);
   };
   EXPECT_TRUE(eventually([&] { return startNone(P_ALL, 0) == -1 && errno == ECHILD; }));
   // The application's own are left to it.
   int const own = startChild([] { return 7; });
   EXPECT_TRUE(eventually([&] { return startNone(P_PID, own) == 0 && ended.si_pid == own; }));
   EXPECT_EQ(startNone(P_PID, own), 0);
   EXPECT_EQ(::ended(own), 7);
   // What a child has started would come to this process.
   prctl(PR_SET_CHILD_SUBREAPER, 1);
   EXPECT_EQ(::ended(startChild(
                [&]
                {
                   bool const isStarted = DtCreateProcess("true", {}, DtProcessHidden);
                   return waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT) == 0 && isStarted ? 0 : 1;
                })),
             0);
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

   std::tuple<double, int, char const *> const degrees[] = {{12.5, 2, "12:30:00.00"},
                                                            {12.5, 0, "12:30:00"},
                                                            {-0.5, 1, "0:30:00.0"},
                                                            {-12.26, 1, "-12:15:36.0"},
                                                            {1e10, 0, "2147483647:2147483647:"},
                                                            {std::nan(""), 0, "0:00:nan"}};
   for (auto const & [number, decimals, text] : degrees)
   {
      char buffer[512];
      EXPECT_EQ(DtDeg2DmsString(number, buffer, decimals), buffer);
      EXPECT_EQ(std::string(buffer).rfind(text, 0), 0u) << buffer;
   }
   EXPECT_STREQ(DtDeg2DmsString(12.5), "12:30:00.0");
   EXPECT_EQ(DtDeg2DmsString(1e308), DtDeg2DmsString(-1e308));
}

} // namespace
