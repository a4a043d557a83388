// SPDX-License-Identifier: MIT
// Address text through all judges and conversions, and the names of senders as a system might give them. What
// is said of one text in several ways has to agree.
#include "tslutil/inet/boostAddress.h"
#include "tslutil/inet/endpointAccess.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace DtInetUtils;

namespace
{

void require(bool holds)
{
   if (!holds)
      std::abort();
}

void judgeText(DtString const & text)
{
   DtString address;
   DtString suffix;
   int kind = 0;
   DtInetAddrFamily const family = parseNetResLoc(text, address, suffix, kind);
   DtInetAddrFamily const judged = addrStringFamily(text);
   require(judged == family || judged == DtInetFamilyUnspecified);
   bool const isMulticast = isMulticastAddrString(text);
   bool const isLoopback = isLoopbackAddrString(text);
   bool const isOther = isLinkLocalAddrString(text) || isBroadcastAddrString(text);
   require(convertStringToNetmask(text) <= 0xFFFFFFFF && convertStringToPrefixLen(text) <= 32);
   DtHexStringToInetAddr(text.c_str());
   if (family == DtInetFamilyUnspecified)
   {
      require(!isMulticast && !isLoopback && !isOther);
      return;
   }
   DtInetAddr const value(address, suffix);
   require(value.isMulticast() == isMulticast && value.isLoopback() == isLoopback);
   require(DtInetAddr(value.toDtString().c_str()) == value);
   require(DtInetAddr(value.toU128(), family) == value);
   DtInetEndpoint const endpoint(value, static_cast<unsigned short>(suffix.toInt()), DtInetProtoUdp);
   require(endpoint == DtInetEndpoint(endpoint) && !(endpoint < endpoint));
   require(endpoint.toDtString().length() > value.toDtString().length());
}

/// Reads senders from the bytes, one after the other into one endpoint, and orders each with the one before.
void takeSenders(std::uint8_t const * data, std::size_t size)
{
   DtInetEndpoint from;
   while (size > 0)
   {
      sockaddr_storage name = {};
      std::size_t const taken = std::min(size, sizeof(sockaddr_in6));
      std::memcpy(&name, data, taken);
      name.ss_family = *data % 3 == 0 ? AF_INET : *data % 3 == 1 ? AF_INET6 : name.ss_family;
      DtInetEndpoint const before(from);
      tsl::EndpointAccess::setSender(from, reinterpret_cast<sockaddr const *>(&name), taken);
      DtInetEndpoint const expected(from.address(), from.port(), DtInetProtoUdp);
      require(from == expected && std::string(from.toDtString(true)) == expected.toDtString(true).c_str());
      require((before < from) + (before > from) + (before == from) == 1 ||
              before.protocol() == DtInetProtoNone);
      data += taken;
      size -= taken;
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
   judgeText(std::string(reinterpret_cast<char const *>(data), size).c_str());
   takeSenders(data, size);
   return 0;
}
