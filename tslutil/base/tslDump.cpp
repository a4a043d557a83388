// SPDX-License-Identifier: MIT
#include "tslutil/base/tslDump.h"

#include "tslutil/base/tslNotify.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <string>

namespace
{

constexpr int theLabelWidth = 20;
constexpr std::uint64_t theBytesPerLine = 8;

/// Puts a stream's format flags back; fill and width stay as they are left.
class FlagsGuard
{
public:
   explicit FlagsGuard(std::ostream & out) : myOut(out), myFlags(out.flags()) {}
   ~FlagsGuard() { myOut.flags(myFlags); }
   FlagsGuard(FlagsGuard const &) = delete;
   FlagsGuard & operator=(FlagsGuard const &) = delete;

private:
   std::ostream & myOut;
   std::ios::fmtflags myFlags;
};

template<class Value>
void printLine(std::ostream & out, char const * label, Value const & value)
{
   DtPrintAndIndent(out, label, theLabelWidth);
   out << value << std::endl;
}

} // namespace

void DtPrintAndIndent(std::ostream & out, DtString const & label, int width)
{
   out << label << ": " << std::string(static_cast<std::size_t>(std::max(0, width - label.length())), ' ');
}

void DtDumpBoolean(char const * label, bool value, int suppressFalse)
{
   if (value || suppressFalse == 0)
      DtPrintAttribute(DtInfo, label, value);
   else
      DtPrintAndIndent(DtInfo, label, theLabelWidth);
}

void DtDumpEnum(char const * label, char const * name, int value)
{
   DtPrintAttribute(DtInfo, label, name, value);
}

void DtDumpFloat(char const * label, double value)
{
   printLine(DtInfo, label, value);
}

void DtDumpInteger(char const * label, long value)
{
   printLine(DtInfo, label, static_cast<std::int32_t>(value));
}

void DtDumpString(char const * label, char const * value)
{
   printLine(DtInfo, label, value != nullptr ? value : "");
}

void DtDumpString(char const * label, DtString const & value)
{
   printLine(DtInfo, label, value);
}

void DtDumpHexWord(char const * label, unsigned long value)
{
   DtPrintAttributeHex(DtInfo, label, value);
}

void DtDumpHexBytes(char const * label, void const * bytes, int count)
{
   DtPrintAttributeHex(DtInfo, label, bytes, count);
}

void DtPrintAttribute(std::ostream & out, char const * label, bool value)
{
   printLine(out, label, value ? "TRUE" : "FALSE");
}

void DtPrintAttribute(std::ostream & out, char const * label, char const * name, int value)
{
   printLine(out, label, (name != nullptr ? name : "") + ("   (" + std::to_string(value)) + ")");
}

void DtPrintAttribute(std::ostream & out, char const * label, unsigned char value)
{
   printLine(out, label, std::to_string(value));
}

void DtPrintAttributeHex(std::ostream & out, char const * label, unsigned long value)
{
   FlagsGuard const guard(out);
   out << std::hex;
   printLine(out, label, static_cast<std::uint32_t>(value));
}

void DtPrintAttributeHex(std::ostream & out, char const * label, void const * bytes, int count)
{
   printLine(out, label, "");
   if (count > 0)
      DtDumpHex(out, static_cast<char const *>(bytes), static_cast<std::uint64_t>(count));
}

// Fill and width are set once: the width serves the first byte, the fill stays. Both are meant.
void DtDumpLineOfHex(std::ostream & out, unsigned char * bytes, std::uint64_t count)
{
   FlagsGuard const guard(out);
   out << std::hex << std::right << std::setfill('0') << std::setw(2);
   for (std::uint64_t i = 0; i < count; ++i)
      out << static_cast<std::uint16_t>(bytes[i]) << ' ';
   out << std::endl;
}

void DtDumpHex(std::ostream & out, char const * bytes, std::uint64_t count)
{
   auto * const first = reinterpret_cast<unsigned char *>(const_cast<char *>(bytes));
   for (std::uint64_t i = 0; i < count; i += theBytesPerLine)
      DtDumpLineOfHex(out, first + i, std::min(theBytesPerLine, count - i));
}

void printHexToStream(std::ostream & out, unsigned int perLine, unsigned char * bytes, unsigned int count)
{
   static constexpr char digits[] = "0123456789abcdef";
   for (unsigned int i = 0; i < count; ++i)
   {
      out << ' ' << digits[bytes[i] >> 4] << digits[bytes[i] & 0xf];
      if (i + 1 == count || (perLine != 0 && (i + 1) % perLine == 0))
         out << std::endl;
   }
}
