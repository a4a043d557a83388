// SPDX-License-Identifier: MIT
#include "tslutil/inet/messageReader.h"

#include "tslutil/base/tslNetTypes.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/tslInetTcpSocket.h"
#include "tslutil/platform/socket.h"
#include "tslutil/time/tslClock.h"

#include <algorithm>
#include <cstring>

namespace tsl
{

namespace
{

/// A sender whose limit is below this raises it as far as its file's name needs.
constexpr std::size_t theLeastRoom = theFirstHeader + 256;

constexpr int theWaitInMilliseconds = 10;

} // namespace

char * writeNumbers(char * to, std::initializer_list<std::int32_t> numbers)
{
   for (std::int32_t const number : numbers)
   {
      DtNetInt32 const field(number);
      std::memcpy(to, &field, sizeof field);
      to += sizeof field;
   }
   return to;
}

std::int32_t readNumber(char const * from)
{
   DtNetInt32 field;
   std::memcpy(&field, from, sizeof field);
   return field;
}

std::size_t messageLimit(std::size_t least)
{
   return std::max(least, static_cast<std::size_t>(std::max(DtInetUtils::getMaxPacketBufferSize(), 0)));
}

MessageReader::MessageReader(DtInetTcpSocket & socket, double silenceLimit)
   : mySocket(socket),
     mySilenceLimit(silenceLimit),
     myBuffer(messageLimit(theLeastRoom)),
     myRoom(messageLimit(theFirstHeader + 1)),
     myLastByte(Clock::now())
{
}

MessageReader::Outcome MessageReader::read()
{
   mySize = 0;
   if (receive() == 0)
      return isSilent() ? Broken : Nothing;
   return receiveUpTo(theNumberSize) && takeLength() && receiveUpTo(myLength) ? Whole : Broken;
}

bool MessageReader::takeLength()
{
   std::int32_t const length = readNumber(myBuffer.data());
   if (length < static_cast<std::int32_t>(theLaterHeader) ||
       static_cast<std::size_t>(length) > std::max(myRoom, theLeastRoom))
      return false;
   myLength = static_cast<std::size_t>(length);
   myRoom = std::max(myRoom, myLength);
   return true;
}

bool MessageReader::isSilent() const
{
   return Clock::now() - myLastByte >= mySilenceLimit;
}

std::size_t MessageReader::receive()
{
   DtInetSockRcvStatus const status = mySocket.recv(myBuffer.data() + mySize, myRoom - mySize);
   if (status < 1)
      return 0;
   myLastByte = Clock::now();
   mySize += static_cast<std::size_t>(status);
   return static_cast<std::size_t>(status);
}

bool MessageReader::receiveUpTo(std::size_t wanted)
{
   while (mySize < wanted)
   {
      bool const hasCome = platform::isReadable(static_cast<platform::SocketHandle>(mySocket.descriptor()),
                                                theWaitInMilliseconds);
      if (receive() != 0)
         continue;
      if (!mySocket.isOk() || isSilent())
         return false;
      // An error that the socket outlives is there again at once.
      if (hasCome)
         DtSleep(0.001 * theWaitInMilliseconds);
   }
   return true;
}

} // namespace tsl
