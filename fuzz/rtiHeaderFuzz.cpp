// SPDX-License-Identifier: MIT
// Any bytes as the file of an RTI's library: judged by its header, or passed over without a word.
#include "tslutil/system/tslRtiLibrary.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
   int const file = memfd_create("library", MFD_CLOEXEC);
   if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size))
      std::abort();
   std::string const path = "/proc/self/fd/" + std::to_string(file);
   std::string const head = "Found library in: " + path + ".";
   DtString report;
   bool const fits = DtCheckRtiLibraryFile(DtFilename(path.c_str()), report);
   std::string const text = report.string();
   close(file);
   // The file's name stands ahead of every verdict, and what fits is called so.
   if (text.compare(0, head.size(), head) != 0 || fits != (text.substr(head.size()) == " found!\n"))
      std::abort();
   return 0;
}
