// SPDX-License-Identifier: MIT
#include "tslutil/platform/keyboard.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace tsl::platform
{

namespace
{

constexpr int theKeyboard = STDIN_FILENO;

/// What may end or stop the process while its terminal is changed.
constexpr int theSignals[] = {SIGHUP,  SIGINT, SIGQUIT, SIGTERM, SIGABRT,
                              SIGSEGV, SIGBUS, SIGFPE,  SIGILL,  SIGTSTP};

/// The process that changed the terminal: a forked child has no part in that. 0 while it is as it was.
std::atomic<pid_t> theOwner{0};
termios theModeBefore;

bool isInForeground()
{
   return tcgetpgrp(theKeyboard) == getpgrp();
}

bool isRaw(termios const & mode)
{
   return (mode.c_lflag & (ICANON | ECHO)) == 0 && (mode.c_iflag & ICRNL) == 0;
}

// With the default action back, the signal acts when this returns. Stopped and continued, the process finds
// the terminal as it was and changes it again when it next looks for a key.
void onSignal(int signal)
{
   int const savedErrno = errno;
   restoreKeyboard();
   raise(signal);
   errno = savedErrno;
}

/// Changes from one action to another wherever the first is in force: the application's own stay.
void exchangeActions(void (*from)(int), void (*to)(int))
{
   struct sigaction wanted = {};
   wanted.sa_handler = to;
   wanted.sa_flags = SA_RESTART | SA_ONSTACK;
   sigfillset(&wanted.sa_mask);
   for (int const signal : theSignals)
   {
      struct sigaction present = {};
      if (sigaction(signal, nullptr, &present) == 0 && (present.sa_flags & SA_SIGINFO) == 0 &&
          present.sa_handler == from)
         sigaction(signal, &wanted, nullptr);
   }
}

/// Gives the terminal back at the end of the process.
struct Restorer
{
   Restorer() = default;
   Restorer(Restorer const &) = delete;
   Restorer & operator=(Restorer const &) = delete;
   ~Restorer() { restoreKeyboard(); }
};

/// False without a keyboard. Looks anew each time, since a shell may have given the terminal to another
/// process, and back.
bool makeRaw()
{
   termios mode;
   if (!isInForeground() || tcgetattr(theKeyboard, &mode) != 0)
      return false;
   if (theOwner == getpid() && isRaw(mode))
      return true;
   static Restorer const restorer;
   theOwner = 0;
   theModeBefore = mode;
   theOwner = getpid();
   exchangeActions(SIG_DFL, onSignal);
   mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
   mode.c_iflag &= ~static_cast<tcflag_t>(ICRNL);
   mode.c_cc[VMIN] = 1;
   mode.c_cc[VTIME] = 0;
   return tcsetattr(theKeyboard, TCSANOW, &mode) == 0;
}

/// As of `poll`, with POLLIN alone, and never on a terminal that is gone.
int pollKeyboard(int milliseconds)
{
   pollfd keyboard = {theKeyboard, POLLIN, 0};
   int const count = ::poll(&keyboard, 1, milliseconds);
   return count > 0 ? keyboard.revents == POLLIN : count;
}

} // namespace

int keyWaiting()
{
   int result = 0;
   do
   {
      if (!makeRaw())
         return 0;
      result = pollKeyboard(0);
   } while (result < 0 && errno == EINTR);
   return result;
}

int readKey()
{
   bool const wasRaw = theOwner == getpid();
   unsigned char key = 0;
   ssize_t count = -1;
   // Stopped and continued while it waits, the process has to change the terminal again.
   do
      count = makeRaw() ? pollKeyboard(-1) : 0;
   while ((count < 0 && errno == EINTR) ||
          (count > 0 && (count = ::read(theKeyboard, &key, 1)) < 0 && (errno == EINTR || errno == EAGAIN)));
   if (!wasRaw)
      restoreKeyboard();
   return count > 0 ? key : -1;
}

void restoreKeyboard()
{
   if (theOwner != getpid())
      return;
   theOwner = 0;
   if (isInForeground())
      tcsetattr(theKeyboard, TCSANOW, &theModeBefore);
   exchangeActions(onSignal, SIG_DFL);
}

} // namespace tsl::platform
