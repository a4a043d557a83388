// SPDX-License-Identifier: MIT
#include "tslutil/platform/process.h"

#include "tslutil/platform/files.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace tsl::platform
{

namespace
{

constexpr char theBlanks[] = " \t";

std::mutex theForgottenMutex;

// Never destroyed: a thread may start a process while this one ends.
std::vector<pid_t> & forgotten()
{
   static std::vector<pid_t> & only = *new std::vector<pid_t>;
   return only;
}

/// The caller holds the mutex. One that the application has waited for itself is gone too.
void reapForgotten()
{
   std::vector<pid_t> & processes = forgotten();
   auto const isGone = [](pid_t process) { return waitpid(process, nullptr, WNOHANG) != 0; };
   processes.erase(std::remove_if(processes.begin(), processes.end(), isGone), processes.end());
}

/// Who takes over the children at the end of the process, or goes on when the library is unloaded, may not
/// care for those that have ended.
struct AtExit
{
   AtExit() = default;
   AtExit(AtExit const &) = delete;
   AtExit & operator=(AtExit const &) = delete;

   ~AtExit()
   {
      // A child that was forked amid another thread's call finds it locked for ever.
      std::unique_lock<std::mutex> const guard(theForgottenMutex, std::try_to_lock);
      if (guard)
         reapForgotten();
   }
};

/// Takes one word with its quotes off a text that begins with it.
std::string takeWord(std::string const & text, std::size_t & position)
{
   std::string word;
   bool isQuoted = false;
   while (position < text.size() && (isQuoted || text.find_first_of(theBlanks, position) != position))
   {
      std::size_t const begin = position;
      while (position < text.size() && text[position] == '\\')
         ++position;
      std::size_t const backslashes = position - begin;
      bool const isBeforeQuote = position < text.size() && text[position] == '"';
      word.append(isBeforeQuote ? backslashes / 2 : backslashes, '\\');
      if (isBeforeQuote && backslashes % 2 == 0)
         isQuoted = !isQuoted;
      else if (isBeforeQuote || (backslashes == 0 && position < text.size()))
         word += text[position];
      else
         continue;
      ++position;
   }
   return word;
}

std::vector<std::string> wordsFrom(std::string const & text, std::size_t position)
{
   std::vector<std::string> words;
   while ((position = text.find_first_not_of(theBlanks, position)) != std::string::npos)
      words.push_back(takeWord(text, position));
   return words;
}

bool isExecutable(std::string const & path)
{
   struct stat status = {};
   return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

/// The file of a program, empty if there is none.
std::string findProgram(std::string const & name)
{
   if (name.find('/') != std::string::npos)
      return isExecutable(name) ? name : "";
   char const * const variable = std::getenv("PATH");
   std::string const list = std::string(variable != nullptr ? variable : "/bin:/usr/bin") + listSeparator;
   for (std::size_t begin = 0, end; (end = list.find(listSeparator, begin)) != std::string::npos;
        begin = end + 1)
   {
      std::string const path = (end == begin ? "." : list.substr(begin, end - begin)) + pathSeparator + name;
      if (!name.empty() && isExecutable(path))
         return path;
   }
   return "";
}

struct Program
{
   std::string file; ///< empty if there is none
   std::vector<std::string> arguments;
};

Program programOf(std::string const & commandLine)
{
   std::size_t const begin = std::min(commandLine.find_first_not_of(theBlanks), commandLine.size());
   Program result;
   std::size_t end = begin;
   if (commandLine[begin] == '"')
   {
      result.arguments.push_back(takeWord(commandLine, end));
      result.file = findProgram(result.arguments[0]);
   }
   while (result.arguments.empty() && end < commandLine.size())
   {
      end = std::min(commandLine.find_first_of(theBlanks, end + 1), commandLine.size());
      std::string const name = commandLine.substr(begin, end - begin);
      result.file = findProgram(name);
      if (!result.file.empty())
         result.arguments.push_back(name);
   }
   for (std::string & word : wordsFrom(commandLine, end))
      result.arguments.push_back(std::move(word));
   return result;
}

/// What the system is to do in the child before the program begins.
class Preparation
{
public:
   Preparation(bool shown, std::string const & directory)
   {
      posix_spawnattr_init(&attributes);
      posix_spawn_file_actions_init(&actions);
      sigset_t all;
      sigset_t none;
      sigfillset(&all);
      sigemptyset(&none);
      posix_spawnattr_setsigdefault(&attributes, &all);
      posix_spawnattr_setsigmask(&attributes, &none);
      int const flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | (shown ? 0 : POSIX_SPAWN_SETSID);
      posix_spawnattr_setflags(&attributes, static_cast<short>(flags));
      if (!shown)
      {
         posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDWR, 0);
         posix_spawn_file_actions_adddup2(&actions, 0, 1);
         posix_spawn_file_actions_adddup2(&actions, 0, 2);
      }
      posix_spawn_file_actions_addclosefrom_np(&actions, 3);
      if (!directory.empty())
         posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
   }
   ~Preparation()
   {
      posix_spawn_file_actions_destroy(&actions);
      posix_spawnattr_destroy(&attributes);
   }
   Preparation(Preparation const &) = delete;
   Preparation & operator=(Preparation const &) = delete;

   posix_spawnattr_t attributes;
   posix_spawn_file_actions_t actions;
};

} // namespace

int startProcess(std::string const & commandLine, bool shown, std::string const & directory,
                 unsigned int & error)
{
   Program program = programOf(commandLine);
   error = ENOENT;
   if (program.file.empty())
      return 0;
   if (!directory.empty() && program.file[0] != pathSeparator)
      program.file = workingDirectory() + pathSeparator + program.file;
   std::vector<char *> arguments;
   for (std::string & argument : program.arguments)
      arguments.push_back(argument.data());
   arguments.push_back(nullptr);
   Preparation const preparation(shown, directory);
   pid_t process = 0;
   error = static_cast<unsigned int>(posix_spawn(&process, program.file.c_str(), &preparation.actions,
                                                 &preparation.attributes, arguments.data(), environ));
   return error == 0 ? process : 0;
}

void forgetProcess(int process)
{
   static AtExit const atExit;
   std::lock_guard<std::mutex> const guard(theForgottenMutex);
   forgotten().push_back(process);
}

void reapProcesses()
{
   std::lock_guard<std::mutex> const guard(theForgottenMutex);
   reapForgotten();
}

int processId()
{
   return ::getpid();
}

int parentProcessId()
{
   return ::getppid();
}

} // namespace tsl::platform
