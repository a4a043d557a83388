// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/reusedRow.h"
#include "tslutil/inet/datagramSocket.h"
#include "tslutil/inet/ioService.h"
#include "tslutil/platform/datagram.h"
#include "tslutil/thread/tslMutex.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/thread/thread.hpp>

#include <atomic>
#include <cstddef>
#include <optional>
#include <vector>

namespace tsl
{

/// Sends datagrams on a thread of its own, in the order of posting. A datagram that fails is dropped, and
/// nobody is told. Everything here is for one thread, the owning socket's; the worker's thread touches only
/// what it was given by post() and the system's socket.
class SendWorker
{
public:
   /// Both must outlive the worker. The service is the worker's while it runs.
   SendWorker(IoService & ioService, DatagramSocket & sendSocket);
   ~SendWorker();
   SendWorker(SendWorker const &) = delete;
   SendWorker & operator=(SendWorker const &) = delete;

   /// Starts the thread, for a socket that is open. Throws boost::thread_resource_error if there is none to
   /// be had.
   void start();

   /// Ends the thread when all that was posted has been sent, and gives back its memory. Does nothing if it
   /// doesn't run.
   void stop();

   /// Posts a copy of a datagram to a UDP endpoint, and answers its size. What is posted ahead of start()
   /// waits for it; what is posted after stop() is lost.
   int post(char const * data, std::size_t size, DtInetEndpoint const & to);
   int post(DtInetSockChain const & chain, DtInetEndpoint const & to);

private:
   struct Job
   {
      std::vector<char> bytes;
      platform::SocketName to;
   };

   template<class Fill>
   int submit(std::size_t size, DtInetEndpoint const & to, Fill const & fill);
   void run();
   void drain();
   void send(ReusedRow<Job> const & jobs) const;

   IoService & service;
   DatagramSocket & socket;
   platform::SocketHandle handle = platform::noSocket;
   std::optional<boost::asio::executor_work_guard<boost::asio::io_context::executor_type>> workGuard;
   boost::thread thread;
   bool running = false;
   std::atomic<bool> isEnding{false};

   /// Guards the two below.
   DtMutex lock;
   ReusedRow<Job> posted;
   bool isDrainDue = false;

   /// The worker thread's own.
   ReusedRow<Job> underWay;
};

} // namespace tsl
