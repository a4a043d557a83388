// SPDX-License-Identifier: MIT
#include "support/networkNamespace.h"

#include "support/watchdog.h"

#include <cerrno>
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
   return std::system("ip link show >/dev/null 2>&1") == 0 ? "" : "needs the ip tool";
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
   bool const isRunning = eventually(
      [&] { return ioctl(any, SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_RUNNING) != 0; }, 5.0);
   close(any);
   EXPECT_TRUE(isRunning) << interfaceName;
   return isRunning;
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
