// SPDX-License-Identifier: MIT
#include "tslutil/base/networkErrorText.h"

#include <algorithm>
#include <iterator>

namespace tsl
{

namespace
{

struct Row
{
   int number;
   char const * text;
};

// In order of number.
constexpr Row theRows[] = {
   {10004, "Interrupted System Call"},
   {10009, "Bad File Number"},
   {10013, "Permission Denied"},
   {10014, "Bad Address"},
   {10022, "Invalid Argument"},
   {10024, "Too many open files"},
   {10035, "Operation would block"},
   {10036, "Operation now in progress"},
   {10037, "Operation already in progress"},
   {10038, "Socket operation on non-socket"},
   {10039, "Destination address required"},
   {10040, "Message too long"},
   {10041, "Protocol wrong type for socket"},
   {10042, "Protocol not available"},
   {10043, "Protocol not supported"},
   {10044, "Socket type not supported"},
   {10045, "Operation not supported on socket"},
   {10046, "Protocol family not supported"},
   {10047, "Address family not supported by protocol family"},
   {10048, "Address Already in use"},
   {10049, "Cannot assign requested address"},
   {10050, "Network is down"},
   {10051, "Network is unreachable"},
   {10052, "Network dropped connection on reset"},
   {10053, "Software caused connection abort"},
   {10054, "Connection reset by peer"},
   {10055, "No buffer space available"},
   {10056, "Socket is already connected"},
   {10057, "Socket is not connected"},
   {10058, "Cannot send after socket shutdown"},
   {10059, "Too many references: cannot splice"},
   {10060, "Connection timed out"},
   {10061, "Connection refused"},
   {10062, "Too many levels of symbolic links"},
   {10063, "File name too long"},
   {10064, "Host is down"},
   {10065, "No route to host"},
   {10066, "Directory not empty"},
   {10067, "Too many processes"},
   {10068, "Too many users"},
   {10069, "Disk quota exceeded"},
   {10070, "Stale NFS file handle"},
   {10071, "Too many levels of remote in path"},
   {10091, "Network subsystem is unusable"},
   {10092, "WinSock DLL cannot support this application"},
   {10093, "WinSock not initialized"},
   {10101, "Disconnect"},
   {11001, "Host not found"},
   {11002, "Non-authoritative host not found"},
   {11003, "Non-recoverable error"},
   {11004, "Valid name, no data record of requested type"},
};

} // namespace

char const * networkErrorText(int number)
{
   auto const row = std::lower_bound(std::begin(theRows), std::end(theRows), number,
                                     [](Row const & r, int wanted) { return r.number < wanted; });
   return row != std::end(theRows) && row->number == number ? row->text : "unknown (non-WinSock) error";
}

} // namespace tsl
