// SPDX-License-Identifier: MIT
#include "bench/datagrams.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace
{

void require(bool isGood, char const * what)
{
   if (isGood)
      return;
   std::perror(what);
   std::exit(1);
}

} // namespace

sockaddr_in loopbackName(unsigned short port)
{
   sockaddr_in name{};
   name.sin_family = AF_INET;
   name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
   name.sin_port = htons(port);
   return name;
}

RawSocket::RawSocket()
   : myDescriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), myName(loopbackName(0))
{
   require(myDescriptor >= 0, "socket");
   require(::bind(myDescriptor, reinterpret_cast<sockaddr *>(&myName), sizeof myName) == 0, "bind");
   socklen_t size = sizeof myName;
   require(::getsockname(myDescriptor, reinterpret_cast<sockaddr *>(&myName), &size) == 0, "getsockname");
}

RawSocket::~RawSocket()
{
   ::close(myDescriptor);
}

unsigned short RawSocket::port() const
{
   return ntohs(myName.sin_port);
}

void RawSocket::send(void const * data, std::size_t size, unsigned short port, std::size_t count)
{
   sockaddr_in const to = loopbackName(port);
   for (std::size_t i = 0; i < count; ++i)
      require(::sendto(myDescriptor, data, size, 0, reinterpret_cast<sockaddr const *>(&to), sizeof to) >= 0,
              "sendto");
}

void RawSocket::becomeSink()
{
   int const least = 1;
   require(::setsockopt(myDescriptor, SOL_SOCKET, SO_RCVBUF, &least, sizeof least) == 0, "setsockopt");
}
