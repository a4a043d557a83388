// SPDX-License-Identifier: MIT
#include "tslutil/system/tslConsole.h"

#include "support/capturedStream.h"
#include "support/pseudoTerminal.h"
#include "support/watchdog.h"
#include "tslutil/base/tslMiniDumper.h"
#include "tslutil/system/tslSelect.h"
#include "tslutil/time/tslClock.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace
{

bool isRaw()
{
   termios mode = {};
   EXPECT_EQ(tcgetattr(0, &mode), 0);
   bool const hasChanged = (mode.c_lflag & (ICANON | ECHO)) == 0 && (mode.c_iflag & ICRNL) == 0;
   EXPECT_EQ(hasChanged, (mode.c_lflag & ECHO) == 0);
   EXPECT_NE(mode.c_lflag & ISIG, 0u);
   return hasChanged;
}

void say(char const * text)
{
   EXPECT_GT(write(1, text, std::strlen(text)), 0);
}

/// Runs on a terminal of its own, once what is typed goes in as keys.
void onTerminal(void (*body)(), std::string const & keys, std::string const & shown)
{
   auto const child = [body]
   {
      EXPECT_EQ(DtKbHit(), 0);
      EXPECT_TRUE(isRaw());
      say("?");
      EXPECT_TRUE(eventually([] { return DtKbHit() > 0; }));
      body();
      DtRestoreKbHit();
      EXPECT_FALSE(isRaw());
      return testing::Test::HasFailure() ? 1 : 0;
   };
   TerminalRun const run = runOnTerminal(child, "?", keys);
   EXPECT_EQ(run.status, 0) << run.shown;
   EXPECT_EQ(run.shown, "?" + shown);
}

TEST(DtConsole, ReadsKeysAndLinesWithAndWithoutEcho)
{
   onTerminal(
      []
      {
         EXPECT_EQ(DtGetCh(), 'a');
         EXPECT_EQ(DtPollBlockingInputChar(), 'b');
         EXPECT_EQ(DtGetCh(), 13);
         EXPECT_EQ(DtGetCh(), 0xe4);
         EXPECT_STREQ(DtPollBlockingInputLine(), "first\r");
         CapturedStream warnings;
         struct
         {
            int size;
            char const * text;
         } const rows[] = {{6, "123"}, {7, "5678\r"},    {3, ""},    {2, ""},
                           {1, ""},    {0, "---------"}, {8, "90\r"}};
         for (auto const & row : rows)
         {
            char buffer[] = "---------";
            DtPollBlockingInputLine(buffer, row.size);
            EXPECT_STREQ(buffer, row.text);
            EXPECT_EQ(buffer[row.size], '-');
            EXPECT_EQ(warnings.text().rfind("DtPollBlockingInputLine: exceeded buffer size\n", 0) == 0,
                      row.size > 0 && row.size < 7);
            warnings.clear();
         }
         DtRestoreKbHit();
         // Alone it leaves the terminal as it was.
         EXPECT_EQ(DtGetCh(), 'c');
         EXPECT_FALSE(isRaw());
         EXPECT_EQ(DtPollBlockingInputChar(), 0);
         EXPECT_EQ(DtPollBlockingInputLine(), nullptr);
      },
      "ab\r\xe4"
      "first\r12345678\rx90\rc",
      "bfirst\r12345678\rx90\r");
}

TEST(DtConsole, IsWaitedForBesideSockets)
{
   onTerminal(
      []
      {
         int sockets[2];
         EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
         DtSelectParam param;
         param.addRead(sockets[0]);
         param.addRead(0);
         EXPECT_EQ(write(sockets[1], "x", 1), 1);
         // The key comes first, alone; without time nothing is looked at.
         EXPECT_EQ(param.select(10), 1);
         EXPECT_TRUE(param.canRead(0) && !param.canRead(sockets[0]));
         EXPECT_EQ(param.select(0), 0);
         EXPECT_TRUE(!param.canRead(0) && param.canRead(sockets[0]));
         EXPECT_EQ(DtGetCh(), 'k');
         EXPECT_EQ(param.select(10), 1);
         EXPECT_TRUE(!param.canRead(0) && param.canRead(sockets[0]));
         char byte;
         EXPECT_EQ(read(sockets[0], &byte, 1), 1);
         // When the time is over the set holds what is no keyboard, ready or not.
         EXPECT_EQ(param.select(0.3), 0);
         EXPECT_TRUE(!param.canRead(0) && param.canRead(sockets[0]));
         DtClose(sockets[0]), DtClose(sockets[1]);
      },
      "k", "");
}

/// How a process ends or stops that has the terminal changed, in the foreground of its own group.
int statusOf(void (*body)(), bool foreground)
{
   std::signal(SIGTTOU, SIG_IGN);
   pid_t const child = fork();
   setpgid(child, child);
   if (child == 0)
   {
      alarm(60);
      if (foreground)
         tcsetpgrp(0, getpid());
      std::signal(SIGTTOU, SIG_DFL);
      body();
      std::exit(testing::Test::HasFailure() ? 1 : 0);
   }
   int status = 0;
   waitpid(child, &status, WUNTRACED);
   if (WIFSTOPPED(status))
   {
      EXPECT_FALSE(isRaw());
      kill(child, SIGCONT);
      int last = 0;
      EXPECT_EQ(waitpid(child, &last, WUNTRACED), child);
      EXPECT_EQ(last, 0);
      if (WIFSTOPPED(last))
         kill(child, SIGKILL);
   }
   tcsetpgrp(0, getpgrp());
   EXPECT_FALSE(isRaw());
   return status;
}

template<int signal>
void raiseRaw()
{
   EXPECT_EQ(DtKbHit(), 0);
   EXPECT_TRUE(isRaw());
   std::raise(signal);
   // After a stop it is changed again when it is used again.
   EXPECT_FALSE(isRaw());
   EXPECT_EQ(DtKbHit(), 0);
   EXPECT_TRUE(isRaw());
}

TEST(DtConsole, PutsTheTerminalBackAndNeverTouchesItFromTheBackground)
{
   auto const child = []
   {
      EXPECT_EQ(statusOf([] { EXPECT_TRUE(DtKbHit() == 0 && isRaw()); }, true), 0);
      EXPECT_EQ(statusOf(raiseRaw<SIGINT>, true), SIGINT);
      EXPECT_EQ(statusOf(raiseRaw<SIGHUP>, true), SIGHUP);
      EXPECT_EQ(WTERMSIG(statusOf([] { DtMiniDumper("sim"), DtKbHit(), std::abort(); }, true)), SIGABRT);
      EXPECT_TRUE(WIFSTOPPED(statusOf(raiseRaw<SIGTSTP>, true)));
      auto const findNone = []
      {
         EXPECT_EQ(DtKbHit(), 0);
         EXPECT_EQ(DtGetCh(), -1);
         EXPECT_EQ(DtPollBlockingInputChar(), 0);
         EXPECT_EQ(DtPollBlockingInputLine(), nullptr);
      };
      EXPECT_EQ(statusOf(findNone, false), 0);
      dup2(open("/dev/null", O_RDONLY), 0);
      findNone();
      return testing::Test::HasFailure() ? 1 : 0;
   };
   TerminalRun const run = runOnTerminal(child, "diagnostic file? (y/n) ", "n\n");
   EXPECT_EQ(run.status, 0) << run.shown;
}

/// What select leaves in its sets, of one descriptor: "rwe".
struct Sets
{
   Sets(int descriptor, char const * in) : fd(descriptor)
   {
      for (int i = 0; i < 3; ++i)
      {
         FD_ZERO(&sets[i]);
         if (std::strchr(in, "rwe"[i]) != nullptr)
            FD_SET(fd, &sets[i]);
      }
   }
   int select(double seconds) { return DtSelect(0, &sets[0], &sets[1], &sets[2], seconds); }
   std::string left() const
   {
      std::string result;
      for (int i = 0; i < 3; ++i)
         result.append(FD_ISSET(fd, &sets[i]) ? 1 : 0, "rwe"[i]);
      return result;
   }
   int fd;
   fd_set sets[3];
};

TEST(DtSelect, WaitsForDescriptorsAndSleepsWithoutInput)
{
   int sockets[2];
   ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
   int const closed = dup(sockets[0]);
   close(closed);
   DtClock const clock;
   struct
   {
      int fd;
      char const * in;
      double seconds;
      int result;
      char const * left;
      double least;
      char const * then;
   } const rows[] = {{sockets[0], "r", 0.05, 0, "", 0.05, ""},
                     {sockets[0], "r", -1, 0, "", 0, ""},
                     {sockets[0], "", 0.05, 0, "", 0.049, ""},
                     // Ready, and not looked at.
                     {sockets[0], "w", 0.05, 0, "w", 0.049, ""},
                     {closed, "r", 10, -1, "r", 0, "x"},
                     {sockets[0], "rwe", 10, 2, "rw", 0, ""}};
   for (auto const & row : rows)
   {
      Sets sets(row.fd, row.in);
      double const begin = clock.elapsedRealTime();
      EXPECT_EQ(sets.select(row.seconds), row.result);
      double const passed = clock.elapsedRealTime() - begin;
      EXPECT_TRUE(passed >= row.least && passed < 5) << passed;
      EXPECT_EQ(sets.left(), row.left);
      EXPECT_EQ(write(sockets[1], row.then, std::strlen(row.then)),
                static_cast<ssize_t>(std::strlen(row.then)));
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
   param.addRead(-1);
   param.addRead(high);
   param.addRead(high);
   EXPECT_EQ(param.select(0.01), 0);
   EXPECT_FALSE(param.canRead(high));
   EXPECT_EQ(write(pipes[1], "x", 1), 1);
   std::vector<int> more;
   for (int i = 0; i < 63; ++i)
      param.addRead(more.emplace_back(dup(high)));
   EXPECT_EQ(param.select(10), 64);
   param.addRead(pipes[0]);
   EXPECT_EQ(param.select(10), 64);
   EXPECT_TRUE(param.canRead(high) && param.canRead(more[62]) && !param.canRead(pipes[0]));
   param.delRead(more[0]);
   param.delRead(more[0]);
   param.addRead(pipes[0]);
   EXPECT_EQ(param.select(10), 64);
   EXPECT_TRUE(param.canRead(pipes[0]) && !param.canRead(more[0]));
   more.insert(more.end(), {high, pipes[0], pipes[1]});
   for (int & one : more)
      DtClose(one);
}

} // namespace
