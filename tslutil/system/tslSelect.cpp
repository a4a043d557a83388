// SPDX-License-Identifier: MIT
#include "tslutil/system/tslSelect.h"

#include "tslutil/platform/select.h"
#include "tslutil/platform/socket.h"
#include "tslutil/system/tslConsole.h"
#include "tslutil/time/tslClock.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace
{

using tsl::platform::ReadyToRead;
using tsl::platform::WatchedDescriptor;

constexpr int theKeyboard = 0;
constexpr double theLongestPoll = 0.2;

/// What is waited for. `ready` is what the caller's sets hold afterwards: all that is wanted where the sets
/// stay as they were.
typedef std::vector<WatchedDescriptor> Watch;

// Without input to wait for it sleeps, whatever else is wanted; so it is meant.
int waitFor(Watch & watch, double seconds)
{
   bool const isForInput =
      std::any_of(watch.begin(), watch.end(),
                  [](WatchedDescriptor const & one) { return (one.wanted & ReadyToRead) != 0; });
   if (isForInput)
      return tsl::platform::waitForDescriptors(watch, seconds);
   DtSleep(seconds);
   return 0;
}

/// The keyboard's entry, which it no longer waits for; the end without one.
Watch::iterator takeKeyboard(Watch & watch)
{
   auto const keyboard =
      std::find_if(watch.begin(), watch.end(),
                   [](WatchedDescriptor const & one)
                   { return one.descriptor == theKeyboard && (one.wanted & ReadyToRead) != 0; });
   if (keyboard != watch.end())
      keyboard->ready = keyboard->wanted &= ~ReadyToRead;
   return keyboard;
}

void leaveKeyboardAlone(Watch & watch, WatchedDescriptor & keyboard)
{
   for (WatchedDescriptor & one : watch)
      one.ready &= ~ReadyToRead;
   keyboard.ready |= ReadyToRead;
}

// When the time is over, the caller's set keeps its sockets, ready or not; so it is meant.
int selectOn(Watch & watch, double seconds)
{
   auto const keyboard = takeKeyboard(watch);
   if (keyboard == watch.end())
      return waitFor(watch, seconds);
   static DtClock const & clock = *new DtClock;
   double const end = clock.absRealTime() + seconds;
   for (double now = 0; end > (now = clock.absRealTime());)
   {
      if (DtKbHit() > 0)
      {
         leaveKeyboardAlone(watch, *keyboard);
         return 1;
      }
      Watch work(watch);
      int const result = waitFor(work, std::min(theLongestPoll, end - now));
      if (result != 0)
      {
         watch = std::move(work);
         return result;
      }
   }
   return 0;
}

struct NamedSet
{
   fd_set * set;
   tsl::platform::Readiness readiness;
};

} // namespace

void DtClose(int & descriptor)
{
   if (descriptor >= 0)
      tsl::platform::closeSocket(descriptor);
   descriptor = -1;
}

int DtSelect(int /*count*/, fd_set * read, fd_set * write, fd_set * except, double seconds)
{
   NamedSet const sets[] = {
      {read, ReadyToRead}, {write, tsl::platform::ReadyToWrite}, {except, tsl::platform::Exceptional}};
   Watch watch;
   for (int descriptor = 0; descriptor < FD_SETSIZE; ++descriptor)
   {
      unsigned int wanted = 0;
      for (NamedSet const & one : sets)
         wanted |= one.set != nullptr && FD_ISSET(descriptor, one.set) ? one.readiness : 0u;
      if (wanted != 0)
         watch.push_back({descriptor, wanted, wanted});
   }
   int const result = selectOn(watch, seconds);
   for (NamedSet const & one : sets)
   {
      if (one.set != nullptr)
         FD_ZERO(one.set);
      for (WatchedDescriptor const & watched : watch)
      {
         if ((watched.ready & one.readiness) != 0)
            FD_SET(watched.descriptor, one.set);
      }
   }
   return result;
}

DtSelectParam::DtSelectParam() : highest(-1), wanted(), result() {}

bool DtSelectParam::Set::has(int fd) const
{
   return std::find(descriptors, descriptors + count, fd) != descriptors + count;
}

void DtSelectParam::addRead(int fd)
{
   if (fd < 0)
      return;
   if (!wanted.has(fd) && wanted.count < static_cast<int>(std::size(wanted.descriptors)))
      wanted.descriptors[wanted.count++] = fd;
   highest = std::max(highest, fd);
}

void DtSelectParam::delRead(int fd)
{
   int * const end = wanted.descriptors + wanted.count;
   wanted.count = static_cast<int>(std::remove(wanted.descriptors, end, fd) - wanted.descriptors);
}

int DtSelectParam::select(double seconds)
{
   Watch watch;
   for (int i = 0; i < wanted.count; ++i)
      watch.push_back({wanted.descriptors[i], ReadyToRead, ReadyToRead});
   int const answer = selectOn(watch, seconds);
   result.count = 0;
   for (WatchedDescriptor const & watched : watch)
   {
      if ((watched.ready & ReadyToRead) != 0)
         result.descriptors[result.count++] = watched.descriptor;
   }
   return answer;
}

int DtSelectParam::canRead(int fd)
{
   return result.has(fd) ? 1 : 0;
}
