// SPDX-License-Identifier: MIT
#pragma once

#include "support/networkNamespace.h"
#include "support/tsv.h"
#include "support/watchdog.h"
#include "tslutil/base/tslException.h"
#include "tslutil/inet/tslInetEndpoint.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

/// What the scenarios of a table can do. A verb is given its row, in which it stands first, with empty fields
/// behind what it works on, and tells what has come of it. Worlds derive from this and add verbs of their
/// own.
struct World
{
   typedef std::function<std::string(Fields const &)> Verb;

   World()
   {
      always("network", [this](Fields const &) { inside.emplace(network.emplace()); });
      always("ip", [this](Fields const & row) { network->ip(row[1]); });
      always("link", [this](Fields const & row)
             { NetworkNamespace::connect(*network, row[1], far ? *far : far.emplace(), row[1]); });
      always("own", [this](Fields const & row) { network->addAddress(row[1], row[2]); });
   }

   /// Adds a verb that always does.
   void always(std::string const & verb, std::function<void(Fields const &)> const & call)
   {
      verbs[verb] = [call](Fields const & row) { return call(row), "done"; };
   }

   /// A text of the table with what stands for "{a}" and the like put in.
   std::string filled(std::string text) const
   {
      for (auto const & [name, value] : names)
         for (std::size_t at = 0; (at = text.find("{" + name + "}")) != std::string::npos;)
            text.replace(at, name.size() + 2, value);
      return text;
   }

   std::map<std::string, Verb> verbs;
   std::map<std::string, std::string> names;
   /// The network that the scenario runs in, if not in that of the machine, and one that it has links to.
   std::optional<NetworkNamespace> network, far;
   std::optional<NetworkNamespace::Inside> inside;
   Watchdog const watchdog{240};
};

/// Runs the scenarios of a table. A row of one field begins one, in a world of its own. All others are steps:
/// a verb, what it works on, and what it has to tell; behind "await" it is tried again for as long as it
/// tells the same.
///
///    A datagram is heard
///    udp	a	127.0.0.1 9	1, 0 open
///    deliver	hi	127.0.0.1 {a}	done
///    await	recv	a	..	2, 0 open, got 1/2 'hi'
template<class OneWorld>
void runSteps(std::string const & table)
{
   std::unique_ptr<OneWorld> world;
   for (Fields row : tableOf(table))
   {
      if (row.size() == 1)
      {
         world.reset();
         world = std::make_unique<OneWorld>();
         continue;
      }
      bool const waits = row[0] == "await";
      row.erase(row.begin(), row.begin() + (waits ? 1 : 0));
      std::string const step = testing::PrintToString(row), expected = row.back();
      ASSERT_NE(world->verbs.count(row[0]), 0u) << step;
      row.back().clear();
      row.resize(std::max<std::size_t>(row.size(), 8));
      for (std::string & field : row)
         field = world->filled(field);
      auto const tell = [&]
      {
         try
         {
            return world->verbs[row[0]](row);
         }
         catch (std::exception const & error)
         {
            return std::string("throws ") + error.what();
         }
         catch (DtException const & error)
         {
            return std::string("throws ") + error.message();
         }
      };
      std::string const first = tell();
      std::string told = first;
      if (waits && told != world->filled(expected))
         eventually([&] { return (told = tell()) != first; });
      EXPECT_EQ(told, world->filled(expected)) << step;
   }
}

/// The endpoint of "127.0.0.1 9 tcp": an address, a port, and a protocol, UDP if there is none.
inline DtInetEndpoint endpointOf(std::string const & text)
{
   std::istringstream words(text);
   std::string address, protocol;
   unsigned short port = 0;
   words >> address >> port >> protocol;
   std::map<std::string, DtInetProtocol> const others = {{"tcp", DtInetProtoTcp}, {"none", DtInetProtoNone}};
   auto const other = others.find(protocol);
   return {DtInetAddr(address.c_str()), port, other == others.end() ? DtInetProtoUdp : other->second};
}

/// The operators that hold between two values, as "!= <".
template<class Value>
std::string relation(Value const & left, Value const & right)
{
   return std::string(left == right ? "==" : "") + (left != right ? "!=" : "") + (left < right ? " <" : "") +
          (left > right ? " >" : "");
}

/// "yes" if each of the values is equal to itself, and less than all that follow, by all operators.
template<class Value>
std::string ascends(std::vector<Value> const & values)
{
   for (std::size_t i = 0; i < values.size(); ++i)
      for (std::size_t j = 0; j < values.size(); ++j)
         if (relation(values[i], values[j]) != (i == j ? "==" : i < j ? "!= <" : "!= >"))
            return std::to_string(i) + " " + relation(values[i], values[j]) + " " + std::to_string(j);
   return "yes";
}
