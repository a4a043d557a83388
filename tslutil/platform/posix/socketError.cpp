// SPDX-License-Identifier: MIT
#include "tslutil/platform/socketError.h"

#include <boost/asio/error.hpp>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <netdb.h>

namespace tsl::platform
{

namespace
{

struct Row
{
   int system;
   int number;
};

constexpr int theFirstSocketNumber = 10000;
constexpr int theHostNotFound = 11001;
constexpr int theTryAgain = 11002;
constexpr int theNoRecovery = 11003;
constexpr int theNoData = 11004;

// The numbers below 10000 are those that the accept of a connection has for a refused or failed newcomer.
constexpr Row theSystemRows[] = {
   {EPERM, 5},
   {EINTR, 10004},
   {EBADF, 10009},
   {ENOMEM, 14},
   {EACCES, 10013},
   {EFAULT, 10014},
   {EINVAL, 10022},
   {ENFILE, 10024},
   {EMFILE, 10024},
   {EPIPE, 10054},
   {EWOULDBLOCK, 10035},
   {EINPROGRESS, 10036},
   {EALREADY, 10037},
   {ENOTSOCK, 10038},
   {EDESTADDRREQ, 10039},
   {EMSGSIZE, 10040},
   {EPROTOTYPE, 10041},
   {ENOPROTOOPT, 10042},
   {EPROTONOSUPPORT, 10043},
   {ESOCKTNOSUPPORT, 10044},
   {EOPNOTSUPP, 10045},
   {EPFNOSUPPORT, 10046},
   {EAFNOSUPPORT, 10047},
   {EADDRINUSE, 10048},
   {EADDRNOTAVAIL, 10049},
   {ENETDOWN, 10050},
   {ENETUNREACH, 10051},
   {ENETRESET, 10052},
   {ECONNABORTED, 10053},
   {ECONNRESET, 10054},
   {ENOBUFS, 10055},
   {EISCONN, 10056},
   {ENOTCONN, 10057},
   {ESHUTDOWN, 10058},
   {ETOOMANYREFS, 10059},
   {ETIMEDOUT, 10060},
   {ECONNREFUSED, 10061},
   {ELOOP, 10062},
   {ENAMETOOLONG, 10063},
   {EHOSTDOWN, 10064},
   {EHOSTUNREACH, 10065},
   {ENOTEMPTY, 10066},
   {EUSERS, 10068},
   {EDQUOT, 10069},
   {ESTALE, 10070},
   {EREMOTE, 10071},
   {EPROTO, 134},
   {ECANCELED, 995},
};

constexpr Row theLookupRows[] = {
   {EAI_NONAME, theHostNotFound}, {EAI_AGAIN, theTryAgain},
   {EAI_FAIL, theNoRecovery},     {EAI_NODATA, theNoData},
   {EAI_ADDRFAMILY, theNoData},   {EAI_FAMILY, 10047},
   {EAI_SOCKTYPE, 10044},         {EAI_SERVICE, 10109},
   {EAI_BADFLAGS, 10022},         {EAI_MEMORY, 14},
};

template<class Rows>
int findNumber(Rows const & rows, int system, int otherwise)
{
   auto const row =
      std::find_if(std::begin(rows), std::end(rows), [system](Row const & r) { return r.system == system; });
   return row == std::end(rows) ? otherwise : row->number;
}

} // namespace

int socketErrorNumber(int systemError)
{
   return findNumber(theSystemRows, systemError, systemError);
}

int socketErrorNumber(boost::system::error_code const & error)
{
   if (error.category() == boost::asio::error::get_netdb_category())
      return theHostNotFound - boost::asio::error::host_not_found + error.value();
   if (error.category() == boost::asio::error::get_addrinfo_category())
      return resolverErrorNumber(error.value());
   if (error.category() == boost::asio::error::get_misc_category())
      return error.value();
   return socketErrorNumber(error.value());
}

int resolverErrorNumber(int lookupResult)
{
   if (lookupResult == 0)
      return 0;
   if (lookupResult == EAI_SYSTEM)
      return socketErrorNumber(errno);
   return findNumber(theLookupRows, lookupResult, theNoRecovery);
}

// The number of a failed look-up goes into errno, where it has no namesake: so the next failure replaces it.
void noteLookupResult(int lookupResult)
{
   if (lookupResult == 0 && errno >= theFirstSocketNumber)
      errno = 0;
   else if (lookupResult == EAI_MEMORY)
      errno = ENOMEM;
   else if (lookupResult != 0 && lookupResult != EAI_SYSTEM)
      errno = resolverErrorNumber(lookupResult);
}

int lastSocketErrorNumber(int savedErrno)
{
   return socketErrorNumber(savedErrno);
}

} // namespace tsl::platform
