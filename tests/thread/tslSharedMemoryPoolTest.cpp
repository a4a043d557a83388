// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslSharedMemoryPool.h"

#include "support/skip.h"
#include "tslutil/base/tslException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace
{

typedef DtSharedMemoryPoolManager Manager;
typedef DtSharedMemoryPoolClient Client;

static_assert(std::has_virtual_destructor_v<Manager> && std::has_virtual_destructor_v<Client>);

std::string const theProcess = std::to_string(getpid());

/// A name that no other process uses but the children of this one.
DtString uniqueName(char const * end = "")
{
   return DtString(("test/" + theProcess + "%" + end).c_str());
}

std::filesystem::path fileOf(char const * end = "")
{
   return "/dev/shm/tslutil.test%2F" + theProcess + "%25" + end;
}

/// The message of what `join` throws.
std::string thrownBy(std::function<void()> const & join)
{
   try
   {
      join();
   }
   catch (DtException const & exception)
   {
      return exception.message();
   }
   return "nothing";
}

/// A process that runs `body`, ends with what it returns, and does at its end what processes do.
pid_t start(std::function<int()> const & body)
{
   pid_t const child = fork();
   if (child == 0)
   {
      alarm(60);
      int result = 99;
      thrownBy([&] { result = body(); });
      std::exit(result);
   }
   return child;
}

/// What a process ended with; minus the signal's number if that killed it.
int ended(pid_t child)
{
   int status = 0;
   waitpid(child, &status, 0);
   return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

char * at(Manager const & manager)
{
   return static_cast<char *>(manager.address());
}

TEST(DtSharedMemoryPool, IsSharedUnderItsNameAndOutlivesItsManager)
{
   DtString const name(uniqueName());
   auto first = std::make_unique<Manager>(name, (1ul << 32) + 5000);
   Client const client(name);
   EXPECT_NE(client.address(), first->address());
   EXPECT_EQ(std::string(at(*first), 5000), std::string(5000, '\0'));
   std::strcpy(at(*first) + 4900, "from the manager");
   EXPECT_STREQ(static_cast<char *>(client.address()) + 4900, "from the manager");
   // The second asks for less, and joins the first.
   EXPECT_STREQ(at(Manager(name, 1)) + 4900, "from the manager");
   EXPECT_EQ(std::filesystem::file_size(fileOf()), 5000u);
   EXPECT_EQ(std::filesystem::status(fileOf()).permissions(), std::filesystem::perms(0600));
   first.reset();
   auto const openFiles = []
   { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
   auto const before = openFiles();
   for (int i = 0; i < 50; ++i)
      Manager(name, 1);
   EXPECT_EQ(openFiles(), before);
   EXPECT_EQ(thrownBy([&] { Client{uniqueName("other")}; }),
             "DtSharedMemoryPoolClient::join has error with OpenFileMapping: 2");
   auto const other = [&]
   {
      std::strcpy(static_cast<char *>(Client(name).address()), "from another process");
      return 7;
   };
   EXPECT_EQ(ended(start(other)), 7);
   EXPECT_STREQ(static_cast<char *>(Client(name).address()), "from another process");
}

TEST(DtSharedMemoryPool, EndsWithTheLastProcessHoweverItEnds)
{
   DtString const name(uniqueName("end"));
   auto const killed = [&]
   {
      static Manager const & manager = *new Manager(name, 4096);
      std::strcpy(at(manager), "of a process that is killed");
      return raise(SIGKILL);
   };
   auto const next = [&]
   {
      if (thrownBy([&] { Client{name}; }) !=
          "DtSharedMemoryPoolClient::join has error with OpenFileMapping: 2")
         return 1;
      static Manager const & manager = *new Manager(name, 100000);
      static Client const & client = *new Client(name);
      for (int i = 0; i < 100000; ++i)
      {
         if (at(manager)[i] != 0)
            return 2;
      }
      if (client.address() == manager.address())
         return 3;
      // A child with everything inherited ends, and takes nothing away.
      if (ended(start([] { return 3; })) != 3 || !std::filesystem::exists(fileOf("end")))
         return 4;
      return 0;
   };
   for (int i = 0; i < 100; ++i)
   {
      ASSERT_EQ(ended(start(killed)), -SIGKILL);
      ASSERT_TRUE(std::filesystem::exists(fileOf("end")));
      // The next is a manager at once, or first finds out that there is nothing to join.
      ASSERT_EQ(ended(start([&] { return i % 2 == 0                        ? next()
                                         : at(Manager(name, 4096))[0] == 0 ? 0
                                                                           : 5; })),
                0);
      ASSERT_FALSE(std::filesystem::exists(fileOf("end")));
   }
}

TEST(DtSharedMemoryPool, IsWholeForAllWhoComeAndGoAtOnce)
{
   constexpr char text[] = "all or nothing";
   DtString const name(uniqueName("crowd"));
   auto const come = [&]
   {
      Manager const manager(name, 1 << 20);
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
         one = start(come);
      for (pid_t const one : crowd)
         ASSERT_EQ(ended(one), 0);
      ASSERT_FALSE(std::filesystem::exists(fileOf("crowd")));
   }
}

void limit(__rlimit_resource what, rlim_t most)
{
   rlimit limits = {};
   getrlimit(what, &limits);
   limits.rlim_cur = std::min(most, limits.rlim_max);
   setrlimit(what, &limits);
}

rlim_t addressSpace()
{
   rlim_t pages = 0;
   std::ifstream("/proc/self/statm") >> pages;
   return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

TEST(DtSharedMemoryPool, TellsWhatFailedByItsNumberAndLeavesNothing)
{
   DtString const name(uniqueName("fails"));
   struct
   {
      DtString name;
      unsigned long size;
      void (*limit)();
      char const * text;
   } const rows[] = {
      {name, 0, [] {}, "DtSharedMemoryPoolManager() create has error with CreateFileMapping: 22"},
      {DtString(std::string(300, 'x').c_str()), 1, [] {},
       "DtSharedMemoryPoolManager() create has error with CreateFileMapping: 36"},
      {name, 1, [] { limit(RLIMIT_NOFILE, static_cast<rlim_t>(dup(0)) + 1); },
       "DtSharedMemoryPoolManager() create has error with CreateFileMapping: 24"},
      {name, 1, [] { limit(RLIMIT_NOFILE, static_cast<rlim_t>(dup(0)) + 2); },
       "DtSharedMemoryPoolManager() has error with OpenFileMapping: 24"},
      {name, 1 << 28, [] { limit(RLIMIT_AS, addressSpace() + (1 << 26)); },
       "DtSharedMemoryPoolManager()  has error with MapViewOfFile: 12"},
   };
   for (auto const & row : rows)
   {
      auto const create = [&]
      {
         row.limit();
         std::string const text = thrownBy([&] { Manager(row.name, row.size); });
         limit(RLIMIT_NOFILE, RLIM_INFINITY);
         limit(RLIMIT_AS, RLIM_INFINITY);
         EXPECT_EQ(text, row.text);
         return text == row.text ? 0 : 1;
      };
      EXPECT_EQ(ended(start(create)), 0);
      EXPECT_FALSE(std::filesystem::exists(fileOf("fails")));
   }
}

TEST(DtSharedMemoryPool, IsRefusedWhereTheSystemHasNoRoom)
{
   SKIP_BECAUSE(geteuid() != 0 ? "needs root, to give the system little room" : "");
   DtString const name(uniqueName("room"));
   auto const create = [&]
   {
      if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
          mount("none", "/dev/shm", "tmpfs", 0, "size=1m") != 0)
         return 77;
      if (thrownBy([&] { Manager(name, 1 << 21); }) !=
             "DtSharedMemoryPoolManager() create has error with CreateFileMapping: 28" ||
          std::filesystem::exists(fileOf("room")))
         return 1;
      std::memset(Manager(name, 1 << 20).address(), 1, 1 << 20);
      return 0;
   };
   int const result = ended(start(create));
   SKIP_BECAUSE(result == 77 ? "needs mounts of its own" : "");
   EXPECT_EQ(result, 0);
}

} // namespace
