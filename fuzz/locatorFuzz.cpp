// SPDX-License-Identifier: MIT
// Texts in which a user names hosts, addresses and ports: parsed, judged and made into addresses.
#include "tslutil/base/tslString.h"
#include "tslutil/inet/tslInetAddr.h"
#include "tslutil/inet/tslInetAddrString.h"
#include "tslutil/inet/tslInetResLoc.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
   std::string const bytes(reinterpret_cast<char const *>(data), size);
   DtString const locator(bytes.c_str());
   DtString address, suffix;
   int kind = 0;
   DtInetUtils::DtInetAddrFamily const family = DtInetUtils::parseNetResLoc(locator, address, suffix, kind);
   DtInetUtils::parseIpv4NetResLoc(locator, address, suffix, kind);
   DtInetUtils::parseIpv6NetResLoc(locator, address, suffix, kind);
   if (family != DtInetUtils::DtInetFamilyUnspecified)
      DtInetAddr(address.string()).toDtString();
   return 0;
}
