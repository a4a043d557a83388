// SPDX-License-Identifier: MIT
#include "tslutil/inet/tcpEngine.h"

#include "tslutil/platform/stream.h"

namespace tsl
{

using boost::asio::ip::tcp;
using platform::Datagram;
using platform::Slice;
using platform::Transfer;

Transfer EngineTraits<tcp>::read(Socket & socket, Datagram * block, std::size_t)
{
   Transfer const got =
      platform::receiveStream(socket.handle(), block->data, block->size, platform::neverWait);
   if (got.error != 0)
      return got;
   if (got.count == 0)
      return {0, theEndOfStream};
   block->size = static_cast<std::size_t>(got.count);
   block->isCut = false;
   return {1, 0};
}

Transfer EngineTraits<tcp>::write(Socket & socket, Datagram const * blocks, std::size_t count,
                                  std::size_t & begun)
{
   Slice slices[platform::theMaxSlices];
   count = std::min(count, platform::theMaxSlices);
   for (std::size_t i = 0; i < count; ++i)
      slices[i] = {blocks[i].data, blocks[i].size};
   Transfer sent = platform::sendStream(socket.handle(), slices, count, platform::neverWait);
   if (sent.error != 0)
      return sent;
   std::size_t left = static_cast<std::size_t>(sent.count);
   std::size_t whole = 0;
   while (whole < count && left >= blocks[whole].size)
      left -= blocks[whole++].size;
   begun = whole == 0 ? begun + left : left;
   return {static_cast<int>(whole), 0};
}

} // namespace tsl
