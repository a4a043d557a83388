// SPDX-License-Identifier: MIT
// Datagrams from anywhere, between good PDUs: those must come through, whatever stands between them.
#include "fuzz/hostileRoad.h"
#include "tslutil/base/tslNotify.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
   static HostileRoad road;
   DtNotifyLevel = 0;
   if (!road.survives(std::string(reinterpret_cast<char const *>(data), size)))
      std::abort();
   return 0;
}
