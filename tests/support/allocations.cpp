// SPDX-License-Identifier: MIT
#include "support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define UNDER_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define UNDER_SANITIZER
#endif
#endif

namespace
{

thread_local std::size_t byThisThread = 0;
std::atomic<std::size_t> byAllThreads{0};

void countOne()
{
   ++byThisThread;
   byAllThreads.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

std::size_t allocationsOfThisThread()
{
   return byThisThread;
}

std::size_t allocationsOfAllThreads()
{
   return byAllThreads;
}

#ifdef UNDER_SANITIZER

extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(void const volatile *, std::size_t),
                                                         void (*)(void const volatile *));

static int const installed = __sanitizer_install_malloc_and_free_hooks(
   [](void const volatile *, std::size_t) { countOne(); }, [](void const volatile *) {});

#else

// The forms that are not here call these.
void * operator new(std::size_t size)
{
   countOne();
   if (void * const block = std::malloc(size == 0 ? 1 : size))
      return block;
   throw std::bad_alloc();
}

void * operator new(std::size_t size, std::align_val_t alignment)
{
   countOne();
   std::size_t const unit = static_cast<std::size_t>(alignment);
   if (void * const block = std::aligned_alloc(unit, (size + unit - 1) / unit * unit))
      return block;
   throw std::bad_alloc();
}

// clang-format off
void operator delete(void * block) noexcept { std::free(block); }
void operator delete(void * block, std::size_t) noexcept { std::free(block); }
void operator delete(void * block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void * block, std::size_t, std::align_val_t) noexcept { std::free(block); }
// clang-format on

#endif
