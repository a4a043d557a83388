// SPDX-License-Identifier: MIT
#include "tslutil/platform/crash.h"

#include "tslutil/platform/keyboard.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <execinfo.h>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <termios.h>
#include <ucontext.h>
#include <unistd.h>

namespace tsl::platform
{

class CrashInfo
{
public:
   int signal;
   siginfo_t const * details;
   ucontext_t const * context;
};

namespace
{

constexpr int theCrashSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

struct Register
{
   char const * name;
   int index;
};

#if defined(__x86_64__)
constexpr Register theRegisters[] = {
   {"rax", REG_RAX}, {"rbx", REG_RBX}, {"rcx", REG_RCX}, {"rdx", REG_RDX}, {"rsi", REG_RSI},
   {"rdi", REG_RDI}, {"rbp", REG_RBP}, {"rsp", REG_RSP}, {"r8", REG_R8},   {"r9", REG_R9},
   {"r10", REG_R10}, {"r11", REG_R11}, {"r12", REG_R12}, {"r13", REG_R13}, {"r14", REG_R14},
   {"r15", REG_R15}, {"rip", REG_RIP}, {"efl", REG_EFL}, {"err", REG_ERR}, {"cr2", REG_CR2},
};

std::uint64_t registerValue(ucontext_t const & context, int index)
{
   return static_cast<std::uint64_t>(context.uc_mcontext.gregs[index]);
}
#elif defined(__aarch64__)
constexpr Register theRegisters[] = {
   {"x0", 0},   {"x1", 1},   {"x2", 2},   {"x3", 3},   {"x4", 4},   {"x5", 5},   {"x6", 6},
   {"x7", 7},   {"x8", 8},   {"x9", 9},   {"x10", 10}, {"x11", 11}, {"x12", 12}, {"x13", 13},
   {"x14", 14}, {"x15", 15}, {"x16", 16}, {"x17", 17}, {"x18", 18}, {"x19", 19}, {"x20", 20},
   {"x21", 21}, {"x22", 22}, {"x23", 23}, {"x24", 24}, {"x25", 25}, {"x26", 26}, {"x27", 27},
   {"x28", 28}, {"x29", 29}, {"x30", 30}, {"sp", 31},  {"pc", 32},
};

std::uint64_t registerValue(ucontext_t const & context, int index)
{
   mcontext_t const & state = context.uc_mcontext;
   return index < 31 ? state.regs[index] : index == 31 ? state.sp : state.pc;
}
#else
#error "The registers of this processor are not known here."
#endif

std::atomic<CrashFilter> theFilter{nullptr};
std::atomic<pid_t> theCrashedThread{0};
std::atomic<bool> theStackIsTaken{false};
alignas(64) char theStack[64 * 1024];

/// Writes to a descriptor through a small buffer, and keeps the first failure.
class Writer
{
public:
   explicit Writer(int file) : myFile(file), mySize(0), myError(0) {}

   Writer & bytes(char const * text, std::size_t size)
   {
      for (std::size_t i = 0; i < size; ++i)
      {
         if (mySize == sizeof myBuffer)
            flush();
         myBuffer[mySize++] = text[i];
      }
      return *this;
   }

   Writer & text(char const * text) { return bytes(text, std::strlen(text)); }

   Writer & decimal(long number) { return text(DecimalText(number).c_str()); }

   Writer & hexadecimal(std::uint64_t number)
   {
      text("0x");
      int shift = 60;
      while (shift > 0 && (number >> shift) == 0)
         shift -= 4;
      for (; shift >= 0; shift -= 4)
         bytes(&"0123456789abcdef"[(number >> shift) & 0xf], 1);
      return *this;
   }

   /// The first failure's `errno`, 0 for none.
   int flush()
   {
      std::size_t done = 0;
      while (myError == 0 && done < mySize)
      {
         ssize_t const written = ::write(myFile, myBuffer + done, mySize - done);
         if (written > 0)
            done += static_cast<std::size_t>(written);
         else if (written == 0 || errno != EINTR)
            myError = written == 0 ? EIO : errno;
      }
      mySize = 0;
      return myError;
   }

private:
   int myFile;
   std::size_t mySize;
   int myError;
   char myBuffer[512];
};

/// The process's terminal, if the process stands in its foreground: in the background a read would stop it.
class Terminal
{
public:
   Terminal() : myFile(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {}

   ~Terminal()
   {
      if (myFile >= 0)
         ::close(myFile);
   }

   Terminal(Terminal const &) = delete;
   Terminal & operator=(Terminal const &) = delete;

   bool isUsable() const { return myFile >= 0 && tcgetpgrp(myFile) == getpgrp(); }

   int file() const { return myFile; }

   /// Drops what was typed and not yet read.
   void dropInput() const { tcflush(myFile, TCIFLUSH); }

   /// The first character of what is typed next that is not blank; '\0' if that is an empty line, or nothing
   /// can be read any more.
   char answer() const
   {
      char character = ' ';
      while (character == ' ' || character == '\t')
      {
         pollfd reader = {myFile, POLLIN, 0};
         if (::poll(&reader, 1, -1) < 0 && errno == EINTR)
            continue;
         ssize_t const count = ::read(myFile, &character, 1);
         if (count < 0 && errno == EINTR)
            continue;
         if (count != 1)
            return '\0';
      }
      return character;
   }

private:
   int myFile;
};

void writeRegisters(Writer & out, ucontext_t const & context)
{
   out.text("registers\n");
   for (Register const & one : theRegisters)
      out.text("  ").text(one.name).text(" ").hexadecimal(registerValue(context, one.index)).text("\n");
}

void writeMemoryMap(Writer & out)
{
   out.text("map\n");
   int const map = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
   char block[1024];
   ssize_t count = 0;
   while (map >= 0 && ((count = ::read(map, block, sizeof block)) > 0 || (count < 0 && errno == EINTR)))
      out.bytes(block, count > 0 ? static_cast<std::size_t>(count) : 0);
   if (map >= 0)
      ::close(map);
}

void writeReturnAddresses(Writer & out)
{
   out.text("frames\n");
   void * frames[128];
   int const count = backtrace(frames, static_cast<int>(std::size(frames)));
   for (int i = 0; i < count; ++i)
      out.text("  ").hexadecimal(reinterpret_cast<std::uintptr_t>(frames[i])).text("\n");
}

/// Gives the signal back its default action and raises it: blocked as yet, it arrives when the handler
/// returns.
void dieOf(int signal)
{
   struct sigaction action = {};
   action.sa_handler = SIG_DFL;
   sigaction(signal, &action, nullptr);
   raise(signal);
}

// A second crash of the same thread, inside the filter, ends the process; another thread's waits for that
// end.
void onCrash(int signal, siginfo_t * details, void * context)
{
   pid_t const self = gettid();
   pid_t first = 0;
   if (theCrashedThread.compare_exchange_strong(first, self))
   {
      restoreKeyboard();
      CrashInfo info = {signal, details, static_cast<ucontext_t const *>(context)};
      theFilter.load()(&info);
   }
   while (first != 0 && first != self)
      ::pause();
   dieOf(signal);
}

/// Stack overflows can be caught on a stack of its own only. A stack that the thread has already serves.
void giveAlternateStack()
{
   stack_t present = {};
   if (sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0)
      return;
   if (theStackIsTaken.exchange(true))
      return;
   stack_t stack = {};
   stack.ss_sp = theStack;
   stack.ss_size = sizeof theStack;
   sigaltstack(&stack, nullptr);
}

} // namespace

void installCrashFilter(CrashFilter filter)
{
   theFilter = filter;
   // The first call loads the unwinder, which allocates.
   void * frame = nullptr;
   backtrace(&frame, 1);
   giveAlternateStack();
   struct sigaction action = {};
   action.sa_sigaction = onCrash;
   action.sa_flags = SA_SIGINFO | SA_ONSTACK;
   sigemptyset(&action.sa_mask);
   for (int signal : theCrashSignals)
      sigaction(signal, &action, nullptr);
}

bool askInCrash(char const * title, char const * question)
{
   Terminal const terminal;
   if (!terminal.isUsable())
      return false;
   terminal.dropInput();
   Writer(terminal.file()).text("\n").text(title).text(": ").text(question).text(" (y/n) ").flush();
   char const answer = terminal.answer();
   terminal.dropInput();
   return answer == 'y' || answer == 'Y';
}

void tellInCrash(char const * title, std::initializer_list<char const *> pieces)
{
   Terminal const terminal;
   if (!terminal.isUsable())
      return;
   Writer out(terminal.file());
   out.text(title).text(": ");
   for (char const * piece : pieces)
      out.text(piece);
   out.text("\n").flush();
}

int createDumpFile(char const * name)
{
   int file = -1;
   do
      file = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
   while (file < 0 && errno == EINTR);
   return file;
}

// The return addresses come last: the unwinder may wait for a lock that the crashed thread holds.
bool writeCrashDump(int file, CrashInfo const * info)
{
   Writer out(file);
   bool const isFault = info->details->si_code > 0;
   auto const address = reinterpret_cast<std::uintptr_t>(info->details->si_addr);
   out.text("signal ").decimal(info->signal).text("\n");
   out.text("code ").decimal(info->details->si_code).text("\n");
   out.text("address ").hexadecimal(isFault ? address : 0).text("\n");
   out.text("process ").decimal(getpid()).text("\n");
   out.text("thread ").decimal(gettid()).text("\n");
   writeRegisters(out, *info->context);
   writeMemoryMap(out);
   out.flush();
   writeReturnAddresses(out);
   errno = out.flush();
   return errno == 0;
}

void closeDumpFile(int file)
{
   ::close(file);
}

DecimalText::DecimalText(long number) : myStart(sizeof myText - 1)
{
   auto rest = static_cast<unsigned long>(number);
   if (number < 0)
      rest = 0 - rest;
   myText[myStart] = '\0';
   do
      myText[--myStart] = static_cast<char>('0' + rest % 10);
   while ((rest /= 10) != 0);
   if (number < 0)
      myText[--myStart] = '-';
}

} // namespace tsl::platform
