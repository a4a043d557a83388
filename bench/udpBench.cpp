// SPDX-License-Identifier: MIT
// Flat sends and receives of UDP sockets beside the system call.
#include "bench/compare.h"
#include "bench/datagrams.h"

#include "tslutil/inet/tslInetUdpSocket.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <map>
#include <memory>
#include <vector>

namespace
{

constexpr unsigned long theFlags = DtInetSockFlagsDefault;

DtInetEndpoint loopback(unsigned short port)
{
   return {DtInetAddr("127.0.0.1"), port, DtInetProtoUdp};
}

/// A socket that sends to a sink, and its yardstick.
struct Sending
{
   explicit Sending(Bench & bench)
   {
      sink.becomeSink();
      to = loopback(sink.port());
      socket.setSocket(to, 0, nullptr, theFlags);
      socket.openSocket();
      bench.blockSize = 500;
   }

   sockaddr const * name() const { return reinterpret_cast<sockaddr const *>(&sink.name()); }
   void sendRaw(std::vector<char> const & data)
   {
      benchmark::DoNotOptimize(
         ::sendto(raw.descriptor(), data.data(), data.size(), 0, name(), sizeof sink.name()));
   }

   RawSocket sink;
   RawSocket raw;
   DtInetEndpoint to;
   DtInetUdpSocket socket;
};

void measureSend(Bench & bench, std::size_t size)
{
   Sending both(bench);
   std::vector<char> data(size, 'x');
   bench.run([&] { benchmark::DoNotOptimize(both.socket.sendTo(data.data(), data.size(), both.to, 0)); },
             [&] { both.sendRaw(data); });
}

constexpr std::size_t theManyVectors = 4;

/// A datagram of 144 bytes in so many vectors.
struct Chain
{
   explicit Chain(std::size_t count) : buffers(count, std::vector<char>(144 / count, 'x'))
   {
      for (std::vector<char> & buffer : buffers)
      {
         vectors.push_back(&buffer);
         slices.push_back({buffer.data(), buffer.size()});
      }
      message.msg_iov = slices.data();
      message.msg_iovlen = slices.size();
   }

   std::vector<std::vector<char>> buffers;
   DtInetSockChain vectors;
   std::vector<iovec> slices;
   msghdr message{};
};

void measureSendChain(Bench & bench, std::size_t count)
{
   Sending both(bench);
   Chain chain(count);
   chain.message.msg_name = const_cast<sockaddr *>(both.name());
   chain.message.msg_namelen = sizeof both.sink.name();
   bench.run([&] { benchmark::DoNotOptimize(both.socket.sendChainTo(chain.vectors, both.to, 0)); },
             [&]
             {
                if (count == 1)
                   both.sendRaw(chain.buffers[0]);
                else
                   ::sendmsg(both.raw.descriptor(), &chain.message, 0);
             });
}

bool const sends[] = {
   addComparison({"UDP sendTo, 144 bytes", "sendto", 1.02, 0},
                 [](Bench & bench) { measureSend(bench, 144); }),
   addComparison({"UDP sendTo, 1400 bytes", "sendto", 1.02, 0},
                 [](Bench & bench) { measureSend(bench, 1400); }),
   addComparison({"UDP send of a connected socket, 144 bytes", "sendto, unconnected", 0.89, 0},
                 [](Bench & bench)
                 {
                    Sending both(bench);
                    std::vector<char> data(144, 'x');
                    both.socket.connectToDestination();
                    bench.run([&] { both.socket.send(data.data(), data.size(), 0); },
                              [&] { both.sendRaw(data); });
                 }),
   addComparison({"UDP sendChainTo, 1 vector", "sendto", 1.02, 0},
                 [](Bench & bench) { measureSendChain(bench, 1); }),
   addComparison({"UDP sendChainTo, 4 vectors", "sendmsg", 1.03, 0},
                 [](Bench & bench) { measureSendChain(bench, theManyVectors); }),
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

void measureReceiveChain(Bench & bench, std::size_t count)
{
   Receiving both(bench);
   Chain chain(count);
   DtInetEndpoint from;
   sockaddr_in name;
   bench.run([&] { both.socket.recvToChainFrom(chain.vectors, from, 0); },
             [&]
             {
                socklen_t size = sizeof name;
                chain.message.msg_name = &name;
                chain.message.msg_namelen = size;
                if (count == 1)
                   ::recvfrom(both.raw.descriptor(), chain.buffers[0].data(), chain.buffers[0].size(), 0,
                              reinterpret_cast<sockaddr *>(&name), &size);
                else
                   ::recvmsg(both.raw.descriptor(), &chain.message, 0);
             });
}

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
   addComparison({"UDP recvFrom, nothing there", "recvfrom", 1.04, 0},
                 [](Bench & bench)
                 {
                    RawSocket raw;
                    DtInetUdpSocket socket(loopback(raw.port()), 0, nullptr,
                                           theFlags | DtInetSockFlagNonBlocking, true);
                    std::vector<char> data(1500);
                    DtInetEndpoint from;
                    bench.run([&] { socket.recvFrom(data.data(), data.size(), from, 0); },
                              [&]
                              {
                                 sockaddr_in name;
                                 socklen_t size = sizeof name;
                                 ::recvfrom(raw.descriptor(), data.data(), data.size(), MSG_DONTWAIT,
                                            reinterpret_cast<sockaddr *>(&name), &size);
                              });
                 }),
   addComparison({"UDP recvToChainFrom, 1 vector", "recvfrom", 1.03, 0},
                 [](Bench & bench) { measureReceiveChain(bench, 1); }),
   addComparison({"UDP recvToChainFrom, 4 vectors", "recvmsg", 1.02, 0},
                 [](Bench & bench) { measureReceiveChain(bench, theManyVectors); }),
};

// What callbacks cost, in a chain send of which they take all.

int leaveAll(DtInetSocket *, int size, DtInetSockChain &, DtInetEndpoint &, void *)
{
   return size;
}

int takeAll(DtInetSocket *, int, DtInetSockChain &, DtInetEndpoint &, void *)
{
   return 0;
}

bool const callbacks =
   addComparison({"8 callbacks of a chain send", "a map of them by hand", 1.29, 0},
                 [](Bench & bench)
                 {
                    DtInetUdpSocket socket;
                    DtInetEndpoint to = loopback(1);
                    std::vector<char> data(144);
                    DtInetSockChain chain{&data};
                    std::multimap<int, std::unique_ptr<DtInetSocketProcessingCb>> byHand;
                    for (int i = 0; i < 8; ++i)
                    {
                       DtInetSocketProcessingCb const callback = i < 7 ? leaveAll : takeAll;
                       socket.addProcessingCallback(DtInetSockPreSend, callback, nullptr, i);
                       byHand.emplace(i, std::make_unique<DtInetSocketProcessingCb>(callback));
                    }
                    bench.run([&] { benchmark::DoNotOptimize(socket.sendChainTo(chain, to, 0)); },
                              [&]
                              {
                                 int left = static_cast<int>(data.size());
                                 for (auto const & entry : byHand)
                                    left = (*entry.second)(&socket, left, chain, to, nullptr);
                                 benchmark::DoNotOptimize(left);
                              });
                 });

} // namespace
