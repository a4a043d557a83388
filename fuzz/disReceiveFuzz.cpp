// SPDX-License-Identifier: MIT
// Datagrams from anywhere on a DIS socket: whatever came before, a good PDU behind it is delivered.
#include "tslutil/base/tslNotify.h"
#include "tslutil/dis/tslDisSocket.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{

constexpr unsigned long theFlags = 0xC83;
constexpr std::size_t theRoom = 65504;

/// A socket on a port of its own, and one that sends to it.
struct Road
{
   Road()
      : probe(DtInetEndpoint(DtInetAddr("127.0.0.1"), 9, DtInetProtoUdp), 0, nullptr, theFlags & ~0x400ul,
              true),
        target(DtInetAddr("127.0.0.1"), probe.localPort(), DtInetProtoUdp)
   {
      DtNotifyLevel = 0;
      probe.closeSocket();
      receiver = new DtDisSocket(target, target.port(), nullptr, theFlags | 0x040);
      sender = new DtInetUdpSocket(target, 0, nullptr, theFlags, true);
      if (!receiver->isOk() || !sender->isOk())
         std::abort();
   }

   void send(std::uint8_t const * data, std::size_t size)
   {
      std::string bytes(reinterpret_cast<char const *>(data), size);
      sender->send(bytes.data(), size, 0);
   }

   /// Receives until nothing is left: whole, or over forty buffers of that size. The last PDU.
   std::string drain(std::size_t buffer)
   {
      std::string last;
      for (int idle = 0; idle < 2;)
      {
         std::vector<std::vector<char>> buffers(buffer == 0 ? 1 : 40,
                                                std::vector<char>(buffer == 0 ? theRoom : buffer));
         DtInetSockChain chain;
         for (std::vector<char> & each : buffers)
            chain.push_back(&each);
         DtInetEndpoint from;
         int const count = buffer == 0 ? receiver->recvFrom(buffers[0].data(), theRoom, from, 0)
                                       : receiver->recvToChainFrom(chain, from, 0);
         idle = count == 0 ? idle + 1 : 0;
         // The count is what the PDU's length field claims, which may be more than there is.
         if (count > 0)
            last.assign(buffers[0].data(), std::min(buffers[0].size(), static_cast<std::size_t>(count)));
      }
      return last;
   }

   DtInetUdpSocket probe;
   DtInetEndpoint target;
   DtDisSocket * receiver = nullptr;
   DtInetUdpSocket * sender = nullptr;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
   static Road road;
   static std::uint8_t const good[32] = {6, 200, 15, 5, 0, 0, 0, 0, 0, sizeof good};
   if (size == 0)
      return 0;
   // The first byte picks how the datagram is received.
   road.send(data + 1, size - 1);
   road.drain(data[0] % 64);
   road.send(good, sizeof good);
   if (road.drain(0) != std::string(reinterpret_cast<char const *>(good), sizeof good))
      std::abort();
   return 0;
}
