// SPDX-License-Identifier: MIT
#pragma once

#include "support/tsv.h"
#include "support/watchdog.h"

#include <functional>
#include <map>
#include <memory>

/// What the scenarios of a table can do. A verb is given its row, in which it stands first, with empty fields
/// behind what it works on, and tells what has come of it. Worlds derive from this and fill in their verbs.
struct World
{
   typedef std::function<std::string(Fields const &)> Verb;

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
      row.resize(8);
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
      };
      std::string const first = tell();
      std::string told = first;
      if (waits && told != world->filled(expected))
         eventually([&] { return (told = tell()) != first; });
      EXPECT_EQ(told, world->filled(expected)) << step;
   }
}
