// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/platform/socket.h"

#include <cstddef>

/// Which of many sockets have something to say: whether a receive or an accept would answer at once, with
/// bytes, a connection, the end or an error. Nothing here waits.
namespace tsl::platform
{

/// The largest number of sockets in one question.
constexpr std::size_t theMaxAsked = 256;

/// How many of some sockets, from the first on, certainly have nothing to say. Those of which nothing can be
/// known don't count, noSocket among them.
std::size_t countIdle(SocketHandle const * sockets, std::size_t count);

/// Whether this one certainly has nothing to say.
bool isIdle(SocketHandle socket);

} // namespace tsl::platform
