// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/inet/tslInetResLoc.h"
#include "tslutil/inet/tslInetSocket.h"
#include "tslutil/tslutilExport.h"

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

class DtInetDevice;
class DtInetSocketMgr;
class DtInetTcpSocket;

/// The lists behind a DtInetSocketMgr.
struct DtInetSocketMgrImpl;

/// The connections of a manager by the endpoint of the peer. Several sockets may stand under one endpoint,
/// and one socket under several.
typedef std::multimap<DtInetEndpoint, DtInetSocket *> DtInetSocketList;

/// Tells the application of a connection that is added or was removed, with the data given on registration.
/// False from an addition callback refuses a connection that addConnection() makes; else it has no effect.
typedef bool (*DtInetSocketMgrCb)(DtInetSocket * socket, void * userData);

/// Makes the socket of the next accepted connection: a bare DtInetTcpSocket or a class derived from it, which
/// the manager takes over.
typedef DtInetSocket * (*DtInetSocketCreationCb)(void * userData, DtInetSocketMgr * manager);

/// Keeps many connections under one object, for a program that is a server, a client of several peers, or
/// both: accepts TCP connections, sends to all or some peers, reads from them in turn, and drops a connection
/// on its first failure.
///
/// Nothing happens by itself: call processConnections() and a receive regularly. There is no lock; a manager
/// belongs to one thread, which also runs the callbacks. A callback must not add or remove connections while
/// a send or a receive of the same manager walks them; the removals that these two make themselves come
/// after the walk.
///
/// Who destroys: the server socket is the manager's. All other sockets are the application's once they are
/// removed, for which the removal callback is the place; the manager destroys none, not even at its own end.
/// The server socket may stand among the connections of UDP peers: it must not be destroyed there.
///
/// Endpoints of different protocols have no order, so give TCP and UDP peers a manager each. One without a
/// protocol stands for the protocol of the manager, which is UDP without a server.
class TSLUTIL_EXPORT DtInetSocketMgr
{
public:
   /// A server. For a TCP endpoint, listens at its port on the device's address of that family, or on all of
   /// the host; for any other, opens a UDP socket at that port. Whether that worked, the server socket tells.
   /// A blocking server would have processConnections() wait for a connection, and then for ever.
   /// `connectionFlags` are those of the sockets that the manager makes.
   DtInetSocketMgr(DtInetEndpoint & serverEndpoint, DtInetDevice * device = nullptr,
                   unsigned long serverFlags = DtInetSockFlagsDefault | DtInetSockFlagNonBlocking,
                   unsigned long connectionFlags = DtInetSockFlagsDefault | DtInetSockFlagNonBlocking,
                   DtInetUtils::DtInetAddrFamily family = DtInetUtils::DtInetFamilyIpv4);

   /// A client, without a server socket.
   explicit DtInetSocketMgr(unsigned long connectionFlags = DtInetSockFlagsDefault |
                                                            DtInetSockFlagNonBlocking);

   DtInetSocketMgr(DtInetSocketMgr const &) = delete;
   DtInetSocketMgr & operator=(DtInetSocketMgr const &) = delete;

   // Virtual operations, in slot order.

   /// Removes all connections, with their removal callbacks, and closes the server socket.
   virtual ~DtInetSocketMgr();
   /// Accepts the TCP connections that are waiting and answers how many. One that has failed meanwhile ends
   /// the call early. A non-blocking server that runs out of descriptors fails for good, with 10024: make a
   /// new manager then.
   virtual int processConnections();
   /// Takes a working socket on, under its destination. Null if it isn't ok, or stands there already.
   /// Addition callbacks don't run.
   virtual DtInetSocket * addConnection(DtInetSocket const * socket);
   /// Makes and opens a connection; a TCP socket is left for the caller to connect. With a UDP server the
   /// peers share its socket, unless `ownUdpSocket` gives the peer one of its own, which is connected.
   /// `device` is copied and may be null. Without `openNow` the call always fails, on purpose. Null on a
   /// failure, which getLastError() tells, and if an addition callback refused the connection; that socket is
   /// closed, and destroyed by the next refusal or with the manager.
   virtual DtInetSocket * addConnection(DtInetEndpoint const & remote, unsigned short localPort = 0,
                                        DtInetDevice * device = nullptr, bool openNow = true,
                                        bool ownUdpSocket = false);
   /// Removes the first entry that holds a socket and runs the removal callbacks; false if none does.
   virtual bool removeConnection(DtInetSocket const * socket);
   /// Removes the first entry under an endpoint and runs the removal callbacks; false if there is none.
   virtual bool removeConnection(DtInetEndpoint const & remote);
   /// The server socket, null without one.
   virtual DtInetSocket * serverSocket();
   /// The connections themselves.
   virtual DtInetSocketList & socketList();
   /// The first socket under an endpoint, null if there is none.
   virtual DtInetSocket * peerSocket(DtInetEndpoint const & remote);
   /// As the other sendTo(), with the chain sends and their callbacks. Answers what the last good send
   /// answered, 0 if there was none, -1 if a send failed.
   virtual int sendTo(DtInetSockChain & chain, std::vector<DtInetEndpoint *> & targets,
                      unsigned long flags = 0);
   /// Sends to all connections, or to those under `targets` if there are any. Answers `size`, also if a
   /// target has no connection. A connection that doesn't take all of it is removed, and -1 answered unless
   /// its peer has closed.
   virtual int sendTo(char * data, int size, std::vector<DtInetEndpoint *> & targets,
                      unsigned long flags = 0);
   /// Reads the next connection that has something, beginning behind the one that delivered last and going to
   /// the end of the list, not around: what stands in front waits for a later call. 0 if nothing came.
   /// A connection whose peer has closed is removed, and so is one that is still connecting, on purpose. One
   /// that fails otherwise is removed and ends the call with its negative status.
   virtual DtInetSockRcvStatus recvFrom(char * data, std::size_t size, DtInetEndpoint & from,
                                        unsigned long flags = 0);
   /// The same into a chain, with the receive callbacks. Any negative status counts as a failure, on purpose,
   /// also that of a filter or an empty chain.
   virtual DtInetSockRcvStatus recvToChainFrom(DtInetSockChain & chain, DtInetEndpoint & from,
                                               unsigned long flags = 0);
   /// Has a function called for each connection that is made or accepted, in ascending order of priority and
   /// behind those of the same. A negative priority stands for the greatest of all others. False for null.
   /// All four of these may be called from inside a callback.
   virtual bool addSocketAdditionCallback(DtInetSocketMgrCb callback, void * userData = nullptr,
                                          int priority = -1);
   /// Removes the first addition callback with this function, whatever its data; false if there is none.
   virtual bool removeSocketAdditionCallback(DtInetSocketMgrCb callback, void * userData = nullptr);
   /// Has a function called for each connection that was removed, ordered as addition callbacks.
   virtual bool addSocketRemovalCallback(DtInetSocketMgrCb callback, void * userData = nullptr,
                                         int priority = -1);
   /// Removes the first removal callback with this function, whatever its data; false if there is none.
   virtual bool removeSocketRemovalCallback(DtInetSocketMgrCb callback, void * userData = nullptr);
   /// The flags of the server socket, as they were given; 3267 without one.
   virtual unsigned long getServerFlags();
   /// The flags of the sockets that the manager makes; accepted ones are non-blocking besides.
   virtual unsigned long getConnectionFlags();
   /// Why addConnection() failed: 10044 for a protocol other than the server's, 10022 for a socket that isn't
   /// ok, 11003 if no socket could be built, else the new socket's error. 0 at first.
   virtual int getLastError();
   /// The text of the last error.
   virtual DtString getLastErrorString();
   /// Forgets the last error.
   virtual void clearError();
   /// Has a function make the sockets of accepted connections; null for plain ones. One that is ready already
   /// is destroyed. A result that is no DtInetTcpSocket is destroyed, and nothing accepted.
   virtual void addSocketCreationCallback(DtInetSocketCreationCb callback, void * userData = nullptr);

protected:
   /// Accepts one connection: 1, 0 if none is waiting, -2 if it was lost.
   virtual int processNewTcpConnections();
   /// UDP peers are added by addConnection() alone: always 0.
   virtual int processNewUdpConnections();
   /// Takes out the first entry under an endpoint and answers its socket, null if there is none.
   virtual DtInetSocket * removeByKey(DtInetEndpoint const & remote);
   /// Takes out the first entry that holds a socket; false if there is none.
   virtual bool removeByItem(DtInetSocket const * socket);

private:
   bool preparePendingAccept();
   bool nobodyWaits();
   std::unique_ptr<DtInetSocket> makeSocket(DtInetEndpoint const & remote, unsigned short localPort,
                                            DtInetDevice * device, bool openNow, bool connects);
   DtInetSocket * fail(int code, DtString const & text);
   void drop(std::vector<DtInetSocket *> const & sockets);
   template<class Send>
   void sendToEach(std::vector<DtInetEndpoint *> const & targets, Send const & send);
   template<class Receive>
   DtInetSockRcvStatus receiveFromNext(std::size_t room, bool isChain, DtInetEndpoint & from,
                                       unsigned long flags, Receive const & receive);

   std::unique_ptr<DtInetSocketMgrImpl> const myImpl;
};
