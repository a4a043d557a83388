// SPDX-License-Identifier: MIT
// Numbers to text and text to numbers. A long has 32 bits here, so the ranges are those of 32-bit numbers.
#include "tslutil/base/tslString.h"

#include "tslutil/platform/text.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Numbers to text. The digits always fit the inline buffer.

DtString::DtString(int number) : DtString()
{
   *std::to_chars(inlineBuffer, inlineBuffer + theInlineSize - 1, number).ptr = '\0';
}

DtString::DtString(unsigned int number) : DtString()
{
   *std::to_chars(inlineBuffer, inlineBuffer + theInlineSize - 1, number).ptr = '\0';
}

DtString::DtString(long number) : DtString(static_cast<int>(number)) {}

DtString::DtString(unsigned long number) : DtString(static_cast<unsigned int>(number)) {}

namespace
{

int const theDigits = 13;

/// The 13 digits of a number from 1e-4 to below 1e13, exactly rounded, ties to even, as an integer; the
/// number is that integer divided by ten to the power of `scale`. False if it lies outside that range.
bool digitsOf(double number, std::uint64_t & digits, int & scale)
{
   static double const powersOfTen[] = {1,   1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,
                                        1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17};
   if (!(number >= 1e-4 && number < 1e13))
      return false;
   // The power of two tells the power of ten, or the one below it.
   scale = theDigits - 1 - static_cast<int>(std::floor(std::ilogb(number) * 0.30103));
   for (; scale >= 0; --scale)
   {
      digits = static_cast<std::uint64_t>(number * powersOfTen[scale]);
      // Of the exact product: the power is exact, and the sum is rounded once.
      double const aboveHalf = std::fma(number, powersOfTen[scale], -(static_cast<double>(digits) + 0.5));
      if (aboveHalf > 0 || (aboveHalf == 0 && digits % 2 != 0))
         ++digits;
      if (digits < 10000000000000u)
         return true;
   }
   return false;
}

/// Writes the digits with a point `scale` digits from their end and without zeros at the end; the end.
char * writeDecimal(char * to, std::uint64_t digits, int scale)
{
   while (scale > 0 && digits % 10 == 0)
   {
      digits /= 10;
      --scale;
   }
   char text[theDigits + 1];
   int const count = static_cast<int>(std::to_chars(text, text + sizeof text, digits).ptr - text);
   int const whole = count - scale;
   to = whole > 0 ? std::copy_n(text, whole, to) : std::copy_n("0", 1, to);
   if (scale == 0)
      return to;
   *to++ = '.';
   to = std::fill_n(to, std::max(-whole, 0), '0');
   return std::copy(text + std::max(whole, 0), text + count, to);
}

} // namespace

DtString::DtString(double number) : DtString()
{
   char * end = inlineBuffer;
   std::uint64_t digits = 0;
   int scale = 0;
   if (std::signbit(number))
      *end++ = '-';
   if (digitsOf(std::fabs(number), digits, scale))
      end = writeDecimal(end, digits, scale);
   else
      end = std::to_chars(inlineBuffer, inlineBuffer + theInlineSize - 1, number, std::chars_format::general,
                          theDigits)
               .ptr;
   *end = '\0';
   // The locale has a say in the decimal point alone.
   if (std::strchr(inlineBuffer, '.') != nullptr && !tsl::platform::decimalPointIsDot())
      std::snprintf(inlineBuffer, 30, "%.13g", number);
}

namespace
{

int classOf(int (*test)(int), char c)
{
   return test(static_cast<unsigned char>(c));
}

/// Skips signs, blanks and leading zeros in any order, but never the last character. Without the zeros the
/// automatic base of the conversion sees no octal prefix; a "-" ends the skip, so "-0777" stays octal.
char const * skipLead(char const * text)
{
   while (text[0] != '\0' && text[1] != '\0' && std::strchr("\t\n\r +0", text[0]) != nullptr)
      ++text;
   return text;
}

/// Whether the skip ended at the "x" of a hexadecimal number.
bool isHexForm(char const * text, char const * reached)
{
   return reached != text && (*reached == 'x' || *reached == 'X');
}

/// Whether "0x" and a digit stand there; if not, `*ok` becomes false.
bool hexConverts(char const * x, bool * ok)
{
   bool const converts = x[-1] == '0' && classOf(std::isxdigit, x[1]) != 0;
   if (!converts && ok != nullptr)
      *ok = false;
   return converts;
}

struct IntegerText
{
   bool negative;
   bool overflows; ///< More than 32 bits.
   bool moved;     ///< There was a digit.
   std::uint32_t magnitude;
};

/// Reads an integer as strtol does with base 0, but 32 bits wide.
IntegerText readInteger(char const * text)
{
   while (classOf(std::isspace, *text) != 0)
      ++text;
   bool const negative = *text == '-';
   if (*text == '-' || *text == '+')
      ++text;
   int base = *text == '0' ? 8 : 10;
   if (base == 8 && (text[1] == 'x' || text[1] == 'X') && classOf(std::isxdigit, text[2]) != 0)
   {
      base = 16;
      text += 2;
   }
   std::uint32_t magnitude = 0;
   std::errc const error = std::from_chars(text, text + std::strlen(text), magnitude, base).ec;
   return {negative, error == std::errc::result_out_of_range, error != std::errc::invalid_argument,
           magnitude};
}

/// Reads a real number, by the rule that toFloat and toDouble share; the bits of "0x..." go to `hexBits`.
double readReal(char const * text, std::uint64_t & hexBits, bool * ok)
{
   hexBits = 0;
   if (text == nullptr)
      return 0.0;
   char const * const reached = skipLead(text);
   if (isHexForm(text, reached))
   {
      if (hexConverts(reached, ok))
         hexBits = std::strtoull(reached - 1, nullptr, 16);
      return 0.0;
   }
   char * end = nullptr;
   double const value = std::strtod(reached, &end);
   if (ok != nullptr)
   {
      if (value == HUGE_VAL)
         *ok = errno != ERANGE;
      else
         *ok = !(value == 0.0 && errno == EINVAL) && end != reached;
   }
   return value;
}

} // namespace

// Text to numbers. Nowhere is errno cleared: a stale value may decide the outcome, and callers rely on it.

int DtString::toInt(bool * ok) const
{
   if (storage == nullptr)
      return 0;
   char const * const reached = skipLead(storage);
   if (isHexForm(storage, reached))
   {
      // The digits are not the number: they land in the low half of a double that is then truncated.
      hexConverts(reached, ok);
      return 0;
   }
   IntegerText const read = readInteger(reached);
   std::uint32_t const limit = read.negative ? 0x80000000u : 0x7FFFFFFFu;
   bool const tooLarge = read.overflows || read.magnitude > limit;
   if (tooLarge)
      errno = ERANGE;
   std::int64_t const magnitude = tooLarge ? limit : read.magnitude;
   int const value = static_cast<int>(read.negative ? -magnitude : magnitude);
   if (ok != nullptr && value == 0)
      *ok = read.moved;
   if (ok != nullptr && (value == INT_MAX || value == INT_MIN))
      *ok = errno != ERANGE;
   return value;
}

unsigned int DtString::toUInt(bool * ok) const
{
   if (storage == nullptr)
      return 0;
   char const * const reached = skipLead(storage);
   if (isHexForm(storage, reached))
   {
      hexConverts(reached, ok);
      return 0;
   }
   IntegerText const read = readInteger(reached);
   if (read.overflows)
      errno = ERANGE;
   unsigned int const value = read.overflows  ? UINT_MAX
                              : read.negative ? 0u - read.magnitude
                                              : read.magnitude;
   if (ok != nullptr)
   {
      if (value == UINT_MAX)
         *ok = errno != ERANGE;
      else
         *ok = !(value == 0 && errno == EINVAL) && read.moved;
   }
   return value;
}

float DtString::toFloat(bool * ok) const
{
   std::uint64_t unused = 0;
   return static_cast<float>(readReal(storage, unused, ok));
}

double DtString::toDouble(bool * ok) const
{
   std::uint64_t bits = 0;
   double value = readReal(storage, bits, ok);
   if (bits != 0)
      std::memcpy(&value, &bits, sizeof value);
   return value;
}

bool DtString::toBoolean(bool * ok) const
{
   bool isNumber = true;
   int const number = toInt(&isNumber);
   bool const isTrue = isNumber ? number != 0 : caseCompare("true");
   bool const isTruth = isNumber || isTrue || caseCompare("false");
   if (ok != nullptr)
      *ok = isTruth;
   return isTrue;
}
