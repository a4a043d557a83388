// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/platform/socket.h"

#include <cstdint>

/// Sending and receiving datagrams. One system call each, no memory taken.
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

} // namespace tsl::platform
