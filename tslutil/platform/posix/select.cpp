// SPDX-License-Identifier: MIT
#include "tslutil/platform/select.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <poll.h>

namespace tsl::platform
{

namespace
{

using std::chrono::microseconds;
using std::chrono::steady_clock;

// What select means by its three sets.
struct Condition
{
   Readiness readiness;
   short wanted;
   short found;
};
constexpr Condition theConditions[] = {
   {ReadyToRead, POLLIN, POLLIN | POLLHUP | POLLERR},
   {ReadyToWrite, POLLOUT, POLLOUT | POLLERR},
   {Exceptional, POLLPRI, POLLPRI},
};

pollfd asPolled(WatchedDescriptor const & one)
{
   pollfd result = {one.descriptor, 0, 0};
   for (Condition const & condition : theConditions)
   {
      if ((one.wanted & condition.readiness) != 0)
         result.events = static_cast<short>(result.events | condition.wanted);
   }
   return result;
}

unsigned int readinessOf(pollfd const & polled)
{
   unsigned int result = 0;
   for (Condition const & condition : theConditions)
   {
      if ((polled.revents & condition.found) != 0)
         result |= condition.readiness;
   }
   return result;
}

/// As ppoll, which signals don't shorten.
int pollFor(std::vector<pollfd> & polled, microseconds wait)
{
   steady_clock::time_point const end = steady_clock::now() + wait;
   for (;;)
   {
      auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(wait);
      auto const rest = std::chrono::nanoseconds(wait - seconds);
      timespec const timeout = {seconds.count(), rest.count()};
      int const count = ::ppoll(polled.data(), polled.size(), &timeout, nullptr);
      if (count >= 0 || errno != EINTR)
         return count;
      wait = std::max(microseconds(0), std::chrono::duration_cast<microseconds>(end - steady_clock::now()));
   }
}

} // namespace

int waitForDescriptors(std::vector<WatchedDescriptor> & watched, double seconds)
{
   // Thirty years are as good as for ever, and no number is no time.
   auto const wait = seconds > 0 ? static_cast<microseconds::rep>(std::min(seconds, 1e9) * 1e6) : 0;
   std::vector<pollfd> polled;
   for (WatchedDescriptor const & one : watched)
      polled.push_back(asPolled(one));
   if (pollFor(polled, microseconds(wait)) < 0)
      return -1;
   for (pollfd const & one : polled)
   {
      if ((one.revents & POLLNVAL) != 0)
      {
         errno = EBADF;
         return -1;
      }
   }
   int count = 0;
   for (std::size_t i = 0; i < watched.size(); ++i)
   {
      watched[i].ready = readinessOf(polled[i]) & watched[i].wanted;
      for (Condition const & condition : theConditions)
         count += (watched[i].ready & condition.readiness) != 0;
   }
   return count;
}

} // namespace tsl::platform
