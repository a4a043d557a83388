// SPDX-License-Identifier: MIT
#include "support/pseudoTerminal.h"

#include "support/childProcess.h"
#include "tslutil/base/tslMiniDumper.h"

#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

TerminalRun runOnTerminal(std::function<int()> const & child, std::string const & question,
                          std::string const & answer)
{
   TerminalRun run = {-1, ""};
   int master = -1, slave = -1;
   openpty(&master, &slave, nullptr, nullptr, nullptr);
   pid_t const process = startChild([&] { return close(master), login_tty(slave), child(); });
   close(slave);
   bool isAnswered = false;
   char block[512];
   for (ssize_t count; (count = read(master, block, sizeof block)) > 0;)
   {
      run.shown.append(block, static_cast<std::size_t>(count));
      if (!isAnswered && run.shown.find(question) != std::string::npos)
         isAnswered = write(master, answer.data(), answer.size()) >= 0;
   }
   waitpid(process, &run.status, 0);
   close(master);
   return run;
}

TerminalRun runToCrash(std::string const & folder, char const * name, void (*crash)(),
                       std::string const & answer)
{
   auto const child = [&]
   {
      rlimit const noCore = {0, 0};
      setrlimit(RLIMIT_CORE, &noCore);
      DtMiniDumper{name};
      if (chdir(folder.c_str()) == 0)
         crash();
      return 0;
   };
   return runOnTerminal(child, "(y/n) ", answer);
}
