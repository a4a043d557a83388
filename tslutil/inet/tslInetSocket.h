// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/inet/tslInetEndpoint.h"
#include "tslutil/tslutilExport.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

/// The base of all sockets: states, options, sending and receiving as virtual operations, the record of the
/// last error, counters, and callbacks that run around a send or a receive of a chain.
///
/// Sockets never throw on a network failure and print nothing: an operation answers false or a negative
/// number, records a code and a text, and usually moves the socket to its error state. Codes are Windows
/// Sockets numbers on every platform (would-block is 10035, refused 10061) and a few of the library's own.
///
/// A socket holds no lock: it belongs to one thread at a time, which also runs the callbacks.

class DtInetDevice;
class DtInetSocket;

namespace tsl
{
struct SocketAccess;
}

/// The state of a socket.
enum DtInetSockState : int
{
   /// An operation failed; the last error says why.
   DtInetSockError = -1,
   /// The base object alone.
   DtInetSockUninitialized = 0,
   /// Configured; no system socket is open.
   DtInetSockCreated = 1,
   /// Open and bound.
   DtInetSockOpen = 2,
   /// A TCP server that listens.
   DtInetSockListening = 3,
   /// TCP: a non-blocking connect is under way.
   DtInetSockConnecting = 4,
   DtInetSockConnected = 6,
   /// TCP: the peer ended the connection; the termination record says how.
   DtInetSockTerminated = 8,
   DtInetSockClosed = 9
};

/// The bits of a socket's flags word, given to constructors and setSocket().
enum DtInetSockFlags : int
{
   /// The socket is for receiving. Carried along and not tested.
   DtInetSockFlagReceive = 0x001,
   /// Sending on the caller's thread is allowed.
   DtInetSockFlagSend = 0x002,
   DtInetSockFlagNonBlocking = 0x040,
   /// TCP: small sends leave at once.
   DtInetSockFlagNoDelay = 0x080,
   /// A background thread reads into a queue, from which receive calls are served without waiting.
   DtInetSockFlagAsyncReceive = 0x100,
   /// A background thread sends; a failure shows at the next send.
   DtInetSockFlagAsyncSend = 0x200,
   /// Other sockets may share the address.
   DtInetSockFlagReuseAddress = 0x400,
   /// Part of the default. Carried along and not tested.
   DtInetSockFlagSpare = 0x800,
   DtInetSockFlagsDefault = 0xC83
};

/// The bits of the flags that a send or receive call takes.
enum DtInetSockCallFlags : int
{
   DtInetSockSkipPreCallbacks = 0x1000,
   DtInetSockSkipPostCallbacks = 0x2000
};

/// When a processing callback runs.
enum DtInetSockProcessingType : int
{
   /// Before a chain receive reads the socket.
   DtInetSockPreReceive = 0,
   /// After a chain receive.
   DtInetSockPostReceive = 1,
   /// Before a chain send.
   DtInetSockPreSend = 2,
   /// After a chain send.
   DtInetSockPostSend = 3
};

/// The result of a receive: a positive value is the number of bytes received.
enum DtInetSockRcvStatus : int
{
   /// Nothing arrived; a non-blocking socket would have blocked.
   DtInetSockRcvNothing = 0,
   /// The call failed; the last error or the termination record says why.
   DtInetSockRcvFailed = -1,
   /// A post-receive callback dropped the datagram.
   DtInetSockRcvFiltered = -2,
   /// A post-receive callback found it to be our own.
   DtInetSockRcvSelf = -3,
   /// The buffer is too small or the chain is empty.
   DtInetSockRcvNoRoom = -4,
   /// A pre-receive callback served the call; the socket isn't read.
   DtInetSockRcvFromQueue = -5
};

/// The result of flushing what a socket has bundled.
enum DtInetSockFlushStatus : int
{
   DtInetSockFlushFailed = -1,
   /// A send moved nothing.
   DtInetSockFlushNothing = 0,
   /// Everything is out.
   DtInetSockFlushDone = 1
};

/// An ordered list of byte vectors, owned and sized by the caller. Sending gathers them into one datagram or
/// stream write; receiving fills them in order, each up to its size, and resizes none. The system is given at
/// most the first 64.
typedef std::vector<std::vector<char> *> DtInetSockChain;

/// A callback around a send or receive of a chain. What `size`, `arg` and the result are differs:
///
/// Pre-send: `size` is the number of bytes still to send and `arg` the callback's data. The result is the
/// number of bytes that remain to be sent; 0 takes the whole message over, less than 0 fails the send.
///
/// Post-send: `size` is the number of bytes sent so far, `arg` the callback's data. The result is added to
/// the number; less than 0 fails the send.
///
/// Pre-receive: `size` is 0 and `arg` points to an `int`, the status of this receive, which is 0 at first.
/// Set to DtInetSockRcvFromQueue, it makes the last callback's result the number of bytes received, and the
/// socket isn't read.
///
/// Post-receive: `size` is the present result and `arg` points to a copy of the status. A result other than 0
/// becomes the result of the receive; with 0 the status does. To drop a datagram, write a negative status and
/// return 0.
///
/// Only send callbacks are given their data, deliberately; one that receives finds its context by `socket`.
typedef int (*DtInetSocketProcessingCb)(DtInetSocket * socket, int size, DtInetSockChain & chain,
                                        DtInetEndpoint & endpoint, void * arg);

/// A callback with its data and its place in the order.
struct DtInetSocketProcessingCbInfo
{
   /// Null once it was removed from inside a callback, until the run of callbacks is over.
   DtInetSocketProcessingCb callback;
   /// What a send callback is given.
   void * userData;
   /// Its place; ascending, negative ones last.
   int priority;
};

/// The callbacks of one kind by priority. Owns its entries.
typedef std::multimap<int, DtInetSocketProcessingCbInfo *> DtInetSockCallbackTable;

/// A network socket with a local endpoint and a destination, its default peer.
class TSLUTIL_EXPORT DtInetSocket
{
public:
   DtInetSocket(DtInetSocket const &) = delete;
   DtInetSocket & operator=(DtInetSocket const &) = delete;

   /// A handle to wait on, shared by all sockets of the process and auto-resetting: UDP's recv() signals it
   /// after each datagram. On Linux its value is a descriptor that becomes readable; reading its 8 bytes
   /// resets it. Null if the system has none left. From any thread.
   void * getReadHandle() const;

   // Virtual operations, in slot order.

   /// Releases the device and the callbacks.
   virtual ~DtInetSocket();
   /// Sets the default peer.
   virtual bool setDestination(DtInetEndpoint const & destination) = 0;
   /// The default peer.
   virtual DtInetEndpoint const & destination() const;
   /// The endpoint that the socket is bound to, or is to be.
   virtual DtInetEndpoint const & localEndpoint() const;
   /// Sets the port of the local endpoint, in any state; a bound socket stays where it is. Always true.
   virtual bool setLocalPort(unsigned short port);
   /// The port of the local endpoint.
   virtual unsigned short localPort() const;
   /// Copies the device that the socket is to use, null for none.
   virtual bool bindToDevice(DtInetDevice const * device) = 0;
   /// The socket's copy of its device, or null.
   virtual DtInetDevice * hostIf() const;
   /// Makes and binds the system's socket. True at once if it is open.
   virtual bool openSocket() = 0;
   /// Closes it.
   virtual bool closeSocket() = 0;
   /// Connects it to the default peer.
   virtual bool connectToDestination() = 0;
   /// The sends answer the number of bytes, or -1. The flat ones run no callbacks, whatever `flags` says.
   virtual int send(char * data, std::size_t size, unsigned long flags = 0) = 0;
   /// Sends to `to`.
   virtual int sendTo(char * data, std::size_t size, DtInetEndpoint & to, unsigned long flags = 0) = 0;
   /// Sends a chain to the default peer, with the send callbacks.
   virtual int sendChain(DtInetSockChain & chain, unsigned long flags = 0) = 0;
   /// Sends a chain to `to`, with the send callbacks.
   virtual int sendChainTo(DtInetSockChain & chain, DtInetEndpoint & to, unsigned long flags = 0) = 0;
   /// The receives answer the number of bytes or a status. The flat ones of UDP and TCP run no callbacks.
   virtual DtInetSockRcvStatus recv(char * data, std::size_t size, unsigned long flags = 0) = 0;
   /// Receives into a chain, with the receive callbacks.
   virtual DtInetSockRcvStatus recvToChain(DtInetSockChain & chain, unsigned long flags = 0) = 0;
   /// Receives and tells the sender in `from`.
   virtual DtInetSockRcvStatus recvFrom(char * data, std::size_t size, DtInetEndpoint & from,
                                        unsigned long flags = 0) = 0;
   /// Receives into a chain and tells the sender, with the receive callbacks.
   virtual DtInetSockRcvStatus recvToChainFrom(DtInetSockChain & chain, DtInetEndpoint & from,
                                               unsigned long flags = 0) = 0;
   /// The state.
   virtual DtInetSockState state();
   /// Whether the socket works: here, whether its state is above 0.
   virtual bool isOk();
   /// The protocol of the local endpoint; family() and the four tests isIPv4() to isUdp() read it likewise.
   virtual DtInetProtocol protocol() const;
   /// The family of the local endpoint.
   virtual DtInetUtils::DtInetAddrFamily family() const;
   /// The system's socket as a number; all bits set if none is open.
   virtual unsigned int descriptor() const = 0;
   /// The flags word.
   virtual unsigned long flags();
   /// Configures a socket that isn't open yet.
   virtual bool setSocket(DtInetEndpoint const & destination, unsigned short localPort = 0,
                          DtInetDevice * device = nullptr, unsigned long flags = DtInetSockFlagsDefault) = 0;
   // The setters answer false on a closed socket and record nothing then. A failing one moves to the error
   // state. Sizes are in bytes and cut to the range of an int.
   /// Whether calls answer at once in place of waiting.
   virtual bool setNonBlockingOption(bool on) = 0;
   /// Whether other sockets may be bound to the same port.
   virtual bool setReuseAddressOption(bool on) = 0;
   /// The size of the system's send buffer.
   virtual bool setSendBufferSize(unsigned long bytes) = 0;
   /// The size of the system's receive buffer.
   virtual bool setReceiveBufferSize(unsigned long bytes) = 0;
   /// Whether to send to directly connected hosts only.
   virtual bool setDoNotRouteOption(bool on) = 0;
   /// Linux refuses it: an ordinary failure.
   virtual bool setSendLowWatermark(unsigned long bytes) = 0;
   /// How many bytes make the socket readable.
   virtual bool setReceiveLowWatermark(unsigned long bytes) = 0;
   /// Whether calls answer at once.
   virtual bool isNonBlocking() const;
   /// The no-delay field, false at first whatever the default flags say.
   virtual bool isNoDelay() const;
   // The getters answer 0 or false on a closed socket and record nothing then. A failing one moves to the
   // error state.
   /// Whether the port may be shared.
   virtual bool getReuseAddressOption() = 0;
   /// Whether only directly connected hosts are sent to.
   virtual bool getDoNotRouteOption() = 0;
   /// The size of the send buffer.
   virtual unsigned long getSendBufferSize() = 0;
   /// The size of the receive buffer.
   virtual unsigned long getReceiveBufferSize() = 0;
   /// How many bytes a receive could get at once; of a UDP socket on Linux, the size of the next datagram.
   virtual unsigned long getBytesAvailable() = 0;
   /// The low watermark of sending.
   virtual unsigned long getSendLowWatermark() = 0;
   /// The low watermark of receiving.
   virtual unsigned long getReceiveLowWatermark() = 0;
   /// Whether the local endpoint is IPv4.
   virtual bool isIPv4() const;
   /// Whether it is IPv6.
   virtual bool isIPv6() const;
   /// Whether its protocol is TCP.
   virtual bool isTcp() const;
   /// Whether its protocol is UDP.
   virtual bool isUdp() const;
   /// The code of the last error; 0 for none.
   virtual int getLastError();
   /// A copy of its text. The error stays recorded.
   virtual DtString getLastErrorString();
   /// Whether the last error is that the call would have blocked or is to be tried again.
   virtual bool isErrorWouldBlockOrTryAgain();
   /// Forgets the last error; the state stays.
   virtual void clearError();
   /// How the peer ended a TCP connection: the code, 0 if it didn't, and the text.
   virtual int getTerminationCode();
   /// The text of that.
   virtual DtString getTerminationString();
   /// Bytes sent since the counters were cleared.
   virtual std::uint64_t totalBytesSent() const;
   /// Sends since then.
   virtual std::uint64_t totalPacketsSent() const;
   /// Bytes received since then.
   virtual std::uint64_t totalBytesReceived() const;
   /// Receives since then.
   virtual std::uint64_t totalPacketsReceived() const;
   /// Sets the four counters to 0.
   virtual void clearStats();
   /// Adds a callback behind those of the same priority; they run in ascending order. A negative priority
   /// puts it behind all others. False for an unknown type. Callbacks may be added and removed from inside
   /// one; those added behind it run in the same pass.
   virtual bool addProcessingCallback(DtInetSockProcessingType type, DtInetSocketProcessingCb callback,
                                      void * userData, int priority);
   /// Removes the first callback with this function, whatever its data; false if there is none.
   virtual bool removeProcessingCallback(DtInetSockProcessingType type, DtInetSocketProcessingCb callback);

protected:
   /// Removes the first entry with this function.
   virtual bool findAndRemoveCallback(DtInetSockCallbackTable & table, DtInetSocketProcessingCb callback);

   /// State 0, the default flags, both endpoints without a protocol.
   DtInetSocket();

   /// What a failing operation answers: false, -1 or DtInetSockRcvFailed, by the operation's result.
   struct Failure
   {
      /// False.
      operator bool() const { return false; }
      /// -1.
      operator int() const { return -1; }
      /// DtInetSockRcvFailed.
      operator DtInetSockRcvStatus() const { return DtInetSockRcvFailed; }
   };

   /// Records an error and moves to the error state.
   Failure fail(int code, DtString const & text);
   /// Records an error; the state stays.
   Failure refuse(int code, DtString const & text);

   /// Counts one packet and its bytes. A negative count takes bytes off, as callers do on purpose.
   void countSent(int bytes)
   {
      ++myTotalPacketsSent;
      myTotalBytesSent += static_cast<std::uint64_t>(bytes);
   }
   /// The same of receives.
   void countReceived(int bytes)
   {
      ++myTotalPacketsReceived;
      myTotalBytesReceived += static_cast<std::uint64_t>(bytes);
   }

   /// The table of a type from 0 to 3.
   DtInetSockCallbackTable & callbacks(DtInetSockProcessingType type) { return myCallbacks[type]; }

   /// See localEndpoint().
   DtInetEndpoint myLocalEndpoint;
   /// See destination().
   DtInetEndpoint myDestination;
   /// See hostIf().
   std::unique_ptr<DtInetDevice> myHostInterface;
   /// See state().
   DtInetSockState myState;
   /// See flags().
   unsigned long myFlags;
   /// Whether some thread besides the caller's may touch the socket.
   bool myLockNeeded;
   /// See isNonBlocking().
   bool myNonBlocking;
   /// See isNoDelay().
   bool myNoDelay;
   /// The constructor's request to open at once.
   bool myOpenNow;
   /// See getLastError().
   int myLastError;
   /// See getLastErrorString().
   DtString myLastErrorText;
   /// See getTerminationCode().
   int myTerminationCode;
   /// See getTerminationString().
   DtString myTerminationText;
   /// The callbacks by their type.
   DtInetSockCallbackTable myCallbacks[4];
   /// See totalBytesSent().
   std::uint64_t myTotalBytesSent;
   /// See totalPacketsSent().
   std::uint64_t myTotalPacketsSent;
   /// See totalBytesReceived().
   std::uint64_t myTotalBytesReceived;
   /// See totalPacketsReceived().
   std::uint64_t myTotalPacketsReceived;

private:
   friend struct tsl::SocketAccess;

   void sweepCallbacks();

   /// How many runs of callbacks are under way, one inside the other.
   int myCallbackRuns;
   /// Whether a callback was removed meanwhile.
   bool hasDeadCallbacks;
   /// Whether callbacks have come or gone since tsl::SocketAccess::haveCallbacksChanged() was last asked.
   bool haveCallbacksChanged;
};
