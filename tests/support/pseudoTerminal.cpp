// SPDX-License-Identifier: MIT
#include "support/pseudoTerminal.h"

#include <csignal>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

PseudoTerminal::PseudoTerminal(std::function<int()> const & child)
   : myMaster(-1), myChild(forkpty(&myMaster, nullptr, nullptr, nullptr))
{
   if (myChild == 0)
      _exit(child());
   if (myChild < 0)
      throw std::runtime_error("no pseudo terminal");
}

PseudoTerminal::~PseudoTerminal()
{
   if (myChild > 0)
   {
      kill(myChild, SIGKILL);
      waitpid(myChild, nullptr, 0);
   }
   close(myMaster);
}

bool PseudoTerminal::shows(std::string const & text)
{
   constexpr int patience = 60000;
   while (myShown.find(text) == std::string::npos)
   {
      pollfd reader = {myMaster, POLLIN, 0};
      char block[512];
      ssize_t const count = poll(&reader, 1, patience) > 0 ? read(myMaster, block, sizeof block) : -1;
      if (count <= 0)
         return false;
      myShown.append(block, static_cast<std::size_t>(count));
   }
   return true;
}

void PseudoTerminal::type(std::string const & text) const
{
   if (write(myMaster, text.data(), text.size()) < 0)
      throw std::runtime_error("nobody reads the pseudo terminal");
}

int PseudoTerminal::wait()
{
   int status = -1;
   shows(std::string(1, '\0'));
   waitpid(std::exchange(myChild, -1), &status, 0);
   return status;
}

int runWithoutTerminal(std::function<int()> const & child)
{
   pid_t const process = fork();
   if (process == 0)
   {
      setsid();
      _exit(child());
   }
   int status = -1;
   waitpid(process, &status, 0);
   return status;
}
