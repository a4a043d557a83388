// SPDX-License-Identifier: MIT
#pragma once

// A block of memory that the processes of one machine and user share by its name. There is no allocator,
// no header and no lock in the block: what it holds is a matter between the programs that use it, and so is
// its size, which a client doesn't learn. A block lives until the last process that took part in it has
// ended, however that ends; the next manager then gets a new one.

#include "tslutil/base/tslString.h"

/// Creates the block, or joins the one that is there.
class TSLUTIL_EXPORT DtSharedMemoryPoolManager
{
public:
   /// Creates a block of `size` bytes, of which the low 32 bits count, filled with zeros. If there is a block
   /// of this name already, its size and content stay. The block outlives this object for as long as the
   /// process lives. Throws a DtException whose message ends with the system's error number; size 0, a name
   /// that is too long and a lack of memory count as a failed creation.
   DtSharedMemoryPoolManager(DtString const & name, unsigned long size);
   DtSharedMemoryPoolManager(DtSharedMemoryPoolManager const &) = delete;
   DtSharedMemoryPoolManager & operator=(DtSharedMemoryPoolManager const &) = delete;

   // Virtual operations, in slot order.

   /// Takes the block out of this object's address space; its content stays.
   virtual ~DtSharedMemoryPoolManager();

   /// Where the block begins, in this process. Valid as long as this object.
   void * address() const { return view; }

private:
   DtString regionName;
   void * view;
   void * mappingHandle;
};

/// Joins a block that a manager has made.
class TSLUTIL_EXPORT DtSharedMemoryPoolClient
{
public:
   /// Throws a DtException whose message ends with the system's error number: 2 if there is no such block, as
   /// after the end of all processes that took part in it.
   explicit DtSharedMemoryPoolClient(DtString const & name);
   DtSharedMemoryPoolClient(DtSharedMemoryPoolClient const &) = delete;
   DtSharedMemoryPoolClient & operator=(DtSharedMemoryPoolClient const &) = delete;

   // Virtual operations, in slot order.

   /// Leaves the block.
   virtual ~DtSharedMemoryPoolClient();

   /// Where the block begins, in this process. Valid as long as this object.
   void * address() const { return view; }

private:
   DtString regionName;
   void * view;
   void * mappingHandle;
};
