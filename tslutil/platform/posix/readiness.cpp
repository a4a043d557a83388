// SPDX-License-Identifier: MIT
#include "tslutil/platform/readiness.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

namespace tsl::platform
{

namespace
{

std::atomic<std::uint64_t> theWatches(0);

} // namespace

void findReadable(SocketHandle const * sockets, bool * isReady, std::size_t count)
{
   pollfd asked[theMaxAsked];
   std::size_t const askable = std::min(count, theMaxAsked);
   for (std::size_t i = 0; i < askable; ++i)
      asked[i] = {sockets[i], POLLIN, 0};
   // An interrupted question has no answer, and needn't be repeated: that costs a receive at most.
   bool const isAnswered = poll(asked, askable, 0) >= 0;
   for (std::size_t i = 0; i < count; ++i)
      isReady[i] = i >= askable || !isAnswered || sockets[i] == noSocket || asked[i].revents != 0;
}

SocketWatch::SocketWatch() : myId(++theWatches) {}

SocketWatch::~SocketWatch()
{
   if (myHandle != -1)
      close(myHandle);
}

bool SocketWatch::add(SocketHandle socket)
{
   if (myHandle == -1)
      myHandle = epoll_create1(EPOLL_CLOEXEC);
   epoll_event wanted{};
   wanted.events = EPOLLIN;
   return epoll_ctl(myHandle, EPOLL_CTL_ADD, socket, &wanted) == 0 || errno == EEXIST;
}

bool SocketWatch::isQuiet() const
{
   epoll_event found;
   return epoll_wait(myHandle, &found, 1, 0) == 0;
}

} // namespace tsl::platform
