// SPDX-License-Identifier: MIT
#include "tslutil/base/tslString.h"

#include "tslutil/platform/text.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <new>

namespace
{

unsigned char byteOf(char c)
{
   return static_cast<unsigned char>(c);
}

bool isSpace(char c)
{
   return std::isspace(byteOf(c)) != 0;
}

std::size_t lengthOf(char const * text)
{
   return text == nullptr ? 0 : std::strlen(text);
}

int indexOf(char const * found, char const * text)
{
   return found == nullptr ? -1 : static_cast<int>(found - text);
}

} // namespace

// Storage.

DtString::DtString(std::string const & text) : storage(inlineBuffer), onHeap(false), capacity(theInlineSize)
{
   start(text.data(), text.size());
}

DtString::DtString(char character) : storage(inlineBuffer), onHeap(false), capacity(theInlineSize)
{
   inlineBuffer[0] = character;
   inlineBuffer[1] = '\0';
}

void DtString::failForSize()
{
   throw std::bad_alloc();
}

// What was cleared and filled again has a capacity of its own.
void DtString::startAs(DtString const & other)
{
   inlineBuffer[0] = '\0';
   if (other.capacity > 0)
      std::memcpy(inlineBuffer, other.storage, static_cast<std::size_t>(other.capacity));
}

void DtString::adopt(char * block, std::size_t size)
{
   if (onHeap)
      delete[] storage;
   take(block, size);
}

DtString & DtString::operator=(DtString const & other)
{
   if (this == &other)
      return *this;
   std::size_t const size = static_cast<std::size_t>(other.capacity);
   if (other.capacity > capacity)
      adopt(newBlock(size), size);
   if (size > 0)
      std::memcpy(storage, other.storage, size);
   return *this;
}

DtString & DtString::operator=(char const * text)
{
   setString(text);
   return *this;
}

void DtString::setString(char const * text)
{
   if (text == nullptr)
   {
      if (storage != nullptr)
         storage[0] = '\0';
      return;
   }
   if (text == storage)
      return;
   std::size_t const size = std::strlen(text) + 1;
   if (size > static_cast<std::size_t>(capacity))
      adopt(newBlock(size), size);
   std::memmove(storage, text, size);
}

DtString * DtString::clone() const
{
   return new DtString(*this);
}

// Comparison.

bool DtString::operator<(char const * text) const
{
   return comparesWith(text) && std::strcmp(storage, text) < 0;
}

bool DtString::operator>(char const * text) const
{
   return comparesWith(text) && std::strcmp(storage, text) > 0;
}

bool DtString::operator==(char const * text) const
{
   return comparesWith(text) && std::strcmp(storage, text) == 0;
}

bool DtString::operator!=(char const * text) const
{
   return comparesWith(text) && std::strcmp(storage, text) != 0;
}

bool DtString::operator<=(char const * text) const
{
   return comparesWith(text) && std::strcmp(storage, text) <= 0;
}

bool DtString::operator>=(char const * text) const
{
   return comparesWith(text) && std::strcmp(storage, text) >= 0;
}

bool DtString::caseCompare(DtString const & other) const
{
   return caseCompare(other.string());
}

bool DtString::caseCompare(char const * text) const
{
   return comparesWith(text) && tsl::platform::compareIgnoringCase(storage, text) == 0;
}

// Concatenation.

DtString DtString::operator+(char const * text) const
{
   DtString sum(*this);
   sum += text;
   return sum;
}

DtString & DtString::operator+=(DtString const & other)
{
   return *this += other.storage;
}

DtString & DtString::operator+=(char const * text)
{
   std::size_t const added = lengthOf(text);
   if (added == 0)
      return *this;
   std::size_t const old = static_cast<std::size_t>(size());
   std::size_t const wanted = old + added + 1;
   if (wanted <= static_cast<std::size_t>(capacity))
   {
      char * const end = storage + old;
      std::memmove(end, text, added);
      end[added] = '\0';
      return *this;
   }
   // The text may lie in the old block: that goes last.
   char * const block = newBlock(wanted);
   if (old > 0)
      std::memcpy(block, storage, old);
   std::memcpy(block + old, text, added);
   block[old + added] = '\0';
   adopt(block, wanted);
   return *this;
}

// Access.

char const & DtString::operator[](int index) const
{
   return storage[index];
}

char & DtString::operator[](int index)
{
   return storage[index];
}

std::string DtString::stdString() const
{
   return std::string(storage == nullptr ? "" : storage);
}

int DtString::length() const
{
   return size();
}

int DtString::size() const
{
   return static_cast<int>(lengthOf(storage));
}

bool DtString::isEmpty() const
{
   return storage == nullptr || storage[0] == '\0';
}

int DtString::count(char c) const
{
   return static_cast<int>(std::count(storage, storage + size(), c));
}

DtString const & DtString::nullString()
{
   static DtString const & text = *new DtString;
   return text;
}

DtString const & DtString::nullId()
{
   static DtString const & text = *new DtString;
   return text;
}

// Searching.

int DtString::findChar(char c) const
{
   return storage == nullptr ? -1 : indexOf(std::strchr(storage, c), storage);
}

int DtString::findLastChar(char c) const
{
   return storage == nullptr ? -1 : indexOf(std::strrchr(storage, c), storage);
}

int DtString::findString(char const * text) const
{
   return comparesWith(text) ? indexOf(std::strstr(storage, text), storage) : -1;
}

int DtString::findLastString(char const * text) const
{
   // Meant: a walk from the end that keeps the lowest match finds the first occurrence.
   return comparesWith(text) ? indexOf(std::strstr(storage, text), storage) : -1;
}

// Trimming and cutting.

bool DtString::snipFront(char c, bool last)
{
   int const index = c == '\0' ? -1 : (last ? findLastChar(c) : findChar(c));
   if (index < 0)
      return false;
   char const * const rest = storage + index + 1;
   std::memmove(storage, rest, std::strlen(rest) + 1);
   return true;
}

bool DtString::snipBack(char c, bool first)
{
   int const index = c == '\0' ? -1 : (first ? findChar(c) : findLastChar(c));
   if (index < 0)
      return false;
   storage[index] = '\0';
   return true;
}

bool DtString::snipBackToFirst(char c)
{
   return snipBack(c, true);
}

bool DtString::snipFrontToLast(char c)
{
   return snipFront(c, true);
}

bool DtString::chompFront()
{
   if (isEmpty() || !isSpace(storage[0]))
      return false;
   char const * rest = storage;
   while (isSpace(*rest))
      ++rest;
   std::memmove(storage, rest, std::strlen(rest) + 1);
   return true;
}

bool DtString::chompBack()
{
   int const before = size();
   int after = before;
   while (after > 0 && isSpace(storage[after - 1]))
      --after;
   if (after == before)
      return false;
   storage[after] = '\0';
   return true;
}

void DtString::toUpper()
{
   if (storage != nullptr)
      tsl::platform::changeToUpper(storage);
}

void DtString::toLower()
{
   if (storage != nullptr)
      tsl::platform::changeToLower(storage);
}

void DtString::tokenize(char delim, std::vector<DtString> & out) const
{
   out.clear();
   char const * token = storage;
   char const * const end = storage + size();
   for (char const * c = token; c != end; ++c)
   {
      if (*c == delim)
      {
         out.emplace_back(token, static_cast<int>(c - token));
         token = c + 1;
      }
   }
   if (token != end)
      out.emplace_back(token, static_cast<int>(end - token));
}

DtString DtString::section(char sep, int start, int end) const
{
   std::vector<DtString> tokens;
   tokenize(sep, tokens);
   int const tokenCount = static_cast<int>(tokens.size());
   start += start < 0 ? tokenCount : 0;
   end += end < 0 ? tokenCount : 0;
   DtString result;
   if (tokens.empty() || end < 0)
      return result;
   int number = 0;
   for (auto token = tokens.begin(); token != tokens.end() && number <= end; ++token)
   {
      if (number > start)
         result += DtString(sep);
      if (number >= start)
         result += *token;
      if (!token->isEmpty())
         ++number;
   }
   return result;
}
