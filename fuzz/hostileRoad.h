// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/tslDisSocket.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

/// A road on loopback to a DIS socket, on which any datagram may travel between two good PDUs. The socket
/// reads in turns flat, flat with little room, and into chains of odd buffers.
class HostileRoad
{
public:
   HostileRoad()
      : dis(loopback(0), 0, nullptr, DtInetSockFlagsDefault | DtInetSockFlagNonBlocking),
        plain(loopback(dis.localPort()))
   {
   }

   /// Sends good, hostile, good and receives until the last has come; whether both good ones came whole.
   bool survives(std::string hostile)
   {
      ++serial;
      dis.setMinPacketSize(serial % 5 == 0 ? static_cast<int>(serial % 40) : 12);
      hostile.resize(std::min<std::size_t>(hostile.size(), 65507));
      std::string ahead = goodPdu('a'), behind = goodPdu('b');
      for (std::string * bytes : {&ahead, &hostile, &behind})
         if (plain.send(bytes->data(), bytes->size()) != static_cast<int>(bytes->size()))
            return false;
      bool isAheadThere = false;
      // A datagram holds at most one PDU for each of its bytes.
      for (int call = 0; call < 66000; ++call)
      {
         std::string const got = receive();
         isAheadThere = isAheadThere || got == ahead;
         if (got == behind)
            return isAheadThere;
      }
      return false;
   }

private:
   static DtInetEndpoint loopback(unsigned short port)
   {
      return DtInetEndpoint(DtInetAddr("127.0.0.1"), port, DtInetProtoUdp);
   }

   /// A PDU that no other is equal to.
   std::string goodPdu(char place) const
   {
      char const head[] = {7, 1, 1, 1, 0, 0, 0, 0, 0, 64, 0, 0};
      std::string bytes = std::string(head, sizeof head) + std::to_string(1000000000 + serial);
      bytes.resize(64, place);
      return bytes;
   }

   /// The bytes that a receive call hands over, as far as there was room for them.
   std::string receive()
   {
      std::string bytes(serial % 3 == 1 ? 100 : 65507, 'r');
      DtInetEndpoint from;
      int count = 0;
      if (serial % 3 != 2)
         count = dis.recvFrom(bytes.data(), bytes.size(), from);
      else
      {
         std::vector<char> first(64), none, tiny(serial % 29), some(300), rest(65507);
         DtInetSockChain chain{&first, &none, &tiny, &some, &none, &rest};
         count = dis.recvToChainFrom(chain, from);
         bytes.assign(first.begin(), first.end());
      }
      bytes.resize(std::min<std::size_t>(bytes.size(), count > 0 ? static_cast<std::size_t>(count) : 0));
      return bytes;
   }

   DtDisSocket dis;
   DtInetUdpSocket plain;
   unsigned long serial = 0;
};
