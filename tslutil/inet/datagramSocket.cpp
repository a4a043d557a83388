// SPDX-License-Identifier: MIT
#include "tslutil/inet/datagramSocket.h"

#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/platform/datagramScope.h"

using namespace tsl::errorNumbers;

namespace tsl
{

using platform::SocketName;
using platform::Transfer;

int datagramErrorNumber(int error)
{
   int const number = errorNumber(error);
   return number == theRefused ? theReset : number;
}

int DatagramSocket::open(boost::asio::ip::udp const & protocol)
{
   myPeer = SocketName();
   if (int const error = LazySocket::open(protocol))
      return error;
   return platform::prepareDatagramSocket(handle(), protocol == boost::asio::ip::udp::v6());
}

int DatagramSocket::bind(DtInetEndpoint const & local)
{
   SocketName const name = nameOf(local);
   boost::asio::socket_base::reuse_address shared;
   if (local.port() == 0)
      if (int const error = get(shared))
         return error;
   if (!shared.value())
      return platform::bindSocket(handle(), name.data(), name.size);
   // Among sockets that share, the system would choose a port that another one has.
   int error = set(boost::asio::socket_base::reuse_address(false));
   if (error == 0)
      error = platform::bindSocket(handle(), name.data(), name.size);
   return error != 0 ? error : set(shared);
}

int DatagramSocket::connect(DtInetEndpoint const & peer)
{
   SocketName const name = nameOf(peer);
   int const error = LazySocket::connect(name);
   if (error == 0)
      myPeer = name;
   return error;
}

int DatagramSocket::disconnect()
{
   int const error = platform::disconnectDatagramSocket(handle());
   if (error == 0)
      myPeer = SocketName();
   return error;
}

int DatagramSocket::makeDeaf(std::uint32_t interfaceIndex)
{
   return platform::makeDeaf(handle(), interfaceIndex);
}

// `send` takes the name, its size and the number of the interface to leave by, 0 for the one of the route.

template<class Send>
Transfer DatagramSocket::sendNamed(DtInetEndpoint const & to, Send const & send)
{
   std::size_t size = 0;
   sockaddr const * const name = EndpointAccess::systemName(to, DtInetProtoUdp, size);
   if (int const error = platform::checkPeer(name))
      return {0, error};
   // A connected socket needs no name; but whoever has the Boost socket may have connected it otherwise.
   bool const isPeer = myPeer.size == size && !hasBoostSocket() && SocketName(name, size) == myPeer;
   sockaddr const * const needed = isPeer ? nullptr : name;
   Transfer const sent = send(needed, isPeer ? 0 : size, 0);
   return sent.error == 0 ? sent : sendAgain(sent, needed, size, send);
}

template<class Send>
[[gnu::cold]] Transfer DatagramSocket::sendAgain(Transfer const & first, sockaddr const * name,
                                                 std::size_t size, Send const & send)
{
   Transfer const sent = whenWritable(first, [&] { return send(name, name == nullptr ? 0 : size, 0); });
   if (sent.error == 0 || name == nullptr || !platform::lacksInterface(sent.error, name))
      return sent;
   std::uint32_t const interfaceIndex = defaultInterface(name);
   return interfaceIndex == 0 ? sent : send(name, size, interfaceIndex);
}

Transfer DatagramSocket::sendTo(void const * data, std::size_t size, DtInetEndpoint const & to)
{
   return sendNamed(to,
                    [&](sockaddr const * name, std::size_t nameSize, std::uint32_t interfaceIndex)
                    {
                       if (interfaceIndex == 0)
                          return platform::sendDatagram(handle(), data, size, name, nameSize);
                       platform::Slice const slice{const_cast<void *>(data), size};
                       return platform::sendDatagram(handle(), &slice, 1, name, nameSize, interfaceIndex);
                    });
}

Transfer DatagramSocket::sendTo(DtInetSockChain const & chain, DtInetEndpoint const & to)
{
   ChainSlices slices(chain);
   return sendNamed(to,
                    [&](sockaddr const * name, std::size_t nameSize, std::uint32_t interfaceIndex) {
                       return platform::sendDatagram(handle(), slices.data(), slices.count(), name, nameSize,
                                                     interfaceIndex);
                    });
}

Transfer DatagramSocket::sendBatch(platform::Datagram const * datagrams, std::size_t count)
{
   Transfer const sent = platform::sendDatagrams(handle(), datagrams, count);
   if (sent.error == 0 || !platform::lacksInterface(sent.error, datagrams->name.data()))
      return sent;
   std::uint32_t const interfaceIndex = defaultInterface(datagrams->name.data());
   if (interfaceIndex == 0)
      return sent;
   platform::Slice const slice{datagrams->data, datagrams->size};
   Transfer const first = platform::sendDatagram(handle(), &slice, 1, datagrams->name.data(),
                                                 datagrams->name.size, interfaceIndex);
   return first.error == 0 ? Transfer{1, 0} : first;
}

// A scan of the machine's interfaces is dear, so the first answer stays.
std::uint32_t DatagramSocket::defaultInterface(sockaddr const * to)
{
   bool const isGroup = platform::isGroup(to);
   std::atomic<std::uint32_t> & known = myDefaultInterface[isGroup];
   if (known == 0)
   {
      boost::shared_ptr<DtInetDevice> const device =
         isGroup ? DtInetUtils::defaultMulticastDevice() : DtInetUtils::defaultBroadcastDevice();
      if (device != nullptr)
         known = device->interfaceIndex();
   }
   return known;
}

// Stands apart to keep the way of a datagram that is there short.
Transfer DatagramSocket::receiveAgain(Transfer const & first, void * data, std::size_t size,
                                      SocketName * from)
{
   return whenReadable(first, [&] { return platform::receiveDatagram(handle(), data, size, from); });
}

Transfer DatagramSocket::receive(DtInetSockChain const & chain, SocketName * from)
{
   ChainSlices slices(chain);
   return whenReadable([&]
                       { return platform::receiveDatagram(handle(), slices.data(), slices.count(), from); });
}

} // namespace tsl
