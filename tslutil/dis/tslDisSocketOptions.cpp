// SPDX-License-Identifier: MIT
#include "tslutil/dis/disSocketImpl.h"
#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/boostAddress.h"
#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/socketOptions.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/platform/datagramScope.h"

#include <boost/asio/ip/multicast.hpp>
#include <boost/asio/socket_base.hpp>

#include <cstddef>
#include <cstdint>

namespace ip = boost::asio::ip;
using boost::asio::socket_base;

namespace
{

char const theTail[] = " on send socket\n";

/// What a setter answers when the receive socket has answered `base`: the same option goes to the send
/// socket, if there is to be one.
template<class Option, class Text>
bool forward(DtInetSocket & owner, DtDisSocketImpl & impl, bool base, Option const & option,
             char const * operation, Text const & text)
{
   return impl.sendSide == nullptr
             ? base
             : tsl::setOption(owner, impl.sendSide->socket, option, operation, text) && base;
}

/// Joins or leaves a group on the interface that the system chooses, or on the given one if it finds none.
int changeGroup(tsl::platform::SocketHandle socket, DtInetAddr const & group, DtInetAddr const & address,
                std::uint32_t interfaceIndex, bool joins)
{
   auto const change = joins ? &tsl::platform::joinGroup : &tsl::platform::leaveGroup;
   DtInetEndpoint const groupEndpoint(group, 0, DtInetProtoUdp);
   DtInetEndpoint const interfaceEndpoint(address, 0, DtInetProtoUdp);
   std::size_t size = 0;
   sockaddr const * const name = tsl::EndpointAccess::systemName(groupEndpoint, DtInetProtoUdp, size);
   if (group.isIPv6())
      return change(socket, name, nullptr,
                    static_cast<std::uint32_t>(tsl::boostAddress(group).to_v6().scope_id()));
   int const error = change(socket, name, nullptr, 0);
   if (tsl::errorCode(error) != boost::system::errc::no_such_device)
      return error;
   return change(socket, name, tsl::EndpointAccess::systemName(interfaceEndpoint, DtInetProtoUdp, size),
                 interfaceIndex);
}

} // namespace

bool DtDisSocket::setBroadcastOption(bool on)
{
   return forward(*this, *myImpl, DtInetUdpSocket::setBroadcastOption(on), socket_base::broadcast(on),
                  "DtDisSocket::setSendSockBroadcastOption(): ", tsl::toggling(on, "broadcast", theTail));
}

bool DtDisSocket::setDoNotRouteOption(bool on)
{
   return forward(*this, *myImpl, DtInetUdpSocket::setDoNotRouteOption(on), socket_base::do_not_route(on),
                  "DtDisSocket::setSendSockDoNotRouteOption(): ", tsl::toggling(on, "do-not-route", theTail));
}

bool DtDisSocket::setReuseAddressOption(bool on)
{
   return forward(*this, *myImpl, DtInetUdpSocket::setReuseAddressOption(on), socket_base::reuse_address(on),
                  "DtDisSocket::setSendSockReuseAddrOption(): ", tsl::toggling(on, "address reuse", theTail));
}

// The answer is the flag as it stands, on purpose: what the change came to shows in the last error.
bool DtDisSocket::setNonBlockingOption(bool on)
{
   DtInetUdpSocket::setNonBlockingOption(on);
   if (myImpl->sendSide == nullptr)
      return isNonBlocking();
   tsl::DatagramSocket & socket = myImpl->sendSide->socket;
   if (!socket.isOpen() ||
       !tsl::optionResult(*this, socket.setNonBlocking(on), "DtDisSocket::setSendSockNonBlockingOption(): ",
                          tsl::toggling(on, "non-blocking IO", theTail)))
      return false;
   myNonBlocking = on;
   return on;
}

bool DtDisSocket::setSendBufferSize(unsigned long bytes)
{
   return forward(
      *this, *myImpl, DtInetUdpSocket::setSendBufferSize(bytes),
      socket_base::send_buffer_size(tsl::optionValue(bytes)),
      "DtDisSocket::setSendSockSendBuffSize(): ", tsl::setting("send buffer size", bytes, theTail));
}

bool DtDisSocket::setReceiveBufferSize(unsigned long bytes)
{
   return forward(
      *this, *myImpl, DtInetUdpSocket::setReceiveBufferSize(bytes),
      socket_base::receive_buffer_size(tsl::optionValue(bytes)),
      "DtDisSocket::setSendSockRcvBuffSize(): ", tsl::setting("receive buffer size", bytes, theTail));
}

// This text lacks the blank that the others have.
bool DtDisSocket::setSendLowWatermark(unsigned long bytes)
{
   return forward(*this, *myImpl, DtInetUdpSocket::setSendLowWatermark(bytes),
                  socket_base::send_low_watermark(tsl::optionValue(bytes)),
                  "DtDisSocket::setSendSockSendLowWatermark(): ",
                  tsl::setting("send low watermark", bytes, "on send socket\n"));
}

bool DtDisSocket::setReceiveLowWatermark(unsigned long bytes)
{
   return forward(
      *this, *myImpl, DtInetUdpSocket::setReceiveLowWatermark(bytes),
      socket_base::receive_low_watermark(tsl::optionValue(bytes)),
      "DtDisSocket::setSendSockRcvLowWatermark(): ", tsl::setting("receive low watermark", bytes, theTail));
}

bool DtDisSocket::setMcastTtlOption(unsigned long ttl)
{
   bool const base = DtInetUdpSocket::setMcastTtlOption(ttl);
   if (!myImpl->hasOpenSendSocket())
      return myImpl->sendSide == nullptr && base;
   // The doubled blank is the text's own.
   return forward(*this, *myImpl, base, ip::multicast::hops(tsl::optionValue(ttl)),
                  "DtDisSocket::setSendSockMcastTtl(): ",
                  [ttl]
                  { return "Error setting multicast TTL for send socket to  " + DtString(ttl) + "\n"; });
}

bool DtDisSocket::setMcastDevice(DtInetAddr const & interfaceAddress)
{
   bool const base = DtInetUdpSocket::setMcastDevice(interfaceAddress);
   if (!interfaceAddress.isIPv4())
      return base;
   return forward(
      *this, *myImpl, base, ip::multicast::outbound_interface(tsl::boostAddress(interfaceAddress).to_v4()),
      "DtDisSocket::setSendSockMcastDevice(): ",
      [&] {
         return "Error setting multicast device for send socket to " + interfaceAddress.toDtString() + "\n";
      });
}

bool DtDisSocket::sendSockJoinMulticastGroup(DtInetEndpoint const & group, DtInetDevice * device)
{
   return sendSockJoinMulticastGroup(group.address(), device);
}

bool DtDisSocket::sendSockJoinMulticastGroup(DtInetAddr const & group, DtInetDevice * device)
{
   return changeSendSockGroup(group, device, true);
}

bool DtDisSocket::sendSockDropMulticastGroup(DtInetEndpoint const & group, DtInetDevice * device)
{
   return sendSockDropMulticastGroup(group.address(), device);
}

bool DtDisSocket::sendSockDropMulticastGroup(DtInetAddr const & group, DtInetDevice * device)
{
   return changeSendSockGroup(group, device, false);
}

bool DtDisSocket::changeSendSockGroup(DtInetAddr const & group, DtInetDevice * device, bool joins)
{
   DtString const failure = (joins ? "DtDisSocket::joinMulticastGroup(): Error joining group "
                                   : "DtDisSocket::dropMulticastGroup(): Error leaving group ") +
                            group.toDtString();
   boost::shared_ptr<DtInetDevice> defaultDevice;
   if (device == nullptr || !device->isMulticastCapable())
   {
      defaultDevice = DtInetUtils::defaultMulticastDevice();
      device = defaultDevice.get();
   }
   DtInetAddr const * address = nullptr;
   if (device != nullptr)
      address = group.isIPv6() ? device->ipv6Addr() : device->ipv4Addr();
   if (address == nullptr)
      return fail(10045, failure + " cannot find a multicast capable device");
   if (!setMcastDevice(*address))
      return false;
   tsl::platform::SocketHandle const handle =
      myImpl->sendSide == nullptr ? tsl::platform::noSocket : myImpl->sendSide->socket.handle();
   int const error = changeGroup(handle, group, *address, device->interfaceIndex(), joins);
   if (error == 0)
      return true;
   return fail(tsl::errorNumber(error), failure + " on send socket on interface " + address->toDtString() +
                                           "\n" + tsl::errorMessage(error));
}
