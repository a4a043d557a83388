// SPDX-License-Identifier: MIT
// Sending to and receiving from the connections of a manager.
#include "tslutil/inet/chainCore.h"
#include "tslutil/inet/socketMgrImpl.h"
#include "tslutil/platform/readiness.h"

#include <algorithm>
#include <iterator>
#include <typeinfo>

using tsl::platform::SocketHandle;

namespace
{

/// Tells which connections of a walk have nothing to read, many in one question to the system, where a
/// receive would do nothing else than find that out: on a non-blocking socket of the library's own classes
/// that is open and has no background thread. The first few of a walk aren't asked about: with busy peers one
/// of them delivers.
class IdleConnections
{
public:
   typedef DtInetSocketList::const_iterator Iterator;

   /// `room` is how many bytes a receive may deliver at most, `last` the end of the walk.
   IdleConnections(std::size_t room, bool ofChain, unsigned long flags, Iterator last)
      : hasRoom(room > 0), isChain(ofChain), myFlags(flags), myLast(last)
   {
   }

   /// Whether to pass the next entry of the walk over.
   bool has(Iterator entry)
   {
      if (myPlainVisits < thePlainVisits)
      {
         ++myPlainVisits;
         return false;
      }
      if (myNext == myAsked)
         ask(entry);
      bool const isIdle = !isReady[myNext++];
      if (isIdle && entry->second->isTcp())
         myPassedOver = entry->second;
      return isIdle;
   }

   /// Has `from` name the peer of the stream that was passed over last, as a receive from it would have.
   void tellSender(DtInetEndpoint & from)
   {
      if (myPassedOver != nullptr)
         from = myPassedOver->destination();
      myPassedOver = nullptr;
   }

private:
   static constexpr std::size_t thePlainVisits = 4;
   static constexpr std::size_t theFirstAsked = 16;

   void ask(Iterator entry)
   {
      SocketHandle handles[tsl::platform::theMaxAsked];
      std::size_t const most = std::min(std::max(myAsked * 4, theFirstAsked), tsl::platform::theMaxAsked);
      for (myNext = myAsked = 0; myAsked < most && entry != myLast; ++entry)
         handles[myAsked++] = handleOf(*entry->second);
      tsl::platform::findReadable(handles, isReady, myAsked);
   }

   // What to ask about, noSocket for a socket that has to be read in any case.
   SocketHandle handleOf(DtInetSocket & socket) const
   {
      std::type_info const & type = typeid(socket);
      bool const isStream = type == typeid(DtInetTcpSocket);
      if (!isStream && type != typeid(DtInetUdpSocket))
         return tsl::platform::noSocket;
      DtInetSockState const state = socket.state();
      bool const isOpen = state == DtInetSockConnected || (state == DtInetSockOpen && !isStream);
      bool const isPlain = isOpen && hasRoom && socket.isNonBlocking() &&
                           (socket.flags() & DtInetSockFlagAsyncReceive) == 0 && !wouldCallBack(socket);
      return isPlain ? static_cast<SocketHandle>(socket.descriptor()) : tsl::platform::noSocket;
   }

   bool wouldCallBack(DtInetSocket & socket) const
   {
      return isChain &&
             (tsl::runsCallbacks(socket, DtInetSockPreReceive, myFlags, DtInetSockSkipPreCallbacks) ||
              tsl::runsCallbacks(socket, DtInetSockPostReceive, myFlags, DtInetSockSkipPostCallbacks));
   }

   bool const hasRoom;
   bool const isChain;
   unsigned long const myFlags;
   Iterator const myLast;
   std::size_t myPlainVisits = 0;
   bool isReady[tsl::platform::theMaxAsked];
   std::size_t myAsked = 0;
   std::size_t myNext = 0;
   DtInetSocket const * myPassedOver = nullptr;
};

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
   IdleConnections idle(room, isChain, flags, last);
   std::vector<DtInetSocket *> dead;
   DtInetSockRcvStatus status = DtInetSockRcvNothing;
   for (auto entry = myImpl->firstToRead(); entry != last && status == DtInetSockRcvNothing; ++entry)
   {
      if (idle.has(entry))
         continue;
      DtInetSocket * const socket = entry->second;
      idle.tellSender(from);
      status = receive(*socket);
      if (status < 0 && socket->getLastError() != 0)
      {
         // The dead ones so far are left to the next call, on purpose.
         drop({socket});
         return status;
      }
      if (status < 0)
      {
         dead.push_back(socket);
         status = DtInetSockRcvNothing;
      }
      else if (status > 0)
      {
         myImpl->lastRecvEndpoint = entry->first;
         myImpl->lastRecvSocket = socket;
      }
   }
   idle.tellSender(from);
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
