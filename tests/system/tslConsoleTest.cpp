// SPDX-License-Identifier: MIT
#include "tslutil/system/tslConsole.h"

#include "support/capturedStream.h"
#include "support/childProcess.h"
#include "support/pseudoTerminal.h"
#include "support/tsv.h"
#include "support/watchdog.h"
#include "tslutil/base/tslMiniDumper.h"
#include "tslutil/system/tslSelect.h"
#include "tslutil/time/tslClock.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace
{

bool isRaw()
{
   termios mode = {};
   EXPECT_EQ(tcgetattr(0, &mode), 0);
   EXPECT_NE(mode.c_lflag & ISIG, 0u);
   int const cooked = bool(mode.c_lflag & ICANON) + bool(mode.c_lflag & ECHO) + bool(mode.c_iflag & ICRNL);
   EXPECT_EQ(cooked % 3, 0);
   return cooked == 0;
}

void makeRaw()
{
   EXPECT_TRUE(DtKbHit() == 0 && isRaw());
}

/// Runs on a terminal of its own, once what is typed goes in as keys.
void onTerminal(void (*body)(), std::string const & keys, std::string const & shown)
{
   auto const child = [body]
   {
      makeRaw();
      EXPECT_EQ(write(1, "?", 1), 1);
      EXPECT_TRUE(eventually([] { return DtKbHit() > 0; }));
      body();
      DtRestoreKbHit();
      EXPECT_FALSE(isRaw());
      return testing::Test::HasFailure() ? 1 : 0;
   };
   TerminalRun const run = runOnTerminal(child, "?", keys);
   EXPECT_EQ(std::pair(run.status, run.shown), std::pair(0, "?" + shown));
}

TEST(DtConsole, ReadsKeysAndLinesWithAndWithoutEcho)
{
   auto const readAll = []
   {
      std::vector<int> const keys = {DtGetCh(), DtPollBlockingInputChar(), DtGetCh(), DtGetCh()};
      EXPECT_EQ(keys, (std::vector<int>{'a', 'b', 13, 0xe4}));
      EXPECT_STREQ(DtPollBlockingInputLine(), "first\r");
      CapturedStream warnings;
      std::string lines;
      for (int const size : {6, 7, 3, 2, 1, 0, 8})
      {
         char buffer[] = "---------";
         DtPollBlockingInputLine(buffer, size);
         EXPECT_EQ(buffer[size], '-');
         lines += buffer + (warnings.text().empty() ? "." : ": " + warnings.text());
         warnings.clear();
      }
      std::string const exceeded = ": DtPollBlockingInputLine: exceeded buffer size\n";
      EXPECT_EQ(lines, "123" + exceeded + "5678\r." + exceeded + exceeded + exceeded + "---------.90\r.");
      DtRestoreKbHit();
      // Alone it leaves the terminal as it was.
      EXPECT_TRUE(DtGetCh() == 'c' && !isRaw());
      EXPECT_TRUE(DtPollBlockingInputChar() == 0 && DtPollBlockingInputLine() == nullptr);
   };
   std::string const lines = "first\r12345678\rx90\r";
   onTerminal(readAll, "ab\r\xe4" + lines + "c", "b" + lines);
}

TEST(DtConsole, IsWaitedForBesideSockets)
{
   auto const waitForBoth = []
   {
      int sockets[2];
      EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
      DtSelectParam param;
      param.addRead(sockets[0]);
      param.addRead(0);
      auto const selected = [&](double seconds)
      {
         std::string const result = std::to_string(param.select(seconds));
         return result + (param.canRead(0) ? " key" : "") + (param.canRead(sockets[0]) ? " socket" : "");
      };
      EXPECT_EQ(write(sockets[1], "x", 1), 1);
      // The key comes first, alone; without time nothing is looked at.
      EXPECT_EQ(selected(10), "1 key");
      EXPECT_EQ(selected(0), "0 socket");
      EXPECT_EQ(DtGetCh(), 'k');
      EXPECT_EQ(selected(10), "1 socket");
      char byte;
      EXPECT_EQ(read(sockets[0], &byte, 1), 1);
      // When the time is over the set holds what is no keyboard, ready or not.
      EXPECT_EQ(selected(0.3), "0 socket");
      DtClose(sockets[0]), DtClose(sockets[1]);
   };
   onTerminal(waitForBoth, "k", "");
}

/// How a process ends or stops that has the terminal changed, in the foreground of its own group. One that
/// stops is to end well once it goes on.
int statusOf(void (*body)(), bool foreground = true)
{
   std::signal(SIGTTOU, SIG_IGN);
   auto const run = [&]
   {
      setpgid(0, 0);
      if (foreground)
         tcsetpgrp(0, getpid());
      std::signal(SIGTTOU, SIG_DFL);
      body();
      return testing::Test::HasFailure() ? 1 : 0;
   };
   pid_t const child = startChild(run);
   int status = 0;
   waitpid(child, &status, WUNTRACED);
   EXPECT_FALSE(isRaw());
   if (WIFSTOPPED(status))
   {
      kill(child, SIGCONT);
      EXPECT_EQ(ended(child), 0);
   }
   tcsetpgrp(0, getpgrp());
   EXPECT_FALSE(isRaw());
   return status;
}

template<int signal>
void raiseRaw()
{
   makeRaw();
   std::raise(signal);
   // After a stop it is changed again when it is used again.
   EXPECT_FALSE(isRaw());
   makeRaw();
}

void findNone()
{
   EXPECT_TRUE(DtKbHit() == 0 && DtGetCh() == -1);
   EXPECT_TRUE(DtPollBlockingInputChar() == 0 && DtPollBlockingInputLine() == nullptr);
}

TEST(DtConsole, PutsTheTerminalBackAndNeverTouchesItFromTheBackground)
{
   auto const child = []
   {
      EXPECT_EQ(statusOf(makeRaw), 0);
      EXPECT_EQ(statusOf(raiseRaw<SIGINT>), SIGINT);
      EXPECT_EQ(statusOf(raiseRaw<SIGHUP>), SIGHUP);
      EXPECT_EQ(WTERMSIG(statusOf([] { DtMiniDumper("sim"), DtKbHit(), std::abort(); })), SIGABRT);
      EXPECT_TRUE(WIFSTOPPED(statusOf(raiseRaw<SIGTSTP>)));
      EXPECT_EQ(statusOf(findNone, false), 0);
      dup2(open("/dev/null", O_RDONLY), 0);
      findNone();
      return testing::Test::HasFailure() ? 1 : 0;
   };
   TerminalRun const run = runOnTerminal(child, "diagnostic file? (y/n) ", "n\n");
   EXPECT_EQ(run.status, 0) << run.shown;
}

TEST(DtSelect, WaitsForDescriptorsAndSleepsWithoutInput)
{
   int sockets[2];
   ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
   std::string const setNames = "rwe";
   int const closed = dup(sockets[0]);
   close(closed);
   DtClock const clock;
   for (Fields const & row : tableOf("system/selects.tsv"))
   {
      int const fd = row[0] == "closed" ? closed : sockets[0];
      EXPECT_TRUE(row[0] != "ready" || write(sockets[1], "x", 1) == 1);
      fd_set sets[3] = {};
      for (char const set : row[1])
         FD_SET(fd, &sets[setNames.find(set)]);
      double const begin = clock.elapsedRealTime();
      EXPECT_EQ(DtSelect(0, &sets[0], &sets[1], &sets[2], std::stod(row[2])), std::stoi(row[3]));
      double const passed = clock.elapsedRealTime() - begin;
      EXPECT_TRUE(passed >= std::stod(row[5]) && passed < 5) << passed;
      std::string left;
      for (std::size_t i = 0; i < 3; ++i)
         left.append(FD_ISSET(fd, &sets[i]) ? 1 : 0, setNames[i]);
      EXPECT_EQ(left, row[4]);
   }
   EXPECT_EQ(DtSelect(0, nullptr, nullptr, nullptr, 0), 0);
   for (int i = 0; i < 3; ++i)
      DtClose(sockets[i % 2]);
   EXPECT_EQ(sockets[0] + sockets[1], -2);
}

TEST(DtSelectParam, HoldsSixtyFourDescriptorsOfAnySize)
{
   int pipes[2];
   ASSERT_EQ(pipe2(pipes, O_CLOEXEC), 0);
   int const high = fcntl(pipes[0], F_DUPFD_CLOEXEC, 1500);
   if (high < 0)
      GTEST_SKIP() << "needs descriptors above 1500";
   DtSelectParam param;
   for (int const one : {-1, high, high})
      param.addRead(one);
   EXPECT_TRUE(param.select(0.01) == 0 && !param.canRead(high));
   EXPECT_EQ(write(pipes[1], "x", 1), 1);
   std::vector<int> more;
   for (int i = 0; i < 63; ++i)
      param.addRead(more.emplace_back(dup(high)));
   param.addRead(pipes[0]);
   EXPECT_EQ(param.select(10), 64);
   EXPECT_TRUE(param.canRead(high) && param.canRead(more[62]) && !param.canRead(pipes[0]));
   param.delRead(more[0]), param.delRead(more[0]);
   param.addRead(pipes[0]);
   EXPECT_EQ(param.select(10), 64);
   EXPECT_TRUE(param.canRead(pipes[0]) && !param.canRead(more[0]));
   more.insert(more.end(), {high, pipes[0], pipes[1]});
   for (int & one : more)
      DtClose(one);
}

} // namespace
