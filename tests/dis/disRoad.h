// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/tslDisSocket.h"

#include "support/loopbackPeer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

constexpr unsigned long theNonBlockingFlags = DtInetSockFlagsDefault | DtInetSockFlagNonBlocking;

inline DtInetEndpoint udpEndpoint(char const * address, unsigned short port)
{
   return DtInetEndpoint(DtInetAddr(address), port, DtInetProtoUdp);
}

/// A PDU of a size, version, kind and status byte, filled with `mark`.
inline std::string pdu(std::size_t size, int version, int kind = 1, int status = 0, char mark = 'p')
{
   std::string bytes(size, mark);
   char const head[] = {char(version),   1,          char(kind),   1, 0, 0, 0, 0,
                        char(size >> 8), char(size), char(status), 0};
   return bytes.replace(0, std::min(size, sizeof head), head, std::min(size, sizeof head));
}

/// A receive call's result and the bytes that it has handed over, on top of bytes that must not stay.
struct Received
{
   int status;
   std::string bytes;
   DtInetEndpoint from;
};

inline Received receive(DtInetSocket & socket, std::size_t room = 65504, unsigned long flags = 0)
{
   Received got{0, std::string(room, '\xEE'), DtInetEndpoint()};
   got.status = socket.recvFrom(got.bytes.data(), room, got.from, flags);
   if (got.status < static_cast<int>(room))
   {
      std::size_t const used = got.status > 0 ? static_cast<std::size_t>(got.status) : 0;
      EXPECT_EQ(got.bytes.find_first_not_of('\xEE', used), std::string::npos);
      got.bytes.resize(used);
   }
   return got;
}
