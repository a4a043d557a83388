// SPDX-License-Identifier: MIT
// Sending to and receiving from the connections of a manager.
#include "tslutil/inet/chainCore.h"
#include "tslutil/inet/socketMgrImpl.h"
#include "tslutil/inet/tcpSocketImpl.h"

#include <algorithm>
#include <iterator>
#include <typeinfo>
#include <utility>

using tsl::platform::SocketHandle;
using tsl::platform::theMaxAsked;

namespace
{

/// Finds the connections of a walk that have to be read, and passes over those that have nothing: a receive
/// would do nothing else than find that out on a non-blocking socket of the library's own classes that is
/// connected or open and has no background thread. The first few of a walk are read in any case: with busy
/// peers one of them delivers. Of the others, the system tells by one question that all streams which it
/// watches are silent; failing that, it is asked about each, many at once.
class Readable
{
public:
   typedef DtInetSocketList::iterator Iterator;

   /// `room` is how many bytes a receive may deliver at most.
   Readable(DtInetSocketMgrImpl & mgr, std::size_t room, bool ofChain, unsigned long flags)
      : myMgr(mgr), hasRoom(room > 0), isChain(ofChain), myFlags(flags), myRest(mgr.firstToRead())
   {
   }

   /// The next entry to read, the end of the list if there is none. `from` names the peer of the stream that
   /// was passed over last before it, as a receive from that would have.
   Iterator next(DtInetEndpoint & from)
   {
      Iterator const last = myMgr.connections.end();
      if (myPlainReads < thePlainReads && myRest != last)
      {
         ++myPlainReads;
         return myRest++;
      }
      while (myNext == myCount && myRest != last)
         ask();
      bool const isThere = myNext != myCount;
      DtInetSocket const * const passed = isThere ? myFound[myNext].passed : myPassed;
      if (passed != nullptr)
         from = passed->destination();
      return isThere ? myFound[myNext++].entry : last;
   }

private:
   struct Found
   {
      Iterator entry;
      /// The stream that was passed over last before it, null for none since the entry before.
      DtInetSocket const * passed;
   };

   static constexpr std::size_t thePlainReads = 4;
   static constexpr std::size_t theFirstAsked = 16;
   // Now and then each is asked about, should a descriptor have been closed behind its socket's back.
   static constexpr unsigned int theTrustedWalks = 64;

   void ask()
   {
      if (myMost == 0)
         isQuiet = ++myMgr.receiveWalks % theTrustedWalks != 0 && myMgr.streamWatch.isQuiet();
      myMost = std::min(std::max(myMost * 4, theFirstAsked), theMaxAsked);
      SocketHandle handles[theMaxAsked];
      bool isReady[theMaxAsked];
      myNext = myCount = 0;
      std::size_t asked = 0;
      for (; asked < myMost && myRest != myMgr.connections.end(); ++myRest)
      {
         DtInetSocket & socket = *myRest->second;
         bool const isStream = typeid(socket) == typeid(DtInetTcpSocket);
         bool const isPlain = mayBeIdle(socket, isStream);
         if (isPlain && isQuiet && isStream && watchOf(socket) == myMgr.streamWatch.id())
         {
            myPassed = &socket;
            continue;
         }
         handles[asked] = isPlain ? static_cast<SocketHandle>(socket.descriptor()) : tsl::platform::noSocket;
         myFound[asked++] = {myRest, std::exchange(myPassed, nullptr)};
      }
      if (asked != 0)
         tsl::platform::findReadable(handles, isReady, asked);
      keepReady(handles, isReady, asked);
   }

   // Keeps of those asked about the ones to read.
   void keepReady(SocketHandle const * handles, bool const * isReady, std::size_t asked)
   {
      DtInetSocket const * passed = nullptr;
      for (std::size_t i = 0; i < asked; ++i)
      {
         DtInetSocket & socket = *myFound[i].entry->second;
         passed = myFound[i].passed != nullptr ? myFound[i].passed : passed;
         if (isReady[i])
            myFound[myCount++] = {myFound[i].entry, std::exchange(passed, nullptr)};
         else if (typeid(socket) == typeid(DtInetTcpSocket))
         {
            passed = &socket;
            watch(socket, handles[i]);
         }
      }
      myPassed = myPassed != nullptr ? myPassed : passed;
   }

   void watch(DtInetSocket & socket, SocketHandle handle)
   {
      if (watchOf(socket) != myMgr.streamWatch.id() && myMgr.streamWatch.add(handle))
         watchOf(socket) = myMgr.streamWatch.id();
   }

   static std::uint64_t & watchOf(DtInetSocket & stream)
   {
      return tsl::TcpSocketAccess::impl(static_cast<DtInetTcpSocket &>(stream)).watchedBy;
   }

   bool mayBeIdle(DtInetSocket & socket, bool isStream) const
   {
      if (!hasRoom || (!isStream && typeid(socket) != typeid(DtInetUdpSocket)))
         return false;
      DtInetSockState const state = socket.state();
      bool const isOpen = state == DtInetSockConnected || (state == DtInetSockOpen && !isStream);
      return isOpen && socket.isNonBlocking() && (socket.flags() & DtInetSockFlagAsyncReceive) == 0 &&
             !(isChain && wouldCallBack(socket));
   }

   bool wouldCallBack(DtInetSocket & socket) const
   {
      return tsl::runsCallbacks(socket, DtInetSockPreReceive, myFlags, DtInetSockSkipPreCallbacks) ||
             tsl::runsCallbacks(socket, DtInetSockPostReceive, myFlags, DtInetSockSkipPostCallbacks);
   }

   DtInetSocketMgrImpl & myMgr;
   bool const hasRoom;
   bool const isChain;
   unsigned long const myFlags;
   bool isQuiet = false;
   std::size_t myPlainReads = 0;
   /// How many are asked about at once.
   std::size_t myMost = 0;
   /// Where the walk goes on behind those found.
   Iterator myRest;
   Found myFound[theMaxAsked];
   std::size_t myCount = 0;
   std::size_t myNext = 0;
   /// The stream that was passed over last behind those found.
   DtInetSocket const * myPassed = nullptr;
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
   Readable readable(*myImpl, room, isChain, flags);
   std::vector<DtInetSocket *> dead;
   DtInetSockRcvStatus status = DtInetSockRcvNothing;
   auto entry = readable.next(from);
   for (; entry != myImpl->connections.end(); entry = readable.next(from))
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
