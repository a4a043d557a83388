// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/platform/socket.h"

#include <cstdint>

/// Sending and receiving datagrams, and which datagrams a socket gets. One system call each, no memory taken.
namespace tsl::platform
{

/// Sends one datagram to `to`, or to the peer of a connected socket if that is null. A pending report that an
/// earlier one wasn't taken doesn't cost this one: it is then sent once more.
Transfer sendDatagram(SocketHandle socket, void const * data, std::size_t size, sockaddr const * to,
                      std::size_t toSize);

/// The same for one datagram gathered from at most theMaxSlices slices. An interface number other than 0
/// names the interface that it leaves by, whatever the routes say.
Transfer sendDatagram(SocketHandle socket, Slice const * slices, std::size_t count, sockaddr const * to,
                      std::size_t toSize, std::uint32_t interfaceIndex = 0);

/// Receives one datagram and, unless `from` is null, its sender. One that is larger than the memory is lost
/// but for what fits, and an error.
Transfer receiveDatagram(SocketHandle socket, void * data, std::size_t size, SocketName * from);

/// The same, spread over at most theMaxSlices slices in order.
Transfer receiveDatagram(SocketHandle socket, Slice const * slices, std::size_t count, SocketName * from);

/// One datagram of a batch.
struct Datagram
{
   void * data;
   /// On receipt the room, then the number of bytes.
   std::size_t size;
   SocketName name;
   /// On receipt: it was larger than the room.
   bool isCut;
};

/// The largest number of datagrams in a batch.
constexpr std::size_t theMaxDatagrams = 64;

/// Receives what is there, without waiting: how many, or the error.
Transfer receiveDatagrams(SocketHandle socket, Datagram * datagrams, std::size_t count);

/// Sends without waiting: how many of the first went out, or the error of the very first.
Transfer sendDatagrams(SocketHandle socket, Datagram const * datagrams, std::size_t count);

/// Prepares a new socket: it hears only the groups that it joins itself; one of IPv6 also speaks IPv4; what
/// it sends may be fragmented on the way.
int prepareDatagramSocket(SocketHandle socket, bool ipv6);

/// Makes a socket that is connected unconnected again, bound to the same port as before.
int disconnectDatagramSocket(SocketHandle socket);

/// What an interface is to let through to a socket that isn't bound to its address.
struct InterfaceFilter
{
   std::uint32_t interfaceIndex;
   /// The address that counts as the socket's own.
   SocketName local;
   /// IPv4: the netmask that tells the interface's broadcast address, in host order.
   std::uint32_t netmask;
   /// The only sender to hear; none if its size is 0.
   SocketName peer;
};

/// Has a socket that is bound to no address hear an interface only, and of unicast only what is for one
/// address of it, from this host too. Called again, it changes the filter. Where the system doesn't let a
/// socket be bound to an interface, the filter alone has to do.
int hearInterfaceOnly(SocketHandle socket, InterfaceFilter const & filter);

/// Connects a socket that only sends to where nothing ever comes from, so that it takes no datagram away from
/// a socket that shares its port. It can still send to any address.
int makeDeaf(SocketHandle socket, std::uint32_t interfaceIndex);

/// Joins or leaves a group. For IPv4 an interface number wins over the interface's address, which may be
/// null; for IPv6 only the number counts, and 0 leaves the choice to the system.
int joinGroup(SocketHandle socket, sockaddr const * group, sockaddr const * interfaceAddress,
              std::uint32_t interfaceIndex);
int leaveGroup(SocketHandle socket, sockaddr const * group, sockaddr const * interfaceAddress,
               std::uint32_t interfaceIndex);

} // namespace tsl::platform
