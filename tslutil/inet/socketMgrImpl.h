// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetSocketMgr.h"
#include "tslutil/inet/tslInetTcpSocket.h"
#include "tslutil/inet/tslInetUdpSocket.h"

#include <map>
#include <memory>
#include <utility>

namespace tsl
{

/// The callbacks of one kind by priority. They may change from inside a callback: what is removed then is
/// passed over and goes when the outermost run is over.
class SocketMgrCallbacks
{
public:
   bool add(DtInetSocketMgrCb callback, void * userData, int priority);
   bool remove(DtInetSocketMgrCb callback);

   /// Calls all of them in order, or only up to the first that answers false; whether there was none such.
   bool runUntilRefused(DtInetSocket * socket) { return run(socket, true); }
   void runAll(DtInetSocket * socket) { run(socket, false); }

private:
   struct Entry
   {
      /// Null if it was removed in a run.
      DtInetSocketMgrCb callback;
      void * userData;
   };

   bool run(DtInetSocket * socket, bool stopsWhenRefused);
   int greatestPriority() const;

   std::multimap<int, Entry> myEntries;
   int myRuns = 0;
};

} // namespace tsl

struct DtInetSocketMgrImpl
{
   typedef DtInetSocketList::iterator Iterator;

   DtInetSocketMgrImpl(unsigned long flagsOfServer, unsigned long flagsOfConnections)
      : serverFlags(flagsOfServer), connectionFlags(flagsOfConnections)
   {
   }

   /// The key for an endpoint, which has the manager's protocol if the endpoint has none: a key without
   /// a protocol would be equal to all others.
   DtInetEndpoint keyOf(DtInetEndpoint const & endpoint) const;
   /// The entries under an endpoint.
   std::pair<Iterator, Iterator> entriesUnder(DtInetEndpoint const & endpoint);
   /// Where a receive begins.
   Iterator firstToRead();

   DtInetSocket * serverSocket() { return tcpServer != nullptr ? tcpServer.get() : udpServerSocket(); }
   DtInetSocket * udpServerSocket() { return udpServer.get(); }

   // Destroyed from the last to the first, as callers may rely on.
   tsl::SocketMgrCallbacks additionCallbacks;
   tsl::SocketMgrCallbacks removalCallbacks;
   /// A socket that an addition callback refused; callbacks may have kept its address.
   std::unique_ptr<DtInetSocket> refused;
   /// What the next accepted connection will be.
   std::unique_ptr<DtInetTcpSocket> pendingAccept;
   std::unique_ptr<DtInetUdpSocket> udpServer;
   std::unique_ptr<DtInetTcpSocket> tcpServer;

   DtInetSocketList connections;
   DtInetEndpoint lastRecvEndpoint;
   DtInetSocket const * lastRecvSocket = nullptr;
   DtInetSocketCreationCb creationCallback = nullptr;
   void * creationUserData = nullptr;
   unsigned long const serverFlags;
   unsigned long const connectionFlags;
   int lastError = 0;
   DtString lastErrorText;
};
