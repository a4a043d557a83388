// SPDX-License-Identifier: MIT
#include "tslutil/system/libraryHeader.h"

#include "tslutil/base/tslNetTypes.h"
#include "tslutil/platform/dataFile.h"

#include <algorithm>
#include <cstring>

namespace tsl
{

namespace
{

/// The compiler of this library.
std::string ownCompiler()
{
#ifdef __clang__
   return "clang" + std::to_string(__clang_major__);
#else
   return "GCC" + std::to_string(__GNUC__);
#endif
}

/// More than the comments of a library take; what lies beyond is not looked at.
constexpr std::size_t theMaxComments = 4096;

/// Numbers in the byte order of the file.
struct Numbers
{
   bool bigEndian;

   template<class Bits>
   Bits at(unsigned char const * from) const
   {
      Bits bits;
      if (bigEndian)
         BigOrder::read(from, bits);
      else
         LittleOrder::read(from, bits);
      return bits;
   }

   std::uint64_t wideAt(unsigned char const * from) const
   {
      std::uint64_t const first = at<std::uint32_t>(from);
      std::uint64_t const second = at<std::uint32_t>(from + 4);
      return bigEndian ? first << 32 | second : second << 32 | first;
   }
};

constexpr Numbers theLittleNumbers{false};

/// Where a section of an ELF file lies.
struct Section
{
   std::uint32_t name;
   std::uint64_t offset;
   std::uint64_t size;
};

/// The table of sections of a 64-bit ELF file.
class SectionTable
{
public:
   SectionTable(LibraryFile & file, unsigned char const * header)
      : myFile(file),
        myNumbers{header[5] == 2},
        myOffset(myNumbers.wideAt(header + 40)),
        myEntrySize(myNumbers.at<std::uint16_t>(header + 58)),
        myCount(myNumbers.at<std::uint16_t>(header + 60)),
        myNamesIndex(myNumbers.at<std::uint16_t>(header + 62))
   {
   }

   /// Finds a section by its name, the NUL at the end of which counts.
   template<std::size_t size>
   bool find(char const (&name)[size], Section & found)
   {
      Section names;
      if (!read(myNamesIndex, names))
         return false;
      for (std::uint32_t index = 0; index < myCount && read(index, found); ++index)
      {
         unsigned char text[size];
         if (myFile.read(names.offset + found.name, text, size) && std::memcmp(text, name, size) == 0)
            return true;
      }
      return false;
   }

private:
   bool read(std::uint32_t index, Section & section)
   {
      // Any offset will do: what the sum wraps around to is somewhere in the file or it isn't.
      unsigned char entry[64];
      if (!myFile.read(myOffset + std::uint64_t(index) * myEntrySize, entry, sizeof entry))
         return false;
      section = {myNumbers.at<std::uint32_t>(entry), myNumbers.wideAt(entry + 24),
                 myNumbers.wideAt(entry + 32)};
      return true;
   }

   LibraryFile & myFile;
   Numbers myNumbers;
   std::uint64_t myOffset;
   std::uint32_t myEntrySize;
   std::uint32_t myCount;
   std::uint32_t myNamesIndex;
};

/// `name` and the number at the head of `text`; empty if there is none.
std::string withMajor(char const * name, std::string const & text)
{
   std::size_t const digits = std::min<std::size_t>(text.find_first_not_of("0123456789"), text.size());
   return digits > 0 && digits < 10 ? name + std::to_string(std::stoi(text.substr(0, digits))) : "";
}

/// What follows a note in brackets, which may hold brackets in pairs, and a blank.
std::string behindBrackets(std::string const & text)
{
   int depth = 0;
   for (std::size_t each = 0; each < text.size(); ++each)
   {
      depth += (text[each] == '(') - (text[each] == ')');
      if (depth == 0)
         return text[each] == ')' ? text.substr(std::min(each + 2, text.size())) : text;
   }
   return "";
}

/// The compiler that a comment names: "GCC: (Debian 12.2.0-14) 12.2.0", "Debian clang version 14.0.6".
std::string compilerIn(std::string const & comment)
{
   static std::string const gcc = "GCC: ";
   static std::string const clang = "clang version ";
   if (comment.compare(0, gcc.size(), gcc) == 0)
      return withMajor("GCC", behindBrackets(comment.substr(gcc.size())));
   std::size_t const named = comment.find(clang);
   return named != std::string::npos ? withMajor("clang", comment.substr(named + clang.size())) : "";
}

/// The compiler that a row of comments, each with a NUL behind it, tells of. What GCC says stands in the
/// start-up code of every library, so the first of its comments counts only where no other compiler speaks.
std::string compilerAmong(std::string const & comments)
{
   std::string first;
   for (std::size_t begin = 0; begin < comments.size();)
   {
      std::size_t const end = std::min(comments.find('\0', begin), comments.size());
      std::string const compiler = compilerIn(comments.substr(begin, end - begin));
      if (compiler.compare(0, 5, "clang") == 0)
         return compiler;
      if (first.empty())
         first = compiler;
      begin = end + 1;
   }
   return first;
}

LibraryHeader compiled(std::string const & compiler, std::string const & expected, bool fits)
{
   LibraryHeader header;
   header.kind = compiler.empty() ? LibraryHeader::Unknown : LibraryHeader::Compiled;
   header.compiler = compiler;
   header.expected = expected;
   header.fits = fits;
   return header;
}

LibraryHeader otherWidth()
{
   LibraryHeader header;
   header.kind = LibraryHeader::OtherWidth;
   return header;
}

LibraryHeader readElf(LibraryFile & file)
{
   unsigned char header[64];
   if (!file.read(0, header, 5))
      return {};
   if (header[4] != 2)
      return otherWidth();
   Section section;
   if (!file.read(0, header, sizeof header) || !SectionTable(file, header).find(".comment", section))
      return {};
   std::string comments(std::min<std::uint64_t>(section.size, theMaxComments), '\0');
   if (!file.read(section.offset, reinterpret_cast<unsigned char *>(&comments[0]), comments.size()))
      return {};
   std::string const compiler = compilerAmong(comments);
   return compiled(compiler, ownCompiler(), compiler == ownCompiler());
}

LibraryHeader readPe(LibraryFile & file)
{
   // The compiler shows in the version of its linker: only 12.0 fits, and only the major version is told.
   static unsigned char const signature[] = {'P', 'E', 0, 0};
   unsigned char bytes[4];
   if (!file.read(60, bytes, 4))
      return {};
   // Signed: what points in front of the file becomes an offset that no file has.
   std::uint64_t const start = static_cast<std::uint64_t>(
      static_cast<std::int64_t>(static_cast<std::int32_t>(theLittleNumbers.at<std::uint32_t>(bytes))));
   if (!file.read(start, bytes, 4) || std::memcmp(bytes, signature, 4) != 0 ||
       !file.read(start + 24, bytes, 2))
      return {};
   if (theLittleNumbers.at<std::uint16_t>(bytes) != 523)
      return otherWidth();
   if (!file.read(start + 26, bytes, 2))
      return {};
   return compiled("VC" + std::to_string(bytes[0]), "VC12", bytes[0] == 12 && bytes[1] == 0);
}

} // namespace

LibraryFile::LibraryFile(char const * name) : mySize(0)
{
   platform::openPlainFile(myFile, name);
   if (isOpen() && myFile.seekg(0, std::ios::end))
      mySize = static_cast<std::uint64_t>(std::max<std::streamoff>(myFile.tellg(), 0));
}

bool LibraryFile::read(std::uint64_t offset, unsigned char * to, std::size_t count)
{
   if (offset > mySize || count > mySize - offset)
      return false;
   myFile.clear();
   myFile.seekg(static_cast<std::streamoff>(offset));
   return static_cast<bool>(myFile.read(reinterpret_cast<char *>(to), static_cast<std::streamsize>(count)));
}

LibraryHeader readLibraryHeader(LibraryFile & file)
{
   unsigned char mark[4];
   if (!file.read(0, mark, 2))
      return {};
   if (std::memcmp(mark, "MZ", 2) == 0)
      return readPe(file);
   if (file.read(0, mark, 4) && std::memcmp(mark,
                                            "\x7F"
                                            "ELF",
                                            4) == 0)
      return readElf(file);
   return {};
}

} // namespace tsl
