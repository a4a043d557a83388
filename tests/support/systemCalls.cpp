// SPDX-License-Identifier: MIT
#include "support/systemCalls.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HAS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HAS_SANITIZER
#endif
#endif

std::size_t thread_local SystemCallCount::total = 0;

#ifdef HAS_SANITIZER

// Its own functions of these names are to stay in force.
char const * const SystemCallCount::theReason = "a sanitizer stands before the system's calls";

#else

#include <cstdarg>
#include <dlfcn.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

char const * const SystemCallCount::theReason = "";

namespace
{

template<class Function>
Function * next(char const * name)
{
   return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

#define COUNTED(result, name, parameters, arguments)                                                         \
   extern "C" result name parameters                                                                         \
   {                                                                                                         \
      static result(*const system) parameters = next<result parameters>(#name);                              \
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
