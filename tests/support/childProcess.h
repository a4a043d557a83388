// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <sys/types.h>

/// A process that runs `body`, ends with what it returns, and does at its end what processes do. One that
/// takes two minutes is ended by SIGALRM.
pid_t startChild(std::function<int()> const & body);

/// What a process ended with; minus the signal's number if that killed it.
int ended(pid_t child);

/// What a process ends with where the machine can't give what it needs.
constexpr int theUnable = 77;

/// Gives this process, of one thread, a folder of shared memory that nobody else sees, and that has room for
/// `room`, as "1m". False if the machine can't.
bool takeOwnSharedMemory(char const * room);
