// SPDX-License-Identifier: MIT
// Opening, connecting, listening, accepting and closing of TCP sockets.
#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/openGuard.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/tcpSocketImpl.h"
#include "tslutil/inet/tslInetDevice.h"

#include <boost/system/system_error.hpp>

#include <algorithm>
#include <iterator>

using namespace tsl::errorNumbers;

using tsl::errorMessage;
using tsl::platform::SocketHandle;
using tsl::platform::SocketName;

namespace
{

constexpr int theBacklog = 1024;

// The failures of an accept that are the new connection's.
constexpr int theNewcomersFailures[] = {5, 14, 134, 10004, 10024, 10053, 10055};

bool isNewcomers(int number)
{
   return std::find(std::begin(theNewcomersFailures), std::end(theNewcomersFailures), number) !=
          std::end(theNewcomersFailures);
}

std::size_t packetBufferSize()
{
   return static_cast<std::size_t>(std::max(DtInetUtils::getMaxPacketBufferSize(), 0));
}

} // namespace

bool DtInetTcpSocket::openSocket()
{
   if (myState == DtInetSockOpen || myState == DtInetSockListening || myState == DtInetSockConnecting ||
       myState == DtInetSockConnected)
      return true;
   if (myState != DtInetSockCreated)
      return failOpen(theInvalidState, DtString("Invalid state ") + DtString(int(myState)));
   // A listener opens when it listens.
   if (isServerSock())
      return true;
   if (myLocalEndpoint.isUdp())
      return failOpen(theUnfitProtocol, "Cannot open TCP socket from local UDP endpoint");
   if (myDestination.protocol() == DtInetProtoNone)
      myDestination.setProtocol(DtInetProtoTcp);
   if (!myDestination.isTcp())
      return failOpen(theUnfitProtocol, "Cannot open TCP socket to a remote UDP endpoint");
   takeDeviceAddress();
   myLocalEndpoint.setProtocol(DtInetProtoTcp);
   return tsl::openGuarded(*this, "DtInetTcpSocket::openSocket(): ", "Error opening Boost socket\n",
                           [this] { return openAndBind(); });
}

DtInetSocket::Failure DtInetTcpSocket::failOpen(int code, DtString const & text)
{
   return fail(code, DtString("DtInetTcpSocket::openSocket(): ") + text);
}

// The device lends the socket its address of the destination's family, if it has one.
void DtInetTcpSocket::takeDeviceAddress()
{
   bool const isIpv6 = myDestination.isIPv6();
   DtInetAddr const * address = nullptr;
   if (myHostInterface != nullptr)
      address = isIpv6 ? myHostInterface->ipv6Addr() : myHostInterface->ipv4Addr();
   myLocalEndpoint.setAddress(
      address != nullptr
         ? *address
         : DtInetAddr::inaddrAny(isIpv6 ? DtInetUtils::DtInetFamilyIpv6 : DtInetUtils::DtInetFamilyIpv4));
}

// The options go through the virtual setters, so that a derived class can add to them. Their failures don't
// fail the opening.
int DtInetTcpSocket::openAndBind()
{
   if (int const error = tsl::openStream(myImpl->socketMade(), myLocalEndpoint.isIPv6()))
      return error;
   setNonBlockingOption(myNonBlocking);
   setTcpNoDelayOption(myNoDelay);
   setReuseAddressOption((myFlags & DtInetSockFlagReuseAddress) != 0);
   setSendBufferSize(packetBufferSize());
   setReceiveBufferSize(packetBufferSize());
   if (int const error = myImpl->socket->bind(myLocalEndpoint))
      return error;
   myState = DtInetSockOpen;
   return readLocalPort();
}

// Where the system was to choose.
int DtInetTcpSocket::readLocalPort()
{
   SocketName name;
   int const error = myLocalEndpoint.port() == 0 ? myImpl->localName(name) : 0;
   if (error == 0 && name.size != 0)
      myLocalEndpoint.setPort(tsl::platform::portOf(name));
   return error;
}

bool DtInetTcpSocket::connectToDestination()
{
   if (myState == DtInetSockCreated && !openSocket())
      return false;
   if (myState == DtInetSockConnecting || myState == DtInetSockConnected)
      return true;
   if (isServerSock() || myState != DtInetSockOpen)
      return false;
   if (!myImpl->socket)
      return refuse(theNoSocket, "DtInetTcpSocket::connectToDestination() called on uninitialized socket");
   int const error = myImpl->socket->connect(myDestination);
   int const number = tsl::errorNumber(error);
   bool const isUnderWay =
      myNonBlocking && (number == theWouldBlock || number == theInProgress || number == theTryAgain);
   if (error != 0 && !isUnderWay)
      return fail(number,
                  DtString("DtInetTcpSocket::connectToDestination(): Error connecting Boost socket\n") +
                     errorMessage(error));
   if (error == 0 && (myFlags & tsl::theAsyncFlags) != 0)
      myImpl->engineMade().start(myFlags, packetBufferSize(), *myImpl->socket, *myImpl->socket);
   myState = isUnderWay ? DtInetSockConnecting : DtInetSockConnected;
   readLocalEndpoint();
   return true;
}

// Where the system was to choose.
void DtInetTcpSocket::readLocalEndpoint()
{
   SocketName name;
   bool const isOpenToChoice = myLocalEndpoint.address().isAnyAddr() || myLocalEndpoint.port() == 0;
   if (isOpenToChoice && myImpl->localName(name) == 0)
      myLocalEndpoint = tsl::EndpointAccess::endpointOf(name.data(), name.size, DtInetProtoTcp);
}

// The error state counts as an unsigned number here, and so is above the others.
bool DtInetTcpSocket::listenForConnections()
{
   if (myState == DtInetSockListening || myState == DtInetSockConnecting)
      return true;
   if (static_cast<unsigned>(myState) > DtInetSockCreated)
      return fail(theInvalidState, DtString("DtInetTcpSocket::listenForConnections(): ") + "Invalid state " +
                                      DtString(int(myState)));
   bool const hasAddress = takeListeningAddress();
   myLocalEndpoint.setProtocol(DtInetProtoTcp);
   if (!hasAddress)
      return false;
   if (!myImpl->acceptor)
      return refuse(theNoSocket, "DtInetTcpSocket()::listenForConnections() called on uninitialized socket");
   auto const open = [this]
   {
      try
      {
         return openAndListen();
      }
      catch (boost::system::system_error const & error)
      {
         throw error.code();
      }
   };
   return tsl::openGuarded(
      *this, "DtInetTcpSocket::listenForConnections(): ", "Error opening Boost acceptor socket\n", open);
}

// A device without an address of the family stands in with its IPv4 address.
bool DtInetTcpSocket::takeListeningAddress()
{
   if (myHostInterface == nullptr)
   {
      myLocalEndpoint.setAddress(DtInetAddr(myImpl->family));
      return true;
   }
   DtInetAddr const * address =
      myImpl->family == DtInetUtils::DtInetFamilyIpv6 ? myHostInterface->ipv6Addr() : nullptr;
   if (address == nullptr)
      address = myHostInterface->ipv4Addr();
   if (address != nullptr)
   {
      myLocalEndpoint.setAddress(*address);
      myState = DtInetSockCreated;
   }
   else
      fail(theNotSupported, DtString("DtInetTcpSocket():: Specified interface does not have an IPv") +
                               DtString(int(myImpl->family)) + " address assigned. ");
   // Only with a device; and the text goes behind the one that is there.
   bool const hasPort = myLocalEndpoint.port() != 0;
   if (!hasPort)
      fail(theNotSupported, myLastErrorText + "Cannot open socket to listen on port 0");
   return address != nullptr && hasPort;
}

int DtInetTcpSocket::openAndListen()
{
   if (int const error = tsl::openStream(*myImpl->acceptor, myLocalEndpoint.isIPv6()))
      return error;
   setNonBlockingOption(myNonBlocking);
   setTcpNoDelayOption(myNoDelay);
   if (int const error = myImpl->acceptor->listen(myLocalEndpoint, theBacklog))
      return error;
   myState = DtInetSockListening;
   return readLocalPort();
}

bool DtInetTcpSocket::acceptConnection(DtInetTcpSocket * target, unsigned long flags)
{
   if (myState != DtInetSockListening || target == nullptr)
      return refuse(theBadArgument, "");
   if (target->myState == DtInetSockUninitialized)
      target->initAcceptedConnection(myLocalEndpoint.address(), myLocalEndpoint.port(), flags);
   else if (target->myState != DtInetSockCreated || target->isServerSock())
      return refuse(theTargetInUse, "");
   if (!myImpl->acceptor)
      return refuse(theNoSocket, "DtInetTcpSocket()::acceptConnection() called on uninitialized socket");
   bool const isNonBlocking = target->myNonBlocking;
   SocketName peer;
   AcceptResult const result = myNonBlocking ? acceptAtOnce(*target, peer) : acceptNext(*target, peer);
   if (result != AcceptedConnection)
      return result == AcceptFailed;
   // The mode of an accepted socket isn't the listener's everywhere.
   target->setNonBlockingOption(isNonBlocking);
   target->myImpl->keepsReuse = true;
   target->myImpl->hasWatermark |= myImpl->hasWatermark;
   target->openAcceptedConnection(tsl::EndpointAccess::endpointOf(peer.data(), peer.size, DtInetProtoTcp));
   return true;
}

DtInetTcpSocket::AcceptResult DtInetTcpSocket::acceptAtOnce(DtInetTcpSocket & target, SocketName & peer)
{
   SocketHandle accepted = tsl::platform::noSocket;
   if (int const error = myImpl->acceptor->accept(accepted, peer))
   {
      if (!tsl::platform::isWouldBlock(error))
         fail(tsl::errorNumber(error),
              DtString("DtInetTcpSocket::acceptConnection(): ") + "Error on non-blocking accept()\n");
      return NothingAccepted;
   }
   if (int const error = target.myImpl->socketMade().take(myImpl->acceptor->protocol(), accepted))
      return target.failTarget("Error assigning descriptor to socket\n", error);
   return AcceptedConnection;
}

// Waits for a connection. The listener's own failure answers as the target's does: callers know it so.
DtInetTcpSocket::AcceptResult DtInetTcpSocket::acceptNext(DtInetTcpSocket & target, SocketName & peer)
{
   tsl::StreamSocket & socket = target.myImpl->socketMade();
   SocketHandle accepted = tsl::platform::noSocket;
   int error = socket.isOpen() ? tsl::theAlreadyOpen : myImpl->acceptor->accept(accepted, peer);
   if (error == 0)
      error = socket.take(myImpl->acceptor->protocol(), accepted);
   if (error == 0)
      return AcceptedConnection;
   if (isNewcomers(tsl::errorNumber(error)))
      return target.failTarget("Error creating new connection on socket\n", error);
   fail(tsl::errorNumber(error), DtString("DtInetTcpSocket::acceptConnection(): ") +
                                    "Error on Boost acceptor socket\n" + errorMessage(error));
   return AcceptFailed;
}

DtInetTcpSocket::AcceptResult DtInetTcpSocket::failTarget(char const * what, int error)
{
   fail(tsl::errorNumber(error),
        DtString("DtInetTcpSocket::acceptConnection(): ") + what + errorMessage(error));
   return AcceptFailed;
}

bool DtInetTcpSocket::initAcceptedConnection(DtInetAddr const & localAddress, unsigned short localPort,
                                             unsigned long flags)
{
   myLocalEndpoint.setEndpoint(DtInetProtoTcp, localAddress, localPort);
   tsl::SocketAccess::setFlags(*this, flags);
   myOpenNow = false;
   myState = DtInetSockCreated;
   myImpl->socketMade();
   return true;
}

bool DtInetTcpSocket::openAcceptedConnection(DtInetEndpoint peer)
{
   myDestination = peer;
   setNonBlockingOption(myNonBlocking);
   setTcpNoDelayOption(myNoDelay);
   setReuseAddressOption((myFlags & DtInetSockFlagReuseAddress) != 0);
   myState = DtInetSockConnected;
   return true;
}

bool DtInetTcpSocket::closeSocket()
{
   if (!myImpl->socket && !myImpl->acceptor)
      return refuse(theNoSocket, "DtInetTcpSocket::closeSocket() called on uninitialized socket");
   int error = 0;
   if (myImpl->socket)
   {
      if ((myFlags & tsl::theAsyncFlags) != 0 && myImpl->engine != nullptr)
         myImpl->engine->stop(false);
      error = myImpl->socket->closeDown(myState == DtInetSockConnected);
   }
   if (myImpl->acceptor)
      error = myImpl->acceptor->close();
   if (error != 0)
      return fail(tsl::errorNumber(error), DtString("DtInetTcpSocket::closeSocket(): ") +
                                              "Error closing Boost socket\n" + errorMessage(error));
   myState = DtInetSockClosed;
   return true;
}
