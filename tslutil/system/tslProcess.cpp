// SPDX-License-Identifier: MIT
#include "tslutil/system/tslProcess.h"

#include "tslutil/base/tslNotify.h"
#include "tslutil/platform/process.h"

#include <cmath>
#include <cstdio>
#include <deque>
#include <limits>
#include <string>

namespace
{

/// The process's id, or 0 with `error` set. Takes note of those that have ended meanwhile.
int start(DtFilename const & program, std::vector<char *> const & arguments, DtProcessInteractivity_enum how,
          DtFilename const & directory, unsigned int & error)
{
   tsl::platform::reapProcesses();
   std::string commandLine(program.string());
   if (!arguments.empty())
      commandLine += ' ';
   for (char const * argument : arguments)
      commandLine.append(argument != nullptr ? argument : "").append(1, ' ');
   return tsl::platform::startProcess(commandLine, how == DtProcessShown, directory.string(), error);
}

std::vector<std::string> wordsOf(char const * line)
{
   std::vector<std::string> words;
   std::string const text(line != nullptr ? line : "");
   for (std::size_t begin, end = 0; (begin = text.find_first_not_of(' ', end)) != std::string::npos;)
   {
      end = std::min(text.find(' ', begin), text.size());
      words.push_back(text.substr(begin, end - begin));
   }
   return words;
}

/// The integral part, the nearest end of the range beyond it; 0 for no number.
int truncated(double number)
{
   constexpr double low = std::numeric_limits<int>::min();
   constexpr double high = std::numeric_limits<int>::max();
   return std::isnan(number) ? 0 : static_cast<int>(std::fmin(std::fmax(number, low), high));
}

} // namespace

bool DtCreateProcess(DtFilename const & program, std::vector<char *> const & arguments,
                     DtProcessInteractivity_enum how)
{
   unsigned int error = 0;
   int const process = start(program, arguments, how, DtFilename(), error);
   if (process != 0)
      tsl::platform::forgetProcess(process);
   else
      DtInfo << "Create Process Failed with error (" << error << ")\n";
   return process != 0;
}

bool DtCreateProcessAndReturnHandles(DtFilename const & program, std::vector<char *> const & arguments,
                                     DtProcessInteractivity_enum how, std::pair<void *, void *> & handles,
                                     DtFilename const & directory)
{
   unsigned int error = 0;
   std::intptr_t const process = start(program, arguments, how, directory, error);
   handles.first = handles.second = reinterpret_cast<void *>(process);
   return process != 0;
}

int DtGetPid()
{
   return tsl::platform::processId();
}

int DtGetPPid()
{
   return tsl::platform::parentProcessId();
}

int DtArgc(char * commandLine)
{
   return static_cast<int>(wordsOf(commandLine).size()) + 1;
}

// Nobody but the callers knows how long they use what they got: nothing of it is ever released or moved.
char ** DtArgv(char * commandLine, int * count)
{
   static char main[] = "main";
   static std::deque<std::string> & copies = *new std::deque<std::string>;
   static std::deque<std::vector<char *>> & arrays =
      *new std::deque<std::vector<char *>>(1, std::vector<char *>(64));
   std::vector<std::string> const words = wordsOf(commandLine);
   if (arrays.back().size() < words.size() + 2)
      arrays.emplace_back(2 * words.size() + 2);
   char ** const array = arrays.back().data();
   array[0] = main;
   for (std::size_t i = 0; i < words.size(); ++i)
      array[i + 1] = copies.emplace_back(words[i]).data();
   array[words.size() + 1] = nullptr;
   if (count != nullptr)
      *count = static_cast<int>(words.size()) + 1;
   return array;
}

char * DtDeg2DmsString(double degrees, char * buffer, int decimals)
{
   int const whole = truncated(degrees);
   double const minutes = std::fabs((degrees - whole) * 60);
   int const wholeMinutes = truncated(minutes);
   double const seconds = (minutes - wholeMinutes) * 60;
   int const width = decimals == 0 ? 2 : decimals + 3;
   std::sprintf(buffer, "%d:%2.2d:%0*.*lf", whole, wholeMinutes, width, decimals, seconds);
   return buffer;
}

char * DtDeg2DmsString(double degrees)
{
   // The widest double has 309 digits.
   static char buffer[512];
   return DtDeg2DmsString(degrees, buffer, 1);
}

int DtIsInList(int const * list, int value)
{
   for (int i = 0; list != nullptr && list[i] != 0; ++i)
   {
      if (list[i] == value)
         return i;
   }
   return -1;
}

char const * DtOperatingSystem()
{
   return tsl::platform::operatingSystemName;
}

char const * DtCompiler()
{
#if defined(__clang__)
   return __VERSION__;
#elif defined(__GNUC__)
   return "GNU C++ " __VERSION__;
#else
   return "C++ compiler";
#endif
}
