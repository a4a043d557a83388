// SPDX-License-Identifier: MIT
#include "tslutil/inet/socketOptions.h"

#include <algorithm>
#include <limits>

namespace tsl
{

int optionValue(unsigned long value)
{
   return static_cast<int>(std::min<unsigned long>(value, std::numeric_limits<int>::max()));
}

unsigned long getBytesAvailable(DtInetSocket & owner, platform::SocketHandle socket, char const * operation)
{
   std::size_t bytes = 0;
   if (socket == platform::noSocket)
      return 0;
   int const error = platform::bytesAvailable(socket, bytes);
   return optionResult(owner, error, operation, [] { return DtString("\n"); }) ? bytes : 0;
}

} // namespace tsl
