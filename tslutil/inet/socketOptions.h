// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/socketAccess.h"

/// Setting and reading socket options, once for all kinds of sockets. What is set is one of Asio's option
/// classes; where, anything with isOpen(), set() and get() as LazySocket has them.
///
///    bool DtInetUdpSocket::setBroadcastOption(bool on)
///    {
///       return tsl::setOption(*this, myImpl->options(), socket_base::broadcast(on),
///                             "DtInetUdpSocket::setBroadcastOption(): ", tsl::toggling(on, "broadcast"));
///    }
namespace tsl
{

/// The middle of a setter's text, made only if it fails: "Error enabling broadcast\n".
inline auto toggling(bool on, char const * what, char const * tail = "\n")
{
   return [=] { return DtString(on ? "Error enabling " : "Error disabling ") + what + tail; };
}

/// The same for a value: "Error setting send buffer size to 65504\n".
inline auto setting(char const * what, unsigned long value, char const * tail = "\n")
{
   return [=] { return DtString("Error setting ") + what + " to " + DtString(value) + tail; };
}

/// A size for an option: the system takes an int, and a negative one for the largest.
int optionValue(unsigned long value);

/// The answer of a setter whose call came to `error`. A failure is recorded as `operation`, `text()` and the
/// error's message, and moves to the error state.
template<class Text>
bool optionResult(DtInetSocket & owner, int error, char const * operation, Text const & text)
{
   if (error == 0)
      return true;
   return SocketAccess::fail(owner, errorNumber(error), DtString(operation) + text() + errorMessage(error));
}

/// Sets an option: false without a record if the socket isn't open.
template<class Socket, class Option, class Text>
bool setOption(DtInetSocket & owner, Socket && socket, Option const & option, char const * operation,
               Text const & text)
{
   return socket.isOpen() && optionResult(owner, socket.set(option), operation, text);
}

/// Reads an option: 0 or false without a record if the socket isn't open, and on failure, which is recorded
/// as `operation`, a new line and the message and moves to the error state. `operation` is the whole text
/// ahead of the new line; it isn't always that of the operation that reads.
template<class Option, class Socket>
Option readOption(DtInetSocket & owner, Socket && socket, char const * operation)
{
   Option option;
   int const error = socket.isOpen() ? socket.get(option) : 0;
   if (!socket.isOpen() || !optionResult(owner, error, operation, [] { return DtString("\n"); }))
      option = Option();
   return option;
}

/// The same for an option of one value.
template<class Option, class Socket>
auto getOption(DtInetSocket & owner, Socket && socket, char const * operation)
{
   return readOption<Option>(owner, socket, operation).value();
}

/// How many bytes can be read from a socket at once; as an option.
unsigned long getBytesAvailable(DtInetSocket & owner, platform::SocketHandle socket, char const * operation);

} // namespace tsl
