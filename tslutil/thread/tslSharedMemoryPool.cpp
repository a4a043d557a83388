// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslSharedMemoryPool.h"

#include "tslutil/base/tslException.h"
#include "tslutil/platform/sharedMemory.h"

namespace
{

using namespace tsl::platform;

[[noreturn]] void fail(char const * text, unsigned int error)
{
   throw DtException((text + DtString(error)).string());
}

std::intptr_t openOrFail(DtString const & name, char const * text)
{
   SharedMemoryHandle const opened = openSharedMemory(name.string());
   if (opened.handle == 0)
      fail(text, opened.error);
   return opened.handle;
}

/// Closes the handle on failure.
void * mapOrFail(std::intptr_t handle, char const * text)
{
   unsigned int error = 0;
   void * const view = mapSharedMemory(handle, error);
   if (view != nullptr)
      return view;
   closeSharedMemory(handle);
   fail(text, error);
}

void leave(void *& view, void *& mappingHandle)
{
   if (view != nullptr)
      unmapSharedMemory(view);
   if (mappingHandle != nullptr)
      closeSharedMemory(reinterpret_cast<std::intptr_t>(mappingHandle));
   view = mappingHandle = nullptr;
}

} // namespace

// A handle of its own is kept open for good: the block outlives this object.
DtSharedMemoryPoolManager::DtSharedMemoryPoolManager(DtString const & name, unsigned long size)
   : regionName(name), view(nullptr), mappingHandle(nullptr)
{
   SharedMemoryHandle const created = createSharedMemory(name.string(), static_cast<std::uint32_t>(size));
   if (created.handle == 0)
      fail("DtSharedMemoryPoolManager() create has error with CreateFileMapping: ", created.error);
   try
   {
      std::intptr_t const opened =
         openOrFail(name, "DtSharedMemoryPoolManager() has error with OpenFileMapping: ");
      // The two blanks are meant.
      view = mapOrFail(opened, "DtSharedMemoryPoolManager()  has error with MapViewOfFile: ");
      mappingHandle = reinterpret_cast<void *>(opened);
   }
   catch (...)
   {
      closeSharedMemory(created.handle);
      throw;
   }
   keepSharedMemory(created.handle);
}

DtSharedMemoryPoolManager::~DtSharedMemoryPoolManager()
{
   leave(view, mappingHandle);
}

DtSharedMemoryPoolClient::DtSharedMemoryPoolClient(DtString const & name)
   : regionName(name), view(nullptr), mappingHandle(nullptr)
{
   std::intptr_t const opened =
      openOrFail(name, "DtSharedMemoryPoolClient::join has error with OpenFileMapping: ");
   view = mapOrFail(opened, "DtSharedMemoryPoolClient::join has error with MapViewOfFile: ");
   mappingHandle = reinterpret_cast<void *>(opened);
}

DtSharedMemoryPoolClient::~DtSharedMemoryPoolClient()
{
   leave(view, mappingHandle);
}
