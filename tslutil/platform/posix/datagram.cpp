// SPDX-License-Identifier: MIT
#include "tslutil/platform/datagram.h"

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

// Runs a call until no signal interrupts it. MSG_TRUNC has a receive answer the size of the datagram, not of
// what fit.
template<class Call>
Transfer repeat(Call const & call)
{
   ssize_t result = call();
   while (result == -1 && errno == EINTR)
      result = call();
   return result == -1 ? Transfer{0, errno} : Transfer{static_cast<int>(result), 0};
}

// A pending report of an earlier datagram ends the call that asks next and is gone then.
template<class Call>
Transfer repeatSend(Call const & call)
{
   Transfer const sent = repeat(call);
   return sent.error == ECONNREFUSED ? repeat(call) : sent;
}

// The message of a call, with the memory that it needs.
class Message
{
public:
   Message(Slice const * slices, std::size_t count)
   {
      count = std::min(count, theMaxSlices);
      for (std::size_t i = 0; i < count; ++i)
         myVectors[i] = {slices[i].data, slices[i].size};
      std::memset(&header, 0, sizeof header);
      header.msg_iov = myVectors;
      header.msg_iovlen = count;
   }

   void setName(void * name, std::size_t size)
   {
      header.msg_name = name;
      header.msg_namelen = static_cast<socklen_t>(size);
   }

   // Has a datagram leave by an interface.
   void setInterface(int family, std::uint32_t index)
   {
      if (family == AF_INET6)
      {
         in6_pktinfo info{};
         info.ipi6_ifindex = index;
         setControl(IPPROTO_IPV6, IPV6_PKTINFO, info);
      }
      else
      {
         in_pktinfo info{};
         info.ipi_ifindex = static_cast<int>(index);
         setControl(IPPROTO_IP, IP_PKTINFO, info);
      }
   }

   std::size_t room() const
   {
      std::size_t sum = 0;
      for (std::size_t i = 0; i < header.msg_iovlen; ++i)
         sum += myVectors[i].iov_len;
      return sum;
   }

   msghdr header;

private:
   template<class Info>
   void setControl(int level, int type, Info const & info)
   {
      std::memset(myControl, 0, sizeof myControl);
      header.msg_control = myControl;
      header.msg_controllen = CMSG_SPACE(sizeof info);
      cmsghdr * const control = CMSG_FIRSTHDR(&header);
      control->cmsg_level = level;
      control->cmsg_type = type;
      control->cmsg_len = CMSG_LEN(sizeof info);
      std::memcpy(CMSG_DATA(control), &info, sizeof info);
   }

   iovec myVectors[theMaxSlices];
   alignas(cmsghdr) unsigned char myControl[CMSG_SPACE(sizeof(in6_pktinfo))];
};

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

} // namespace

Transfer sendDatagram(SocketHandle socket, void const * data, std::size_t size, sockaddr const * to,
                      std::size_t toSize)
{
   return repeatSend(
      [&] { return sendto(socket, data, size, MSG_NOSIGNAL, to, static_cast<socklen_t>(toSize)); });
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
   return repeatSend([&] { return sendmsg(socket, &message.header, MSG_NOSIGNAL); });
}

Transfer receiveDatagram(SocketHandle socket, void * data, std::size_t size, SocketName * from)
{
   socklen_t nameSize = 0;
   Transfer const got = repeat(
      [&]
      {
         nameSize = sizeof SocketName::bytes;
         return from == nullptr ? recv(socket, data, size, MSG_TRUNC)
                                : recvfrom(socket, data, size, MSG_TRUNC, from->data(), &nameSize);
      });
   if (from != nullptr)
      from->size = std::min<std::size_t>(nameSize, sizeof SocketName::bytes);
   return checked(got, size);
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
   return repeatSend([&]
                     { return sendmmsg(socket, batch.headers, batch.count, MSG_DONTWAIT | MSG_NOSIGNAL); });
}

} // namespace tsl::platform
