// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetSocket.h"
#include "tslutil/tslutilExport.h"

#include <cstddef>
#include <memory>

namespace tsl
{
struct TcpSocketAccess;
}

/// The socket behind a DtInetTcpSocket.
struct DtInetTcpSocketImpl;

namespace tsl::platform
{
struct SocketName;
}

/// A stream socket in one of three roles: a client, which connects to a destination; a server, which listens
/// and hands out connections; and an accepted connection, which starts as a bare object that a server's
/// acceptConnection() brings to life.
///
/// A stream has no message boundaries: a receive delivers what has arrived, up to the size of the buffer.
/// That the peer has closed, reset or lost the connection shows at the next send or receive, which answers -1
/// and moves to state 8. This is no error: getTerminationCode() and getTerminationString() tell of it (2 is
/// an orderly close, 10054 a reset), and the last error stays as it was.
///
/// With flag 0x100 a background thread of a client reads blocks into a queue, from which receive calls are
/// served without waiting; with 0x200 such a thread sends. It runs from a connectToDestination() that
/// completes at once. An accepted connection, and one that completes later, has none: it finds its queue
/// empty, and what it sends waits for good. The end of the stream counts before blocks that are still queued.
class TSLUTIL_EXPORT DtInetTcpSocket : public DtInetSocket
{
public:
   /// A bare object for a server's acceptConnection().
   DtInetTcpSocket();

   /// A client. `localPort` 0 lets the system choose. `device` is copied and may be null; the socket is bound
   /// to its address. `openNow` opens, and does not connect; a failure shows in state() and the last error.
   DtInetTcpSocket(DtInetEndpoint const & destination, unsigned short localPort = 0,
                   DtInetDevice * device = nullptr, unsigned long flags = DtInetSockFlagsDefault,
                   bool openNow = true);

   /// A server, which with `openNow` listens at once. `port` 0 lets the system choose, but not with a device.
   /// With a `device`, which is copied, it listens at the device's address of that family, else at all
   /// addresses of the host. Of the flags, those for sending and receiving are dropped.
   DtInetTcpSocket(unsigned short port, DtInetDevice * device = nullptr,
                   DtInetUtils::DtInetAddrFamily family = DtInetUtils::DtInetFamilyIpv4,
                   unsigned long flags = DtInetSockFlagsDefault, bool openNow = true);

   // Virtual operations, in slot order. First those of the base.

   /// Closes the socket.
   ~DtInetTcpSocket() override;
   /// Refused for an endpoint that isn't TCP, and once the socket is open. One without a protocol becomes
   /// TCP.
   bool setDestination(DtInetEndpoint const & destination) override;
   /// Effective before the socket is open, and for a device that isn't null. Always true.
   bool bindToDevice(DtInetDevice const * device) override;
   /// Opens a client, sets options through the virtual setters, and binds. An open socket is fine as it is; a
   /// closed or failed one is refused. Of a server, does nothing.
   bool openSocket() override;
   /// Ends the background thread, which takes at least 0.1 s, and closes. What the thread has not sent by
   /// then is lost.
   bool closeSocket() override;
   /// Opens the socket if need be and connects it. A non-blocking socket may be connecting afterwards, state
   /// 4, which is true as well: its first successful send moves to state 6.
   bool connectToDestination() override;
   /// Sends; unless the socket is non-blocking, all of it. One that would block answers -1 and
   /// isErrorWouldBlockOrTryAgain() tells it apart. On a socket that isn't connected, moves to the error
   /// state.
   int send(char * data, std::size_t size, unsigned long flags = 0) override;
   /// As send(); the endpoint is ignored.
   int sendTo(char * data, std::size_t size, DtInetEndpoint & to, unsigned long flags = 0) override;
   int sendChain(DtInetSockChain & chain, unsigned long flags = 0) override;
   /// As sendChain(); the endpoint is ignored.
   int sendChainTo(DtInetSockChain & chain, DtInetEndpoint & to, unsigned long flags = 0) override;
   /// Receives what has arrived, at most `size` bytes. On a socket that isn't connected, -1; the state stays.
   DtInetSockRcvStatus recv(char * data, std::size_t size, unsigned long flags = 0) override;
   /// The same into a chain, with callbacks. On a blocking socket a failed read that isn't the peer's end is
   /// a receive of nothing.
   DtInetSockRcvStatus recvToChain(DtInetSockChain & chain, unsigned long flags = 0) override;
   /// As recv() and recvToChain(); `from` becomes the destination.
   DtInetSockRcvStatus recvFrom(char * data, std::size_t size, DtInetEndpoint & from,
                                unsigned long flags = 0) override;
   DtInetSockRcvStatus recvToChainFrom(DtInetSockChain & chain, DtInetEndpoint & from,
                                       unsigned long flags = 0) override;
   /// Whether a server listens; otherwise whether the socket is open, connecting or connected.
   bool isOk() override;
   unsigned int descriptor() const override;
   bool setSocket(DtInetEndpoint const & destination, unsigned short localPort = 0,
                  DtInetDevice * device = nullptr, unsigned long flags = DtInetSockFlagsDefault) override;
   /// Of a listening server, answers `on`.
   bool setNonBlockingOption(bool on) override;
   bool setReuseAddressOption(bool on) override;
   bool setSendBufferSize(unsigned long bytes) override;
   bool setReceiveBufferSize(unsigned long bytes) override;
   bool setDoNotRouteOption(bool on) override;
   bool setSendLowWatermark(unsigned long bytes) override;
   bool setReceiveLowWatermark(unsigned long bytes) override;
   /// Of a server, what was asked for: it can be started again while old connections fade, without this.
   bool getReuseAddressOption() override;
   bool getDoNotRouteOption() override;
   unsigned long getSendBufferSize() override;
   unsigned long getReceiveBufferSize() override;
   unsigned long getBytesAvailable() override;
   unsigned long getSendLowWatermark() override;
   unsigned long getReceiveLowWatermark() override;

   // What this class adds.

   /// Has a server listen, as its constructor says, with a backlog of 1024. True if it listens already.
   virtual bool listenForConnections();
   /// Takes the next connection into `target`, a bare object of the caller's, which gets `flags`. A blocking
   /// server waits for one. False without an error: none is there. True means only that the call got as far
   /// as the target, whose isOk() tells whether it is connected: a connection that has failed meanwhile is
   /// the target's error, and if a blocking server itself has failed, its own state says so. A non-blocking
   /// server that fails answers false; for want of descriptors, 10024, too, and has to be made anew.
   virtual bool acceptConnection(DtInetTcpSocket * target, unsigned long flags = DtInetSockFlagsDefault);
   /// Whether small sends leave at once.
   virtual bool setTcpNoDelayOption(bool on);
   /// How long closing waits for what is unsent, in seconds; 0 for not at all, the system then sends it
   /// later.
   virtual bool setTcpLingerOption(unsigned short seconds);
   /// Whether a blocking server's wait ends with the failure of a connection that its peer gave up before it
   /// was accepted; if not, as at first, it waits on for the next.
   virtual bool setConnAbortedOption(bool on);
   /// Whether the system probes an idle peer.
   virtual bool setTcpKeepAliveOption(bool on);
   /// Whether lingering is on, and for how long.
   virtual bool getTcpLingerOption(unsigned short & seconds);
   /// Whether it does.
   virtual bool getConnAbortedOption();
   /// Whether the system probes it.
   virtual bool getTcpKeepAliveOption();

protected:
   /// Prepares a bare object for its connection: local endpoint, flags, state 1. Always true.
   virtual bool initAcceptedConnection(DtInetAddr const & localAddress, unsigned short localPort,
                                       unsigned long flags);
   /// Sets the options of an accepted connection, whose peer becomes its destination, and moves to state 6.
   /// Always true.
   virtual bool openAcceptedConnection(DtInetEndpoint peer);
   /// The socket as `boost::asio::ip::tcp::socket`, null on a server and on a bare object; the socket's own.
   virtual void * tcpSocket();
   /// The server's socket as `boost::asio::ip::tcp::acceptor`, null on others; the socket's own.
   virtual void * tcpServerSocket();

   /// Whether this is a server.
   bool isServerSock() const;

private:
   friend struct tsl::TcpSocketAccess;

   enum AcceptResult : int
   {
      NothingAccepted,
      AcceptFailed,
      AcceptedConnection
   };

   Failure failOpen(int code, DtString const & text);
   void takeDeviceAddress();
   int openAndBind();
   int readLocalPort();
   void readLocalEndpoint();
   bool takeListeningAddress();
   int openAndListen();
   AcceptResult acceptAtOnce(DtInetTcpSocket & target, tsl::platform::SocketName & peer);
   AcceptResult acceptNext(DtInetTcpSocket & target, tsl::platform::SocketName & peer);
   AcceptResult failTarget(char const * what, int error);

   bool maySend(char const * operation, char const * unmade);
   Failure refuseToSend(bool isConnected, char const * operation, char const * unmade);
   bool mayReceive(char const * operation);
   Failure refuseToReceive(char const * operation);
   Failure refuseToReceiveWithout(char const * operation);
   bool noteEnd(int number, int error);
   Failure failedSend(char const * operation, int error);
   DtInetSockRcvStatus failedReceive(int error, bool isIgnored);

   struct ChainSend;
   struct ChainReceive;

   std::unique_ptr<DtInetTcpSocketImpl> const myImpl;
};
