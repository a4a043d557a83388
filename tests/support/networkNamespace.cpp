// SPDX-License-Identifier: MIT
#include "support/networkNamespace.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace
{

int currentNamespace()
{
   return open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
}

} // namespace

std::string NetworkNamespace::whyNot()
{
   static bool const can = std::system("unshare --net ip link set lo up >/dev/null 2>&1") == 0;
   return can ? "" : "needs network namespaces and the ip tool";
}

NetworkNamespace::NetworkNamespace()
{
   std::thread([this] { descriptor = unshare(CLONE_NEWNET) == 0 ? currentNamespace() : -1; }).join();
   ip("link set lo up");
}

NetworkNamespace::~NetworkNamespace()
{
   close(descriptor);
}

bool NetworkNamespace::run(std::string const & command) const
{
   Inside const inside(*this);
   bool const isGood = std::system(command.c_str()) == 0;
   EXPECT_TRUE(isGood) << command;
   return isGood;
}

bool NetworkNamespace::ip(std::string const & commands) const
{
   return run("ip -batch - <<'end'\n" + commands + "\nend");
}

bool NetworkNamespace::await(std::string const & query) const
{
   return run("timeout 20 sh -c 'until ip " + query + "; do sleep 0.01; done'");
}

bool NetworkNamespace::awaitRunning(std::string const & interfaceName) const
{
   return await("link show " + interfaceName + " | grep -q \"state U\"");
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

// The system makes the route to an IPv6 address of its own some time after the address; what arrives until
// then is lost.
bool NetworkNamespace::addAddress(std::string const & interfaceName, std::string const & address) const
{
   bool const isIpv6 = address.find(':') != std::string::npos;
   std::string const bare = address.substr(0, address.find('/'));
   return ip("addr replace " + address + " dev " + interfaceName + (isIpv6 ? " nodad" : "")) &&
          (!isIpv6 || await("-6 route show table local " + bare + " | grep -q ."));
}

NetworkNamespace::Inside::Inside(NetworkNamespace const & where) : before(currentNamespace())
{
   if (setns(where.descriptor, CLONE_NEWNET) != 0)
      throw std::runtime_error(std::string("can't enter a network namespace: ") + std::strerror(errno));
}

NetworkNamespace::Inside::~Inside()
{
   // A test can't go on in the wrong namespace.
   if (setns(before, CLONE_NEWNET) != 0)
      std::abort();
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
