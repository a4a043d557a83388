// SPDX-License-Identifier: MIT
#include "tslutil/base/tslNetTypes.h"

std::atomic<int> DtCurrentNetworkByteOrdering{DtNetByteOrder};

void DtSetNetworkByteOrdering(DtNetworkByteOrderType ordering)
{
   DtCurrentNetworkByteOrdering.store(ordering, std::memory_order_relaxed);
}
