// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// Shared libraries: loading them, and reading their files without loading. May be called on any thread.
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

/// A plain file, read here and there. What it holds is never mapped: it may be cut short meanwhile.
class LibraryFile
{
public:
   /// Opens the file if it is a plain one; nothing else is waited for.
   explicit LibraryFile(char const * name);
   ~LibraryFile();
   LibraryFile(LibraryFile const &) = delete;
   LibraryFile & operator=(LibraryFile const &) = delete;

   bool isOpen() const;

   /// Reads exactly `count` bytes from `offset` on. False if the file doesn't have them.
   bool read(std::uint64_t offset, void * to, std::size_t count) const;

private:
   int myDescriptor;
   std::uint64_t mySize;
};

} // namespace tsl::platform
