// SPDX-License-Identifier: MIT
#include "tslutil/platform/datagram.h"

#include "tslutil/platform/posix/message.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace tsl::platform
{

namespace
{

// A pending report of an earlier datagram ends the call that asks next and is gone then.
template<class Call>
[[gnu::cold]] Transfer repeatSend(ssize_t first, Call const & call)
{
   Transfer const sent = repeat(first, call);
   return sent.error == ECONNREFUSED ? repeat(call) : sent;
}

// Sends, which most of the time the first try does.
template<class Call>
Transfer sendBy(Call const & call)
{
   ssize_t const sent = call();
   return sent >= 0 ? Transfer{static_cast<int>(sent), 0} : repeatSend(sent, call);
}

// The messages of a batch.
struct Batch
{
   Batch(Datagram const * datagrams, std::size_t wanted)
      : count(static_cast<unsigned>(std::min(wanted, theMaxDatagrams)))
   {
      std::memset(headers, 0, count * sizeof *headers);
      for (std::size_t i = 0; i < count; ++i)
      {
         vectors[i] = {datagrams[i].data, datagrams[i].size};
         headers[i].msg_hdr.msg_iov = &vectors[i];
         headers[i].msg_hdr.msg_iovlen = 1;
         headers[i].msg_hdr.msg_name = const_cast<unsigned char *>(datagrams[i].name.bytes);
         headers[i].msg_hdr.msg_namelen = static_cast<socklen_t>(datagrams[i].name.size);
      }
   }

   unsigned count;
   mmsghdr headers[theMaxDatagrams];
   iovec vectors[theMaxDatagrams];
};

// A datagram that didn't fit is an error, and so is never cut unnoticed.
Transfer checked(Transfer const & got, std::size_t room)
{
   return got.error == 0 && static_cast<std::size_t>(got.count) > room ? Transfer{0, EMSGSIZE} : got;
}

ssize_t receiveOnce(SocketHandle socket, void * data, std::size_t size, SocketName * from)
{
   if (from == nullptr)
      return recv(socket, data, size, MSG_TRUNC);
   socklen_t nameSize = sizeof SocketName::bytes;
   ssize_t const got = recvfrom(socket, data, size, MSG_TRUNC, from->data(), &nameSize);
   from->size = std::min<std::size_t>(nameSize, sizeof SocketName::bytes);
   return got;
}

// What comes of a receive of which the first try is made: again, if a signal ended it. Polls mostly end here.
[[gnu::noinline]] Transfer receiveAfter(ssize_t first, SocketHandle socket, void * data, std::size_t size,
                                        SocketName * from)
{
   return checked(repeat(first, [&] { return receiveOnce(socket, data, size, from); }), size);
}

} // namespace

Transfer sendDatagram(SocketHandle socket, void const * data, std::size_t size, sockaddr const * to,
                      std::size_t toSize)
{
   return sendBy([&]
                 { return sendto(socket, data, size, MSG_NOSIGNAL, to, static_cast<socklen_t>(toSize)); });
}

Transfer sendDatagram(SocketHandle socket, Slice const * slices, std::size_t count, sockaddr const * to,
                      std::size_t toSize, std::uint32_t interfaceIndex)
{
   if (count == 1 && interfaceIndex == 0)
      return sendDatagram(socket, slices->data, slices->size, to, toSize);
   Message message(slices, count);
   message.setName(const_cast<sockaddr *>(to), toSize);
   if (interfaceIndex != 0 && to != nullptr)
      message.setInterface(to->sa_family, interfaceIndex);
   return sendBy([&] { return sendmsg(socket, &message.header, MSG_NOSIGNAL); });
}

Transfer receiveDatagram(SocketHandle socket, void * data, std::size_t size, SocketName * from)
{
   ssize_t const got = receiveOnce(socket, data, size, from);
   // Nothing else happens, most of the time.
   if (got >= 0 && static_cast<std::size_t>(got) <= size)
      return {static_cast<int>(got), 0};
   return receiveAfter(got, socket, data, size, from);
}

Transfer receiveDatagram(SocketHandle socket, Slice const * slices, std::size_t count, SocketName * from)
{
   if (count == 1)
      return receiveDatagram(socket, slices->data, slices->size, from);
   Message message(slices, count);
   if (from != nullptr)
      message.setName(from->bytes, sizeof from->bytes);
   Transfer const got = repeat([&] { return recvmsg(socket, &message.header, MSG_TRUNC); });
   if (from != nullptr)
      from->size = std::min<std::size_t>(message.header.msg_namelen, sizeof from->bytes);
   return checked(got, message.room());
}

Transfer receiveDatagrams(SocketHandle socket, Datagram * datagrams, std::size_t count)
{
   Batch batch(datagrams, count);
   for (std::size_t i = 0; i < batch.count; ++i)
      batch.headers[i].msg_hdr.msg_namelen = sizeof datagrams[i].name.bytes;
   Transfer const got =
      repeat([&] { return recvmmsg(socket, batch.headers, batch.count, MSG_DONTWAIT, nullptr); });
   for (int i = 0; i < got.count; ++i)
   {
      datagrams[i].size = batch.headers[i].msg_len;
      datagrams[i].name.size = batch.headers[i].msg_hdr.msg_namelen;
      datagrams[i].isCut = (batch.headers[i].msg_hdr.msg_flags & MSG_TRUNC) != 0;
   }
   return got;
}

Transfer sendDatagrams(SocketHandle socket, Datagram const * datagrams, std::size_t count)
{
   Batch batch(datagrams, count);
   return sendBy([&] { return sendmmsg(socket, batch.headers, batch.count, MSG_DONTWAIT | MSG_NOSIGNAL); });
}

} // namespace tsl::platform
