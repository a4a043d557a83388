// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslLockfreeQueue.h"

#include <boost/lockfree/spsc_queue.hpp>

struct DtLockfreeQueueImpl::Queue : boost::lockfree::spsc_queue<void *>
{
   using spsc_queue::spsc_queue;
};

DtLockfreeQueueImpl::DtLockfreeQueueImpl(unsigned int capacity) : queue(new Queue(capacity)) {}

DtLockfreeQueueImpl::DtLockfreeQueueImpl(DtLockfreeQueueImpl const & other) = default;

DtLockfreeQueueImpl & DtLockfreeQueueImpl::operator=(DtLockfreeQueueImpl const & other) = default;

DtLockfreeQueueImpl::~DtLockfreeQueueImpl()
{
   delete queue;
   queue = nullptr;
}

bool DtLockfreeQueueImpl::_push(void * const & value)
{
   return queue->push(value);
}

std::uint64_t DtLockfreeQueueImpl::_pop(void *& value)
{
   return queue->pop(value);
}

bool DtLockfreeQueueImpl::_empty() const
{
   return queue->empty();
}
