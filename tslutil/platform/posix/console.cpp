// SPDX-License-Identifier: MIT
#include "tslutil/platform/console.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace tsl::platform
{

namespace
{

sigset_t only(int signal)
{
   sigset_t set;
   sigemptyset(&set);
   sigaddset(&set, signal);
   return set;
}

} // namespace

BrokenPipeGuard::BrokenPipeGuard()
{
   sigset_t const brokenPipe = only(SIGPIPE);
   sigset_t savedMask;
   pthread_sigmask(SIG_BLOCK, &brokenPipe, &savedMask);
   myChangedIt = sigismember(&savedMask, SIGPIPE) == 0;
}

// Where the application blocks the signal itself, it stays pending as it would without this guard.
BrokenPipeGuard::~BrokenPipeGuard()
{
   if (!myChangedIt)
      return;
   int const savedErrno = errno;
   sigset_t const brokenPipe = only(SIGPIPE);
   timespec const atOnce = {};
   while (sigtimedwait(&brokenPipe, nullptr, &atOnce) == -1 && errno == EINTR)
   {
   }
   pthread_sigmask(SIG_UNBLOCK, &brokenPipe, nullptr);
   errno = savedErrno;
}

// A terminal has no Close command of its own to remove.
std::intptr_t openConsole(bool /*disableClose*/)
{
   return ::open("/dev/tty", O_WRONLY | O_NOCTTY | O_CLOEXEC);
}

void writeConsole(std::intptr_t console, char const * text, std::size_t size)
{
   // A terminal may be set to stop background processes that write; one that blocks the signal may write.
   sigset_t const stop = only(SIGTTOU);
   sigset_t savedMask;
   pthread_sigmask(SIG_BLOCK, &stop, &savedMask);
   while (size > 0)
   {
      ssize_t const written = ::write(static_cast<int>(console), text, size);
      if (written < 0 && errno == EINTR)
         continue;
      if (written <= 0)
         break;
      text += written;
      size -= static_cast<std::size_t>(written);
   }
   pthread_sigmask(SIG_SETMASK, &savedMask, nullptr);
}

void closeConsole(std::intptr_t console)
{
   ::close(static_cast<int>(console));
}

} // namespace tsl::platform
