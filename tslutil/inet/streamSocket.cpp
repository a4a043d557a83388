// SPDX-License-Identifier: MIT
#include "tslutil/inet/streamSocket.h"

#include "tslutil/inet/errorNumbers.h"

#include <boost/asio/ip/v6_only.hpp>

#include <algorithm>
#include <limits>

using namespace tsl::errorNumbers;

namespace tsl
{

using boost::asio::ip::tcp;
using platform::Slice;
using platform::SocketName;
using platform::Transfer;

namespace
{

template<class Socket>
int openAny(Socket & socket, bool isIpv6)
{
   int const error = socket.open(isIpv6 ? tcp::v6() : tcp::v4());
   return error == 0 && isIpv6 ? socket.set(boost::asio::ip::v6_only(false)) : error;
}

// Takes the bytes that are out off the front of some slices; whether any are left.
bool skip(Slice *& slices, std::size_t & count, std::size_t bytes)
{
   for (; count != 0 && bytes >= slices->size; ++slices, --count)
      bytes -= slices->size;
   if (count == 0)
      return false;
   slices->data = static_cast<char *>(slices->data) + bytes;
   slices->size -= bytes;
   return true;
}

bool hasBytes(Slice const * slices, std::size_t count)
{
   return std::any_of(slices, slices + count, [](Slice const & slice) { return slice.size != 0; });
}

} // namespace

int openStream(StreamSocket & socket, bool isIpv6)
{
   return openAny(socket, isIpv6);
}

int openStream(ListeningSocket & socket, bool isIpv6)
{
   return openAny(socket, isIpv6);
}

template<class Boost>
template<class Option>
int MarkedSocket<Boost>::setBoosts(Option const & option)
{
   DtScopedLock const lock(this->boostState(), true);
   boost::system::error_code error;
   Base::boostSocket().set_option(option, error);
   return error.value();
}

template<class Boost>
int MarkedSocket<Boost>::set(boost::asio::socket_base::linger const & option)
{
   hasLinger = true;
   return this->hasBoostSocket() ? setBoosts(option) : Base::set(option);
}

template<class Boost>
int MarkedSocket<Boost>::set(AbortReport const & option)
{
   isAbortReported = option.value();
   return this->hasBoostSocket() ? setBoosts(option) : 0;
}

template<class Boost>
int MarkedSocket<Boost>::get(AbortReport & option)
{
   boost::system::error_code error;
   option = AbortReport(isAbortReported);
   if (this->hasBoostSocket())
      Base::boostSocket().get_option(option, error);
   return error.value();
}

template<class Boost>
int MarkedSocket<Boost>::bind(DtInetEndpoint const & local)
{
   SocketName const name = nameOf(local, DtInetProtoTcp);
   return platform::bindSocket(this->handle(), name.data(), name.size);
}

template<class Boost>
Boost & MarkedSocket<Boost>::boostSocket()
{
   if (this->hasBoostSocket())
      return Base::boostSocket();
   boost::asio::socket_base::linger linger;
   bool const tellsLinger = hasLinger && this->isOpen() && Base::get(linger) == 0;
   Boost & made = Base::boostSocket();
   setBoosts(AbortReport(isAbortReported));
   if (tellsLinger)
      setBoosts(linger);
   return made;
}

template class MarkedSocket<tcp::socket>;
template class MarkedSocket<tcp::acceptor>;

int StreamSocket::connect(DtInetEndpoint const & peer)
{
   int error = LazySocket::connect(nameOf(peer, DtInetProtoTcp));
   if (error == boost::asio::error::in_progress && !isNonBlocking())
      error = platform::connectOutcome(handle());
   isConnecting = error == boost::asio::error::in_progress || platform::isWouldBlock(error);
   return error;
}

Transfer StreamSocket::sendRest(void const * data, std::size_t size, Transfer const & sent)
{
   Slice slice{const_cast<void *>(data), size};
   return sendRest(&slice, 1, sent);
}

Transfer StreamSocket::send(DtInetSockChain const & chain)
{
   ChainSlices slices(chain);
   if (!isConnecting && !hasBytes(slices.data(), slices.count()))
      return {0, 0};
   return sendRest(slices.data(), slices.count(),
                   platform::sendStream(handle(), slices.data(), slices.count()));
}

// Goes on with what the system has not taken at first, for which it may have had to wait or was interrupted.
Transfer StreamSocket::sendRest(Slice * slices, std::size_t count, Transfer sent)
{
   std::size_t done = 0;
   for (;;)
   {
      if (platform::isWouldBlock(sent.error) && !isNonBlocking())
         sent = {0, platform::waitUntilWritable(handle())};
      if (sent.error != 0)
         return {0, meaningOf(sent.error)};
      isConnecting = isConnecting && sent.count == 0;
      done += static_cast<std::size_t>(sent.count);
      if (!skip(slices, count, static_cast<std::size_t>(sent.count)) || isNonBlocking())
         return {static_cast<int>(std::min<std::size_t>(done, std::numeric_limits<int>::max())), 0};
      sent = platform::sendStream(handle(), slices, count);
   }
}

// Goes on with a receive that the system has answered once.
Transfer StreamSocket::receiveLater(void * data, std::size_t size, Transfer const & got)
{
   if (!platform::isWouldBlock(got.error) || isNonBlocking())
      return received(got);
   if (int const error = platform::waitUntilReadable(handle()))
      return received({0, error});
   return received(whenReadable([=] { return platform::receiveStream(handle(), data, size); }));
}

Transfer StreamSocket::receive(DtInetSockChain const & chain)
{
   ChainSlices slices(chain);
   if (!hasBytes(slices.data(), slices.count()))
      return {0, 0};
   return received(
      whenReadable([&] { return platform::receiveStream(handle(), slices.data(), slices.count()); }));
}

// Of a receive that had room, which nothing but the end of the stream leaves empty.
Transfer StreamSocket::received(Transfer const & got)
{
   if (got.error != 0 || got.count == 0)
      return {0, meaningOf(got.error != 0 ? got.error : theEndOfStream)};
   isConnecting = false;
   return got;
}

// Before the system knows of a peer, and once it was refused, it says what would mean something else later.
int StreamSocket::meaningOf(int error)
{
   if (!isConnecting || (!platform::isWouldBlock(error) && error != theEndOfStream &&
                         error != boost::asio::error::broken_pipe))
      return error;
   isConnecting = !platform::hasPeer(handle());
   return isConnecting ? int(boost::asio::error::not_connected) : error;
}

int StreamSocket::errorNumber(int error) const
{
   int const number = tsl::errorNumber(error);
   bool const isNetworks = number == theNetworkDown || number == theNetworkUnreachable ||
                           number == theHostDown || number == theHostUnreachable;
   return isNetworks && !isConnecting ? theTimedOut : number;
}

int ListeningSocket::listen(DtInetEndpoint const & local, int backlog)
{
   int error = set(boost::asio::socket_base::reuse_address(true));
   if (error == 0)
      error = bind(local);
   return error != 0 ? error : platform::listenAt(handle(), backlog);
}

int ListeningSocket::accept(platform::SocketHandle & accepted, SocketName & peer)
{
   boost::asio::socket_base::enable_connection_aborted reports;
   if (int const error = get(reports))
      return error;
   auto const isPassedOver = [&](int error)
   {
      return (error == boost::asio::error::connection_aborted ||
              error == boost::system::errc::protocol_error) &&
             !reports.value() && !isNonBlocking();
   };
   auto const acceptNext = [&]
   {
      int error = 0;
      do
         error = platform::acceptConnection(handle(), accepted, peer);
      while (isPassedOver(error));
      return Transfer{0, error};
   };
   return whenReadable(acceptNext).error;
}

} // namespace tsl
