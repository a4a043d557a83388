// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <initializer_list>

/// What a crash dump needs of the system. All but installCrashFilter is called inside a crash: it takes no
/// lock, allocates nothing and touches no stream.
namespace tsl::platform
{

/// What the system told of the crash.
class CrashInfo;

/// What runs when the process crashes, on the thread that did.
typedef long (*CrashFilter)(CrashInfo * info);

/// Makes `filter` the process's last resort at a crash: an access to memory that isn't there, an illegal
/// instruction, an arithmetic fault, an abort, an exception that nobody catches. Only the first crash gets
/// there; other threads that crash meanwhile wait. When it returns, the process dies of the crash as it would
/// have without it. The calling thread's stack overflows are caught too.
void installCrashFilter(CrashFilter filter);

/// Shows a question under a title and waits for the answer; true for a yes. False without a user to ask: the
/// process needs a terminal and stand in its foreground.
bool askInCrash(char const * title, char const * question);

/// Shows a text, given in pieces, under a title; nothing without a user.
void tellInCrash(char const * title, std::initializer_list<char const *> pieces);

/// Creates a file, replacing what it held, that its owner alone may read. Returns a descriptor, or -1 with
/// `errno` set.
int createDumpFile(char const * name);

/// Writes what tells where and why the process crashed: signal, code, address, thread, registers, memory map
/// and return addresses. False, with `errno` set, if not all could be written.
bool writeCrashDump(int file, CrashInfo const * info);

/// Closes what createDumpFile made.
void closeDumpFile(int file);

/// A number in decimal digits.
class DecimalText
{
public:
   explicit DecimalText(long number);
   char const * c_str() const { return myText + myStart; }

private:
   char myText[24];
   std::size_t myStart;
};

} // namespace tsl::platform
