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
   posted.shrink();
   underWay.shrink();
}

int SendWorker::post(char const * data, std::size_t size, DtInetEndpoint const & to)
{
   return submit(size, to, [&](std::vector<char> & bytes) { bytes.assign(data, data + size); });
}

int SendWorker::post(DtInetSockChain const & chain, DtInetEndpoint const & to)
{
   auto const fill = [&](std::vector<char> & bytes)
   {
      bytes.clear();
      for (std::vector<char> const * buffer : chain)
         bytes.insert(bytes.end(), buffer->begin(), buffer->end());
   };
   return submit(static_cast<std::size_t>(chainSize(chain)), to, fill);
}

template<class Fill>
int SendWorker::submit(std::size_t size, DtInetEndpoint const & to, Fill const & fill)
{
   std::size_t nameSize = 0;
   sockaddr const * const name = EndpointAccess::systemName(to, DtInetProtoUdp, nameSize);
   int const count = static_cast<int>(size);
   if (isEnding || platform::checkPeer(name) != 0)
      return count; // one of those that fail
   bool isWakeUp = false;
   {
      DtScopedLock const guard(lock, true);
      Job & job = posted.spare();
      fill(job.bytes);
      job.to = platform::SocketName(name, nameSize);
      posted.add();
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
      underWay.clear();
      {
         DtScopedLock const guard(lock, true);
         underWay.swap(posted);
         isDrainDue = !underWay.empty();
         if (!isDrainDue)
            return;
      }
      send(underWay);
   }
}

void SendWorker::send(ReusedRow<Job> const & jobs) const
{
   for (std::size_t done = 0; done < jobs.size();)
   {
      std::array<platform::Datagram, platform::theMaxDatagrams> batch;
      std::size_t const count = std::min(batch.size(), jobs.size() - done);
      for (std::size_t i = 0; i < count; ++i)
      {
         Job const & job = jobs[done + i];
         batch[i].data = const_cast<char *>(job.bytes.data()); // is only read
         batch[i].size = job.bytes.size();
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
