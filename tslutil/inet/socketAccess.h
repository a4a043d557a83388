// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetSocket.h"
#include "tslutil/platform/socket.h"

#include <boost/system/error_code.hpp>

#include <utility>

namespace tsl
{

/// The error code of an error number as internal calls answer it: of the system, or, if negative, one that
/// Boost itself has (end of file, already open).
boost::system::error_code errorCode(int error);

/// The number that a socket's last error takes for it.
int errorNumber(int error);

/// Its text, as it ends the texts of failures.
DtString errorMessage(int error);

/// The name of an endpoint that has a protocol; of size 0 for one that has another.
platform::SocketName nameOf(DtInetEndpoint const & endpoint, DtInetProtocol protocol);

/// The flags that ask for a background thread.
constexpr unsigned long theAsyncFlags = DtInetSockFlagAsyncReceive | DtInetSockFlagAsyncSend;

/// How the parts of the library that serve several kinds of socket reach what a socket keeps protected.
struct SocketAccess
{
   static DtInetSocket::Failure fail(DtInetSocket & socket, int code, DtString const & text)
   {
      return socket.fail(code, text);
   }

   static DtInetSocket::Failure refuse(DtInetSocket & socket, int code, DtString const & text)
   {
      return socket.refuse(code, text);
   }

   /// Stores flags and what follows from them, but for the no-delay field, which only constructors set.
   static void setFlags(DtInetSocket & socket, unsigned long flags);

   /// DtInetSocket::bindToDevice() and setSocket() of all kinds of sockets.
   static bool bindToDevice(DtInetSocket & socket, DtInetDevice const * device);
   static bool setSocket(DtInetSocket & socket, DtInetEndpoint const & destination, unsigned short localPort,
                         DtInetDevice * device, unsigned long flags);

   /// Makes an endpoint the destination, with a protocol that it has to have, or none; false if it has
   /// another.
   static bool takeDestination(DtInetSocket & socket, DtInetEndpoint const & endpoint,
                               DtInetProtocol protocol);

   static DtInetSockCallbackTable & callbacks(DtInetSocket & socket, DtInetSockProcessingType type)
   {
      return socket.myCallbacks[type];
   }

   /// Whether callbacks have come or gone since this was last asked. For one asker of each socket.
   static bool haveCallbacksChanged(DtInetSocket & socket)
   {
      return std::exchange(socket.haveCallbacksChanged, false);
   }

   // Of sockets that are of the library's own classes, which don't override these, without a virtual call.

   static DtInetSockState state(DtInetSocket const & socket) { return socket.myState; }
   static unsigned long flags(DtInetSocket const & socket) { return socket.myFlags; }
   static bool isNonBlocking(DtInetSocket const & socket) { return socket.myNonBlocking; }

   static void countReceived(DtInetSocket & socket, int bytes) { socket.countReceived(bytes); }

   /// Encloses a run of callbacks: what they remove is freed when the outermost run is over.
   class CallbackRun
   {
   public:
      explicit CallbackRun(DtInetSocket & socket) : mySocket(socket) { ++mySocket.myCallbackRuns; }
      ~CallbackRun()
      {
         if (--mySocket.myCallbackRuns == 0 && mySocket.hasDeadCallbacks)
            mySocket.sweepCallbacks();
      }
      CallbackRun(CallbackRun const &) = delete;
      CallbackRun & operator=(CallbackRun const &) = delete;

   private:
      DtInetSocket & mySocket;
   };
};

} // namespace tsl
