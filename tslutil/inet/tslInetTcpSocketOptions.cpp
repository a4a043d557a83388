// SPDX-License-Identifier: MIT
// The socket options of TCP sockets.
#include "tslutil/inet/socketOptions.h"
#include "tslutil/inet/tcpSocketImpl.h"

using boost::asio::socket_base;
using tsl::getOption;
using tsl::optionValue;
using tsl::setOption;
using tsl::setting;
using tsl::toggling;

bool DtInetTcpSocket::setNonBlockingOption(bool on)
{
   if (!myImpl->isOpen())
      return false;
   if (myImpl->isListening())
   {
      // Whatever comes of it, the answer is what was asked for: callers know it so.
      myImpl->acceptor->setNonBlocking(on);
      myNonBlocking = on;
      return on;
   }
   int const error = myImpl->socket->setNonBlocking(on);
   if (error == 0)
      myNonBlocking = on;
   return tsl::optionResult(*this, error,
                            "DtInetTcpSocket::setNonBlockingOption(): ", toggling(on, "non-blocking IO"));
}

bool DtInetTcpSocket::setReuseAddressOption(bool on)
{
   return setOption(*this, *myImpl, socket_base::reuse_address(on),
                    "DtInetTcpSocket::setReuseAddressOption(): ", toggling(on, "address reuse"));
}

bool DtInetTcpSocket::setDoNotRouteOption(bool on)
{
   return setOption(*this, *myImpl, socket_base::do_not_route(on),
                    "DtInetTcpSocket::setDoNotRouteOption(): ", toggling(on, "do-not-route"));
}

bool DtInetTcpSocket::setSendBufferSize(unsigned long bytes)
{
   return setOption(*this, *myImpl, socket_base::send_buffer_size(optionValue(bytes)),
                    "DtInetTcpSocket::setSendBufferSize(): ", setting("send buffer size", bytes));
}

bool DtInetTcpSocket::setReceiveBufferSize(unsigned long bytes)
{
   return setOption(*this, *myImpl, socket_base::receive_buffer_size(optionValue(bytes)),
                    "DtInetTcpSocket::setReceiveBufferSize(): ", setting("receive buffer size", bytes));
}

bool DtInetTcpSocket::setSendLowWatermark(unsigned long bytes)
{
   return setOption(*this, *myImpl, socket_base::send_low_watermark(optionValue(bytes)),
                    "DtInetTcpSocket::setSendLowWatermark(): ", setting("send low watermark", bytes));
}

bool DtInetTcpSocket::setReceiveLowWatermark(unsigned long bytes)
{
   return setOption(*this, *myImpl, socket_base::receive_low_watermark(optionValue(bytes)),
                    "DtInetTcpSocket::setReceiveLowWatermark(): ", setting("receive low watermark", bytes));
}

bool DtInetTcpSocket::setTcpNoDelayOption(bool on)
{
   bool const isSet =
      setOption(*this, *myImpl, boost::asio::ip::tcp::no_delay(on),
                "DtInetTcpSocket::setTcpNoDelayOption(): ", toggling(on, "Nagle coalescing (no-delay)"));
   if (isSet)
      myNoDelay = on;
   return isSet;
}

bool DtInetTcpSocket::setTcpLingerOption(unsigned short seconds)
{
   bool const on = seconds != 0;
   return setOption(*this, *myImpl, socket_base::linger(on, seconds),
                    "DtInetTcpSocket::setTcpLingerOption(): ", toggling(on, "linger option"));
}

bool DtInetTcpSocket::setConnAbortedOption(bool on)
{
   return setOption(*this, *myImpl, socket_base::enable_connection_aborted(on),
                    "DtInetTcpSocket::setConnAbortedOption(): ", toggling(on, "connection aborted option"));
}

bool DtInetTcpSocket::setTcpKeepAliveOption(bool on)
{
   return setOption(*this, *myImpl, socket_base::keep_alive(on),
                    "DtInetTcpSocket::setTcpKeepAliveOption(): ", toggling(on, "TCP keep alives"));
}

bool DtInetTcpSocket::getReuseAddressOption()
{
   return getOption<socket_base::reuse_address>(*this, *myImpl, "DtInetTcpSocket::getReuseAddressOption():");
}

bool DtInetTcpSocket::getDoNotRouteOption()
{
   return getOption<socket_base::do_not_route>(*this, *myImpl, "DtInetTcpSocket::getDoNotRouteOption():");
}

unsigned long DtInetTcpSocket::getSendBufferSize()
{
   return static_cast<unsigned long>(
      getOption<socket_base::send_buffer_size>(*this, *myImpl, "DtInetTcpSocket::getSendBufferSize():"));
}

unsigned long DtInetTcpSocket::getReceiveBufferSize()
{
   return static_cast<unsigned long>(getOption<socket_base::receive_buffer_size>(
      *this, *myImpl, "DtInetTcpSocket::getReceiveBufferSize():"));
}

unsigned long DtInetTcpSocket::getBytesAvailable()
{
   return tsl::getBytesAvailable(*this, myImpl->handle(), "DtInetTcpSocket::getBytesAvailable():");
}

unsigned long DtInetTcpSocket::getSendLowWatermark()
{
   return static_cast<unsigned long>(
      getOption<socket_base::send_low_watermark>(*this, *myImpl, "DtInetTcpSocket::getSendLowWatermark():"));
}

unsigned long DtInetTcpSocket::getReceiveLowWatermark()
{
   return static_cast<unsigned long>(getOption<socket_base::receive_low_watermark>(
      *this, *myImpl, "DtInetTcpSocket::getReceiveLowWatermark():"));
}

bool DtInetTcpSocket::getTcpLingerOption(unsigned short & seconds)
{
   auto const linger =
      tsl::readOption<socket_base::linger>(*this, *myImpl, "DtInetTcpSocket::getTcpLingerOption():");
   seconds = static_cast<unsigned short>(linger.timeout());
   return linger.enabled();
}

bool DtInetTcpSocket::getConnAbortedOption()
{
   return getOption<socket_base::enable_connection_aborted>(*this, *myImpl,
                                                            "DtInetTcpSocket::getConnAbortedOption():");
}

bool DtInetTcpSocket::getTcpKeepAliveOption()
{
   return getOption<socket_base::keep_alive>(*this, *myImpl, "DtInetTcpSocket::getTcpKeepAliveOption():");
}
