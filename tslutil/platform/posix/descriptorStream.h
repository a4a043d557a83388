// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tsl::platform
{

/// Opens a descriptor that children don't inherit; -1 on failure.
inline int openDescriptor(char const * name, int flags)
{
   int descriptor = -1;
   do
      descriptor = ::open(name, flags | O_CLOEXEC, 0666);
   while (descriptor < 0 && errno == EINTR);
   return descriptor;
}

/// Gives a file stream, which must be closed, a descriptor, -1 for none. A stream's own open() has no way to
/// keep the descriptor from children, so it is given a buffer that was made for a descriptor which does.
template<class Stream>
void attachDescriptor(Stream & file, int descriptor, std::ios::openmode mode)
{
   if (descriptor >= 0)
      *file.rdbuf() = __gnu_cxx::stdio_filebuf<char>(descriptor, mode);
   if (file.is_open())
      file.clear();
   else
   {
      if (descriptor >= 0)
         ::close(descriptor);
      file.setstate(std::ios::failbit);
   }
}

} // namespace tsl::platform
