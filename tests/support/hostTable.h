// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <vector>

/// Answers the process's look-ups of host names in place of the system while it lives: every name that isn't
/// in the table is unknown. Used by one thread.
struct HostTable
{
   HostTable() { current = this; }
   ~HostTable() { current = nullptr; }
   HostTable(HostTable &&) = delete;

   /// The literal addresses of each host, in the order of the answer; "" stands for an entry of no known
   /// family.
   std::map<std::string, std::vector<std::string>> addresses;
   /// A host that is unknown to look-ups which are limited to the machine's own families.
   std::string hidden;
   /// The look-ups of names: host, service, and family, socket type and flags in the system's numbers.
   std::vector<std::string> queries;

   /// The one that lives, if any.
   static HostTable * current;
};
