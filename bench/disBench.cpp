// SPDX-License-Identifier: MIT
// The road of PDUs: bundling, unbundling, and the DIS socket's own share of a send and a receive.
#include "bench/compare.h"
#include "bench/datagrams.h"

#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/tslInetDevice.h"

#include <sys/socket.h>

#include <array>
#include <cstring>
#include <deque>
#include <list>
#include <memory>
#include <utility>

namespace
{

constexpr std::size_t thePduSize = 144;
constexpr int theBundleSize = 1400;
constexpr std::size_t theBundlePdus = theBundleSize / thePduSize;
constexpr int theLargeBundleSize = 8000;

DtInetEndpoint loopback(unsigned short port)
{
   return {DtInetAddr("127.0.0.1"), port, DtInetProtoUdp};
}

std::vector<char> makePdu()
{
   std::vector<char> pdu(thePduSize, '\1');
   pdu[0] = 7;
   pdu[8] = 0;
   pdu[9] = static_cast<char>(thePduSize);
   pdu[10] = 0;
   return pdu;
}

std::vector<char> makeBundle(std::size_t count)
{
   std::vector<char> const pdu = makePdu();
   std::vector<char> bundle;
   for (std::size_t i = 0; i < count; ++i)
      bundle.insert(bundle.end(), pdu.begin(), pdu.end());
   return bundle;
}

// Flat receives.

void measureReceive(Bench & bench, std::size_t size)
{
   RawSocket sender;
   RawSocket raw;
   DtDisSocket socket(loopback(sender.port()), 1, nullptr, DtInetSockFlagsDefault, false);
   socket.setLocalPort(0);
   socket.openSocket();
   std::vector<char> const pdu = makePdu();
   std::vector<char> data(size);
   DtInetEndpoint from;
   bool isOurs = false;
   bench.blockSize = 64;
   bench.prepare = [&](std::size_t count)
   {
      isOurs = !isOurs;
      sender.send(pdu.data(), pdu.size(), isOurs ? socket.localPort() : raw.port(), count);
   };
   bench.run([&] { socket.recvFrom(data.data(), data.size(), from, 0); },
             [&]
             {
                sockaddr_in name;
                socklen_t nameSize = sizeof name;
                ::recvfrom(raw.descriptor(), data.data(), data.size(), 0, reinterpret_cast<sockaddr *>(&name),
                           &nameSize);
             });
}

bool const receives[] = {
   addComparison({"DIS recvFrom, buffer of 1500", "recvfrom", 1.05, 0},
                 [](Bench & b) { measureReceive(b, 1500); }),
   addComparison({"DIS recvFrom, buffer of 8192", "recvfrom", 1.05, 0},
                 [](Bench & b) { measureReceive(b, 8192); }),
   addComparison({"DIS recvFrom, buffer of 65504", "recvfrom", 1.05, 0},
                 [](Bench & b) { measureReceive(b, 65504); }),
};

// Flat sends without bundles.

void measureSend(Bench & bench, bool suppress, std::size_t destinations)
{
   std::vector<std::unique_ptr<RawSocket>> sinks;
   for (std::size_t i = 0; i < destinations; ++i)
   {
      sinks.push_back(std::make_unique<RawSocket>());
      sinks.back()->becomeSink();
   }
   RawSocket raw;
   DtInetDevice device(DtInetAddr("127.0.0.1"));
   DtDisSocket socket(loopback(sinks[0]->port()), 1, &device, DtInetSockFlagsDefault, false, suppress);
   socket.setLocalPort(0);
   if (!socket.openSocket())
      return;
   for (std::size_t i = 1; i < destinations; ++i)
      socket.addDestination(loopback(sinks[i]->port()));
   std::vector<char> pdu = makePdu();
   bench.blockSize = 500;
   bench.run([&] { socket.send(pdu.data(), pdu.size(), 0); },
             [&]
             {
                for (auto const & sink : sinks)
                   ::sendto(raw.descriptor(), pdu.data(), pdu.size(), 0,
                            reinterpret_cast<sockaddr const *>(&sink->name()), sizeof(sockaddr_in));
             });
}

bool const sends[] = {
   addComparison({"DIS send", "sendto", 1.02, 0}, [](Bench & b) { measureSend(b, false, 1); }),
   addComparison({"DIS send, suppressing", "sendto", 1.02, 0}, [](Bench & b) { measureSend(b, true, 1); }),
   addComparison({"DIS send to 8 destinations", "8 sendto", 1.03, 0},
                 [](Bench & b) { measureSend(b, false, 8); }),
};

// Bundling and unbundling without the system.

class Bundler : public DtDisSocket
{
public:
   Bundler() : DtDisSocket(loopback(1), 1, nullptr, DtInetSockFlagsDefault, false)
   {
      setBundling(theBundleSize, 0, 0, false);
   }

   int sendChainTo(DtInetSockChain & chain, DtInetEndpoint &, unsigned long) override
   {
      std::size_t size = 0;
      for (std::vector<char> const * buffer : chain)
         size += buffer->size();
      return static_cast<int>(size);
   }
};

bool const bundling =
   addComparison({"a PDU of 144 bytes into a bundle", "new vectors", 0.45, 0},
                 [](Bench & bench)
                 {
                    Bundler bundler;
                    std::vector<char> pdu = makePdu();
                    DtInetSockChain chain{&pdu};
                    DtInetEndpoint to = loopback(3000);
                    std::vector<std::vector<char> *> bundle;
                    bench.run([&] { bundler.addToBundle(static_cast<int>(thePduSize), chain, to, nullptr); },
                              [&]
                              {
                                 if (bundle.size() == theBundlePdus)
                                 {
                                    for (std::vector<char> * buffer : bundle)
                                       delete buffer;
                                    bundle.clear();
                                 }
                                 bundle.push_back(new std::vector<char>(pdu));
                              });
                 });

/// The least that splitting costs: a walk over the headers, a copy of each later PDU, and its hand-over with
/// the name of its sender.
class HandUnbundler
{
public:
   void run(std::vector<char> const & bundle, sockaddr_in const & sender, std::vector<char> & out,
            sockaddr_in & from)
   {
      std::size_t at = sizeOf(bundle, 0);
      while (at < bundle.size())
      {
         std::size_t const size = sizeOf(bundle, at);
         queue.emplace_back(sender,
                            new std::vector<char>(bundle.begin() + static_cast<std::ptrdiff_t>(at),
                                                  bundle.begin() + static_cast<std::ptrdiff_t>(at + size)));
         at += size;
      }
      while (!queue.empty())
      {
         std::vector<char> const * const pdu = queue.front().second;
         from = queue.front().first;
         std::memcpy(out.data(), pdu->data(), pdu->size());
         delete pdu;
         queue.pop_front();
      }
   }

private:
   static std::size_t sizeOf(std::vector<char> const & bundle, std::size_t at)
   {
      return static_cast<std::size_t>(static_cast<unsigned char>(bundle[at + 8]) << 8 |
                                      static_cast<unsigned char>(bundle[at + 9]));
   }

   std::deque<std::pair<sockaddr_in, std::vector<char> *>> queue;
};

bool const unbundling =
   addComparison({"a bundle of 9 PDUs split and delivered", "new vectors by hand", 0.55, 0},
                 [](Bench & bench)
                 {
                    RawSocket sender;
                    DtDisSocket socket(loopback(sender.port()), 1, nullptr, DtInetSockFlagsDefault, false);
                    socket.setLocalPort(0);
                    socket.openSocket();
                    std::vector<char> bundle = makeBundle(theBundlePdus);
                    std::vector<char> out(1500);
                    DtInetSockChain received{&bundle};
                    DtInetSockChain chain{&out};
                    // An endpoint that says where a datagram came from, as it is of use here only.
                    DtInetEndpoint from;
                    sender.send(bundle.data(), thePduSize, socket.localPort());
                    socket.recvFrom(out.data(), out.size(), from, 0);
                    sockaddr_in name;
                    HandUnbundler byHand;
                    bench.run(
                       [&]
                       {
                          int status = 0;
                          socket.unbundle(static_cast<int>(bundle.size()), received, from, &status);
                          for (std::size_t i = 1; i < theBundlePdus; ++i)
                          {
                             status = 0;
                             socket.getNextBundle(0, chain, from, &status);
                          }
                       },
                       [&] { byHand.run(bundle, sender.name(), out, name); });
                 });

/// One walk over a list, as far from its caller as the library's.
[[gnu::noinline]] bool isListed(std::list<unsigned long> const & list, char const * data, int offset)
{
   for (unsigned long value : list)
      if (value == static_cast<unsigned char>(data[offset]))
         return true;
   return false;
}

/// Four tests of a header, of so many values each, and the walks over lists that they are made of.
void measureTests(Bench & bench, unsigned long count)
{
   std::array<DtPduFilterTest, 4> tests;
   std::array<std::list<unsigned long>, 3> lists;
   for (unsigned long value = 0; value < count; ++value)
   {
      for (DtPduFilterTest & test : tests)
         test.extendTest(100 + value);
      for (std::list<unsigned long> & list : lists)
         list.push_back(100 + value);
   }
   std::vector<char> pdu = makePdu();
   benchmark::DoNotOptimize(tests.data());
   benchmark::DoNotOptimize(lists.data());
   bench.run(
      [&]
      {
         bool passes = true;
         for (int i = 0; i < 4; ++i)
            passes &= (&tests[0] + i)->evalTest(pdu.data(), i, i < 3 ? DtPduFilterByte : DtPduFilterOther);
         benchmark::DoNotOptimize(passes);
      },
      [&]
      {
         bool passes = true;
         for (int i = 0; i < 3; ++i)
            passes &= !isListed(lists[static_cast<std::size_t>(i)], pdu.data(), i);
         benchmark::DoNotOptimize(passes);
         benchmark::ClobberMemory();
      });
}

bool const tests[] = {
   addComparison({"4 filter tests, empty", "3 lists by hand", 2.3, 0}, [](Bench & b) { measureTests(b, 0); }),
   addComparison({"4 filter tests of 4 values", "3 lists by hand", 1.64, 0},
                 [](Bench & b) { measureTests(b, 4); }),
};

// The whole road.

/// Two sockets, of which the first sends to the second.
struct Road
{
   explicit Road(int bundleSize)
      : count(static_cast<std::size_t>(bundleSize) / thePduSize),
        receiver(loopback(1), 1, nullptr, DtInetSockFlagsDefault, false),
        sender(loopback(1), 1, nullptr, DtInetSockFlagsDefault, false)
   {
      receiver.setLocalPort(0);
      receiver.openSocket();
      sender.setLocalPort(0);
      sender.setDestination(loopback(receiver.localPort()));
      sender.openSocket();
      sender.setBundling(bundleSize, 0, 0, false);
   }

   /// As many PDUs there as make a bundle.
   void run(std::vector<char> & pdu, std::vector<char> & data)
   {
      for (std::size_t i = 0; i < count; ++i)
         sender.send(pdu.data(), pdu.size(), 0);
      sender.flush();
      for (std::size_t i = 0; i < count; ++i)
         receiver.recvFrom(data.data(), data.size(), from, 0);
   }

   std::size_t count;
   DtDisSocket receiver;
   DtDisSocket sender;
   DtInetEndpoint from;
};

void measureRoads(Bench & bench, int bundleSize)
{
   Road bundled(bundleSize);
   Road plain(bundleSize);
   plain.sender.setBundling(0, 0, 0, false);
   std::vector<char> pdu = makePdu();
   std::vector<char> data(static_cast<std::size_t>(bundleSize));
   bench.blockSize = 50;
   bench.run([&] { bundled.run(pdu, data); }, [&] { plain.run(pdu, data); });
}

void measureRoadByHand(Bench & bench, int bundleSize)
{
   Road bundled(bundleSize);
   RawSocket in;
   RawSocket out;
   std::vector<char> pdu = makePdu();
   std::vector<char> data(static_cast<std::size_t>(bundleSize));
   std::vector<std::vector<char>> buffers(bundled.count);
   std::vector<iovec> slices(bundled.count);
   sockaddr_in to = in.name();
   msghdr message{};
   message.msg_name = &to;
   message.msg_namelen = sizeof to;
   message.msg_iov = slices.data();
   message.msg_iovlen = slices.size();
   bench.blockSize = 50;
   bench.run([&] { bundled.run(pdu, data); },
             [&]
             {
                for (std::size_t i = 0; i < buffers.size(); ++i)
                {
                   buffers[i].assign(pdu.begin(), pdu.end());
                   slices[i] = {buffers[i].data(), buffers[i].size()};
                }
                ::sendmsg(out.descriptor(), &message, 0);
                ssize_t const got = ::recv(in.descriptor(), data.data(), data.size(), 0);
                for (ssize_t at = 0; at < got; at += static_cast<ssize_t>(thePduSize))
                   std::memcpy(buffers[0].data(), data.data() + at, thePduSize);
             });
}

bool const roads[] = {
   addComparison({"PDUs/s in bundles of 1400", "its own, unbundled", 6.5, 0, true},
                 [](Bench & b) { measureRoads(b, theBundleSize); }),
   addComparison({"PDUs/s in bundles of 1400", "sendmsg and recv by hand", 0.85, 0, true},
                 [](Bench & b) { measureRoadByHand(b, theBundleSize); }),
   addComparison({"PDUs/s in bundles of 8000", "its own, unbundled", 17, 0, true},
                 [](Bench & b) { measureRoads(b, theLargeBundleSize); }),
   addComparison({"PDUs/s in bundles of 8000", "sendmsg and recv by hand", 0.60, 0, true},
                 [](Bench & b) { measureRoadByHand(b, theLargeBundleSize); }),
};

} // namespace
