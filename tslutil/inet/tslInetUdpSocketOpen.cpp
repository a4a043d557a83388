// SPDX-License-Identifier: MIT
// Opening, connecting and closing of UDP sockets.
#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/openGuard.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/udpSocketImpl.h"

#include <algorithm>

using namespace tsl::errorNumbers;

bool DtInetUdpSocket::openSocket()
{
   DtInetUtils::windowsInit();
   if (myState == DtInetSockOpen || myState == DtInetSockConnected)
      return true;
   if (myState != DtInetSockCreated)
      return failOpen(theInvalidState, DtString("Invalid state ") + DtString(int(myState)));
   if (myLocalEndpoint.isTcp())
      return failOpen(theUnfitProtocol, "Cannot open UDP socket from local TCP endpoint");
   if (myDestination.isTcp())
      return failOpen(theUnfitProtocol, "Cannot open UDP socket to a remote TCP endpoint");
   if (myDestination.protocol() == DtInetProtoNone)
      myDestination.setProtocol(DtInetProtoUdp);
   // A socket for a group or for broadcasts listens on the port that it sends to.
   if (tsl::isForMany(myDestination.address()) && myLocalEndpoint.port() == 0)
      myLocalEndpoint.setPort(myDestination.port());
   if (myHostInterface == nullptr)
      myLocalEndpoint.setAddress(DtInetAddr::inaddrAny(
         myDestination.isIPv6() ? DtInetUtils::DtInetFamilyIpv6 : DtInetUtils::DtInetFamilyIpv4));
   else if (!takeDeviceAddresses())
      return false;
   if (!myLocalEndpoint.isUdp())
      myLocalEndpoint.setProtocol(DtInetProtoUdp);
   return tsl::openGuarded(*this, "DtInetUdpSocket::openSocket(): ", "Error opening Boost socket\n",
                           [this] { return openAndBind(); });
}

// The device lends the socket its address, and a broadcast destination its own broadcast address.
bool DtInetUdpSocket::takeDeviceAddresses()
{
   DtInetDevice const & device = *myHostInterface;
   bool const isIpv6 = myDestination.isIPv6();
   DtInetAddr const * const address = isIpv6 ? device.ipv6Addr() : device.ipv4Addr();
   DtInetAddr const * const broadcast = isIpv6 ? device.ipv6BroadcastAddr() : device.ipv4BroadcastAddr();
   if (!device.isOk())
      return failOpen(theBadArgument, DtString("Bad device: ") + device.getLastErrorString());
   if (address == nullptr)
      return failOpen(theBadArgument, DtString("Bad device: ") + device.deviceName() + " has no " +
                                         (isIpv6 ? "IPv6" : "IPv4") + " address");
   myLocalEndpoint.setAddress(*address);
   if (myDestination.address().isBroadcast() && broadcast != nullptr)
      myDestination.setAddress(*broadcast);
   return true;
}

// The rest of the opening, with the endpoints settled.
int DtInetUdpSocket::openAndBind()
{
   bool const hasDevice = myHostInterface != nullptr;
   int error = myImpl->open(myLocalEndpoint, hasDevice);
   if (error == 0)
   {
      setOpeningOptions();
      error = hasDevice ? myImpl->bind(myLocalEndpoint, myHostInterface->interfaceIndex())
                        : myImpl->bind(myLocalEndpoint);
   }
   if (error != 0)
      return error;
   setSecondUdpSocket(nullptr);
   myState = DtInetSockOpen;
   // A failed join leaves the error state, and the socket open.
   if (myDestination.address().isMulticast())
      joinMulticastGroup(myDestination.address(), myHostInterface.get());
   if (myLocalEndpoint.port() == 0)
      error = readLocalPort();
   if (error != 0)
      return error;
   if ((myFlags & tsl::theAsyncFlags) != 0)
      myImpl->engineMade().start(myFlags,
                                 static_cast<std::size_t>(std::max(DtInetUtils::getMaxPacketBufferSize(), 1)),
                                 myImpl->socket, myImpl->outgoing());
   return 0;
}

// Through the virtual setters, so that a derived class can add to them. Their failures don't fail the
// opening.
void DtInetUdpSocket::setOpeningOptions()
{
   unsigned long const bufferSize =
      static_cast<unsigned long>(std::max(DtInetUtils::getMaxPacketBufferSize(), 0));
   setReuseAddressOption((myFlags & DtInetSockFlagReuseAddress) != 0);
   setNonBlockingOption((myFlags & DtInetSockFlagNonBlocking) != 0);
   setBroadcastOption(true);
   setSendBufferSize(bufferSize);
   setReceiveBufferSize(bufferSize);
}

int DtInetUdpSocket::readLocalPort()
{
   unsigned short port = 0;
   int const error = myImpl->socket.localPort(port);
   if (error == 0)
      myLocalEndpoint.setPort(port);
   return error;
}

DtInetSocket::Failure DtInetUdpSocket::failOpen(int code, DtString const & text)
{
   return fail(code, DtString("DtInetUdpSocket::openSocket(): ") + text);
}

bool DtInetUdpSocket::connectToDestination()
{
   // No error code: it is misuse that only this answer tells.
   if (tsl::isForMany(myDestination.address()))
      return refuse(0, DtString("DtInetUdpSocket::connectToDestination(): ") +
                          "cannot connect() to multicast / broadcast destination");
   if (myState == DtInetSockCreated && !openSocket())
      return false;
   if (myState != DtInetSockOpen && myState != DtInetSockConnected)
      return false;
   int error = myImpl->isOpen() ? 0 : myImpl->open(myDestination, false);
   if (error == 0)
      error = myImpl->connect(myLocalEndpoint, myDestination);
   if (error != 0)
      return fail(tsl::errorNumber(error),
                  DtString("DtInetUdpSocket::connectToDestination(): Error connecting Boost socket\n") +
                     tsl::errorMessage(error));
   myState = DtInetSockConnected;
   tsl::platform::SocketName name;
   if ((myLocalEndpoint.address().isAnyAddr() || myLocalEndpoint.port() == 0) &&
       myImpl->socket.localName(name) == 0)
      tsl::EndpointAccess::setSender(myLocalEndpoint, name.data(), name.size);
   return true;
}

// The state stays on purpose: what is sent still goes to the destination.
bool DtInetUdpSocket::disconnect()
{
   int const error = myState == DtInetSockConnected ? myImpl->disconnect() : 0;
   if (error != 0)
      return fail(tsl::errorNumber(error),
                  DtString("DtInetUdpSocket::disconnect(): Error disconnecting Boost socket\n") +
                     tsl::errorMessage(error));
   return true;
}

bool DtInetUdpSocket::closeSocket()
{
   bool const wasConnected = myState == DtInetSockConnected;
   int error = myImpl->second == nullptr ? 0 : myImpl->second->closeDown(wasConnected);
   if ((myFlags & tsl::theAsyncFlags) != 0 && myImpl->engine != nullptr)
      myImpl->engine->stop(true);
   for (tsl::DatagramSocket * const socket : {&myImpl->sender, &myImpl->socket})
      if (int const closeError = socket->closeDown(wasConnected))
         error = closeError;
   if (error != 0)
      return fail(tsl::errorNumber(error), DtString("DtInetUdpSocket::closeSocket(): ") +
                                              "Error closing Boost socket\n" + tsl::errorMessage(error));
   myState = DtInetSockClosed;
   return true;
}
