// SPDX-License-Identifier: MIT
// Streams of TCP sockets beside the system calls.
#include "bench/compare.h"

#include "tslutil/inet/tslInetTcpSocket.h"

#include <sys/socket.h>

namespace
{

constexpr unsigned long theFlags = DtInetSockFlagsDefault;

DtInetEndpoint loopback(unsigned short port)
{
   return {DtInetAddr("127.0.0.1"), port, DtInetProtoTcp};
}

/// A connection of the library's, whose two ends the yardstick uses as well: the same buffers, the same path.
struct Stream
{
   Stream() : server(0), client(loopback(server.localPort()), 0, nullptr, theFlags)
   {
      client.connectToDestination();
      server.acceptConnection(&accepted, theFlags);
   }

   DtInetTcpSocket server;
   DtInetTcpSocket client;
   DtInetTcpSocket accepted;
};

/// Sends once and receives until all is there.
template<class Send, class Receive>
void across(std::size_t size, Send const & send, Receive const & receive)
{
   benchmark::DoNotOptimize(send());
   for (std::size_t got = 0; got < size;)
      got += static_cast<std::size_t>(receive());
}

void measureAcross(Bench & bench, std::size_t size, std::size_t blockSize)
{
   Stream stream;
   std::vector<char> out(size, 'x'), in(size);
   int const from = static_cast<int>(stream.client.descriptor());
   int const to = static_cast<int>(stream.accepted.descriptor());
   bench.blockSize = blockSize;
   bench.run(
      [&]
      {
         across(
            size, [&] { return stream.client.send(out.data(), size); },
            [&] { return stream.accepted.recv(in.data(), size); });
      },
      [&]
      {
         across(
            size, [&] { return ::send(from, out.data(), size, MSG_NOSIGNAL); },
            [&] { return ::recv(to, in.data(), size, 0); });
      });
}

bool const streams[] = {
   addComparison({"TCP send and recv, 64 KiB", "send and recv", 1.005, 0},
                 [](Bench & bench) { measureAcross(bench, 65536, 100); }),
   addComparison({"TCP send and recv, 144 bytes", "send and recv", 1.02, 0},
                 [](Bench & bench) { measureAcross(bench, 144, 500); }),
};

} // namespace
