// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

/// What the header of a shared library's file tells of how it was built. The file may come from anywhere:
/// every offset in it is checked, and no more is read at a time than fits a small buffer.
namespace tsl
{

/// A plain file, read here and there. It may be cut short meanwhile.
class LibraryFile
{
public:
   /// Opens the file if it is a plain one; nothing else is waited for.
   explicit LibraryFile(char const * name);

   bool isOpen() const { return myFile.is_open(); }

   /// Reads exactly `count` bytes from `offset` on; `offset` may be any number. False if the file doesn't
   /// have them.
   bool read(std::uint64_t offset, unsigned char * to, std::size_t count);

private:
   std::ifstream myFile;
   std::uint64_t mySize;
};

/// What a header says.
struct LibraryHeader
{
   enum Kind : int
   {
      /// No header of a library, or one without the marks of a compiler.
      Unknown,
      /// A library, but not of 64 bits.
      OtherWidth,
      /// A library of 64 bits, with compiler and fit.
      Compiled
   };

   Kind kind = Unknown;
   /// The compiler that built it and its major version, as "GCC12".
   std::string compiler;
   /// The one that it should be.
   std::string expected;
   bool fits = false;
};

/// Reads the header, of a Portable Executable or an ELF file.
LibraryHeader readLibraryHeader(LibraryFile & file);

} // namespace tsl
