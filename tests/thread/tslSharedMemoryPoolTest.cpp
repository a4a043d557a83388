// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslSharedMemoryPool.h"

#include "support/childProcess.h"
#include "support/skip.h"
#include "tslutil/base/tslException.h"

#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace
{

typedef DtSharedMemoryPoolManager Manager;
typedef DtSharedMemoryPoolClient Client;
using std::filesystem::exists;

char const theMissing[] = "DtSharedMemoryPoolClient::join has error with OpenFileMapping: 2";

/// A name that no other process uses but the children of this one, and its file.
std::string const theProcess = std::to_string(getpid());
DtString const theName(("test/" + theProcess + "%").c_str());
std::string const theFile = "/dev/shm/tslutil.test%2F" + theProcess + "%25";

auto throwsText(std::string const & text)
{
   return testing::Throws<DtException>(testing::Property(&DtException::message, testing::StrEq(text)));
}

auto const at = [](auto const & pool) { return static_cast<char *>(pool.address()); };

TEST(DtSharedMemoryPool, EndsWithTheLastProcessHoweverItEnds)
{
   auto const killed = []
   {
      static Manager const & manager = *new Manager(theName, 4096);
      std::strcpy(at(manager), "of a process that is killed");
      return raise(SIGKILL);
   };
   auto const next = []
   {
      EXPECT_THAT([] { Client{theName}; }, throwsText(theMissing));
      static Manager const & manager = *new Manager(theName, 100000);
      static Client const & client = *new Client(theName);
      EXPECT_EQ(std::string(at(manager), 100000), std::string(100000, '\0'));
      EXPECT_NE(client.address(), manager.address());
      // A child with everything inherited ends, and takes nothing away.
      EXPECT_TRUE(ended(startChild([] { return 3; })) == 3 && exists(theFile));
      return testing::Test::HasFailure() ? 1 : 0;
   };
   for (int i = 0; i < 100; ++i)
   {
      ASSERT_EQ(ended(startChild(killed)), -SIGKILL);
      ASSERT_TRUE(exists(theFile));
      // The next is a manager at once, or first finds out that there is nothing to join.
      ASSERT_EQ(ended(startChild([&] { return i % 2 == 0 ? next() : *at(Manager(theName, 4096)); })), 0);
      ASSERT_FALSE(exists(theFile));
   }
}

TEST(DtSharedMemoryPool, IsWholeForAllWhoComeAndGoAtOnce)
{
   constexpr char text[] = "all or nothing";
   auto const come = [&]
   {
      Manager const manager(theName, 1 << 20);
      auto & users = *reinterpret_cast<std::atomic<int> *>(at(manager));
      char * const place = at(manager) + (1 << 20) - sizeof text;
      if (users++ == 0)
         std::strcpy(place, text);
      for (int i = 0; i < 1000 && std::strcmp(place, text) != 0; ++i)
         usleep(1000);
      return std::strcmp(place, text);
   };
   for (int round = 0; round < 40; ++round)
   {
      std::vector<pid_t> crowd(6);
      for (pid_t & one : crowd)
         one = startChild(come);
      for (pid_t const one : crowd)
         ASSERT_EQ(ended(one), 0);
      ASSERT_FALSE(exists(theFile));
   }
}

/// Leaves this process room for so much more of a resource; 0 lifts the limit.
bool limit(__rlimit_resource what, rlim_t more)
{
   rlim_t used = 0;
   std::ifstream("/proc/self/statm") >> used;
   used = what == RLIMIT_AS ? used * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) : static_cast<rlim_t>(dup(0));
   rlimit limits = {};
   getrlimit(what, &limits);
   limits.rlim_cur = more == 0 ? limits.rlim_max : std::min(used + more, limits.rlim_max);
   return setrlimit(what, &limits) == 0;
}

TEST(DtSharedMemoryPool, TellsWhatFailedByItsNumberAndLeavesNothing)
{
   DtString const tooLong(std::string(300, 'x').c_str());
   struct
   {
      DtString name;
      unsigned long size;
      std::function<bool()> shorten;
      std::string text;
   } const rows[] = {
      {theName, 0, [] { return true; }, " create has error with CreateFileMapping: 22"},
      {tooLong, 1, [] { return true; }, " create has error with CreateFileMapping: 36"},
      {theName, 1, [] { return limit(RLIMIT_NOFILE, 1); }, " create has error with CreateFileMapping: 24"},
      {theName, 1, [] { return limit(RLIMIT_NOFILE, 2); }, " has error with OpenFileMapping: 24"},
      {theName, 1 << 28, [] { return limit(RLIMIT_AS, 1 << 26); }, "  has error with MapViewOfFile: 12"},
      {theName, 1 << 21, [] { return takeOwnSharedMemory("1m"); },
       " create has error with CreateFileMapping: 28"}};
   auto const make = [](DtString const & name, unsigned long size) { return [=] { Manager(name, size); }; };
   int result = 0;
   for (auto const & row : rows)
   {
      auto const create = [&]
      {
         // A sanitizer's first look at a class takes descriptors.
         Manager(theName + "warm", 1);
         EXPECT_THAT(make(theName, 0), throwsText("DtSharedMemoryPoolManager()" + rows[0].text));
         if (!row.shorten())
            return theUnable;
         EXPECT_THAT(make(row.name, row.size), throwsText("DtSharedMemoryPoolManager()" + row.text));
         limit(RLIMIT_NOFILE, 0), limit(RLIMIT_AS, 0);
         EXPECT_FALSE(exists(theFile));
         std::memset(Manager(theName, 1 << 20).address(), 1, 1 << 20);
         return testing::Test::HasFailure() ? 1 : 0;
      };
      result = ended(startChild(create));
      std::filesystem::remove(theFile + "warm"); // it may lie beneath what a child has mounted
      EXPECT_TRUE(result == 0 || result == theUnable) << row.text;
      EXPECT_FALSE(exists(theFile));
   }
   SKIP_BECAUSE(result == theUnable ? "needs mounts of its own" : "");
}

TEST(DtSharedMemoryPool, IsSharedUnderItsNameAndOutlivesItsManager)
{
   // This process stays a user of the name.
   DtString const name(theName + "shared");
   std::string const file = theFile + "shared";
   auto first = std::make_unique<Manager>(name, (1ul << 32) + 5000);
   Client const client(name);
   EXPECT_NE(client.address(), first->address());
   EXPECT_EQ(std::string(at(*first), 5000), std::string(5000, '\0'));
   std::strcpy(at(*first) + 4900, "from the manager");
   EXPECT_STREQ(at(client) + 4900, "from the manager");
   // The second asks for less, and joins the first.
   EXPECT_STREQ(at(Manager(name, 1)) + 4900, "from the manager");
   EXPECT_EQ(std::filesystem::file_size(file), 5000u);
   EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
   first.reset();
   auto const openFiles = []
   { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
   auto const before = openFiles();
   for (int i = 0; i < 50; ++i)
      Manager(name, 1);
   EXPECT_EQ(openFiles(), before);
   EXPECT_THAT([] { Client{theName + "other"}; }, throwsText(theMissing));
   auto const other = [&]
   {
      std::strcpy(at(Client(name)), "from another process");
      return 7;
   };
   EXPECT_EQ(ended(startChild(other)), 7);
   EXPECT_STREQ(at(Client(name)), "from another process");
}

} // namespace
