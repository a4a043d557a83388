// SPDX-License-Identifier: MIT
#include "support/networkNamespace.h"

#include "support/watchdog.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

int currentNamespace()
{
   return open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
}

/// Moves the calling thread; a test can't go on in the wrong namespace.
void enter(int descriptor)
{
   if (setns(descriptor, CLONE_NEWNET) != 0)
      throw std::runtime_error(std::string("can't enter a network namespace: ") + std::strerror(errno));
}

/// A descriptor of a new namespace, -1 with errno if there can be none.
int newNamespace()
{
   int const before = currentNamespace();
   int made = -1;
   if (before >= 0 && unshare(CLONE_NEWNET) == 0)
   {
      made = currentNamespace();
      enter(before);
   }
   int const error = errno;
   close(before);
   errno = error;
   return made;
}

std::string findOutWhyNot()
{
   int const made = newNamespace();
   if (made < 0)
      return std::string("needs network namespaces: ") + std::strerror(errno);
   close(made);
   if (std::system("ip link show >/dev/null 2>&1") != 0)
      return "needs the ip tool";
   return std::string();
}

/// What a child does. Nothing may leave it but its end: it must not go on with the parent's tests.
[[noreturn]] void runAndExit(int descriptor, std::function<void()> const & body)
{
   try
   {
      enter(descriptor);
      body();
   }
   catch (std::exception const & failure)
   {
      ADD_FAILURE() << failure.what();
   }
   std::fflush(nullptr);
   _exit(::testing::Test::HasFailure() ? 1 : 0);
}

/// Whether the system has made the route to an IPv6 address of its own, which it does some time after the
/// address; what arrives until then is lost.
bool hasOwnRoute(std::string const & addressWithPrefix)
{
   in6_addr address = {};
   inet_pton(AF_INET6, addressWithPrefix.substr(0, addressWithPrefix.find('/')).c_str(), &address);
   std::string wanted;
   for (unsigned const byte : address.s6_addr)
      wanted += {"0123456789abcdef"[byte / 16], "0123456789abcdef"[byte % 16]};
   std::ifstream routes("/proc/thread-self/net/ipv6_route");
   std::string line;
   while (std::getline(routes, line))
      if (line.rfind(wanted + " 80 ", 0) == 0)
         return true;
   return false;
}

} // namespace

std::string NetworkNamespace::whyNot()
{
   static std::string const reason = findOutWhyNot();
   return reason;
}

NetworkNamespace::NetworkNamespace() : descriptor(newNamespace())
{
   if (descriptor < 0)
      throw std::runtime_error(std::string("no network namespace: ") + std::strerror(errno));
   ip("link set lo up");
}

NetworkNamespace::~NetworkNamespace()
{
   close(descriptor);
}

bool NetworkNamespace::ip(std::string const & commands) const
{
   Inside const inside(*this);
   std::FILE * const tool = popen("ip -batch -", "we");
   bool good = tool != nullptr && std::fputs(commands.c_str(), tool) >= 0;
   good = tool != nullptr && pclose(tool) == 0 && good;
   EXPECT_TRUE(good) << "ip: " << commands;
   return good;
}

bool NetworkNamespace::awaitRunning(std::string const & interfaceName) const
{
   Inside const inside(*this);
   int const any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   ifreq request = {};
   interfaceName.copy(request.ifr_name, sizeof request.ifr_name - 1);
   for (int tries = 0; tries < 5000 && (request.ifr_flags & IFF_RUNNING) == 0; ++tries)
   {
      if (tries > 0)
         std::this_thread::sleep_for(std::chrono::milliseconds(1));
      if (ioctl(any, SIOCGIFFLAGS, &request) != 0)
         break;
   }
   close(any);
   EXPECT_NE(request.ifr_flags & IFF_RUNNING, 0) << interfaceName;
   return (request.ifr_flags & IFF_RUNNING) != 0;
}

bool NetworkNamespace::connect(NetworkNamespace const & left, std::string const & leftName,
                               NetworkNamespace const & right, std::string const & rightName)
{
   std::string const there = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(right.descriptor);
   auto const bringUp = [](NetworkNamespace const & where, std::string const & name)
   { return where.ip("link set " + name + " addrgenmode none\nlink set " + name + " up"); };
   return left.ip("link add " + leftName + " type veth peer name " + rightName + " netns " + there) &&
          bringUp(left, leftName) && bringUp(right, rightName) && left.awaitRunning(leftName) &&
          right.awaitRunning(rightName);
}

bool NetworkNamespace::addAddress(std::string const & interfaceName, std::string const & address) const
{
   bool const isIpv6 = address.find(':') != std::string::npos;
   bool const isAdded = ip("addr replace " + address + " dev " + interfaceName + (isIpv6 ? " nodad" : ""));
   Inside const inside(*this);
   bool const isReady = !isIpv6 || eventually([&] { return hasOwnRoute(address); });
   EXPECT_TRUE(isReady) << address;
   return isAdded && isReady;
}

NetworkNamespace::Inside::Inside(NetworkNamespace const & where) : before(currentNamespace())
{
   enter(where.descriptor);
}

NetworkNamespace::Inside::~Inside()
{
   enter(before);
   close(before);
}

void NetworkNamespace::onThread(std::function<void()> const & body) const
{
   std::thread(
      [&]
      {
         Inside const inside(*this);
         body();
      })
      .join();
}

void NetworkNamespace::inChild(std::function<void()> const & body) const
{
   std::fflush(nullptr);
   pid_t const child = fork();
   if (child == 0)
      runAndExit(descriptor, body);
   int status = -1;
   while (waitpid(child, &status, 0) < 0 && errno == EINTR)
   {
   }
   EXPECT_EQ(status, 0) << "a child in the namespace failed";
}
