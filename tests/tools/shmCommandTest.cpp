// SPDX-License-Identifier: MIT
#include "support/childProcess.h"
#include "support/program.h"
#include "support/skip.h"
#include "tslutil/thread/tslSharedMemoryPool.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace
{

using nlohmann::json;

/// The program's answer, without the blocks' ages.
json blocks(std::string const & action)
{
   json all = Program::report("shm " + action, "");
   for (json & block : all)
   {
      EXPECT_TRUE(block["age"] >= 0 && block["age"] < 120) << block;
      block.erase("age");
   }
   return all;
}

int leaveBehind()
{
   new DtSharedMemoryPoolManager("left behind", 777);
   return raise(SIGKILL);
}

int listAndClean()
{
   if (!takeOwnSharedMemory("1m"))
      return theUnable;
   DtSharedMemoryPoolManager const manager("tsl\x1b/held", 12345);
   EXPECT_EQ(ended(startChild(leaveBehind)), -SIGKILL);
   // None of the library's: it writes its digits large.
   close(open("/dev/shm/tslutil.stranger%2f", O_CREAT | O_RDWR, 0600));
   json const holders = {{{"process", getpid()}, {"program", "toolsTests"}}};
   json const dead = {{"name", "left behind"},
                      {"file", "/dev/shm/tslutil.left behind"},
                      {"bytes", 777},
                      {"isHeld", false},
                      {"holders", json::array()}};
   json const held = {{"name", "tsl\x1b/held"},
                      {"file", "/dev/shm/tslutil.tsl%1B%2Fheld"},
                      {"bytes", 12345},
                      {"isHeld", true},
                      {"holders", holders}};
   EXPECT_EQ(blocks("list"), json::array({dead, held}));
   EXPECT_THAT(Program("shm list").out,
               testing::MatchesRegex("Name +Bytes +Age  Held by\n"
                                     "left behind +777 +[0-9]+ s  nobody\n"
                                     "tsl%1B%2Fheld +12345 +[0-9]+ s  [0-9]+ toolsTests\n"));
   EXPECT_EQ(blocks("clean"), json::array({dead}));
   EXPECT_EQ(blocks("list"), json::array({held}));
   EXPECT_EQ(ended(startChild(leaveBehind)), -SIGKILL);
   for (std::string const told : {"removed left behind, 777 bytes\n", "nothing to remove\n"})
      EXPECT_EQ(Program("shm clean").out, told);
   EXPECT_EQ(access("/dev/shm/tslutil.stranger%2f", F_OK), 0);
   return testing::Test::HasFailure() ? 1 : 0;
}

TEST(TslShm, ListsBlocksWithTheirHoldersAndRemovesThoseThatNobodyHolds)
{
   int const result = ended(startChild(listAndClean));
   SKIP_BECAUSE(result == theUnable ? "needs mounts of its own" : "");
   EXPECT_EQ(result, 0);
}

} // namespace
