// SPDX-License-Identifier: MIT
#include "tslutil/platform/socket.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tsl::platform
{

static_assert(sizeof SocketName::bytes >= sizeof(sockaddr_in6), "a name holds every address");

namespace
{

int errorOf(int result)
{
   return result == -1 ? errno : 0;
}

int waitFor(SocketHandle socket, short events)
{
   pollfd wanted{socket, events, 0};
   while (poll(&wanted, 1, -1) == -1)
      if (errno != EINTR)
         return errno;
   return 0;
}

} // namespace

SocketName::SocketName(sockaddr const * name, std::size_t nameSize)
   : bytes(), size(std::min(nameSize, sizeof bytes))
{
   if (size != 0)
      std::memcpy(bytes, name, size);
}

bool operator==(SocketName const & left, SocketName const & right)
{
   return left.size == right.size && std::memcmp(left.bytes, right.bytes, left.size) == 0;
}

unsigned short portOf(SocketName const & name)
{
   // It stands at the same place in both families.
   sockaddr_in address{};
   std::memcpy(&address, name.bytes, std::min(name.size, sizeof address));
   return ntohs(address.sin_port);
}

int openSocket(int family, int type, int protocol, SocketHandle & socket)
{
   socket = ::socket(family, type | SOCK_CLOEXEC, protocol);
   return errorOf(socket);
}

int closeSocket(SocketHandle socket)
{
   int const error = errorOf(close(socket));
   return error == EINTR ? 0 : error;
}

int shutdownSocket(SocketHandle socket)
{
   int const error = errorOf(shutdown(socket, SHUT_RDWR));
   return error == ENOTCONN ? 0 : error;
}

int bindSocket(SocketHandle socket, sockaddr const * name, std::size_t size)
{
   return errorOf(bind(socket, name, static_cast<socklen_t>(size)));
}

// An interrupted connect goes on meanwhile and can't be called again.
int connectSocket(SocketHandle socket, sockaddr const * name, std::size_t size)
{
   int const error = errorOf(connect(socket, name, static_cast<socklen_t>(size)));
   return error == EINTR ? connectOutcome(socket) : error;
}

int connectOutcome(SocketHandle socket)
{
   if (int const error = waitUntilWritable(socket))
      return error;
   int outcome = 0;
   socklen_t size = sizeof outcome;
   int const error = errorOf(getsockopt(socket, SOL_SOCKET, SO_ERROR, &outcome, &size));
   return error != 0 ? error : outcome;
}

int localSocketName(SocketHandle socket, SocketName & name)
{
   socklen_t size = sizeof name.bytes;
   int const error = errorOf(getsockname(socket, name.data(), &size));
   name.size = error == 0 ? std::min<std::size_t>(size, sizeof name.bytes) : 0;
   return error;
}

int setSocketOption(SocketHandle socket, int level, int option, void const * value, std::size_t size)
{
   return errorOf(setsockopt(socket, level, option, value, static_cast<socklen_t>(size)));
}

int getSocketOption(SocketHandle socket, int level, int option, void * value, std::size_t & size)
{
   socklen_t valueSize = static_cast<socklen_t>(size);
   int const error = errorOf(getsockopt(socket, level, option, value, &valueSize));
   size = valueSize;
   // The kernel doubles the sizes of buffers, for its own use.
   if (error == 0 && level == SOL_SOCKET && (option == SO_SNDBUF || option == SO_RCVBUF))
      *static_cast<int *>(value) /= 2;
   return error;
}

int setNonBlocking(SocketHandle socket, bool on)
{
   int value = on ? 1 : 0;
   return errorOf(ioctl(socket, FIONBIO, &value));
}

int bytesAvailable(SocketHandle socket, std::size_t & bytes)
{
   int value = 0;
   int const error = errorOf(ioctl(socket, FIONREAD, &value));
   bytes = static_cast<std::size_t>(value);
   return error;
}

int waitUntilReadable(SocketHandle socket)
{
   return waitFor(socket, POLLIN);
}

int waitUntilWritable(SocketHandle socket)
{
   return waitFor(socket, POLLOUT);
}

bool isReadable(SocketHandle socket, int milliseconds)
{
   pollfd wanted{socket, POLLIN, 0};
   return poll(&wanted, 1, milliseconds) > 0;
}

bool isWouldBlock(int error)
{
   return error == EWOULDBLOCK || error == EAGAIN;
}

int checkPeer(sockaddr const * name)
{
   if (name == nullptr)
      return EDESTADDRREQ;
   if (name->sa_family == AF_INET6)
   {
      sockaddr_in6 const * const ipv6 = reinterpret_cast<sockaddr_in6 const *>(name);
      return ipv6->sin6_port == 0 || IN6_IS_ADDR_UNSPECIFIED(&ipv6->sin6_addr) ? EADDRNOTAVAIL : 0;
   }
   sockaddr_in const * const ipv4 = reinterpret_cast<sockaddr_in const *>(name);
   return ipv4->sin_port == 0 || ipv4->sin_addr.s_addr == htonl(INADDR_ANY) ? EADDRNOTAVAIL : 0;
}

} // namespace tsl::platform
