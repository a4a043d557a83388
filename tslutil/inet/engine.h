// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/ioServiceRunnable.h"
#include "tslutil/inet/lazySocket.h"
#include "tslutil/inet/ring.h"
#include "tslutil/inet/tslInetSocket.h"
#include "tslutil/platform/datagram.h"
#include "tslutil/thread/tslMutex.h"
#include "tslutil/thread/tslThreadedObject.h"

#include <atomic>
#include <memory>
#include <vector>

namespace tsl
{

/// A message that waits in a queue.
struct QueuedMessage
{
   /// The other end; of no meaning on a stream.
   platform::SocketName peer;
   std::vector<char> bytes;
   /// The received datagram was larger than the engine's buffer.
   bool isCut = false;
};

/// A queue of messages that two threads share. Keeps the memory of what has passed, up to a limit, so that in
/// the long run a message takes none.
struct MessageQueue
{
   // All with the lock held.

   /// A further message at the back; settle() has to follow once it is filled.
   QueuedMessage & push();
   void settle(QueuedMessage const & message);
   void pop();
   void clear();

   DtMutex lock;
   Ring<QueuedMessage> ring;
   /// What the messages in the queue hold, themselves included.
   std::size_t queuedBytes = 0;
   std::size_t keptBytes = 0;
};

/// Room for one handler, so that posting it takes no memory while no other is on its way.
class HandlerRoom
{
public:
   void * take(std::size_t size);
   void give(void * memory);

private:
   static constexpr std::size_t theSize = 256;

   alignas(std::max_align_t) unsigned char myRoom[theSize];
   std::atomic<bool> isTaken{false};
};

/// What differs between protocols: how messages are read, and how they are written.
///
///    Socket                                      the kind of socket, a LazySocket
///    static constexpr std::size_t theBatch       how many messages are read at once
///    int name(DtInetEndpoint const &, SocketName &)          the name of a peer, and whether it can be one
///    Transfer read(Socket &, Datagram *, std::size_t)        without waiting; how many, or the error
///    Transfer write(Socket &, Datagram const *, std::size_t count, std::size_t & begun)
///                                                without waiting; how many are out whole, or the error of
///                                                the first. `begun` is how many bytes of the first are out
///                                                already, on return of the one behind those that are whole.
///    static constexpr int theLoss                how many messages an error of writing costs, at most
template<class Protocol>
struct EngineTraits;

/// The asynchronous side of a socket: a background thread that reads messages into a queue, or sends from
/// one.
///
/// The caller's thread starts and stops it, takes from the receive queue and adds to the send queue, and
/// never waits meanwhile. An error that the background thread meets is kept and answers every later call of
/// either kind. A failed read ends the reading.
template<class Protocol>
class Engine
{
   typedef EngineTraits<Protocol> Traits;
   typedef typename Traits::Socket Socket;

public:
   /// The service must outlive the engine; `owner` is the socket to which it belongs.
   Engine(IoService & service, void * owner);
   ~Engine();
   Engine(Engine const &) = delete;
   Engine & operator=(Engine const &) = delete;

   /// Starts the thread on open sockets, which stay open until stop(): it writes to one, and with
   /// DtInetSockFlagAsyncReceive in `flags` reads from the other, into a buffer of `readSize` bytes. They may
   /// be the same.
   void start(unsigned long flags, std::size_t readSize, Socket & reader, Socket & writer);

   /// Stops the thread, which takes 0.1 s, and drops what is in the queues. With `sendsFirst` it waits first
   /// until the send queue is empty, unless the system takes nothing for a second.
   void stop(bool sendsFirst);

   /// Takes the oldest message off the receive queue. Nothing is there: a count of 0, and no sender. It
   /// doesn't fit: DtInetSockRcvNoRoom as the count, and it is lost; a chain is filled all the same.
   platform::Transfer take(void * data, std::size_t size, platform::SocketName * sender);
   platform::Transfer take(DtInetSockChain const & chain, platform::SocketName * sender);

   /// Copies a message onto the send queue.
   platform::Transfer put(void const * data, std::size_t size, DtInetEndpoint const & peer);
   platform::Transfer put(DtInetSockChain const & chain, DtInetEndpoint const & peer);

private:
   struct PostedDrain;

   template<class Copy>
   platform::Transfer takeMessage(platform::SocketName * sender, Copy const & copy);
   template<class Fill>
   platform::Transfer putMessage(DtInetEndpoint const & peer, Fill const & fill);

   void keepError(int error);
   void armRead();
   void readBatch(boost::system::error_code const & error);
   bool keep(platform::Datagram const * datagrams, int count);

   void postDrain();
   void drain();
   std::size_t gather(platform::Datagram * datagrams);
   bool dropSent(int count);
   void waitUntilSent();

   IoService & myService;
   Socket * myReader;
   Socket * myWriter;
   void * myOwner;
   boost::shared_ptr<DtIoServiceRunnable> myRunnable;
   DtThreadedObject myThread;
   std::atomic<bool> isRunning;
   std::atomic<int> myError;

   std::unique_ptr<char[]> myReadBuffer;
   std::size_t myReadSize;
   MessageQueue myReceived;
   // Whether reading waits for the receive queue to shrink; under its lock.
   bool isPaused;

   MessageQueue myToSend;
   // Whether a drain of the send queue is on its way; under its lock.
   bool isDraining;
   // How many bytes of the first message to send are out already.
   std::size_t myBegun;
   HandlerRoom myDrainRoom;
};

} // namespace tsl
