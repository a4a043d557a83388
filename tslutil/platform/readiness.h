// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/platform/socket.h"

#include <cstddef>

/// Which of many sockets have something to say, in one question that doesn't wait.
namespace tsl::platform
{

/// The largest number of sockets in one question.
constexpr std::size_t theMaxAsked = 256;

/// Tells for each socket whether a receive or an accept would answer at once: with bytes, a connection, the
/// end or an error. Those of which nothing can be known count as ready, noSocket among them.
void findReadable(SocketHandle const * sockets, bool * isReady, std::size_t count);

} // namespace tsl::platform
