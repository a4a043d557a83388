// SPDX-License-Identifier: MIT
#pragma once

/// Shared libraries, as the system loads them. May be called on any thread.
namespace tsl::platform
{

/// What the file name of a shared library ends in.
#ifdef _WIN32
constexpr char libraryExtension[] = ".dll";
#else
constexpr char libraryExtension[] = ".so";
#endif

/// Why a library was not loaded.
enum LoadError : int
{
   /// It, or a library that it needs, is not there.
   LoadNotFound = 126,
   /// It needs a symbol that nobody defines.
   LoadNoSymbol = 127,
   /// The file is no library for this machine.
   LoadWrongFormat = 193
};

/// Loads a library with all that it needs; its symbols are offered to no other. Null on failure, and then
/// `error` says why. What is no plain file is not found, and so is an empty name.
void * loadLibrary(char const * name, LoadError & error);

/// The address of a symbol that the library itself defines, not one that it needs; null if there is none.
void * librarySymbol(void * library, char const * symbol);

/// Gives up one load.
void unloadLibrary(void * library);

} // namespace tsl::platform
