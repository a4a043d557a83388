// SPDX-License-Identifier: MIT
#include "support/loopbackPeer.h"

#include <boost/asio/ip/udp.hpp>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <poll.h>
#include <unistd.h>

namespace
{

typedef boost::asio::ip::udp::endpoint Name;

Name named(std::string const & address, unsigned short port)
{
   return {boost::asio::ip::make_address(address), port};
}

} // namespace

LoopbackPeer::LoopbackPeer(std::string const & address, unsigned short port)
{
   Name const name = named(address, port);
   isIpv6 = name.address().is_v6();
   descriptor = socket(isIpv6 ? AF_INET6 : AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   int const on = 1;
   setsockopt(descriptor, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
   EXPECT_EQ(bind(descriptor, name.data(), static_cast<socklen_t>(name.size())), 0) << std::strerror(errno);
}

LoopbackPeer::~LoopbackPeer()
{
   close(descriptor);
}

unsigned short LoopbackPeer::port() const
{
   Name name;
   socklen_t size = static_cast<socklen_t>(name.capacity());
   EXPECT_EQ(getsockname(descriptor, name.data(), &size), 0);
   return name.port();
}

void LoopbackPeer::send(std::string const & bytes, std::string const & address, unsigned short port,
                        std::string const & leavingBy)
{
   if (!leavingBy.empty())
   {
      ip_mreqn const by{{}, {}, static_cast<int>(if_nametoindex(leavingBy.c_str()))};
      EXPECT_EQ(isIpv6 ? setsockopt(descriptor, IPPROTO_IPV6, IPV6_MULTICAST_IF, &by.imr_ifindex, sizeof(int))
                       : setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &by, sizeof by),
                0);
   }
   Name const to = named(address, port);
   auto const sent =
      sendto(descriptor, bytes.data(), bytes.size(), 0, to.data(), static_cast<socklen_t>(to.size()));
   EXPECT_EQ(sent, static_cast<ssize_t>(bytes.size())) << std::strerror(errno);
}

std::optional<std::string> LoopbackPeer::receive(double seconds)
{
   static thread_local std::array<char, 65536> room;
   pollfd wanted{descriptor, POLLIN, 0};
   Name from;
   socklen_t size = static_cast<socklen_t>(from.capacity());
   ssize_t const got = poll(&wanted, 1, static_cast<int>(seconds * 1000)) != 1
                          ? -1
                          : recvfrom(descriptor, room.data(), room.size(), MSG_DONTWAIT, from.data(), &size);
   if (got < 0)
      return std::nullopt;
   lastSender = from.address().to_string();
   lastPort = from.port();
   return std::string(room.data(), static_cast<std::size_t>(got));
}

void LoopbackPeer::join(std::string const & group, std::string const & interfaceName)
{
   Name const name = named(group, 0);
   group_req request{};
   request.gr_interface = if_nametoindex(interfaceName.c_str());
   std::memcpy(&request.gr_group, name.data(), name.size());
   int const level = isIpv6 ? IPPROTO_IPV6 : IPPROTO_IP;
   EXPECT_EQ(setsockopt(descriptor, level, MCAST_JOIN_GROUP, &request, sizeof request), 0);
}

unsigned short unusedPort()
{
   return LoopbackPeer().port();
}
