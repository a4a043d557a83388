// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// A place in a source.
struct CrashPlace
{
   std::string function; ///< empty if unknown
   std::string source;   ///< with the line, "file.cpp:12"; empty if unknown
};

/// A return address of the crashed thread; the first is the instruction that crashed.
struct CrashFrame
{
   std::uint64_t address;
   std::string module;             ///< the file that the code came from; empty if there was none
   std::uint64_t offset = 0;       ///< of the address, as the module's own tables count it
   std::vector<CrashPlace> places; ///< inlined functions first, then the one they are in; none if unknown
};

/// A part of the process's memory.
struct CrashMapping
{
   std::uint64_t begin;
   std::uint64_t end;
   std::string access;
   std::uint64_t offset;
   std::string file;
};

/// What a crash dump holds, and what its addresses stand for.
struct CrashDump
{
   long signal = 0;
   long code = 0;
   std::uint64_t address = 0;
   long process = 0;
   long thread = 0;
   std::vector<std::pair<std::string, std::uint64_t>> registers;
   std::vector<CrashMapping> map;
   std::vector<CrashFrame> frames;
};

/// Reads a dump. The frames of what wrote it are left out. Throws UsageError if the file can't be read or is
/// none.
CrashDump readCrashDump(std::string const & path);

/// Finds the places of the return addresses, in modules that are still there, by the program addr2line. False
/// without that program.
bool findPlaces(CrashDump & dump);
