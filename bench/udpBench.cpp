// SPDX-License-Identifier: MIT
// Flat sends and receives of UDP sockets beside the system call.
#include "bench/compare.h"
#include "bench/datagrams.h"

#include "tslutil/inet/tslInetUdpSocket.h"

#include <sys/socket.h>

#include <memory>

namespace
{

constexpr unsigned long theFlags = DtInetSockFlagsDefault;

DtInetEndpoint loopback(unsigned short port)
{
   return {DtInetAddr("127.0.0.1"), port, DtInetProtoUdp};
}

void measureSend(Bench & bench, std::size_t size)
{
   RawSocket sink;
   sink.becomeSink();
   RawSocket raw;
   DtInetEndpoint to = loopback(sink.port());
   DtInetUdpSocket socket(to, 0, nullptr, theFlags, true);
   std::vector<char> data(size, 'x');
   bench.blockSize = 500;
   bench.run([&] { benchmark::DoNotOptimize(socket.sendTo(data.data(), data.size(), to, 0)); },
             [&]
             {
                benchmark::DoNotOptimize(::sendto(raw.descriptor(), data.data(), data.size(), 0,
                                                  reinterpret_cast<sockaddr const *>(&sink.name()),
                                                  sizeof sink.name()));
             });
}

bool const sends[] = {
   addComparison({"UDP sendTo, 144 bytes", "sendto", 1.02, 0},
                 [](Bench & bench) { measureSend(bench, 144); }),
   addComparison({"UDP sendTo, 1400 bytes", "sendto", 1.02, 0},
                 [](Bench & bench) { measureSend(bench, 1400); }),
};

/// Blocks of the library and of the system's own call take turns; each is sent its datagrams beforehand.
struct Receiving
{
   explicit Receiving(Bench & bench) : socket(loopback(sender.port()), 0, nullptr, theFlags, true)
   {
      bench.blockSize = 64;
      bench.prepare = [this](std::size_t count)
      {
         isOurs = !isOurs;
         sender.send(data.data(), 144, isOurs ? socket.localPort() : raw.port(), count);
      };
   }

   RawSocket sender;
   RawSocket raw;
   DtInetUdpSocket socket;
   std::vector<char> data = std::vector<char>(1500);
   bool isOurs = false;
};

bool const receives[] = {
   addComparison({"UDP recvFrom, 144 bytes", "recvfrom", 1.03, 0},
                 [](Bench & bench)
                 {
                    Receiving both(bench);
                    DtInetEndpoint from;
                    bench.run([&] { both.socket.recvFrom(both.data.data(), both.data.size(), from, 0); },
                              [&]
                              {
                                 sockaddr_in name;
                                 socklen_t size = sizeof name;
                                 ::recvfrom(both.raw.descriptor(), both.data.data(), both.data.size(), 0,
                                            reinterpret_cast<sockaddr *>(&name), &size);
                              });
                 }),
   addComparison({"UDP recv, 144 bytes", "recv", 1.02, 0},
                 [](Bench & bench)
                 {
                    Receiving both(bench);
                    bench.run([&] { both.socket.recv(both.data.data(), both.data.size(), 0); },
                              [&] { ::recv(both.raw.descriptor(), both.data.data(), both.data.size(), 0); });
                 }),
};

} // namespace
