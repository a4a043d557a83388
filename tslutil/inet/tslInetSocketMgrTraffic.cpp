// SPDX-License-Identifier: MIT
// Sending to and receiving from the connections of a manager.
#include "tslutil/inet/chainCore.h"
#include "tslutil/inet/socketMgrImpl.h"
#include "tslutil/inet/tcpSocketImpl.h"
#include "tslutil/platform/readiness.h"

#include <algorithm>
#include <iterator>
#include <typeinfo>

using tsl::platform::noSocket;
using tsl::platform::SocketHandle;
using tsl::platform::theMaxAsked;

namespace
{

typedef DtInetSocketMgrImpl::Iterator Iterator;

// So many connections of a walk are read in any case: with busy peers one of them delivers.
constexpr std::size_t thePlainReads = 4;
constexpr std::size_t theFirstAsked = 16;

// What a receive by a manager wants of each connection.
struct Wanted
{
   /// How many bytes it may deliver at most.
   std::size_t room;
   bool isChain;
   unsigned long flags;
};

bool isStream(DtInetSocket const & socket)
{
   return typeid(socket) == typeid(DtInetTcpSocket);
}

bool wouldCallBack(DtInetSocket & socket, unsigned long flags)
{
   return tsl::runsCallbacks(socket, DtInetSockPreReceive, flags, DtInetSockSkipPreCallbacks) ||
          tsl::runsCallbacks(socket, DtInetSockPostReceive, flags, DtInetSockSkipPostCallbacks);
}

// The socket to ask the system about, if a receive that the system has nothing for would do nothing else than
// find that out. So it is with the library's own classes, connected or open, non-blocking and without
// a background thread. Otherwise none.
SocketHandle askable(DtInetSocket & socket, Wanted const & wanted)
{
   typedef tsl::SocketAccess Access;
   bool const isTcp = isStream(socket);
   if (wanted.room == 0 || (!isTcp && typeid(socket) != typeid(DtInetUdpSocket)))
      return noSocket;
   DtInetSockState const state = Access::state(socket);
   if ((state != DtInetSockConnected && (state != DtInetSockOpen || isTcp)) ||
       !Access::isNonBlocking(socket) || (Access::flags(socket) & DtInetSockFlagAsyncReceive) != 0 ||
       (wanted.isChain && wouldCallBack(socket, wanted.flags)))
      return noSocket;
   if (!isTcp)
      return static_cast<SocketHandle>(socket.descriptor());
   // The system is silent about bytes below the watermark, which a receive would deliver.
   DtInetTcpSocketImpl const & stream = tsl::TcpSocketAccess::impl(static_cast<DtInetTcpSocket &>(socket));
   return stream.socket && !stream.hasWatermark ? stream.socket->handle() : noSocket;
}

// The first entry from `entry` on that has to be read. The others are passed over, as the system tells of
// many at once that they have nothing; `from` names the last stream among them, as its receive would have.
Iterator passOverIdle(Iterator entry, Iterator const last, DtInetEndpoint & from, Wanted const & wanted)
{
   for (std::size_t most = theFirstAsked;; most = std::min(most * 4, theMaxAsked))
   {
      if (entry == last || askable(*entry->second, wanted) == noSocket)
         return entry;
      // First the entries and then their sockets: so the processor waits for many of them at once.
      Iterator entries[theMaxAsked + 1];
      std::size_t count = 0;
      for (entries[0] = entry; count < most && entries[count] != last; ++count)
         entries[count + 1] = std::next(entries[count]);
      SocketHandle asked[theMaxAsked];
      for (std::size_t i = 0; i < count; ++i)
         asked[i] = askable(*entries[i]->second, wanted);
      std::size_t const idle = tsl::platform::countIdle(asked, count);
      entry = entries[idle];
      auto const passed = std::find_if(std::make_reverse_iterator(entries + idle), std::rend(entries),
                                       [](Iterator const & one) { return isStream(*one->second); });
      if (passed != std::rend(entries))
         from = (*passed)->second->destination();
      if (idle < count)
         return entry;
   }
}

} // namespace

// Calls `send`, which answers whether it went well, with each socket and a copy of its key, and drops those
// with which it didn't.
template<class Send>
void DtInetSocketMgr::sendToEach(std::vector<DtInetEndpoint *> const & targets, Send const & send)
{
   std::vector<DtInetSocket *> failed;
   auto const sendToAll = [&](auto entry, auto last)
   {
      for (; entry != last; ++entry)
      {
         DtInetEndpoint to(entry->first);
         if (!send(*entry->second, to))
            failed.push_back(entry->second);
      }
   };
   if (targets.empty())
      sendToAll(myImpl->connections.begin(), myImpl->connections.end());
   for (DtInetEndpoint const * const target : targets)
   {
      if (target == nullptr)
         continue;
      auto const [first, last] = myImpl->entriesUnder(*target);
      sendToAll(first, last);
   }
   drop(failed);
}

int DtInetSocketMgr::sendTo(char * data, int size, std::vector<DtInetEndpoint *> & targets,
                            unsigned long flags)
{
   if (size < 0)
      return -1;
   int result = size;
   sendToEach(targets,
              [&](DtInetSocket & socket, DtInetEndpoint & to)
              {
                 if (socket.sendTo(data, static_cast<std::size_t>(size), to, flags) == size)
                    return true;
                 if (socket.state() != DtInetSockTerminated)
                    result = -1;
                 return false;
              });
   return result;
}

int DtInetSocketMgr::sendTo(DtInetSockChain & chain, std::vector<DtInetEndpoint *> & targets,
                            unsigned long flags)
{
   int result = 0;
   sendToEach(targets,
              [&](DtInetSocket & socket, DtInetEndpoint & to)
              {
                 int const sent = socket.sendChainTo(chain, to, flags);
                 if (sent >= 0 ? result >= 0 : socket.state() != DtInetSockTerminated)
                    result = std::max(sent, -1);
                 return sent >= 0;
              });
   return result;
}

// A socket that is in the list twice is dropped twice. One that a callback has removed meanwhile is gone.
void DtInetSocketMgr::drop(std::vector<DtInetSocket *> const & sockets)
{
   for (DtInetSocket * const socket : sockets)
      if (removeByItem(socket))
         myImpl->removalCallbacks.runAll(socket);
}

// Behind the entry that delivered last or, if that is gone, where it was.
DtInetSocketMgrImpl::Iterator DtInetSocketMgrImpl::firstToRead()
{
   if (lastRecvSocket == nullptr)
      return connections.begin();
   auto const [first, last] = entriesUnder(lastRecvEndpoint);
   auto const delivered =
      std::find_if(first, last, [this](auto const & entry) { return entry.second == lastRecvSocket; });
   Iterator const begin = delivered == last ? first : std::next(delivered);
   return begin == connections.end() ? connections.begin() : begin;
}

// `receive` reads one socket. The walk doesn't go around at the end, on purpose.
template<class Receive>
DtInetSockRcvStatus DtInetSocketMgr::receiveFromNext(std::size_t room, bool isChain, DtInetEndpoint & from,
                                                     unsigned long flags, Receive const & receive)
{
   auto const last = myImpl->connections.end();
   std::size_t reads = 0;
   auto const toRead = [&](Iterator entry) {
      return reads++ < thePlainReads ? entry : passOverIdle(entry, last, from, {room, isChain, flags});
   };
   std::vector<DtInetSocket *> dead;
   DtInetSockRcvStatus status = DtInetSockRcvNothing;
   for (Iterator entry = toRead(myImpl->firstToRead()); entry != last; entry = toRead(std::next(entry)))
   {
      DtInetSocket * const socket = entry->second;
      status = receive(*socket);
      if (status > 0)
      {
         myImpl->lastRecvEndpoint = entry->first;
         myImpl->lastRecvSocket = socket;
         break;
      }
      if (status < 0 && socket->getLastError() != 0)
      {
         // The dead ones so far are left to the next call, on purpose.
         drop({socket});
         return status;
      }
      if (status < 0)
         dead.push_back(socket);
      status = DtInetSockRcvNothing;
   }
   drop(dead);
   return status;
}

DtInetSockRcvStatus DtInetSocketMgr::recvFrom(char * data, std::size_t size, DtInetEndpoint & from,
                                              unsigned long flags)
{
   return receiveFromNext(size, false, from, flags,
                          [&](DtInetSocket & socket) { return socket.recvFrom(data, size, from, flags); });
}

DtInetSockRcvStatus DtInetSocketMgr::recvToChainFrom(DtInetSockChain & chain, DtInetEndpoint & from,
                                                     unsigned long flags)
{
   return receiveFromNext(static_cast<std::size_t>(tsl::chainSize(chain)), true, from, flags,
                          [&](DtInetSocket & socket) { return socket.recvToChainFrom(chain, from, flags); });
}
