// SPDX-License-Identifier: MIT
#include "tslutil/inet/chainCore.h"

#include <algorithm>
#include <limits>

namespace tsl
{

namespace
{

/// Calls `body` with each callback and its data, in order, until it answers false; whether none did.
template<class Body>
bool forEachCallback(DtInetSocket & socket, DtInetSockProcessingType type, Body const & body)
{
   SocketAccess::CallbackRun const run(socket);
   for (auto const & entry : SocketAccess::callbacks(socket, type))
   {
      DtInetSocketProcessingCbInfo const & info = *entry.second;
      if (info.callback != nullptr && !body(info.callback, info.userData))
         return false;
   }
   return true;
}

} // namespace

int chainSize(DtInetSockChain const & chain)
{
   std::uint64_t sum = 0;
   for (std::vector<char> const * const piece : chain)
      sum += piece->size();
   return static_cast<int>(std::min<std::uint64_t>(sum, std::numeric_limits<int>::max()));
}

ChainSlices::ChainSlices(DtInetSockChain const & chain)
   : myCount(std::min(chain.size(), platform::theMaxSlices))
{
   for (std::size_t i = 0; i < myCount; ++i)
      mySlices[i] = {chain[i]->data(), chain[i]->size()};
}

PreSendResult runPreSend(DtInetSocket & socket, DtInetSockChain & chain, DtInetEndpoint & to)
{
   int remaining = chainSize(chain);
   int taken = 0;
   auto const send = [&](DtInetSocketProcessingCb callback, void * data)
   {
      if (remaining <= 0)
         return true;
      int const result = callback(&socket, remaining, chain, to, data);
      if (result < 0)
         return false;
      taken += remaining - result;
      remaining = result;
      return true;
   };
   bool const isGood = forEachCallback(socket, DtInetSockPreSend, send);
   return {!isGood, remaining == 0, taken};
}

bool runPostSend(DtInetSocket & socket, int & count, DtInetSockChain & chain, DtInetEndpoint & to)
{
   auto const add = [&](DtInetSocketProcessingCb callback, void * data)
   {
      int const result = callback(&socket, count, chain, to, data);
      if (result >= 0)
         count += result;
      return result >= 0;
   };
   return forEachCallback(socket, DtInetSockPostSend, add);
}

// Callbacks of receives get the status in place of their data.

int runPreReceive(DtInetSocket & socket, DtInetSockChain & chain, DtInetEndpoint & from, int & status)
{
   int count = 0;
   auto const serve = [&](DtInetSocketProcessingCb callback, void *)
   {
      count = callback(&socket, 0, chain, from, &status);
      return true;
   };
   forEachCallback(socket, DtInetSockPreReceive, serve);
   return count;
}

int runPostReceive(DtInetSocket & socket, int count, DtInetSockChain & chain, DtInetEndpoint & from,
                   int status)
{
   auto const judge = [&](DtInetSocketProcessingCb callback, void *)
   {
      int const result = callback(&socket, count, chain, from, &status);
      count = result != 0 ? result : status;
      return true;
   };
   forEachCallback(socket, DtInetSockPostReceive, judge);
   return count;
}

} // namespace tsl
