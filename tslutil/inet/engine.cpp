// SPDX-License-Identifier: MIT
#include "tslutil/inet/engine.h"

#include "tslutil/inet/tcpEngine.h"
#include "tslutil/inet/udpEngine.h"
#include "tslutil/time/tslClock.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <cstring>
#include <new>

namespace tsl
{

using platform::Datagram;
using platform::SocketName;
using platform::Transfer;

namespace
{

// Above the first, reading stops and the system holds what arrives; it goes on at half of it.
constexpr std::size_t theMaxQueuedBytes = std::size_t(64) << 20;
constexpr std::size_t theMaxKeptBytes = std::size_t(4) << 20;
// No datagram is larger, and of a stream it is enough.
constexpr std::size_t theMaxReadSize = 65536;
constexpr double theSendLook = 0.001;
constexpr int theSendLooks = 1000;

} // namespace

QueuedMessage & MessageQueue::push()
{
   QueuedMessage & message = ring.push();
   keptBytes -= message.bytes.capacity();
   return message;
}

void MessageQueue::settle(QueuedMessage const & message)
{
   queuedBytes += message.bytes.size() + sizeof message;
}

void MessageQueue::pop()
{
   std::vector<char> & bytes = ring[0].bytes;
   queuedBytes -= bytes.size() + sizeof(QueuedMessage);
   if (keptBytes + bytes.capacity() > theMaxKeptBytes)
      std::vector<char>().swap(bytes);
   keptBytes += bytes.capacity();
   ring.pop();
}

void MessageQueue::clear()
{
   DtScopedLock const guard(lock, true);
   ring.clear();
   queuedBytes = 0;
   keptBytes = 0;
}

void * HandlerRoom::take(std::size_t size)
{
   if (size <= theSize && !isTaken.exchange(true, std::memory_order_acquire))
      return myRoom;
   return ::operator new(size);
}

void HandlerRoom::give(void * memory)
{
   if (memory == myRoom)
      isTaken.store(false, std::memory_order_release);
   else
      ::operator delete(memory);
}

namespace
{

/// Has Asio keep a handler in a HandlerRoom.
template<class Value>
struct RoomAllocator
{
   typedef Value value_type;

   explicit RoomAllocator(HandlerRoom & handlerRoom) : room(&handlerRoom) {}
   template<class Other>
   RoomAllocator(RoomAllocator<Other> const & other) : room(other.room)
   {
   }

   Value * allocate(std::size_t count) { return static_cast<Value *>(room->take(count * sizeof(Value))); }
   void deallocate(Value * memory, std::size_t) { room->give(memory); }

   template<class Other>
   bool operator==(RoomAllocator<Other> const & other) const
   {
      return room == other.room;
   }
   template<class Other>
   bool operator!=(RoomAllocator<Other> const & other) const
   {
      return room != other.room;
   }

   HandlerRoom * room;
};

/// Spreads bytes over a chain; how many found room.
std::size_t spread(std::vector<char> const & bytes, DtInetSockChain const & chain)
{
   std::size_t done = 0;
   for (std::vector<char> * const piece : chain)
   {
      std::size_t const size = std::min(piece->size(), bytes.size() - done);
      std::copy_n(bytes.data() + done, size, piece->data());
      done += size;
   }
   return done;
}

} // namespace

template<class Protocol>
struct Engine<Protocol>::PostedDrain
{
   typedef RoomAllocator<char> allocator_type;

   allocator_type get_allocator() const { return allocator_type(engine.myDrainRoom); }
   void operator()() const { engine.drain(); }

   Engine & engine;
};

template<class Protocol>
Engine<Protocol>::Engine(IoService & service, void * owner)
   : myService(service),
     myReader(nullptr),
     myWriter(nullptr),
     myOwner(owner),
     isRunning(false),
     myError(0),
     myReadSize(0),
     isPaused(false),
     isDraining(false),
     myBegun(0)
{
}

template<class Protocol>
Engine<Protocol>::~Engine()
{
   stop(false);
}

template<class Protocol>
void Engine<Protocol>::start(unsigned long flags, std::size_t readSize, Socket & reader, Socket & writer)
{
   myReader = &reader;
   myWriter = &writer;
   // Made here, so that the background thread makes none.
   reader.boostSocket();
   writer.boostSocket();
   myRunnable.reset(new DtIoServiceRunnable(myService, myOwner));
   myThread.setRunnableObject(myRunnable);
   isRunning = true;
   if ((flags & DtInetSockFlagAsyncReceive) != 0)
   {
      myReadSize = std::clamp<std::size_t>(readSize, 1, theMaxReadSize);
      myReadBuffer.reset(new char[Traits::theBatch * myReadSize]);
      armRead();
   }
   myThread.start();
}

template<class Protocol>
void Engine<Protocol>::stop(bool sendsFirst)
{
   if (myThread.running())
   {
      if (sendsFirst)
         waitUntilSent();
      isRunning = false;
      myRunnable->stopService();
      myThread.stop(true);
   }
   isRunning = false;
   // What was posted and has not run is released while its room is still there.
   if (myService.isMade())
   {
      myService.context().restart();
      myService.context().poll();
   }
   myReceived.clear();
   isPaused = false;
   myToSend.clear();
   isDraining = false;
   myBegun = 0;
   myReadBuffer.reset();
}

template<class Protocol>
Transfer Engine<Protocol>::take(void * data, std::size_t size, SocketName * sender)
{
   return takeMessage(sender,
                      [=](std::vector<char> const & bytes)
                      {
                         if (bytes.size() > size)
                            return false;
                         std::copy_n(bytes.data(), bytes.size(), static_cast<char *>(data));
                         return true;
                      });
}

template<class Protocol>
Transfer Engine<Protocol>::take(DtInetSockChain const & chain, SocketName * sender)
{
   return takeMessage(sender,
                      [&](std::vector<char> const & bytes) { return spread(bytes, chain) == bytes.size(); });
}

// `copy` copies the bytes out; whether they fit.
template<class Protocol>
template<class Copy>
Transfer Engine<Protocol>::takeMessage(SocketName * sender, Copy const & copy)
{
   if (sender != nullptr)
      sender->size = 0;
   if (int const error = myError)
      return {0, error};
   bool resumes = false;
   Transfer taken{0, 0};
   {
      DtScopedLock const lock(myReceived.lock, true);
      if (myReceived.ring.isEmpty())
         return taken;
      QueuedMessage const & message = myReceived.ring[0];
      bool const fits = copy(message.bytes) && !message.isCut;
      taken.count = fits ? static_cast<int>(message.bytes.size()) : int(DtInetSockRcvNoRoom);
      if (fits && sender != nullptr)
         *sender = message.peer;
      myReceived.pop();
      resumes = isPaused && myReceived.queuedBytes < theMaxQueuedBytes / 2;
      isPaused = isPaused && !resumes;
   }
   if (resumes)
      armRead();
   return taken;
}

template<class Protocol>
Transfer Engine<Protocol>::put(void const * data, std::size_t size, DtInetEndpoint const & peer)
{
   char const * const begin = static_cast<char const *>(data);
   return putMessage(peer, [=](std::vector<char> & bytes) { bytes.assign(begin, begin + size); });
}

template<class Protocol>
Transfer Engine<Protocol>::put(DtInetSockChain const & chain, DtInetEndpoint const & peer)
{
   return putMessage(peer,
                     [&](std::vector<char> & bytes)
                     {
                        bytes.clear();
                        for (std::vector<char> const * const piece : chain)
                           bytes.insert(bytes.end(), piece->begin(), piece->end());
                     });
}

// Like any failure, that of a peer which can't be one shows at the next call.
template<class Protocol>
template<class Fill>
Transfer Engine<Protocol>::putMessage(DtInetEndpoint const & peer, Fill const & fill)
{
   if (int const error = myError)
      return {0, error};
   SocketName name;
   if (int const error = Traits::name(peer, name))
   {
      std::vector<char> lost;
      fill(lost);
      keepError(error);
      return {static_cast<int>(lost.size()), 0};
   }
   bool postsDrain = false;
   Transfer copied{0, 0};
   {
      DtScopedLock const lock(myToSend.lock, true);
      // What failed meanwhile may have been the middle of a stream, which nothing may follow.
      if (int const error = myError)
         return {0, error};
      QueuedMessage & message = myToSend.push();
      message.peer = name;
      fill(message.bytes);
      myToSend.settle(message);
      copied.count = static_cast<int>(message.bytes.size());
      postsDrain = !isDraining;
      isDraining = true;
   }
   if (postsDrain)
      postDrain();
   return copied;
}

// The first one stays, which says more than those that follow from it.
template<class Protocol>
void Engine<Protocol>::keepError(int error)
{
   int none = 0;
   myError.compare_exchange_strong(none, error);
}

// Waits until something can be read. Only one wait is ever armed.
template<class Protocol>
void Engine<Protocol>::armRead()
{
   DtScopedLock const lock(myReader->boostState(), true);
   myReader->boostSocket().async_wait(boost::asio::socket_base::wait_read,
                                      [this](boost::system::error_code const & error) { readBatch(error); });
}

template<class Protocol>
void Engine<Protocol>::readBatch(boost::system::error_code const & error)
{
   if (!isRunning)
      return;
   Datagram batch[Traits::theBatch];
   for (std::size_t i = 0; i < Traits::theBatch; ++i)
   {
      batch[i].data = myReadBuffer.get() + i * myReadSize;
      batch[i].size = myReadSize;
   }
   Transfer const got = error ? Transfer{0, error.value()} : Traits::read(*myReader, batch, Traits::theBatch);
   if (got.error != 0 && !platform::isWouldBlock(got.error))
      keepError(got.error);
   else if (keep(batch, got.count))
      armRead();
}

// Queues what was read; whether reading may go on at once.
template<class Protocol>
bool Engine<Protocol>::keep(Datagram const * datagrams, int count)
{
   DtScopedLock const lock(myReceived.lock, true);
   for (int i = 0; i < count; ++i)
   {
      char const * const bytes = static_cast<char const *>(datagrams[i].data);
      QueuedMessage & message = myReceived.push();
      message.peer = datagrams[i].name;
      message.bytes.assign(bytes, bytes + datagrams[i].size);
      message.isCut = datagrams[i].isCut;
      myReceived.settle(message);
   }
   isPaused = myReceived.queuedBytes > theMaxQueuedBytes;
   return !isPaused;
}

template<class Protocol>
void Engine<Protocol>::postDrain()
{
   boost::asio::post(myService.context(), PostedDrain{*this});
}

// Sends a batch and has itself called again while there is more. Runs on one thread at a time.
template<class Protocol>
void Engine<Protocol>::drain()
{
   if (!isRunning)
      return;
   Datagram batch[platform::theMaxDatagrams];
   std::size_t const count = gather(batch);
   Transfer sent = Traits::write(*myWriter, batch, count, myBegun);
   if (platform::isWouldBlock(sent.error))
   {
      DtScopedLock const lock(myWriter->boostState(), true);
      myWriter->boostSocket().async_wait(boost::asio::socket_base::wait_write,
                                         [this](boost::system::error_code const &) { drain(); });
      return;
   }
   if (sent.error != 0)
   {
      keepError(sent.error);
      sent.count = Traits::theLoss;
      myBegun = 0;
   }
   if (dropSent(sent.count))
      postDrain();
}

// The messages stay where they are while others are added behind them.
template<class Protocol>
std::size_t Engine<Protocol>::gather(Datagram * datagrams)
{
   DtScopedLock const lock(myToSend.lock, true);
   std::size_t const count = std::min(myToSend.ring.count(), platform::theMaxDatagrams);
   for (std::size_t i = 0; i < count; ++i)
   {
      QueuedMessage & message = myToSend.ring[i];
      datagrams[i].data = message.bytes.data();
      datagrams[i].size = message.bytes.size();
      datagrams[i].name = message.peer;
   }
   if (count != 0)
   {
      datagrams->data = static_cast<char *>(datagrams->data) + myBegun;
      datagrams->size -= myBegun;
   }
   return count;
}

// Gives up the messages that are out; whether there are more.
template<class Protocol>
bool Engine<Protocol>::dropSent(int count)
{
   DtScopedLock const lock(myToSend.lock, true);
   for (int i = 0; i < count && !myToSend.ring.isEmpty(); ++i)
      myToSend.pop();
   isDraining = !myToSend.ring.isEmpty();
   return isDraining;
}

// The caller's thread helps, and does it all if the system refused the thread.
template<class Protocol>
void Engine<Protocol>::waitUntilSent()
{
   std::size_t left = 0;
   for (int look = 0; look < theSendLooks; ++look)
   {
      {
         DtScopedLock const lock(myToSend.lock, true);
         if (myToSend.ring.isEmpty())
            return;
         if (myToSend.ring.count() != left)
            look = 0;
         left = myToSend.ring.count();
      }
      if (myService.context().poll() == 0)
         DtSleep(theSendLook);
   }
}

template class Engine<boost::asio::ip::udp>;
template class Engine<boost::asio::ip::tcp>;

} // namespace tsl
