// SPDX-License-Identifier: MIT
// The socket options of UDP sockets.
#include "tslutil/inet/boostAddress.h"
#include "tslutil/inet/socketOptions.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/udpSocketImpl.h"

#include <boost/asio/ip/multicast.hpp>

#include <algorithm>
#include <limits>

using boost::asio::socket_base;
using tsl::getOption;
using tsl::optionValue;
using tsl::setOption;
using tsl::setting;
using tsl::toggling;

namespace
{

// The kernel counts its own overhead for each datagram, which for small ones is many times their size.
constexpr int theReceiveBufferFactor = 16;

} // namespace

bool DtInetUdpSocket::setNonBlockingOption(bool on)
{
   if (!myImpl->isOpen())
      return false;
   int error = myImpl->socket.setNonBlocking(on);
   if (error == 0 && myImpl->sender.isOpen())
      error = myImpl->sender.setNonBlocking(on);
   if (error == 0)
      myNonBlocking = on;
   return tsl::optionResult(*this, error,
                            "DtInetUdpSocket::setNonBlockingOption(): ", toggling(on, "non-blocking IO"));
}

bool DtInetUdpSocket::setReuseAddressOption(bool on)
{
   return setOption(*this, *myImpl, socket_base::reuse_address(on),
                    "DtInetUdpSocket::setReuseAddressOption(): ", toggling(on, "address reuse"));
}

bool DtInetUdpSocket::setBroadcastOption(bool on)
{
   return setOption(*this, *myImpl, socket_base::broadcast(on),
                    "DtInetUdpSocket::setBroadcastOption(): ", toggling(on, "broadcast"));
}

bool DtInetUdpSocket::setDoNotRouteOption(bool on)
{
   return setOption(*this, *myImpl, socket_base::do_not_route(on),
                    "DtInetUdpSocket::setDoNotRouteOption(): ", toggling(on, "do-not-route"));
}

bool DtInetUdpSocket::setSendBufferSize(unsigned long bytes)
{
   return setOption(*this, *myImpl, socket_base::send_buffer_size(optionValue(bytes)),
                    "DtInetUdpSocket::setSendBufferSize(): ", setting("send buffer size", bytes));
}

bool DtInetUdpSocket::setReceiveBufferSize(unsigned long bytes)
{
   int const asked = optionValue(bytes);
   int const wanted = asked > std::numeric_limits<int>::max() / theReceiveBufferFactor
                         ? std::numeric_limits<int>::max()
                         : theReceiveBufferFactor * asked;
   bool const isSet =
      setOption(*this, *myImpl, socket_base::receive_buffer_size(wanted),
                "DtInetUdpSocket::setReceiveBufferSize(): ", setting("receive buffer size", bytes));
   if (isSet)
      myImpl->receiveBufferSize = asked;
   return isSet;
}

bool DtInetUdpSocket::setSendLowWatermark(unsigned long bytes)
{
   return setOption(*this, *myImpl, socket_base::send_low_watermark(optionValue(bytes)),
                    "DtInetUdpSocket::setSendLowWatermark(): ", setting("send low watermark", bytes));
}

bool DtInetUdpSocket::setReceiveLowWatermark(unsigned long bytes)
{
   return setOption(*this, *myImpl, socket_base::receive_low_watermark(optionValue(bytes)),
                    "DtInetUdpSocket::setReceiveLowWatermark(): ", setting("receive low watermark", bytes));
}

bool DtInetUdpSocket::getReuseAddressOption()
{
   return getOption<socket_base::reuse_address>(*this, *myImpl, "DtInetUdpSocket::getReuseAddressOption():");
}

bool DtInetUdpSocket::getBroadcastOption()
{
   return getOption<socket_base::broadcast>(*this, *myImpl, "DtInetUdpSocket::getBroadcastOption():");
}

bool DtInetUdpSocket::getDoNotRouteOption()
{
   return getOption<socket_base::do_not_route>(*this, *myImpl, "DtInetUdpSocket::getDoNotRouteOption():");
}

// The texts of the two buffer sizes name another getter: callers know them so.

unsigned long DtInetUdpSocket::getSendBufferSize()
{
   return static_cast<unsigned long>(
      getOption<socket_base::send_buffer_size>(*this, *myImpl, "DtInetUdpSocket::getDoNotRouteOption():"));
}

unsigned long DtInetUdpSocket::getReceiveBufferSize()
{
   int const size =
      getOption<socket_base::receive_buffer_size>(*this, *myImpl, "DtInetUdpSocket::getDoNotRouteOption():");
   int const asked = myImpl->receiveBufferSize;
   return static_cast<unsigned long>(asked != 0 ? std::min(asked, size) : size);
}

unsigned long DtInetUdpSocket::getSendLowWatermark()
{
   return static_cast<unsigned long>(
      getOption<socket_base::send_low_watermark>(*this, *myImpl, "DtInetUdpSocket::getSendLowWatermark():"));
}

unsigned long DtInetUdpSocket::getReceiveLowWatermark()
{
   return static_cast<unsigned long>(getOption<socket_base::receive_low_watermark>(
      *this, *myImpl, "DtInetUdpSocket::getReceiveLowWatermark():"));
}

unsigned long DtInetUdpSocket::getBytesAvailable()
{
   return !myImpl->isOpen() ? 0
                            : tsl::getBytesAvailable(*this, myImpl->incoming().handle(),
                                                     "DtInetUdpSocket::getBytesAvailable():");
}

// What goes to groups leaves by the socket that sends.

bool DtInetUdpSocket::setMcastTtlOption(unsigned long ttl)
{
   if (!myImpl->isOpen())
      return false;
   return setOption(*this, myImpl->outgoing(), boost::asio::ip::multicast::hops(optionValue(ttl)),
                    "DtInetUdpSocket::setMcastTtl(): ",
                    [=] { return DtString("Error setting multicast TTL to  ") + DtString(ttl) + "\n"; });
}

bool DtInetUdpSocket::setMcastDevice(DtInetAddr const & interfaceAddress)
{
   if (!myImpl->isOpen())
      return false;
   if (!interfaceAddress.isIPv4())
      return true;
   boost::asio::ip::multicast::outbound_interface const option(tsl::boostAddress(interfaceAddress).to_v4());
   return setOption(
      *this, myImpl->outgoing(), option, "DtInetUdpSocket::setMcastDevice(): ",
      [&] { return DtString("Error setting multicast device to ") + interfaceAddress.toDtString() + "\n"; });
}

bool DtInetUdpSocket::setMcastDevice(DtInetDevice * device)
{
   boost::shared_ptr<DtInetDevice> standIn;
   if (device == nullptr || !device->isMulticastCapable())
   {
      standIn = DtInetUtils::defaultMulticastDevice();
      device = standIn.get();
   }
   return device != nullptr && device->ipv4Addr() != nullptr && setMcastDevice(*device->ipv4Addr());
}
