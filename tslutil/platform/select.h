// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

/// Waiting for descriptors, as the system does it.
namespace tsl::platform
{

/// What can be waited for on a descriptor, in any number, and what was found.
enum Readiness : unsigned int
{
   ReadyToRead = 1,
   ReadyToWrite = 2,
   Exceptional = 4
};

struct WatchedDescriptor
{
   int descriptor;
   unsigned int wanted;
   unsigned int ready;
};

/// Waits for at most so many seconds, none if negative, until one is ready; signals don't shorten that. How
/// many readinesses were found, 0 for none; -1, with `errno` set and `ready` as it was, if a descriptor is
/// not open.
int waitForDescriptors(std::vector<WatchedDescriptor> & watched, double seconds);

} // namespace tsl::platform
