// SPDX-License-Identifier: MIT
#include "support/program.h"
#include "tslutil/thread/tslSharedMemoryPool.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

/// The row of a name in the program's answer; null without one.
json rowOf(std::string const & action, std::string const & name)
{
   for (json const & row : Program::report("shm " + action, ""))
   {
      if (row["name"] == name)
         return row;
   }
   return {};
}

TEST(TslShm, ListsBlocksWithTheirHoldersAndRemovesThoseThatNobodyHolds)
{
   std::string const name = "tsl\x1b/" + std::to_string(getpid());
   std::string const left = name + " left behind";
   std::string const stranger = "/dev/shm/tslutil.stranger%2f" + std::to_string(getpid());
   DtSharedMemoryPoolManager const manager(name.c_str(), 12345);
   if (pid_t const child = fork(); child == 0)
   {
      new DtSharedMemoryPoolManager(left.c_str(), 777);
      raise(SIGKILL);
   }
   else
      waitpid(child, nullptr, 0);
   close(open(stranger.c_str(), O_CREAT | O_RDWR, 0600));

   json const held = rowOf("list", name);
   json const holders = {{{"process", getpid()}, {"program", "toolsTests"}}};
   EXPECT_EQ(json({held["bytes"], held["isHeld"], held["holders"]}), json({12345, true, holders}));
   EXPECT_LT(held["age"], 60);
   json const dead = rowOf("list", left);
   EXPECT_EQ(json({dead["bytes"], dead["isHeld"], dead["holders"]}), json({777, false, json::array()}));
   std::string const shown = "tsl%1B%2F" + std::to_string(getpid());
   Program const table("shm list");
   EXPECT_THAT(table.out, testing::ContainsRegex("Name +Bytes +Age +Held by"));
   EXPECT_THAT(table.out, testing::ContainsRegex(shown + " +12345 +[0-9]+ s  [0-9]+ toolsTests\n"));
   EXPECT_THAT(table.out, testing::ContainsRegex(shown + " left behind +777 +[0-9]+ s  nobody\n"));

   EXPECT_EQ(rowOf("clean", left), dead);
   EXPECT_EQ(rowOf("list", left), json());
   EXPECT_EQ(rowOf("list", name), held);
   EXPECT_EQ(access(stranger.c_str(), F_OK), 0) << "a file that is none of the library's";
   unlink(stranger.c_str());
   EXPECT_THAT(Program("shm clean").out, Not(HasSubstr(shown)));
   Program const help("shm --help");
   EXPECT_EQ(help.code, 0);
   EXPECT_THAT(help.out, HasSubstr("Example"));
   EXPECT_EQ(Program("shm").code, 2);
}

} // namespace
