// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetUdpSocket.h"

#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/udpSocketImpl.h"

namespace
{

constexpr int theBadArgument = 10022;
constexpr int theDestinationInUse = 10056;

} // namespace

DtInetUdpSocket::DtInetUdpSocket() : myImpl(std::make_unique<DtInetUdpSocketImpl>(*this))
{
   myState = DtInetSockCreated;
}

DtInetUdpSocket::DtInetUdpSocket(DtInetEndpoint const & destination, unsigned short localPort,
                                 DtInetDevice * device, unsigned long flags, bool openNow)
   : myImpl(std::make_unique<DtInetUdpSocketImpl>(*this))
{
   DtInetUdpSocket::setLocalPort(localPort);
   myDestination = destination;
   DtInetUdpSocket::bindToDevice(device);
   myFlags = flags;
   myNonBlocking = (flags & DtInetSockFlagNonBlocking) != 0;
   myNoDelay = (flags & DtInetSockFlagNoDelay) != 0;
   myLockNeeded = (flags & (DtInetSockFlagAsyncReceive | DtInetSockFlagAsyncSend)) != 0;
   myOpenNow = openNow;
   myState = DtInetSockCreated;
   if (myOpenNow)
      DtInetUdpSocket::openSocket();
}

DtInetUdpSocket::~DtInetUdpSocket()
{
   DtInetUdpSocket::closeSocket();
}

bool DtInetUdpSocket::bindToDevice(DtInetDevice const * device)
{
   if (device != nullptr && myState < DtInetSockOpen)
      myHostInterface = std::make_unique<DtInetDevice>(*device);
   return true;
}

// The error state counts as an unsigned number here, and so is above the others.
bool DtInetUdpSocket::setSocket(DtInetEndpoint const & destination, unsigned short localPort,
                                DtInetDevice * device, unsigned long flags)
{
   if (static_cast<unsigned>(myState) > DtInetSockCreated)
      return false;
   setLocalPort(localPort);
   myOpenNow = false;
   myFlags = flags;
   myNonBlocking = (flags & DtInetSockFlagNonBlocking) != 0;
   myLockNeeded = (flags & (DtInetSockFlagAsyncReceive | DtInetSockFlagAsyncSend)) != 0;
   bool const hasDestination = setDestination(destination);
   // Always true, so a refused destination doesn't fail the call.
   if (!bindToDevice(device) && !hasDestination)
      return false;
   myState = DtInetSockCreated;
   return true;
}

bool DtInetUdpSocket::setDestination(DtInetEndpoint const & endpoint)
{
   if (myState == DtInetSockOpen && tsl::isForMany(myDestination.address()))
      return refuse(theDestinationInUse,
                    DtString("DtInetUdpSocket::setDestination(): ") +
                       "Cannot change destination endpoint of open broadcast/multicast socket");
   if (endpoint.protocol() != DtInetProtoNone && endpoint.protocol() != DtInetProtoUdp)
      return refuse(theBadArgument, DtString("DtInetUdpSocket::setDestination(): ") +
                                       "Specified destination endpoint is not UDP");
   bool const isUndecided = endpoint.protocol() == DtInetProtoNone;
   myDestination = endpoint;
   if (isUndecided)
      myDestination.setProtocol(DtInetProtoUdp);
   return true;
}

bool DtInetUdpSocket::isOk()
{
   return myState == DtInetSockOpen || myState == DtInetSockConnected;
}

unsigned int DtInetUdpSocket::descriptor() const
{
   return static_cast<unsigned int>(myImpl->socket.handle());
}

void * DtInetUdpSocket::udpSocket()
{
   return &myImpl->socket.boostSocket();
}

void * DtInetUdpSocket::secondUdpSocket()
{
   return &myImpl->incoming().boostSocket();
}

void DtInetUdpSocket::setSecondUdpSocket(void * socket)
{
   myImpl->second.reset();
   if (socket == nullptr)
      return;
   std::unique_ptr<boost::asio::ip::udp::socket> foreign(static_cast<boost::asio::ip::udp::socket *>(socket));
   myImpl->second = std::make_unique<tsl::DatagramSocket>(myImpl->service);
   myImpl->second->adopt(std::move(foreign));
}
