// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetUdpSocket.h"

#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/udpSocketImpl.h"

using namespace tsl::errorNumbers;

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
   tsl::SocketAccess::setFlags(*this, flags);
   myNoDelay = (flags & DtInetSockFlagNoDelay) != 0;
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
   return tsl::SocketAccess::bindToDevice(*this, device);
}

bool DtInetUdpSocket::setSocket(DtInetEndpoint const & destination, unsigned short localPort,
                                DtInetDevice * device, unsigned long flags)
{
   return tsl::SocketAccess::setSocket(*this, destination, localPort, device, flags);
}

bool DtInetUdpSocket::setDestination(DtInetEndpoint const & endpoint)
{
   if (myState == DtInetSockOpen && tsl::isForMany(myDestination.address()))
      return refuse(theDestinationInUse,
                    DtString("DtInetUdpSocket::setDestination(): ") +
                       "Cannot change destination endpoint of open broadcast/multicast socket");
   if (!tsl::SocketAccess::takeDestination(*this, endpoint, DtInetProtoUdp))
      return refuse(theBadArgument, DtString("DtInetUdpSocket::setDestination(): ") +
                                       "Specified destination endpoint is not UDP");
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
