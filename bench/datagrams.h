// SPDX-License-Identifier: MIT
#pragma once

#include <netinet/in.h>

#include <cstddef>

/// Loopback sockets on the system's own calls: the yardsticks of the library's sockets, and their other ends.
class RawSocket
{
public:
   /// Bound to 127.0.0.1 and a port that the system chooses.
   RawSocket();
   ~RawSocket();
   RawSocket(RawSocket const &) = delete;
   RawSocket & operator=(RawSocket const &) = delete;

   int descriptor() const { return myDescriptor; }
   unsigned short port() const;
   sockaddr_in const & name() const { return myName; }

   /// Sends datagrams of `size` bytes to a port of loopback.
   void send(void const * data, std::size_t size, unsigned short port, std::size_t count = 1);
   /// Has the system keep as little as possible of what arrives, so that senders never wait for it.
   void becomeSink();

private:
   int myDescriptor;
   sockaddr_in myName;
};

/// The name of a port of loopback.
sockaddr_in loopbackName(unsigned short port);
