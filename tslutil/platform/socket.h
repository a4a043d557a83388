// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

struct sockaddr;

/// What the system gives a socket of either kind. Calls are repeated when a signal interrupts them. Unless
/// told otherwise, functions answer 0 or the system's error number. A socket belongs to one thread at a time,
/// but one thread may send while another receives.
namespace tsl::platform
{

/// The system's handle of a socket.
using SocketHandle = int;
constexpr SocketHandle noSocket = -1;

/// A piece of memory that a call reads or fills.
struct Slice
{
   void * data;
   std::size_t size;
};

/// The largest number of slices in one call.
constexpr std::size_t theMaxSlices = 64;

/// The outcome of a send or a receive: a number of bytes, or a negative status of the caller's own, and the
/// error, 0 for none.
struct Transfer
{
   int count;
   int error;
};

/// Memory for the name of a socket: its address and port as the system writes them.
struct SocketName
{
   alignas(8) unsigned char bytes[28];
   std::size_t size;

   SocketName() : bytes(), size(0) {}
   SocketName(sockaddr const * name, std::size_t nameSize);

   sockaddr * data() { return reinterpret_cast<sockaddr *>(bytes); }
   sockaddr const * data() const { return reinterpret_cast<sockaddr const *>(bytes); }
};

bool operator==(SocketName const & left, SocketName const & right);

/// The port of an IPv4 or IPv6 name.
unsigned short portOf(SocketName const & name);

/// Opens a socket that children don't inherit.
int openSocket(int family, int type, int protocol, SocketHandle & socket);

/// Closes, once, whatever the answer.
int closeSocket(SocketHandle socket);

/// Ends both directions. A socket that isn't connected is no error.
int shutdownSocket(SocketHandle socket);

int bindSocket(SocketHandle socket, sockaddr const * name, std::size_t size);

/// Connects. On a blocking socket it waits for the outcome, through signals too.
int connectSocket(SocketHandle socket, sockaddr const * name, std::size_t size);

/// Waits for what a connect that is under way comes to.
int connectOutcome(SocketHandle socket);

/// The name that the socket itself has.
int localSocketName(SocketHandle socket, SocketName & name);

int setSocketOption(SocketHandle socket, int level, int option, void const * value, std::size_t size);

/// Reads up to `size` bytes and says in `size` how many. Buffer sizes are told as they were set, without what
/// the system adds for itself.
int getSocketOption(SocketHandle socket, int level, int option, void * value, std::size_t & size);

int setNonBlocking(SocketHandle socket, bool on);

/// How many bytes can be read at once.
int bytesAvailable(SocketHandle socket, std::size_t & bytes);

/// Waits for as long as it takes until a receive, or a send, has something to say.
int waitUntilReadable(SocketHandle socket);
int waitUntilWritable(SocketHandle socket);

/// Whether a receive has something to say, be it that the peer has gone, at once or within so many
/// milliseconds. A signal may cut the wait short.
bool isReadable(SocketHandle socket, int milliseconds);

/// Whether an error says that the call would have had to wait.
bool isWouldBlock(int error);

/// Why a name can't be that of a peer: the any-address and port 0 can't, whatever the system makes of them,
/// nor can null. 0 if it can.
int checkPeer(sockaddr const * name);

} // namespace tsl::platform
