// SPDX-License-Identifier: MIT
#include "support/loopbackPeer.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

void must(bool isGood, char const * what)
{
   if (!isGood)
      ADD_FAILURE() << what << ": " << std::strerror(errno);
}

struct Name
{
   Name(std::string const & address, unsigned short port)
   {
      addrinfo hints{};
      hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
      hints.ai_socktype = SOCK_DGRAM;
      addrinfo * found = nullptr;
      if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
      {
         ADD_FAILURE() << "no address: " << address;
         return;
      }
      size = found->ai_addrlen;
      std::memcpy(&storage, found->ai_addr, size);
      freeaddrinfo(found);
   }

   sockaddr const * data() const { return reinterpret_cast<sockaddr const *>(&storage); }

   sockaddr_storage storage{};
   socklen_t size = 0;
};

} // namespace

LoopbackPeer::LoopbackPeer(std::string const & address, unsigned short port)
{
   Name const name(address, port);
   myFamily = name.storage.ss_family;
   myDescriptor = socket(myFamily, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   int const on = 1;
   setsockopt(myDescriptor, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
   must(bind(myDescriptor, name.data(), name.size) == 0, "bind");
}

LoopbackPeer::~LoopbackPeer()
{
   close(myDescriptor);
}

unsigned short LoopbackPeer::port() const
{
   sockaddr_storage name{};
   socklen_t size = sizeof name;
   must(getsockname(myDescriptor, reinterpret_cast<sockaddr *>(&name), &size) == 0, "getsockname");
   return ntohs(reinterpret_cast<sockaddr_in const *>(&name)->sin_port);
}

void LoopbackPeer::send(std::string const & bytes, std::string const & address, unsigned short port,
                        std::string const & leavingBy)
{
   if (!leavingBy.empty())
   {
      int const index = static_cast<int>(if_nametoindex(leavingBy.c_str()));
      ip_mreqn const interface4{{}, {}, index};
      must((myFamily == AF_INET6
               ? setsockopt(myDescriptor, IPPROTO_IPV6, IPV6_MULTICAST_IF, &index, sizeof index)
               : setsockopt(myDescriptor, IPPROTO_IP, IP_MULTICAST_IF, &interface4, sizeof interface4)) == 0,
           "multicast interface");
   }
   Name const name(address, port);
   must(sendto(myDescriptor, bytes.data(), bytes.size(), 0, name.data(), name.size) ==
           static_cast<ssize_t>(bytes.size()),
        "sendto");
}

std::optional<std::string> LoopbackPeer::receive(double seconds)
{
   pollfd wanted{myDescriptor, POLLIN, 0};
   if (poll(&wanted, 1, static_cast<int>(seconds * 1000)) != 1)
      return std::nullopt;
   static thread_local std::array<char, 65536> room;
   sockaddr_storage name{};
   socklen_t size = sizeof name;
   ssize_t const got = recvfrom(myDescriptor, room.data(), room.size(), MSG_DONTWAIT,
                                reinterpret_cast<sockaddr *>(&name), &size);
   if (got < 0)
      return std::nullopt;
   char host[NI_MAXHOST] = "";
   getnameinfo(reinterpret_cast<sockaddr *>(&name), size, host, sizeof host, nullptr, 0, NI_NUMERICHOST);
   mySenderAddress = host;
   mySenderPort = ntohs(reinterpret_cast<sockaddr_in const *>(&name)->sin_port);
   return std::string(room.data(), static_cast<std::size_t>(got));
}

void LoopbackPeer::join(std::string const & group, std::string const & interfaceName)
{
   Name const name(group, 0);
   group_req request{};
   request.gr_interface = if_nametoindex(interfaceName.c_str());
   request.gr_group = name.storage;
   must(setsockopt(myDescriptor, myFamily == AF_INET6 ? IPPROTO_IPV6 : IPPROTO_IP, MCAST_JOIN_GROUP, &request,
                   sizeof request) == 0,
        "join");
}

unsigned short unusedPort()
{
   return LoopbackPeer().port();
}
