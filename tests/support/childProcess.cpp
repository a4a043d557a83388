// SPDX-License-Identifier: MIT
#include "support/childProcess.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

pid_t startChild(std::function<int()> const & body)
{
   // What waits to be printed would be printed twice.
   std::fflush(stdout);
   pid_t const child = fork();
   if (child != 0)
      return child;
   alarm(120);
   std::exit([&]() noexcept { return body(); }());
}

int ended(pid_t child)
{
   int status = 0;
   waitpid(child, &status, 0);
   return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Whoever isn't root becomes root of a namespace of users first.
bool takeOwnSharedMemory(char const * room)
{
   uid_t const user = geteuid();
   gid_t const group = getegid();
   if (unshare(CLONE_NEWNS | (user != 0 ? CLONE_NEWUSER : 0)) != 0)
      return false;
   if (user != 0)
   {
      std::ofstream("/proc/self/setgroups") << "deny";
      std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
      std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
   }
   return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
          mount("none", "/dev/shm", "tmpfs", 0, (std::string("mode=1777,size=") + room).c_str()) == 0;
}
