// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

class DtInetTcpSocket;

namespace tsl
{

// The messages of a file transfer: numbers of 32 bits, in network order. Every message begins with its length
// and the transfer's identifier; the first of a file goes on with file size, content size, a reserved number
// and the file's name with a zero byte. The rest is content.

constexpr std::size_t theNumberSize = 4;
constexpr std::size_t theLaterHeader = 2 * theNumberSize;
/// Without the name, with its zero byte.
constexpr std::size_t theFirstHeader = 5 * theNumberSize + 1;

/// Writes numbers and answers the place behind them.
char * writeNumbers(char * to, std::initializer_list<std::int32_t> numbers);
std::int32_t readNumber(char const * from);

/// The process-wide limit of a message, or `least` if that is more.
std::size_t messageLimit(std::size_t least);

/// Reads messages from a non-blocking stream, and waits without turning in place while one is incomplete.
class MessageReader
{
public:
   enum Outcome : int
   {
      Nothing,
      Whole,
      /// The stream isn't ok any more, has been silent for too long, or claims a length that can't be.
      Broken
   };

   MessageReader(DtInetTcpSocket & socket, double silenceLimit);

   /// Reads a message if one has begun to come. What the read that completes it brings beyond its length
   /// counts as part of it, on purpose: senders pause between messages.
   Outcome read();

   char const * data() const { return myBuffer.data(); }
   /// How many bytes are in hand.
   std::size_t size() const { return mySize; }
   /// The length that the message claims; not more than are in hand.
   std::size_t length() const { return myLength; }

private:
   typedef std::chrono::steady_clock Clock;

   bool isSilent() const;
   std::size_t receive();
   bool receiveUpTo(std::size_t wanted);
   bool takeLength();

   DtInetTcpSocket & mySocket;
   std::chrono::duration<double> const mySilenceLimit;
   std::vector<char> myBuffer;
   std::size_t myRoom;
   std::size_t mySize = 0;
   std::size_t myLength = 0;
   Clock::time_point myLastByte;
};

} // namespace tsl
