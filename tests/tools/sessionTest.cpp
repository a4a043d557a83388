// SPDX-License-Identifier: MIT
// Sessions with the program tsl, and what must come of each command. In the text of a session "$ " begins a
// command of the shell and "> " goes on with it; then comes what it must print, the lines on standard error
// behind "2> ", and its code in brackets unless that is 0. "..." stands for anything, "# " begins a comment.
// The commands share a folder; $DATA is that of the tests' data and $TSL the program's file.
#include "support/temporaryFolder.h"
#include "support/watchdog.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string_view>
#include <vector>

namespace
{

bool isAsTold(std::string_view text, std::string_view told)
{
   std::size_t const gap = told.find("...");
   if (gap == told.npos || text.substr(0, gap) != told.substr(0, gap))
      return text == told;
   told.remove_prefix(gap + 3);
   for (std::size_t at = gap; at <= text.size(); ++at)
      if (isAsTold(text.substr(at), told))
         return true;
   return false;
}

std::string outcome(TemporaryFolder const & folder, std::string const & command)
{
   std::string const script = "export DATA=" TEST_DATA_DIR " TSL=" TSL_PROGRAM " code=; cd " + folder.path() +
                              "; tsl() { $TSL \"$@\"; }\n(" + command + ") >.out 2>.err || code=[$?]\n" +
                              "{ sed 's/^/2> /' .err; echo $code | grep .; } >>.out";
   EXPECT_NE(std::system(script.c_str()), -1);
   return folder.read(".out");
}

class TslSession : public testing::TestWithParam<char const *>
{
};

TEST_P(TslSession, GoesAsTold)
{
   Watchdog const watchdog(240);
   TemporaryFolder const folder;
   std::ifstream session(std::string(TEST_DATA_DIR "/tools/sessions/") + GetParam());
   std::vector<std::pair<std::string, std::string>> steps;
   for (std::string line; std::getline(session, line);)
   {
      std::string const mark = line.substr(0, 2);
      if (mark == "$ ")
         steps.emplace_back();
      if (mark == "$ " || mark == "> ")
         steps.back().first += line.substr(2) + "\n";
      else if (mark != "# ")
         steps.back().second += line + "\n";
   }
   EXPECT_FALSE(steps.empty()) << "there is no such session";
   for (auto const & [command, told] : steps)
   {
      std::string const text = outcome(folder, command);
      EXPECT_TRUE(isAsTold(text, told)) << "$ " << command << text << "is not as told:\n" << told;
   }
}

INSTANTIATE_TEST_SUITE_P(, TslSession, testing::Values("crash", "exchange", "fom", "lib", "shm", "transfer"),
                         [](auto const & session) { return std::string(session.param); });

} // namespace
