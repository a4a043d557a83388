// SPDX-License-Identifier: MIT
#include "tslutil/dis/sendWorker.h"

#include "tslutil/inet/chainCore.h"
#include "tslutil/inet/endpointAccess.h"
#include "tslutil/platform/thread.h"

#include <boost/asio/post.hpp>
#include <boost/thread/barrier.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace tsl
{

SendWorker::SendWorker(IoService & ioService, DatagramSocket & sendSocket)
   : service(ioService), socket(sendSocket)
{
}

SendWorker::~SendWorker()
{
   stop();
}

void SendWorker::start()
{
   handle = socket.handle();
   isEnding = false;
   workGuard.emplace(service.context().get_executor());
   platform::withSignalsBlocked([this] { thread = boost::thread([this] { run(); }); });
   running = true;
}

void SendWorker::run()
{
   // Somebody else may stop the service by way of the send socket: the posted jobs must still be done.
   while (!isEnding)
   {
      service.context().restart();
      service.context().run();
   }
}

void SendWorker::stop()
{
   if (!running)
      return;
   boost::barrier jobsDone(2);
   boost::asio::post(service.context(), [&jobsDone] { jobsDone.wait(); });
   jobsDone.wait();
   isEnding = true;
   workGuard.reset();
   service.context().stop();
   thread.join();
   running = false;
   pool.clear();
}

int SendWorker::post(char const * data, std::size_t size, DtInetEndpoint const & to)
{
   BufferPool::Buffer bytes = takeBuffer();
   bytes->assign(data, data + size);
   return submit(std::move(bytes), to);
}

int SendWorker::post(DtInetSockChain const & chain, DtInetEndpoint const & to)
{
   BufferPool::Buffer bytes = takeBuffer();
   bytes->reserve(static_cast<std::size_t>(chainSize(chain)));
   for (std::vector<char> const * buffer : chain)
      bytes->insert(bytes->end(), buffer->begin(), buffer->end());
   return submit(std::move(bytes), to);
}

BufferPool::Buffer SendWorker::takeBuffer()
{
   DtScopedLock const guard(lock, true);
   return pool.take();
}

int SendWorker::submit(BufferPool::Buffer bytes, DtInetEndpoint const & to)
{
   int const count = static_cast<int>(bytes->size());
   std::size_t size = 0;
   sockaddr const * const name = EndpointAccess::systemName(to, DtInetProtoUdp, size);
   if (!running || platform::checkPeer(name) != 0)
      return count; // one of those that fail
   bool isWakeUp = false;
   {
      DtScopedLock const guard(lock, true);
      posted.push_back(Job{std::move(bytes), platform::SocketName(name, size)});
      isWakeUp = !std::exchange(isDrainDue, true);
   }
   if (isWakeUp)
      boost::asio::post(service.context(), [this] { drain(); });
   return count;
}

/// Sends what is posted, until nothing is: one wake-up serves a burst.
void SendWorker::drain()
{
   for (;;)
   {
      {
         DtScopedLock const guard(lock, true);
         for (Job & job : underWay)
            pool.give(std::move(job.bytes));
         underWay.clear();
         underWay.swap(posted);
         isDrainDue = !underWay.empty();
         if (!isDrainDue)
            return;
      }
      send(underWay);
   }
}

void SendWorker::send(std::vector<Job> const & jobs) const
{
   for (std::size_t done = 0; done < jobs.size();)
   {
      std::array<platform::Datagram, platform::theMaxDatagrams> batch;
      std::size_t const count = std::min(batch.size(), jobs.size() - done);
      for (std::size_t i = 0; i < count; ++i)
      {
         Job const & job = jobs[done + i];
         batch[i].data = job.bytes->data();
         batch[i].size = job.bytes->size();
         batch[i].name = job.to;
      }
      platform::Transfer const sent = platform::sendDatagrams(handle, batch.data(), count);
      if (sent.error == 0)
         done += static_cast<std::size_t>(sent.count);
      else if (!platform::isWouldBlock(sent.error) || platform::waitUntilWritable(handle) != 0)
         ++done; // this one is dropped, the others go on
   }
}

} // namespace tsl
