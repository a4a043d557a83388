// SPDX-License-Identifier: MIT
#include "tslutil/platform/dataFile.h"

#include "tslutil/platform/posix/descriptorStream.h"

#include <sys/stat.h>

namespace tsl::platform
{

namespace
{

// Whether it is a plain file or not shows only once it is open; a pipe must not wait for its other end.
int openPlain(char const * name, int flags)
{
   int const descriptor = openDescriptor(name, flags | O_NONBLOCK);
   struct stat status;
   if (descriptor < 0 || (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)))
      return descriptor;
   ::close(descriptor);
   return -1;
}

} // namespace

void openPlainFile(std::ifstream & file, char const * name)
{
   attachDescriptor(file, openPlain(name, O_RDONLY), std::ios::in | std::ios::binary);
}

void openPlainFile(std::ofstream & file, char const * name)
{
   int descriptor = openPlain(name, O_WRONLY | O_CREAT | O_NOFOLLOW);
   if (descriptor >= 0 && ftruncate(descriptor, 0) != 0)
   {
      ::close(descriptor);
      descriptor = -1;
   }
   attachDescriptor(file, descriptor, std::ios::out | std::ios::binary);
}

void deleteFile(char const * name)
{
   ::unlink(name);
}

} // namespace tsl::platform
