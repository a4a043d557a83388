// SPDX-License-Identifier: MIT
#include "tslutil/dis/tslDisSocket.h"

#include "tslutil/dis/disSocketImpl.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/platform/socketError.h"

#include <boost/system/system_error.hpp>

#include <algorithm>
#include <exception>

bool DtDisSocketImpl::evaluateTests(void * header, DtInetEndpoint & from)
{
   return versionTest.DtPduFilterTest::evalTest(header, 0, DtPduFilterByte) &&
          exerciseTest.DtPduFilterTest::evalTest(header, 1, DtPduFilterByte) &&
          kindTest.DtPduFilterTest::evalTest(header, 2, DtPduFilterByte) &&
          ipTest.DtPduFilterTest::evalTest(&from, 0, DtPduFilterOther);
}

void DtDisSocketImpl::shrink()
{
   bundles.shrink();
   pendingPdus.shrink();
   flatSend.reset();
   flatReceive.reset();
   flatQueued.reset();
   bundleChain.reset();
}

namespace
{

char const theOpening[] = "DtDisSocket::openSocket(): ";

/// Raises an error of the send socket as Boost does.
void check(int error, char const * context)
{
   if (error != 0)
      throw boost::system::system_error(tsl::errorCode(error), context);
}

} // namespace

// The base is built unopened in any case: the open must find the members of this class.
DtDisSocket::DtDisSocket(DtInetEndpoint const & destination, unsigned short localPort, DtInetDevice * device,
                         unsigned long flags, bool openNow, bool suppressSelfReflection)
   : DtInetUdpSocket(destination, localPort != 0 ? localPort : destination.port(), device, flags, false),
     myImpl(new DtDisSocketImpl)
{
   if (suppressSelfReflection)
   {
      myImpl->sendSide.reset(new tsl::SendSide);
      myImpl->localSenderEp.setPort(localPort);
      addProcessingCallback(DtInetSockPostReceive, &DtDisSocket::suppressSelfReflect, this, 2);
   }
   addProcessingCallback(DtInetSockPostReceive, &DtDisSocket::unbundle, this, 5);
   addProcessingCallback(DtInetSockPreReceive, &DtDisSocket::getNextBundle, this, 1);
   addProcessingCallback(DtInetSockPostReceive, &DtDisSocket::minSizeFilter, this, 1);
   addProcessingCallback(DtInetSockPostReceive, &DtDisSocket::filterExercisePdus, this, 7);
   myOpenNow = openNow;
   if (myOpenNow)
      DtDisSocket::openSocket();
}

DtDisSocket::~DtDisSocket()
{
   DtDisSocket::closeSocket();
   removeProcessingCallback(DtInetSockPostReceive, &DtDisSocket::unbundle);
   removeProcessingCallback(DtInetSockPreReceive, &DtDisSocket::getNextBundle);
   removeProcessingCallback(DtInetSockPostReceive, &DtDisSocket::filterExercisePdus);
   if (myImpl->sendSide != nullptr)
      removeProcessingCallback(DtInetSockPostReceive, &DtDisSocket::suppressSelfReflect);
}

bool DtDisSocket::openSocket()
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   if (!DtInetUdpSocket::openSocket())
      return false;
   if (myImpl->sendSide == nullptr || myImpl->hasOpenSendSocket())
      return true;
   if (!chooseSender())
      return fail(10014, DtString(theOpening) +
                            "Could not identify localhost interface for self-reflect suppression\n");
   try
   {
      openSendSocket();
   }
   catch (boost::system::system_error const & error)
   {
      return fail(tsl::platform::socketErrorNumber(error.code()),
                  DtString(theOpening) + "Error opening Boost send socket for self-reflect suppression\n" +
                     DtString(error.code().message()));
   }
   catch (std::exception const & error)
   {
      return fail(10022, DtString(theOpening) + "self-reflect suppression sending socket - " + error.what());
   }
   // The join within the base's open came to nothing: it sets the multicast device, also of the send socket,
   // and that was not open yet.
   if (myDestination.address().isMulticast())
      joinMulticastGroup(myDestination.address(), myHostInterface.get());
   return true;
}

/// Finds the address that the send socket is to have: that of the interface, so that what comes back can be
/// told by it.
bool DtDisSocket::chooseSender()
{
   if (myHostInterface == nullptr)
      myHostInterface.reset(DtInetDevice::findInterface(myDestination.address()));
   if (myHostInterface == nullptr)
      return false;
   DtInetAddr const * const address =
      myDestination.isIPv6() ? myHostInterface->ipv6Addr() : myHostInterface->ipv4Addr();
   if (address == nullptr)
      return false;
   DtInetEndpoint & sender = myImpl->localSenderEp;
   sender.setAddress(*address);
   if (!sender.isUdp())
      sender.setProtocol(DtInetProtoUdp);
   if (sender.port() == myDestination.port())
      sender.setPort(0);
   return true;
}

void DtDisSocket::openSendSocket()
{
   tsl::DatagramSocket & socket = myImpl->sendSide->socket;
   DtInetEndpoint & sender = myImpl->localSenderEp;
   bool const isAsynchronous = (myFlags & DtInetSockFlagAsyncSend) != 0;
   check(socket.open(sender.isIPv6() ? boost::asio::ip::udp::v6() : boost::asio::ip::udp::v4()), "open");
   setReuseAddressOption((myFlags & DtInetSockFlagReuseAddress) != 0);
   if (!isAsynchronous)
      setNonBlockingOption((myFlags & DtInetSockFlagNonBlocking) != 0);
   setBroadcastOption(true);
   setSendBufferSize(static_cast<unsigned long>(std::max(DtInetUtils::getMaxPacketBufferSize(), 0)));
   check(socket.bind(sender), "bind");
   check(socket.makeDeaf(myHostInterface->interfaceIndex()), "connect");
   if (sender.port() == 0)
   {
      unsigned short port = 0;
      check(socket.localPort(port), "local_endpoint");
      sender.setPort(port);
   }
   if (isAsynchronous)
      myImpl->sendSide->worker.start();
}

bool DtDisSocket::closeSocket()
{
   DtScopedLock guard(myImpl->lock, myLockNeeded);
   flush();
   if (myImpl->sendSide != nullptr)
      myImpl->sendSide->worker.stop();
   bool const isClosed = DtInetUdpSocket::closeSocket();
   myImpl->shrink();
   if (myImpl->hasOpenSendSocket())
   {
      tsl::DatagramSocket & socket = myImpl->sendSide->socket;
      int const shutdownError = tsl::platform::shutdownSocket(socket.handle());
      int const closeError = socket.close();
      int const error = shutdownError != 0 ? shutdownError : closeError;
      if (error != 0)
         return fail(tsl::errorNumber(error),
                     DtString("DtDisSocket::closeSocket(): ") +
                        "Error closing Boost send socket used for self-reflect suppression\n" +
                        tsl::errorMessage(error));
   }
   myState = DtInetSockClosed;
   return isClosed;
}

void * DtDisSocket::disSendSocket()
{
   return myImpl->sendSide == nullptr ? nullptr : &myImpl->sendSide->socket.boostSocket();
}

DtInetEndpoint & DtDisSocket::localSenderEndpoint()
{
   return myImpl->localSenderEp;
}

DtPduFilterTest * DtDisSocket::exerciseId()
{
   return &myImpl->exerciseTest;
}

DtPduFilterTest * DtDisSocket::protocolVersion()
{
   return &myImpl->versionTest;
}

DtPduFilterTest * DtDisSocket::pduKind()
{
   return &myImpl->kindTest;
}

DtPduFilterTest * DtDisSocket::ipAddr()
{
   return &myImpl->ipTest;
}
