// SPDX-License-Identifier: MIT
// Accepting, and the manager of connections while nobody has anything to say.
#include "bench/compare.h"
#include "bench/datagrams.h"

#include "tslutil/inet/tslInetSocketMgr.h"
#include "tslutil/inet/tslInetTcpSocket.h"

#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>

namespace
{

constexpr unsigned long theFlags = DtInetSockFlagsDefault | DtInetSockFlagNonBlocking;
constexpr std::size_t theConnections = 1000;

int descriptorOf(DtInetSocket const & socket)
{
   return static_cast<int>(socket.descriptor());
}

/// Clients of a listener on loopback, on the system's own calls.
class Clients
{
public:
   Clients()
   {
      rlimit limit;
      getrlimit(RLIMIT_NOFILE, &limit);
      limit.rlim_cur = limit.rlim_max;
      setrlimit(RLIMIT_NOFILE, &limit);
   }
   ~Clients() { closeAll(); }
   Clients(Clients const &) = delete;
   Clients & operator=(Clients const &) = delete;

   void connect(unsigned short port, std::size_t count)
   {
      sockaddr_in const name = loopbackName(port);
      // Closed without lingering, they don't use up the host's ports.
      linger const none{1, 0};
      for (std::size_t i = 0; i < count; ++i)
      {
         descriptors.push_back(::socket(AF_INET, SOCK_STREAM, 0));
         ::setsockopt(descriptors.back(), SOL_SOCKET, SO_LINGER, &none, sizeof none);
         ::connect(descriptors.back(), reinterpret_cast<sockaddr const *>(&name), sizeof name);
      }
   }

   void closeAll()
   {
      for (int const descriptor : descriptors)
         ::close(descriptor);
      descriptors.clear();
   }

   std::vector<int> descriptors;
};

int acceptRaw(int listener)
{
   sockaddr_in name;
   socklen_t size = sizeof name;
   return ::accept4(listener, reinterpret_cast<sockaddr *>(&name), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
}

void setRaw(int descriptor, int level, int option)
{
   int const on = 1;
   ::setsockopt(descriptor, level, option, &on, sizeof on);
}

/// Both accept from one listener; what a block accepts has connected before, and is closed before the next.
void measureAccept(Bench & bench)
{
   DtInetTcpSocket listener(0, nullptr, DtInetUtils::DtInetFamilyIpv4, theFlags, true);
   int const descriptor = descriptorOf(listener);
   Clients clients;
   std::vector<std::unique_ptr<DtInetTcpSocket>> targets;
   std::vector<int> accepted;
   std::size_t next = 0;
   bench.blockSize = 200;
   bench.prepare = [&](std::size_t count)
   {
      clients.closeAll();
      targets.clear();
      for (int const one : accepted)
         ::close(one);
      accepted.clear();
      clients.connect(listener.localPort(), count);
      for (next = 0; targets.size() < count;)
         targets.push_back(std::make_unique<DtInetTcpSocket>());
      accepted.reserve(count);
   };
   bench.run([&] { listener.acceptConnection(targets[next++].get(), theFlags); },
             [&]
             {
                int const one = acceptRaw(descriptor);
                setRaw(one, IPPROTO_TCP, TCP_NODELAY);
                setRaw(one, SOL_SOCKET, SO_REUSEADDR);
                accepted.push_back(one);
             });
}

DtInetEndpoint serverEndpoint()
{
   return {DtInetAddr("127.0.0.1"), 0, DtInetProtoTcp};
}

void measureIdlePoll(Bench & bench)
{
   DtInetEndpoint endpoint = serverEndpoint();
   DtInetSocketMgr manager(endpoint, nullptr, theFlags, theFlags);
   int const descriptor = descriptorOf(*manager.serverSocket());
   bench.run([&] { benchmark::DoNotOptimize(manager.processConnections()); },
             [&] { benchmark::DoNotOptimize(acceptRaw(descriptor)); });
}

/// Reads `count` connections of which none has anything.
void measureIdleRead(Bench & bench, std::size_t count)
{
   DtInetEndpoint endpoint = serverEndpoint();
   DtInetSocketMgr manager(endpoint, nullptr, theFlags, theFlags);
   Clients clients;
   clients.connect(manager.serverSocket()->localPort(), count);
   manager.processConnections();
   std::vector<int> descriptors;
   for (auto const & entry : manager.socketList())
      descriptors.push_back(descriptorOf(*entry.second));
   std::vector<char> data(1500);
   DtInetEndpoint from;
   bench.run([&] { benchmark::DoNotOptimize(manager.recvFrom(data.data(), data.size(), from)); },
             [&]
             {
                for (int const descriptor : descriptors)
                   benchmark::DoNotOptimize(::recv(descriptor, data.data(), data.size(), 0));
             });
   while (!manager.socketList().empty())
   {
      std::unique_ptr<DtInetSocket> const connection(manager.socketList().begin()->second);
      manager.removeConnection(connection.get());
   }
}

bool const added[] = {
   addComparison({"TCP acceptConnection", "accept4 and two options", 1.35, -1}, measureAccept),
   addComparison({"manager, processConnections, nobody there", "a vain accept4", 0.12, 0}, measureIdlePoll),
   addComparison({"manager, recvFrom, 1000 idle", "1000 vain recv", 0.25, 0},
                 [](Bench & bench) { measureIdleRead(bench, theConnections); }),
};

} // namespace
