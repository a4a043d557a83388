// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

/// Answers the process's look-ups of host names in place of the system while it lives. Literal addresses, and
/// no name at all, are still the system's; every other name is unknown unless it was added. Used by one
/// thread.
class HostTable
{
public:
   /// What was asked for, in the system's numbers.
   struct Query
   {
      std::string host;
      std::string service;
      int family;
      int socketType;
      int flags;
   };

   HostTable();
   ~HostTable();
   HostTable(HostTable const &) = delete;
   HostTable & operator=(HostTable const &) = delete;

   /// A host with these addresses, literals in the order of the answer; an empty one stands for an entry of
   /// no known family.
   void add(std::string const & host, std::vector<std::string> const & addresses);
   /// Makes a host unknown to look-ups that are limited to the machine's own families.
   void hideFromOwnFamilies(std::string const & host);

   /// The look-ups of names, in order.
   std::vector<Query> queries;
};
