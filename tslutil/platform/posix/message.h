// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/platform/socket.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>

/// Internal: what the calls for datagrams and for streams share.
namespace tsl::platform
{

/// Runs a call until no signal interrupts it. MSG_TRUNC has a receive answer the size of the datagram, not of
/// what fit.
template<class Call>
[[gnu::always_inline]] inline Transfer repeat(Call const & call)
{
   for (;;)
   {
      ssize_t const result = call();
      if (result != -1)
         return {static_cast<int>(result), 0};
      if (errno != EINTR)
         return {0, errno};
   }
}

/// The same when the first result is known.
template<class Call>
Transfer repeat(ssize_t first, Call const & call)
{
   return first == -1 && errno == EINTR ? repeat(call) : repeat([&] { return first; });
}

/// The message of a call, with the memory that it needs.
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

   /// Has a datagram leave by an interface.
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

} // namespace tsl::platform
