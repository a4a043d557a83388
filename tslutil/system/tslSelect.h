// SPDX-License-Identifier: MIT
#pragma once

// Waiting for sockets and the keyboard at once. For the main thread.

#include "tslutil/tslutilExport.h"

#include <sys/select.h>

/// Closes a descriptor unless it is negative, and sets it to -1.
TSLUTIL_EXPORT void DtClose(int & descriptor);

/// Waits for at most so many seconds, none if negative, until a descriptor is ready. The result is as of
/// `select`: how many are ready, 0 for none, -1 for a failure, with the sets holding those that are. Signals
/// don't shorten the wait, and `count` is not looked at: the sets say which descriptors are meant.
/// Descriptor 0 in `read` is the keyboard: with a key waiting the result is 1 and `read` holds 0 alone. It is
/// looked at five times a second; when the time is over without a key, `read` holds all but 0, ready or not.
/// Without any descriptor in `read` it sleeps and returns 0, whatever the other sets hold.
TSLUTIL_EXPORT int DtSelect(int count, fd_set * read, fd_set * write, fd_set * except, double seconds);

/// A set of up to 64 descriptors of any size to wait on for input.
class TSLUTIL_EXPORT DtSelectParam
{
public:
   DtSelectParam();

   /// Adds a descriptor that is not negative, unless 64 are there.
   void addRead(int fd);
   /// Removes a descriptor, if it is there.
   void delRead(int fd);
   /// Waits as DtSelect does.
   int select(double seconds);
   /// Whether the last select left the descriptor in its result.
   int canRead(int fd);

private:
   struct Set
   {
      int count;
      int descriptors[64];
      bool has(int fd) const;
   };

   int highest;
   Set wanted;
   Set result;
};
