// SPDX-License-Identifier: MIT
#pragma once

#include <boost/system/error_code.hpp>

/// Error numbers of sockets. The library speaks Windows Sockets numbers on every platform (would-block is
/// 10035, refused 10061); this is the one place where the system's own numbers become those. A code without a
/// row keeps the system's number. Texts come from the unmapped code.
namespace tsl::platform
{

/// The number of a system error (`errno`) of a socket call.
int socketErrorNumber(int systemError);

/// The number of an error code: by its category a system error, an end of file (2) or a failed look-up (11001
/// to 11004).
int socketErrorNumber(boost::system::error_code const & error);

/// The number of a failed name look-up (`EAI_` result).
int resolverErrorNumber(int lookupResult);

/// Makes the failed result of a look-up the calling thread's last socket error, which it stays until another
/// call fails; 0, a success, forgets an earlier failed look-up. To be called once nothing else follows the
/// look-up that could set `errno`.
void noteLookupResult(int lookupResult);

/// The calling thread's last socket error: a failed system call or a noted look-up, whichever was later. 0 if
/// there is none. `savedErrno` is `errno` as it was when the caller was entered.
int lastSocketErrorNumber(int savedErrno);

} // namespace tsl::platform
