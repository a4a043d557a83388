// SPDX-License-Identifier: MIT
// Recordings: files from anywhere, taken apart down to PDUs.
#include "tools/capture.h"
#include "tools/pdu.h"
#include "tools/usageError.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
   static std::string const path = "/tmp/captureFuzz." + std::to_string(getpid());
   std::FILE * const file = std::fopen(path.c_str(), "wb");
   if (!file || std::fwrite(data, 1, size, file) != size || std::fclose(file) != 0)
      std::abort();
   try
   {
      std::vector<Pdu> pdus;
      for (std::vector<char> const & datagram : readCapture(path).datagrams)
         splitRow(datagram, pdus);
   }
   catch (UsageError const &)
   {
   }
   std::remove(path.c_str());
   return 0;
}
