// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/ioService.h"
#include "tslutil/platform/socket.h"
#include "tslutil/thread/tslMutex.h"

#include <boost/asio/error.hpp>

#include <atomic>
#include <memory>

namespace tsl
{

/// The error of opening what is open.
constexpr int theAlreadyOpen = -boost::asio::error::already_open;

/// A system socket that becomes a Boost socket only when somebody asks for one: standing in Boost's event
/// loop costs every send a part of its time, and three descriptors more. From then on the Boost socket owns
/// it, and whoever got it may close it or open it anew; nothing is remembered here that could differ.
///
/// Errors are the system's numbers; a negative one is Boost's own, see errorCode().
template<class Protocol, class Boost = typename Protocol::socket>
class LazySocket
{
public:
   typedef Boost BoostSocket;

   /// The service must outlive the socket.
   explicit LazySocket(IoService & service)
      : myService(service), myProtocol(Protocol::v4()), myHandle(platform::noSocket), myNonBlocking(false)
   {
   }

   LazySocket(LazySocket const &) = delete;
   LazySocket & operator=(LazySocket const &) = delete;

   ~LazySocket() { close(); }

   bool isOpen() const { return handle() != platform::noSocket; }

   /// The system's socket, platform::noSocket if it isn't open.
   platform::SocketHandle handle() const
   {
      // None stands here while the Boost socket owns it.
      return myHandle != platform::noSocket || myBoostSocket == nullptr ? myHandle
                                                                        : myBoostSocket->native_handle();
   }

   Protocol const & protocol() const { return myProtocol; }

   /// Opens an unbound socket.
   int open(Protocol const & protocol)
   {
      if (isOpen())
         return theAlreadyOpen;
      platform::SocketHandle opened = platform::noSocket;
      int const error = platform::openSocket(protocol.family(), protocol.type(), protocol.protocol(), opened);
      return error != 0 ? error : take(protocol, opened);
   }

   /// Takes over an open socket; it is closed if that fails.
   int take(Protocol const & protocol, platform::SocketHandle opened)
   {
      if (isOpen())
      {
         platform::closeSocket(opened);
         return theAlreadyOpen;
      }
      myProtocol = protocol;
      myNonBlocking = false;
      if (myBoostSocket == nullptr)
         myHandle = opened;
      else if (int const error = assign(opened))
      {
         platform::closeSocket(opened);
         return error;
      }
      return 0;
   }

   /// Closes an open socket. It is closed whatever the answer.
   int close()
   {
      if (!isOpen())
         return 0;
      if (myBoostSocket != nullptr)
      {
         boost::system::error_code error;
         myBoostSocket->close(error);
         return error.value();
      }
      platform::SocketHandle const closing = myHandle;
      myHandle = platform::noSocket;
      return platform::closeSocket(closing);
   }

   /// The same; a connected socket ends its connection first.
   int closeDown(bool isConnected)
   {
      int const error = isConnected && isOpen() ? platform::shutdownSocket(handle()) : 0;
      int const closeError = close();
      return error != 0 ? error : closeError;
   }

   /// Connects to the name of a peer, which can't be the any-address or port 0.
   int connect(platform::SocketName const & peer)
   {
      int const error = platform::checkPeer(peer.size == 0 ? nullptr : peer.data());
      return error != 0 ? error : platform::connectSocket(handle(), peer.data(), peer.size);
   }

   /// The address and port that the system has for the socket.
   int localName(platform::SocketName & name) const { return platform::localSocketName(handle(), name); }

   /// The port alone.
   int localPort(unsigned short & port) const
   {
      platform::SocketName name;
      int const error = localName(name);
      if (error == 0)
         port = platform::portOf(name);
      return error;
   }

   /// Sets one of Asio's options; the option says which and to what.
   template<class Option>
   int set(Option const & option)
   {
      return platform::setSocketOption(handle(), option.level(myProtocol), option.name(myProtocol),
                                       option.data(myProtocol), option.size(myProtocol));
   }

   /// Reads one of Asio's options, which throws std::length_error if the size doesn't fit it.
   template<class Option>
   int get(Option & option)
   {
      std::size_t size = option.size(myProtocol);
      int const error = platform::getSocketOption(handle(), option.level(myProtocol), option.name(myProtocol),
                                                  option.data(myProtocol), size);
      if (error == 0)
         option.resize(myProtocol, size);
      return error;
   }

   /// Chooses whether calls wait.
   int setNonBlocking(bool on)
   {
      DtScopedLock const lock(myBoostState, myBoostSocket != nullptr);
      if (myBoostSocket != nullptr)
      {
         boost::system::error_code error;
         myBoostSocket->non_blocking(on, error);
         return error.value();
      }
      int const error = platform::setNonBlocking(handle(), on);
      if (error == 0)
         myNonBlocking.store(on, std::memory_order_relaxed);
      return error;
   }

   /// Whether calls are not to wait. The system's socket may be non-blocking for Boost's sake even if they
   /// are.
   bool isNonBlocking() const
   {
      if (myBoostSocket == nullptr)
         return myNonBlocking.load(std::memory_order_relaxed);
      DtScopedLock const lock(myBoostState, true);
      return myBoostSocket->non_blocking();
   }

   /// Whether a call that can't do anything at once is just over: isNonBlocking() where that is known here.
   bool neverWaits() const
   {
      return myBoostSocket == nullptr && myNonBlocking.load(std::memory_order_relaxed);
   }

   bool hasBoostSocket() const { return myBoostSocket != nullptr; }

   /// Takes over a Boost socket in place of the one that this is.
   void adopt(std::unique_ptr<BoostSocket> socket)
   {
      close();
      myBoostSocket = std::move(socket);
   }

   /// The Boost socket, open if this one is. Belongs to this object.
   BoostSocket & boostSocket()
   {
      if (myBoostSocket == nullptr)
      {
         auto made = std::make_unique<BoostSocket>(myService.context());
         platform::SocketHandle const opened = myHandle;
         myBoostSocket = std::move(made);
         myHandle = platform::noSocket;
         if (opened != platform::noSocket && assign(opened) != 0)
            platform::closeSocket(opened);
      }
      return *myBoostSocket;
   }

   /// Guards what the Boost socket keeps about itself while a background thread waits on it.
   DtMutex & boostState() { return myBoostState; }

   /// Runs a receive, or a send: on a socket that waits, again and again while the system wouldn't have it.
   template<class Call>
   platform::Transfer whenReadable(Call const & call) const
   {
      return whenReadable(call(), call);
   }
   template<class Call>
   platform::Transfer whenWritable(Call const & call) const
   {
      return whenWritable(call(), call);
   }

   /// The same for a call that has been made already.
   template<class Call>
   platform::Transfer whenReadable(platform::Transfer const & first, Call const & call) const
   {
      return whenReady(first, call, platform::waitUntilReadable);
   }
   template<class Call>
   platform::Transfer whenWritable(platform::Transfer const & first, Call const & call) const
   {
      return whenReady(first, call, platform::waitUntilWritable);
   }

private:
   template<class Call>
   platform::Transfer whenReady(platform::Transfer done, Call const & call,
                                int (*wait)(platform::SocketHandle)) const
   {
      while (done.error != 0 && hasToWait(done.error))
      {
         if (int const error = wait(handle()))
            return {0, error};
         done = call();
      }
      return done;
   }

   [[gnu::cold]] bool hasToWait(int error) const { return platform::isWouldBlock(error) && !isNonBlocking(); }

   int assign(platform::SocketHandle opened)
   {
      boost::system::error_code error;
      myBoostSocket->assign(myProtocol, opened, error);
      if (!error && myNonBlocking.load(std::memory_order_relaxed))
         myBoostSocket->non_blocking(true, error);
      return error.value();
   }

   IoService & myService;
   DtMutex mutable myBoostState;
   // What every call needs stands together, at the end: a derived class may add to it.
   Protocol myProtocol;
   platform::SocketHandle myHandle;
   std::atomic<bool> myNonBlocking;
   std::unique_ptr<BoostSocket> myBoostSocket;
};

} // namespace tsl
