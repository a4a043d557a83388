// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetSocket.h"

#include <boost/system/error_code.hpp>

namespace tsl
{

/// The error code of an error number as internal calls answer it: of the system, or, if negative, one that
/// Boost itself has (end of file, already open).
boost::system::error_code errorCode(int error);

/// The number that a socket's last error takes for it.
int errorNumber(int error);

/// Its text, as it ends the texts of failures.
DtString errorMessage(int error);

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

   static DtInetSockCallbackTable & callbacks(DtInetSocket & socket, DtInetSockProcessingType type)
   {
      return socket.myCallbacks[type];
   }

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
