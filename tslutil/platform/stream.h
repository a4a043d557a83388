// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/platform/socket.h"

/// Streams: listening, accepting, sending and receiving. One system call each, no memory taken.
namespace tsl::platform
{

/// Whether a call waits, if the socket is one that does.
enum Waiting : int
{
   neverWait = 0,
   mayWait = 1
};

int listenAt(SocketHandle socket, int backlog);

/// Takes the next connection: a socket that waits and that children don't inherit, and its peer. Connections
/// that the network has lost meanwhile are passed over.
int acceptConnection(SocketHandle listener, SocketHandle & accepted, SocketName & peer);

/// Whether the socket is connected at the moment: not while a connect is under way, nor once it has failed.
bool hasPeer(SocketHandle socket);

/// Sends what the system takes of the bytes, and how many. A lost peer is an error, never a signal.
Transfer sendStream(SocketHandle socket, void const * data, std::size_t size);
/// The same for at most theMaxSlices slices.
Transfer sendStream(SocketHandle socket, Slice const * slices, std::size_t count, Waiting waiting = mayWait);

/// Receives what is there, at most `size` bytes; 0 is the end of the stream.
Transfer receiveStream(SocketHandle socket, void * data, std::size_t size, Waiting waiting = mayWait);
/// The same, spread over at most theMaxSlices slices in order.
Transfer receiveStream(SocketHandle socket, Slice const * slices, std::size_t count);

} // namespace tsl::platform
