// SPDX-License-Identifier: MIT
#include "tslutil/system/tslFilename.h"

#include "tslutil/base/tslNotify.h"
#include "tslutil/platform/files.h"

#include <ostream>

char const DtFilename::theSeparator = tsl::platform::pathSeparator;

namespace
{
constexpr char separatorText[] = {tsl::platform::pathSeparator, '\0'};
} // namespace

DtFilename::DtFilename() = default;

DtFilename::DtFilename(char const * name) : DtString(name)
{
   replaceSlashes();
}

DtFilename::DtFilename(DtFilename const & other) : DtString(other)
{
   replaceSlashes();
}

DtFilename & DtFilename::operator=(DtFilename const & other)
{
   return *this = static_cast<DtString const &>(other);
}

DtFilename::~DtFilename() = default;

DtFilename & DtFilename::operator=(DtString const & name)
{
   DtString::operator=(name);
   replaceSlashes();
   return *this;
}

DtFilename & DtFilename::operator=(char const * name)
{
   DtString::operator=(name);
   replaceSlashes();
   return *this;
}

bool DtFilename::absolute() const
{
   char const * const text = string();
   return text[0] == theSeparator || (text[0] != '\0' && text[1] == ':');
}

bool DtFilename::relative() const
{
   return !absolute();
}

void DtFilename::append(DtFilename const & other)
{
   if (other.absolute())
   {
      *this = other;
      return;
   }
   if (!isEmpty() && (*this)[length() - 1] != theSeparator)
      *this += separatorText;
   *this += other;
}

void DtFilename::prepend(DtFilename const & other)
{
   if (absolute())
      return;
   DtFilename joined(other);
   joined.append(*this);
   *this = joined;
}

DtString DtFilename::extension() const
{
   DtFilename const name = stripPath(*this);
   int const dot = name.findLastChar('.');
   return dot < 0 ? DtString() : DtString(name.string() + dot + 1);
}

void DtFilename::setExtension(DtString const & ext)
{
   stripExtension();
   if (ext[0] != '.')
      *this += ".";
   *this += ext;
}

void DtFilename::stripFilename()
{
   // What the static form of stripPath gives: of "/name" that is all of it.
   int const cut = stripPath(*this).length();
   if (cut > 0)
      (*this)[length() - cut] = '\0';
}

void DtFilename::stripPath()
{
   snipFront(theSeparator, true);
}

void DtFilename::stripExtension()
{
   DtFilename const directory = stripFilename(*this);
   stripPath();
   snipBack('.', false);
   prepend(directory);
}

bool DtFilename::isWritable() const
{
   return exists() && tsl::platform::pathWritable(string());
}

bool DtFilename::isReadable() const
{
   return exists() && tsl::platform::fileReadable(string());
}

unsigned long DtFilename::fileLength() const
{
   if (!exists())
      return 0;
   std::uint64_t size = 0;
   if (!tsl::platform::fileSize(string(), size))
      DtWarn << "DtFileName error getting File Length for " << *this << std::endl;
   return static_cast<unsigned long>(size);
}

bool DtFilename::exists() const
{
   return tsl::platform::pathExists(string());
}

bool DtFilename::searchAlternatePath(char const * path)
{
   if (exists())
      return true;
   if (path == nullptr)
      return false;
   DtFilename joined(*this);
   joined.prepend(DtFilename(path));
   if (!joined.exists())
      return false;
   *this = joined;
   return true;
}

DtFilename DtFilename::combine(DtFilename const & first, DtFilename const & second)
{
   if (second.absolute() || first == DtString::nullString())
      return second;
   DtFilename joined(first);
   joined += separatorText;
   joined += second;
   return joined;
}

DtFilename DtFilename::stripExtension(DtFilename const & name)
{
   DtFilename stripped(name);
   stripped.stripExtension();
   return stripped;
}

DtFilename DtFilename::stripFilename(DtFilename const & name)
{
   DtFilename stripped(name);
   stripped.stripFilename();
   return stripped;
}

DtFilename DtFilename::stripPath(DtFilename const & name)
{
   int const last = name.findLastChar(theSeparator);
   return last > 0 ? DtFilename(name.string() + last + 1) : name;
}

char DtFilename::separator()
{
   return theSeparator;
}

DtFilename const & DtFilename::nullFilename()
{
   static DtFilename const & name = *new DtFilename;
   return name;
}

void DtFilename::replaceSlashes()
{
   // Writes only where something changes: nowhere, where the separator is the slash.
   if (theSeparator == '/')
      return;
   for (char * each = &(*this)[0]; *each != '\0'; ++each)
   {
      if (*each == '/')
         *each = theSeparator;
   }
}
