// SPDX-License-Identifier: MIT
#include "tslutil/platform/lookup.h"

#include "tslutil/platform/socketError.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace tsl::platform
{

namespace
{

using AddressList = std::unique_ptr<addrinfo, void (*)(addrinfo *)>;

char const * nullIfEmpty(char const * text)
{
   return text != nullptr && *text != '\0' ? text : nullptr;
}

addrinfo hintsOf(HostQuery const & query)
{
   addrinfo hints = {};
   hints.ai_family = query.family == 4 ? AF_INET : query.family == 6 ? AF_INET6 : AF_UNSPEC;
   if (query.traffic == HostTraffic::stream)
   {
      hints.ai_socktype = SOCK_STREAM;
      hints.ai_protocol = IPPROTO_TCP;
   }
   else if (query.traffic == HostTraffic::datagram)
   {
      hints.ai_socktype = SOCK_DGRAM;
      hints.ai_protocol = IPPROTO_UDP;
   }
   if (nullIfEmpty(query.service) != nullptr)
      hints.ai_flags = AI_NUMERICSERV;
   return hints;
}

int ask(HostQuery const & query, addrinfo const & hints, AddressList & list)
{
   int result = 0;
   addrinfo * first = nullptr;
   do
      result = getaddrinfo(nullIfEmpty(query.host), nullIfEmpty(query.service), &hints, &first);
   while (result == EAI_SYSTEM && errno == EINTR);
   list.reset(result == 0 ? first : nullptr);
   return result;
}

/// Whether the limit to the machine's own families may be what made a look-up fail.
bool mayBeForWantOfFamilies(int result)
{
   return result != 0 && result != EAI_AGAIN && result != EAI_MEMORY && result != EAI_SYSTEM;
}

HostAddress addressOf(addrinfo const & entry)
{
   HostAddress address = {};
   if (entry.ai_family == AF_INET)
   {
      sockaddr_in name;
      std::memcpy(&name, entry.ai_addr, sizeof name);
      address.family = 4;
      std::memcpy(address.bytes, &name.sin_addr, sizeof name.sin_addr);
      return address;
   }
   sockaddr_in6 name;
   std::memcpy(&name, entry.ai_addr, sizeof name);
   address.family = 6;
   std::memcpy(address.bytes, &name.sin6_addr, sizeof name.sin6_addr);
   address.scope = name.sin6_scope_id;
   return address;
}

} // namespace

int lookUpHost(HostQuery const & query, std::vector<HostAddress> & found)
{
   found.clear();
   AddressList list(nullptr, freeaddrinfo);
   addrinfo hints = hintsOf(query);
   hints.ai_flags |= AI_ADDRCONFIG;
   int result = ask(query, hints, list);
   if (mayBeForWantOfFamilies(result))
   {
      // With loopback alone the system counts no family as its own, and refuses even literal addresses.
      hints.ai_flags &= ~AI_ADDRCONFIG;
      result = ask(query, hints, list);
   }
   noteLookupResult(result);
   for (addrinfo const * entry = list.get(); entry != nullptr; entry = entry->ai_next)
      if (entry->ai_family == AF_INET || entry->ai_family == AF_INET6)
         found.push_back(addressOf(*entry));
   return result;
}

std::uint32_t looseIpv4(char const * text)
{
   return ntohl(inet_addr(text));
}

} // namespace tsl::platform
