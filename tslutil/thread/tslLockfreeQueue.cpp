// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslLockfreeQueue.h"

DtLockfreeQueueImpl::DtLockfreeQueueImpl(unsigned int capacity) : queue(new Queue(capacity)) {}

DtLockfreeQueueImpl::DtLockfreeQueueImpl(DtLockfreeQueueImpl const & other) = default;

DtLockfreeQueueImpl & DtLockfreeQueueImpl::operator=(DtLockfreeQueueImpl const & other) = default;

DtLockfreeQueueImpl::~DtLockfreeQueueImpl()
{
   delete queue;
   queue = nullptr;
}
