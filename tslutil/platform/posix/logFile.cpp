// SPDX-License-Identifier: MIT
#include "tslutil/platform/logFile.h"

#include <cerrno>
#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tsl::platform
{

namespace
{

int openDescriptor(char const * name)
{
   int descriptor = -1;
   do
      descriptor = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
   while (descriptor < 0 && errno == EINTR);
   return descriptor;
}

} // namespace

// The stream's own open() has no way to keep the descriptor from children, so the stream is given a buffer
// that was made for a descriptor which does.
void openForOutput(std::ofstream & file, char const * name)
{
   int const descriptor = openDescriptor(name);
   if (descriptor >= 0)
      *file.rdbuf() = __gnu_cxx::stdio_filebuf<char>(descriptor, std::ios::out);
   if (file.is_open())
      file.clear();
   else
   {
      if (descriptor >= 0)
         ::close(descriptor);
      file.setstate(std::ios::failbit);
   }
}

std::string localTimeText(std::time_t time)
{
   static bool const zoneIsSet = (tzset(), true);
   static_cast<void>(zoneIsSet);
   std::tm parts = {};
   char text[64] = "";
   if (localtime_r(&time, &parts) == nullptr || asctime_r(&parts, text) == nullptr)
      return std::string();
   std::string result(text);
   return result.substr(0, result.find('\n'));
}

} // namespace tsl::platform
