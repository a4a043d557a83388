// SPDX-License-Identifier: MIT
#include "support/allocations.h"

thread_local std::size_t AllocationCount::byThisThread = 0;
std::atomic<std::size_t> AllocationCount::byAllThreads{0};

static void countOne()
{
   ++AllocationCount::byThisThread;
   AllocationCount::byAllThreads.fetch_add(1, std::memory_order_relaxed);
}

extern "C"
{
#ifdef TEST_SANITIZED

   int __sanitizer_install_malloc_and_free_hooks(void (*)(void const volatile *, std::size_t),
                                                 void (*)(void const volatile *));

   static int const installed = __sanitizer_install_malloc_and_free_hooks(
      [](void const volatile *, std::size_t) { countOne(); }, [](void const volatile *) {});

#else

   void * __libc_malloc(std::size_t size);
   void * __libc_memalign(std::size_t alignment, std::size_t size);

   // These stand ahead of the system's own for the whole program, the library included.
   void * malloc(std::size_t size) noexcept
   {
      countOne();
      return __libc_malloc(size);
   }

   void * aligned_alloc(std::size_t alignment, std::size_t size) noexcept
   {
      countOne();
      return __libc_memalign(alignment, size);
   }

#endif
}
