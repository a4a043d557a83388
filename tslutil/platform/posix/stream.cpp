// SPDX-License-Identifier: MIT
#include "tslutil/platform/stream.h"

#include "tslutil/platform/posix/message.h"

namespace tsl::platform
{

namespace
{

int flagsOf(Waiting waiting)
{
   return waiting == neverWait ? MSG_DONTWAIT : 0;
}

// An accept may answer what the network had to say of a connection that was waiting.
bool isOfLostConnection(int error)
{
   return error == ENETDOWN || error == ENETUNREACH || error == EHOSTDOWN || error == EHOSTUNREACH ||
          error == ENONET || error == ENOPROTOOPT;
}

} // namespace

int listenAt(SocketHandle socket, int backlog)
{
   return listen(socket, backlog) == -1 ? errno : 0;
}

int acceptConnection(SocketHandle listener, SocketHandle & accepted, SocketName & peer)
{
   for (;;)
   {
      socklen_t size = sizeof peer.bytes;
      accepted = accept4(listener, peer.data(), &size, SOCK_CLOEXEC);
      peer.size = accepted == noSocket ? 0 : std::min<std::size_t>(size, sizeof peer.bytes);
      if (accepted != noSocket)
         return 0;
      if (errno != EINTR && !isOfLostConnection(errno))
         return errno;
   }
}

bool hasPeer(SocketHandle socket)
{
   SocketName name;
   socklen_t size = sizeof name.bytes;
   return getpeername(socket, name.data(), &size) == 0;
}

Transfer sendStream(SocketHandle socket, void const * data, std::size_t size)
{
   return repeat([=] { return send(socket, data, size, MSG_NOSIGNAL); });
}

Transfer sendStream(SocketHandle socket, Slice const * slices, std::size_t count, Waiting waiting)
{
   if (count == 1 && waiting == mayWait)
      return sendStream(socket, slices->data, slices->size);
   Message const message(slices, count);
   return repeat([&] { return sendmsg(socket, &message.header, MSG_NOSIGNAL | flagsOf(waiting)); });
}

Transfer receiveStream(SocketHandle socket, void * data, std::size_t size, Waiting waiting)
{
   return repeat([=] { return recv(socket, data, size, flagsOf(waiting)); });
}

Transfer receiveStream(SocketHandle socket, Slice const * slices, std::size_t count)
{
   if (count == 1)
      return receiveStream(socket, slices->data, slices->size);
   Message message(slices, count);
   return repeat([&] { return recvmsg(socket, &message.header, 0); });
}

} // namespace tsl::platform
