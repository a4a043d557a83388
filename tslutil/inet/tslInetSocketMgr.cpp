// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetSocketMgr.h"

#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/socketMgrImpl.h"
#include "tslutil/inet/tcpSocketImpl.h"
#include "tslutil/platform/readiness.h"

#include <algorithm>
#include <exception>
#include <typeinfo>

using namespace tsl::errorNumbers;

namespace
{

constexpr int theConnectionLost = -2;

// A new socket, null if there is no room for one.
template<class Socket, class... Arguments>
std::unique_ptr<Socket> build(Arguments &&... arguments)
{
   try
   {
      return std::make_unique<Socket>(arguments...);
   }
   catch (std::exception const &)
   {
      return nullptr;
   }
}

char const * nameOf(bool isTcp)
{
   return isTcp ? "TCP" : "UDP";
}

} // namespace

namespace tsl
{

bool SocketMgrCallbacks::add(DtInetSocketMgrCb callback, void * userData, int priority)
{
   if (callback == nullptr)
      return false;
   myEntries.emplace(priority < 0 ? greatestPriority() : priority, Entry{callback, userData});
   return true;
}

bool SocketMgrCallbacks::remove(DtInetSocketMgrCb callback)
{
   auto const found =
      std::find_if(myEntries.begin(), myEntries.end(),
                   [callback](auto const & entry) { return entry.second.callback == callback; });
   if (found == myEntries.end() || callback == nullptr)
      return false;
   if (myRuns > 0)
      found->second.callback = nullptr;
   else
      myEntries.erase(found);
   return true;
}

bool SocketMgrCallbacks::run(DtInetSocket * socket, bool stopsWhenRefused)
{
   bool isWelcome = true;
   ++myRuns;
   for (auto const & [priority, entry] : myEntries)
   {
      if (entry.callback == nullptr || entry.callback(socket, entry.userData) || !stopsWhenRefused)
         continue;
      isWelcome = false;
      break;
   }
   if (--myRuns == 0)
      for (auto entry = myEntries.begin(); entry != myEntries.end();)
         entry = entry->second.callback == nullptr ? myEntries.erase(entry) : std::next(entry);
   return isWelcome;
}

int SocketMgrCallbacks::greatestPriority() const
{
   auto const last = std::find_if(myEntries.rbegin(), myEntries.rend(),
                                  [](auto const & entry) { return entry.second.callback != nullptr; });
   return last == myEntries.rend() ? 0 : last->first;
}

} // namespace tsl

DtInetEndpoint DtInetSocketMgrImpl::keyOf(DtInetEndpoint const & endpoint) const
{
   DtInetEndpoint key(endpoint);
   if (!key.isTcp() && !key.isUdp())
      key.setProtocol(tcpServer != nullptr ? DtInetProtoTcp : DtInetProtoUdp);
   return key;
}

std::pair<DtInetSocketMgrImpl::Iterator, DtInetSocketMgrImpl::Iterator>
DtInetSocketMgrImpl::entriesUnder(DtInetEndpoint const & endpoint)
{
   if (endpoint.isTcp() || endpoint.isUdp())
      return connections.equal_range(endpoint);
   return connections.equal_range(keyOf(endpoint));
}

DtInetSocketMgr::DtInetSocketMgr(DtInetEndpoint & serverEndpoint, DtInetDevice * device,
                                 unsigned long serverFlags, unsigned long connectionFlags,
                                 DtInetUtils::DtInetAddrFamily family)
   : myImpl(std::make_unique<DtInetSocketMgrImpl>(serverFlags, connectionFlags))
{
   unsigned short const port = serverEndpoint.port();
   if (serverEndpoint.isTcp())
      myImpl->tcpServer = std::make_unique<DtInetTcpSocket>(port, device, family, serverFlags, true);
   else
      myImpl->udpServer = std::make_unique<DtInetUdpSocket>(serverEndpoint, port, device, serverFlags, true);
}

DtInetSocketMgr::DtInetSocketMgr(unsigned long connectionFlags)
   : myImpl(std::make_unique<DtInetSocketMgrImpl>(DtInetSockFlagsDefault | DtInetSockFlagNonBlocking,
                                                  connectionFlags))
{
}

// Begins anew after each removal, since a callback may remove more.
DtInetSocketMgr::~DtInetSocketMgr()
{
   DtInetSocketList & connections = myImpl->connections;
   while (!connections.empty())
   {
      DtInetSocket * const socket = connections.begin()->second;
      bool const isServer = myImpl->udpServer != nullptr && socket == myImpl->udpServer.get();
      if (isServer || !DtInetSocketMgr::removeConnection(socket))
         connections.erase(connections.begin());
   }
}

int DtInetSocketMgr::processConnections()
{
   if (myImpl->serverSocket() == nullptr)
      return 0;
   bool const isTcp = myImpl->tcpServer != nullptr;
   int sum = 0;
   for (;;)
   {
      int const added = isTcp ? processNewTcpConnections() : processNewUdpConnections();
      if (added < 1)
         return sum;
      sum += added;
   }
}

// A socket that is kept from an earlier try is lent to the server again, so waiting costs no memory.
int DtInetSocketMgr::processNewTcpConnections()
{
   if (myImpl->tcpServer == nullptr || !preparePendingAccept() || nobodyWaits())
      return 0;
   if (!myImpl->tcpServer->acceptConnection(myImpl->pendingAccept.get(),
                                            myImpl->connectionFlags | DtInetSockFlagNonBlocking))
      return 0;
   // From here on a callback may ask for another kind of socket, or for the next connection.
   std::unique_ptr<DtInetTcpSocket> accepted = std::move(myImpl->pendingAccept);
   if (addConnection(accepted.get()) == nullptr)
      return theConnectionLost;
   myImpl->additionCallbacks.runAll(accepted.release());
   return 1;
}

int DtInetSocketMgr::processNewUdpConnections()
{
   return 0;
}

bool DtInetSocketMgr::preparePendingAccept()
{
   std::unique_ptr<DtInetTcpSocket> & pending = myImpl->pendingAccept;
   if (pending == nullptr && myImpl->creationCallback == nullptr)
      pending = std::make_unique<DtInetTcpSocket>();
   if (pending == nullptr)
   {
      std::unique_ptr<DtInetSocket> made(myImpl->creationCallback(myImpl->creationUserData, this));
      if (auto * const stream = dynamic_cast<DtInetTcpSocket *>(made.get()))
      {
         made.release();
         pending.reset(stream);
      }
   }
   return pending != nullptr;
}

// Asking costs a tenth of a vain accept, and works without a free descriptor. A derived class is to see that
// accept once, which prepares it.
bool DtInetSocketMgr::nobodyWaits()
{
   typedef tsl::SocketAccess Access;
   DtInetTcpSocket & server = *myImpl->tcpServer;
   DtInetTcpSocket & pending = *myImpl->pendingAccept;
   bool const isPrepared = typeid(pending) == typeid(DtInetTcpSocket) || pending.state() == DtInetSockCreated;
   return isPrepared && Access::state(server) == DtInetSockListening && Access::isNonBlocking(server) &&
          tsl::platform::isIdle(tsl::TcpSocketAccess::impl(server).handle());
}

DtInetSocket * DtInetSocketMgr::addConnection(DtInetSocket const * socket)
{
   auto * const added = const_cast<DtInetSocket *>(socket);
   if (added == nullptr || !added->isOk())
      return fail(theBadArgument, "Socket not in proper state to add to the managed list");
   auto const [first, last] = myImpl->entriesUnder(added->destination());
   if (std::any_of(first, last, [added](auto const & entry) { return entry.second == added; }))
      return nullptr;
   myImpl->connections.emplace(myImpl->keyOf(added->destination()), added);
   return added;
}

DtInetSocket * DtInetSocketMgr::addConnection(DtInetEndpoint const & remote, unsigned short localPort,
                                              DtInetDevice * device, bool openNow, bool ownUdpSocket)
{
   DtInetEndpoint const key = myImpl->keyOf(remote);
   bool const isTcpServer = myImpl->tcpServer != nullptr;
   if (myImpl->serverSocket() != nullptr && isTcpServer != key.isTcp())
      return fail(theOtherProtocol, DtString("Illegal attempt to add a connection from a ") +
                                       nameOf(isTcpServer) + " socket manager to a " + nameOf(key.isTcp()) +
                                       " endpoint.");
   // The shared socket is known already, so addition callbacks don't hear of it.
   if (key.isUdp() && !ownUdpSocket && myImpl->udpServer != nullptr)
      return myImpl->connections.emplace(key, myImpl->udpServer.get())->second;
   std::unique_ptr<DtInetSocket> made = makeSocket(key, localPort, device, openNow, ownUdpSocket);
   if (made == nullptr || !made->isOk())
      return fail(made == nullptr ? theNotBuilt : made->getLastError(),
                  DtString("Failed to create ") + nameOf(key.isTcp()) + " Socket");
   if (myImpl->additionCallbacks.runUntilRefused(made.get()))
      return myImpl->connections.emplace(key, made.release())->second;
   made->closeSocket();
   myImpl->refused = std::move(made);
   return nullptr;
}

std::unique_ptr<DtInetSocket> DtInetSocketMgr::makeSocket(DtInetEndpoint const & remote,
                                                          unsigned short localPort, DtInetDevice * device,
                                                          bool openNow, bool connects)
{
   unsigned long const flags = myImpl->connectionFlags;
   if (remote.isTcp())
      return build<DtInetTcpSocket>(remote, localPort, device, flags, openNow);
   std::unique_ptr<DtInetSocket> made = build<DtInetUdpSocket>(remote, localPort, device, flags, openNow);
   if (made != nullptr && made->isOk() && connects)
      made->connectToDestination();
   return made;
}

bool DtInetSocketMgr::removeConnection(DtInetSocket const * socket)
{
   if (!removeByItem(socket))
      return false;
   myImpl->removalCallbacks.runAll(const_cast<DtInetSocket *>(socket));
   return true;
}

bool DtInetSocketMgr::removeConnection(DtInetEndpoint const & remote)
{
   DtInetSocket * const removed = removeByKey(remote);
   if (removed != nullptr)
      myImpl->removalCallbacks.runAll(removed);
   return removed != nullptr;
}

DtInetSocket * DtInetSocketMgr::removeByKey(DtInetEndpoint const & remote)
{
   auto const [first, last] = myImpl->entriesUnder(remote);
   if (first == last)
      return nullptr;
   DtInetSocket * const removed = first->second;
   myImpl->connections.erase(first);
   return removed;
}

bool DtInetSocketMgr::removeByItem(DtInetSocket const * socket)
{
   DtInetSocketList & connections = myImpl->connections;
   auto const found = std::find_if(connections.begin(), connections.end(),
                                   [socket](auto const & entry) { return entry.second == socket; });
   if (found == connections.end())
      return false;
   connections.erase(found);
   return true;
}

DtInetSocket * DtInetSocketMgr::serverSocket()
{
   return myImpl->serverSocket();
}

DtInetSocketList & DtInetSocketMgr::socketList()
{
   return myImpl->connections;
}

DtInetSocket * DtInetSocketMgr::peerSocket(DtInetEndpoint const & remote)
{
   auto const [first, last] = myImpl->entriesUnder(remote);
   return first == last ? nullptr : first->second;
}

bool DtInetSocketMgr::addSocketAdditionCallback(DtInetSocketMgrCb callback, void * userData, int priority)
{
   return myImpl->additionCallbacks.add(callback, userData, priority);
}

bool DtInetSocketMgr::removeSocketAdditionCallback(DtInetSocketMgrCb callback, void *)
{
   return myImpl->additionCallbacks.remove(callback);
}

bool DtInetSocketMgr::addSocketRemovalCallback(DtInetSocketMgrCb callback, void * userData, int priority)
{
   return myImpl->removalCallbacks.add(callback, userData, priority);
}

bool DtInetSocketMgr::removeSocketRemovalCallback(DtInetSocketMgrCb callback, void *)
{
   return myImpl->removalCallbacks.remove(callback);
}

unsigned long DtInetSocketMgr::getServerFlags()
{
   return myImpl->serverFlags;
}

unsigned long DtInetSocketMgr::getConnectionFlags()
{
   return myImpl->connectionFlags;
}

int DtInetSocketMgr::getLastError()
{
   return myImpl->lastError;
}

DtString DtInetSocketMgr::getLastErrorString()
{
   return myImpl->lastErrorText;
}

void DtInetSocketMgr::clearError()
{
   myImpl->lastError = 0;
   myImpl->lastErrorText = "";
}

void DtInetSocketMgr::addSocketCreationCallback(DtInetSocketCreationCb callback, void * userData)
{
   myImpl->creationCallback = callback;
   myImpl->creationUserData = userData;
   myImpl->pendingAccept.reset();
}

DtInetSocket * DtInetSocketMgr::fail(int code, DtString const & text)
{
   myImpl->lastError = code;
   myImpl->lastErrorText = text;
   return nullptr;
}
