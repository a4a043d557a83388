// SPDX-License-Identifier: MIT
// The free functions of strings: operators, streams and helpers.
#include "tslutil/base/tslString.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <ostream>

// Operators, through the left side's slots.

bool operator==(DtString const & left, DtString const & right)
{
   return left == right.string();
}

bool operator!=(DtString const & left, DtString const & right)
{
   return left != right.string();
}

bool operator<(DtString const & left, DtString const & right)
{
   return left < right.string();
}

bool operator<=(DtString const & left, DtString const & right)
{
   return left <= right.string();
}

bool operator>(DtString const & left, DtString const & right)
{
   return left > right.string();
}

bool operator>=(DtString const & left, DtString const & right)
{
   return left >= right.string();
}

DtString operator+(DtString const & left, DtString const & right)
{
   return left + right.string();
}

DtString operator+(char const * left, DtString const & right)
{
   return DtString(left) + right.string();
}

// Streams.

namespace
{

using Word = char[DtString::theMaxInsertionStringSize];

/// Reads a word, or a piece as long as the buffer or the caller's narrower field; false if there is none.
bool readWord(std::istream & in, Word & word)
{
   word[0] = '\0';
   if (in.width() <= 0 || in.width() > DtString::theMaxInsertionStringSize)
      in.width(DtString::theMaxInsertionStringSize);
   in >> word;
   in.width(0);
   return !in.fail();
}

/// Takes the quote off a word that ends in one; whether it did.
bool takeClosingQuote(Word & word)
{
   std::size_t const length = std::strlen(word);
   if (length == 0 || word[length - 1] != '"')
      return false;
   word[length - 1] = '\0';
   return true;
}

} // namespace

std::ostream & operator<<(std::ostream & out, DtString const & text)
{
   char const * const written = text.string();
   return written == nullptr ? out : out << written;
}

std::istream & operator>>(std::istream & in, DtString & text)
{
   Word word = {};
   readWord(in, word);
   if (word[0] != '"')
   {
      text = word;
      return in;
   }
   bool closed = takeClosingQuote(word);
   // A lone quote is both ends: nothing lies behind it.
   text = word + 1;
   // A stream that has no more words will never close the quotes.
   while (!closed && readWord(in, word))
   {
      closed = takeClosingQuote(word);
      text += " ";
      text += word;
   }
   return in;
}

// Free helpers.

namespace
{

DtString withFirst(DtString const & text, int (*changed)(int))
{
   DtString result(text);
   if (!result.isEmpty())
      result[0] = static_cast<char>(changed(static_cast<unsigned char>(result[0])));
   return result;
}

/// `text` with the `from` at `found` replaced.
DtString replacedAt(DtString const & text, char const * found, DtString const & from, DtString const & to)
{
   DtString result(text.string(), static_cast<int>(found - text.string()));
   result += to;
   result += found + from.size();
   return result;
}

/// Moves the bytes from `first` on in the alphabet's 26 by `distance`.
char * shiftLetters(char * text, char first, int distance)
{
   for (char * c = text; c != nullptr && *c != '\0'; ++c)
   {
      if (*c >= first && *c <= first + 25)
         *c = static_cast<char>(*c + distance);
   }
   return text;
}

} // namespace

bool DtContainsSubstring(DtString const & text, DtString const & part)
{
   return std::strstr(text.string(), part.string()) != nullptr;
}

DtString DtFirstCharToLower(DtString const & text)
{
   return withFirst(text, std::tolower);
}

DtString DtFirstCharToUpper(DtString const & text)
{
   return withFirst(text, std::toupper);
}

DtString DtFirstCharToLowerConditional(DtString const & text)
{
   if (text.size() >= 2 && std::islower(static_cast<unsigned char>(text[1])) == 0)
      return text;
   return DtFirstCharToLower(text);
}

DtString DtReplaceSubstring(DtString const & text, DtString const & from, DtString const & to)
{
   char const * const found = std::strstr(text.string(), from.string());
   if (found == nullptr)
      return text;
   if (std::int64_t(text.size()) - from.size() + to.size() >= 512)
   {
      std::fputs("DtReplaceSubstring: the result has more than 511 characters\n", stderr);
      std::abort();
   }
   return replacedAt(text, found, from, to);
}

DtString DtReplaceAllSubstrings(DtString const & text, DtString const & from, DtString const & to)
{
   DtString result(text);
   while (char const * found = std::strstr(result.string(), from.string()))
      result = replacedAt(result, found, from, to);
   return result;
}

char * DtStrdup(char const * text)
{
   if (text == nullptr)
      return nullptr;
   std::size_t const size = std::strlen(text) + 1;
   char * const copy = new char[size];
   std::memcpy(copy, text, size);
   return copy;
}

char * DtToLower(char * text)
{
   return shiftLetters(text, 'A', 'a' - 'A');
}

char * DtToUpper(char * text)
{
   return shiftLetters(text, 'a', 'A' - 'a');
}

int DtResizeString(char *& buffer, int & size, int wanted)
{
   if (buffer == nullptr)
      size = 0;
   std::int64_t const need = (std::int64_t(wanted) + 1 + 3) / 4 * 4;
   if (wanted < 0 || need > INT_MAX)
      return -1;
   if (need <= size)
      return 0;
   std::size_t const newSize = static_cast<std::size_t>(need);
   char * const grown = static_cast<char *>(std::realloc(buffer, newSize));
   if (grown == nullptr)
   {
      std::free(buffer);
      buffer = nullptr;
      size = 0;
      return -1;
   }
   std::size_t const oldSize = static_cast<std::size_t>(std::max(size, 0));
   std::memset(grown + oldSize, 0, newSize - oldSize);
   buffer = grown;
   size = static_cast<int>(need);
   return 0;
}
