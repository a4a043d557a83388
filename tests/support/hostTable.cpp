// SPDX-License-Identifier: MIT
#include "support/hostTable.h"

#include <dlfcn.h>
#include <map>
#include <netdb.h>
#include <set>
#include <stdexcept>

namespace
{

struct Hosts
{
   std::map<std::string, std::vector<std::string>> addresses;
   std::set<std::string> hidden;
   HostTable * table;
};

Hosts * hosts = nullptr;

int askSystem(char const * host, char const * service, addrinfo const * hints, addrinfo ** result)
{
   static auto const system = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
   return system(host, service, hints, result);
}

/// Puts the entries of a literal ahead of `*list`.
int prepend(std::string const & literal, addrinfo ** list)
{
   addrinfo hints = {};
   hints.ai_flags = AI_NUMERICHOST;
   hints.ai_socktype = SOCK_STREAM;
   addrinfo * entry = nullptr;
   int const result = askSystem(literal.empty() ? "127.0.0.1" : literal.c_str(), nullptr, &hints, &entry);
   if (result != 0)
      return result;
   if (literal.empty())
      entry->ai_family = AF_UNSPEC;
   entry->ai_next = *list;
   *list = entry;
   return 0;
}

bool isLiteral(char const * host)
{
   addrinfo hints = {};
   hints.ai_flags = AI_NUMERICHOST;
   addrinfo * entry = nullptr;
   if (askSystem(host, nullptr, &hints, &entry) != 0)
      return false;
   freeaddrinfo(entry);
   return true;
}

} // namespace

HostTable::HostTable()
{
   if (hosts != nullptr)
      throw std::logic_error("there is a HostTable already");
   hosts = new Hosts{{}, {}, this};
}

HostTable::~HostTable()
{
   delete hosts;
   hosts = nullptr;
}

void HostTable::add(std::string const & host, std::vector<std::string> const & addresses)
{
   hosts->addresses[host] = addresses;
}

void HostTable::hideFromOwnFamilies(std::string const & host)
{
   hosts->hidden.insert(host);
}

// Stands ahead of the system's own for the whole program, the library included.
extern "C" int getaddrinfo(char const * host, char const * service, addrinfo const * hints,
                           addrinfo ** result)
{
   if (hosts == nullptr || host == nullptr || isLiteral(host))
      return askSystem(host, service, hints, result);
   hosts->table->queries.push_back(
      {host, service == nullptr ? "" : service, hints->ai_family, hints->ai_socktype, hints->ai_flags});
   auto const known = hosts->addresses.find(host);
   bool const isHidden = (hints->ai_flags & AI_ADDRCONFIG) != 0 && hosts->hidden.count(host) != 0;
   if (known == hosts->addresses.end() || isHidden)
      return EAI_NONAME;
   *result = nullptr;
   for (auto literal = known->second.rbegin(); literal != known->second.rend(); ++literal)
      if (int const failed = prepend(*literal, result))
         return failed;
   return 0;
}
