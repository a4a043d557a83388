// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/platform/socket.h"

#include <cstdint>

/// Which datagrams a socket gets, and where from and to. Functions answer 0 or the system's error number.
namespace tsl::platform
{

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

/// Connects a bound socket that only sends to where nothing comes from, so that it takes no datagram away
/// from a socket that shares its port. It can still send to any address.
int makeDeaf(SocketHandle socket, std::uint32_t interfaceIndex);

/// Whether a send failed because no route leads to a group, or to all hosts at once: the interface has to be
/// named then.
bool lacksInterface(int error, sockaddr const * to);

/// Whether this is the address of a group.
bool isGroup(sockaddr const * name);

/// Joins or leaves a group. For IPv4 an interface number wins over the interface's address, which may be
/// null; for IPv6 only the number counts, and 0 leaves the choice to the system.
int joinGroup(SocketHandle socket, sockaddr const * group, sockaddr const * interfaceAddress,
              std::uint32_t interfaceIndex);
int leaveGroup(SocketHandle socket, sockaddr const * group, sockaddr const * interfaceAddress,
               std::uint32_t interfaceIndex);

} // namespace tsl::platform
