// SPDX-License-Identifier: MIT
#include "support/systemCalls.h"

#include <dlfcn.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

thread_local std::size_t SystemCallCount::total = 0;

#ifdef TEST_SANITIZED

char const * const SystemCallCount::theReason = "a sanitizer's own functions of these names stay in force";

#else

char const * const SystemCallCount::theReason = "";

#define COUNTED(result, name, parameters, arguments)                                                         \
   extern "C" result name parameters                                                                         \
   {                                                                                                         \
      static auto const system = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name));            \
      ++SystemCallCount::total;                                                                              \
      return system arguments;                                                                               \
   }

COUNTED(ssize_t, send, (int s, void const * p, size_t n, int f), (s, p, n, f))
COUNTED(ssize_t, sendto, (int s, void const * p, size_t n, int f, sockaddr const * a, socklen_t l),
        (s, p, n, f, a, l))
COUNTED(ssize_t, sendmsg, (int s, msghdr const * m, int f), (s, m, f))
COUNTED(ssize_t, recv, (int s, void * p, size_t n, int f), (s, p, n, f))
COUNTED(ssize_t, recvfrom, (int s, void * p, size_t n, int f, sockaddr * a, socklen_t * l),
        (s, p, n, f, a, l))
COUNTED(ssize_t, recvmsg, (int s, msghdr * m, int f), (s, m, f))
COUNTED(ssize_t, read, (int s, void * p, size_t n), (s, p, n))
COUNTED(ssize_t, write, (int s, void const * p, size_t n), (s, p, n))
COUNTED(int, poll, (pollfd * p, nfds_t n, int t), (p, n, t))
COUNTED(int, epoll_wait, (int s, epoll_event * e, int n, int t), (s, e, n, t))
COUNTED(int, accept4, (int s, sockaddr * a, socklen_t * l, int f), (s, a, l, f))

#endif
