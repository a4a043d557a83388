// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetTcpSocket.h"

#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/tcpSocketImpl.h"
#include "tslutil/inet/tslInetDevice.h"

using namespace tsl::errorNumbers;

namespace
{

// What a listener doesn't do by itself.
constexpr unsigned long theTrafficFlags =
   DtInetSockFlagReceive | DtInetSockFlagSend | DtInetSockFlagAsyncReceive | DtInetSockFlagAsyncSend;

} // namespace

tsl::Engine<boost::asio::ip::tcp> & DtInetTcpSocketImpl::engineMade()
{
   if (engine == nullptr)
      engine = std::make_unique<tsl::Engine<Tcp>>(service, &owner);
   return *engine;
}

DtInetTcpSocket::DtInetTcpSocket() : myImpl(std::make_unique<DtInetTcpSocketImpl>(*this)) {}

DtInetTcpSocket::DtInetTcpSocket(DtInetEndpoint const & destination, unsigned short localPort,
                                 DtInetDevice * device, unsigned long flags, bool openNow)
   : myImpl(std::make_unique<DtInetTcpSocketImpl>(*this))
{
   myImpl->socketMade();
   DtInetTcpSocket::setLocalPort(localPort);
   myDestination = destination;
   DtInetTcpSocket::bindToDevice(device);
   tsl::SocketAccess::setFlags(*this, flags);
   myNoDelay = (flags & DtInetSockFlagNoDelay) != 0;
   myOpenNow = openNow;
   myState = DtInetSockCreated;
   if (myOpenNow)
      DtInetTcpSocket::openSocket();
}

DtInetTcpSocket::DtInetTcpSocket(unsigned short port, DtInetDevice * device,
                                 DtInetUtils::DtInetAddrFamily family, unsigned long flags, bool openNow)
   : myImpl(std::make_unique<DtInetTcpSocketImpl>(*this))
{
   myImpl->acceptor.emplace(myImpl->service);
   myImpl->keepsReuse = true;
   myImpl->family = family;
   tsl::SocketAccess::setFlags(*this, flags);
   myFlags &= ~theTrafficFlags;
   myNoDelay = (flags & DtInetSockFlagNoDelay) != 0;
   DtInetTcpSocket::setLocalPort(port);
   DtInetTcpSocket::bindToDevice(device);
   myOpenNow = openNow;
   myState = DtInetSockCreated;
   if (myOpenNow)
      DtInetTcpSocket::listenForConnections();
}

DtInetTcpSocket::~DtInetTcpSocket()
{
   DtInetTcpSocket::closeSocket();
}

bool DtInetTcpSocket::setDestination(DtInetEndpoint const & endpoint)
{
   if (myState > DtInetSockCreated)
      return refuse(theDestinationInUse, DtString("DtInetTcpSocket::setDestination(): ") +
                                            "Cannot change destination endpoint of open socket");
   if (!tsl::SocketAccess::takeDestination(*this, endpoint, DtInetProtoTcp))
      return refuse(theBadArgument, DtString("DtInetTcpSocket::setDestination(): ") +
                                       "Specified destination endpoint is not TCP");
   return true;
}

bool DtInetTcpSocket::bindToDevice(DtInetDevice const * device)
{
   return tsl::SocketAccess::bindToDevice(*this, device);
}

bool DtInetTcpSocket::setSocket(DtInetEndpoint const & destination, unsigned short localPort,
                                DtInetDevice * device, unsigned long flags)
{
   return tsl::SocketAccess::setSocket(*this, destination, localPort, device, flags);
}

bool DtInetTcpSocket::isOk()
{
   if (isServerSock())
      return myState == DtInetSockListening || myState == DtInetSockConnecting;
   return myState == DtInetSockOpen || myState == DtInetSockConnecting || myState == DtInetSockConnected;
}

unsigned int DtInetTcpSocket::descriptor() const
{
   return static_cast<unsigned int>(myImpl->handle());
}

bool DtInetTcpSocket::isServerSock() const
{
   return myImpl->acceptor.has_value();
}

void * DtInetTcpSocket::tcpSocket()
{
   return myImpl->socket ? &myImpl->socket->boostSocket() : nullptr;
}

void * DtInetTcpSocket::tcpServerSocket()
{
   return myImpl->acceptor ? &myImpl->acceptor->boostSocket() : nullptr;
}
