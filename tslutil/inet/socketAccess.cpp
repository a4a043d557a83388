// SPDX-License-Identifier: MIT
#include "tslutil/inet/socketAccess.h"

#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/platform/socketError.h"

#include <boost/asio/error.hpp>

namespace tsl
{

boost::system::error_code errorCode(int error)
{
   if (error < 0)
      return {-error, boost::asio::error::get_misc_category()};
   return {error, boost::system::system_category()};
}

int errorNumber(int error)
{
   return platform::socketErrorNumber(errorCode(error));
}

DtString errorMessage(int error)
{
   return DtString(errorCode(error).message());
}

platform::SocketName nameOf(DtInetEndpoint const & endpoint, DtInetProtocol protocol)
{
   std::size_t size = 0;
   sockaddr const * const name = EndpointAccess::systemName(endpoint, protocol, size);
   return {name, name == nullptr ? 0 : size};
}

void SocketAccess::setFlags(DtInetSocket & socket, unsigned long flags)
{
   // A word of 32 bits, however wide the type is.
   socket.myFlags = static_cast<std::uint32_t>(flags);
   socket.myNonBlocking = (flags & DtInetSockFlagNonBlocking) != 0;
   socket.myLockNeeded = (flags & theAsyncFlags) != 0;
}

bool SocketAccess::bindToDevice(DtInetSocket & socket, DtInetDevice const * device)
{
   if (device != nullptr && socket.myState < DtInetSockOpen)
      socket.myHostInterface = std::make_unique<DtInetDevice>(*device);
   return true;
}

// The error state counts as an unsigned number here, and so is above the others.
bool SocketAccess::setSocket(DtInetSocket & socket, DtInetEndpoint const & destination,
                             unsigned short localPort, DtInetDevice * device, unsigned long flags)
{
   if (static_cast<unsigned>(socket.myState) > DtInetSockCreated)
      return false;
   socket.setLocalPort(localPort);
   socket.myOpenNow = false;
   setFlags(socket, flags);
   bool const hasDestination = socket.setDestination(destination);
   // Always true, so a refused destination doesn't fail the call.
   if (!socket.bindToDevice(device) && !hasDestination)
      return false;
   socket.myState = DtInetSockCreated;
   return true;
}

bool SocketAccess::takeDestination(DtInetSocket & socket, DtInetEndpoint const & endpoint,
                                   DtInetProtocol protocol)
{
   bool const isUndecided = endpoint.protocol() == DtInetProtoNone;
   if (!isUndecided && endpoint.protocol() != protocol)
      return false;
   socket.myDestination = endpoint;
   if (isUndecided)
      socket.myDestination.setProtocol(protocol);
   return true;
}

} // namespace tsl
