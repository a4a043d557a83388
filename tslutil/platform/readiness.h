// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/platform/socket.h"

#include <cstddef>
#include <cstdint>

/// Which of many sockets have something to say: whether a receive or an accept would answer at once, with
/// bytes, a connection, the end or an error. Nothing here waits.
namespace tsl::platform
{

/// The largest number of sockets in one question.
constexpr std::size_t theMaxAsked = 256;

/// Asks about each of some sockets. Those of which nothing can be known count as ready, noSocket among them.
void findReadable(SocketHandle const * sockets, bool * isReady, std::size_t count);

/// Sockets that the system watches, so that asking whether all are silent costs the same for any number of
/// them. It takes a descriptor from the first of them on. What is closed leaves by itself.
class SocketWatch
{
public:
   SocketWatch();
   ~SocketWatch();
   SocketWatch(SocketWatch const &) = delete;
   SocketWatch & operator=(SocketWatch const &) = delete;

   /// A number that no other watch of the process has had; not 0.
   std::uint64_t id() const { return myId; }

   /// Begins to watch; false if the system has no room for it.
   bool add(SocketHandle socket);

   /// Whether certainly none of the watched sockets has anything to say.
   bool isQuiet() const;

private:
   std::uint64_t const myId;
   int myHandle = -1;
};

} // namespace tsl::platform
