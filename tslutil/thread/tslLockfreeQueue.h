// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

#include <boost/lockfree/spsc_queue.hpp>

#include <cstdint>

/// The untyped core of a bounded queue of pointers between one thread that pushes and one that pops. Neither
/// ever locks, waits or allocates. The pointers are never looked at; typed queues pass theirs through it.
/// A copied handle stands for the same queue: only one of them may be destroyed, and the rule of the two
/// threads holds for all of them together.
class TSLUTIL_EXPORT DtLockfreeQueueImpl
{
public:
   /// A queue with room for `capacity` pointers, taken at once. Throws std::bad_alloc.
   explicit DtLockfreeQueueImpl(unsigned int capacity);
   /// Another handle of the same queue.
   DtLockfreeQueueImpl(DtLockfreeQueueImpl const & other);
   /// Makes this a handle of the other's queue. The queue that it stood for is not released.
   DtLockfreeQueueImpl & operator=(DtLockfreeQueueImpl const & other);

   // Virtual operations, in slot order.

   /// Releases the queue, for all handles, and nothing that its pointers refer to.
   virtual ~DtLockfreeQueueImpl();

   /// Appends a pointer; false, with nothing changed, if the queue is full. For the pushing thread.
   bool _push(void * const & value) { return queue->push(value); }
   /// Takes the oldest pointer into `value` and returns 1; returns 0 and leaves `value` alone if there is
   /// none. For the popping thread.
   std::uint64_t _pop(void *& value) { return queue->pop(value); }
   /// Whether the queue holds nothing at this moment. For the popping thread.
   bool _empty() const { return queue->empty(); }

private:
   typedef boost::lockfree::spsc_queue<void *> Queue;

   Queue * queue;
};
