// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

#include <climits>
#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <string>
#include <vector>

/// The string of the library: single-byte text that ends in a NUL, held by value. Text of up to 63 characters
/// lies in the object and never touches the heap; longer text lies in a block of the exact size needed, and a
/// block once taken is kept and counts in every copy. The length is counted at each call, not stored.
/// An object belongs to one thread at a time. Nothing here throws but a failing allocation.
class TSLUTIL_EXPORT DtString
{
public:
   /// The size of the word buffer of `operator>>`: a word of more than 255 characters is read in pieces.
   static constexpr int theMaxInsertionStringSize = 256;

   /// Empty text.
   DtString();
   /// A deep copy that also takes over the source's capacity.
   DtString(DtString const & other);
   /// A copy of the text with its NUL.
   DtString(std::string const & text);
   /// A copy; null gives empty text.
   DtString(char const * text);
   /// The first `count` bytes of `text`, NULs among them or not; null, 0 and -1 give empty text. A count
   /// below -1 fails as an allocation does, with std::bad_alloc.
   DtString(char const * text, int count);
   /// One character; the NUL gives empty text.
   DtString(char character);
   /// Decimal digits.
   DtString(int number);
   /// Decimal digits.
   DtString(unsigned int number);
   /// Decimal digits of the low 32 bits.
   DtString(long number);
   /// Decimal digits of the low 32 bits.
   DtString(unsigned long number);
   /// Up to 13 significant digits, as by "%.13g".
   DtString(double number);

   // Virtual operations, in slot order.

   virtual ~DtString();
   /// Copies text and capacity; the block is replaced only by a larger one.
   virtual DtString & operator=(DtString const & other);
   /// Copies the text; null empties it and keeps the storage. The text may lie within this object.
   virtual DtString & operator=(char const * text);
   /// The storage, valid until the text grows.
   virtual operator char const *() const;
   /// A new deep copy, which the caller deletes.
   virtual DtString * clone() const;
   /// The six comparisons go byte by byte as unsigned values; each is false with a null argument, also `!=`.
   virtual bool operator<(char const * text) const;
   /// Greater.
   virtual bool operator>(char const * text) const;
   /// Equal.
   virtual bool operator==(char const * text) const;
   /// Unequal; false with a null argument too, which is meant.
   virtual bool operator!=(char const * text) const;
   /// Less or equal.
   virtual bool operator<=(char const * text) const;
   /// Greater or equal.
   virtual bool operator>=(char const * text) const;
   /// Whether the texts are equal but for upper and lower case.
   virtual bool caseCompare(DtString const & other) const;
   /// The same; null equals nothing.
   virtual bool caseCompare(char const * text) const;
   /// A copy with `text` behind it; null adds nothing.
   virtual DtString operator+(char const * text) const;
   /// Appends; the object itself may be appended.
   virtual DtString & operator+=(DtString const & other);
   /// Appends; null adds nothing. The text may lie within this object.
   virtual DtString & operator+=(char const * text);
   /// The byte at an index, which is not checked.
   virtual char const & operator[](int index) const;
   /// The same, to be written.
   virtual char & operator[](int index);
   /// Removes all up to and including a `c`: the last one if `last`, else the first. Returns whether the text
   /// changed; it does not if `c` is NUL or absent.
   virtual bool snipFront(char c, bool last = false);
   /// Removes a `c` and all behind it: the first one if `first`, else the last. Returns as snipFront does.
   virtual bool snipBack(char c, bool first = false);
   /// Removes white space at the front; whether there was any.
   virtual bool chompFront();
   /// Removes white space at the end; whether there was any.
   virtual bool chompBack();
   /// Replaces `out` by the tokens between the delimiters. Empty tokens count, but for one at the very end.
   virtual void tokenize(char delim, std::vector<DtString> & out) const;
   /// The number in front of any other text. Leading zeros are no octal prefix unless a "-" stands before
   /// them. `ok` may be null; it is written only where the outcome tells something, so preset it to true.
   /// errno is not cleared and a stale ERANGE or EINVAL may decide the outcome. "0x..." gives 0.
   virtual int toInt(bool * ok = nullptr) const;
   /// The same, for 0 to 4294967295; a negative number wraps.
   virtual unsigned int toUInt(bool * ok = nullptr) const;
   /// The number narrowed to single precision. "0x..." gives 0.
   virtual float toFloat(bool * ok = nullptr) const;
   /// The number; the digits of "0x..." are the 64 bits of the double itself.
   virtual double toDouble(bool * ok = nullptr) const;
   /// Whether the number is not 0 or the text is "true" in any case; `*ok` becomes false if the text is
   /// neither a number nor "true" nor "false".
   virtual bool toBoolean(bool * ok = nullptr) const;
   /// Changes the letters in place, as the C locale in force has it.
   virtual void toUpper();
   /// The same, to lower case.
   virtual void toLower();
   /// The index of the first `c`, or -1. The NUL is found at the end.
   virtual int findChar(char c) const;
   /// The index of the last `c`, or -1.
   virtual int findLastChar(char c) const;
   /// The index of the first occurrence, or -1.
   virtual int findString(char const * text) const;
   /// The same index as findString, despite the name: callers rely on the lowest match.
   virtual int findLastString(char const * text) const;
   /// How many bytes equal `c`.
   virtual int count(char c) const;
   /// The number of characters.
   virtual int length() const;
   /// The same as length().
   virtual int size() const;
   /// A copy of the text.
   virtual std::string stdString() const;
   /// The storage, valid until the text grows.
   virtual char const * string() const;
   /// The same as string().
   virtual char const * c_str() const;
   /// Whether there is no text.
   virtual bool isEmpty() const;
   /// The non-empty tokens numbered `start` to `end`, joined by `sep`. Negative numbers count from the end.
   /// Empty tokens have no number, but their separators are kept within the range.
   virtual DtString section(char sep, int start, int end = -1) const;

   /// snipBack at the first `c`.
   bool snipBackToFirst(char c);
   /// snipFront through the last `c`.
   bool snipFrontToLast(char c);

   /// Two distinct empty strings that live until the process ends. What equals them is "null".
   static DtString const & nullString();
   /// The other of the two.
   static DtString const & nullId();

protected:
   /// The same as operator=(char const *), but no slot.
   void setString(char const * text);

   /// Releases the block and leaves the object without storage: a step of reallocation and the destructor.
   void clear();

private:
   static constexpr int theInlineSize = 64;

   static char * newBlock(std::size_t size);
   [[noreturn]] static void failForSize();
   void start(char const * text, std::size_t length);
   void startAs(DtString const & other);
   void adopt(char * block, std::size_t size);
   void takeBlock(std::size_t size) { take(newBlock(size), size); }
   void take(char * block, std::size_t size)
   {
      storage = block;
      onHeap = true;
      capacity = static_cast<int>(size);
   }
   bool comparesWith(char const * text) const { return storage != nullptr && text != nullptr; }

   char inlineBuffer[theInlineSize];
   char * storage;
   bool onHeap;
   int capacity;
};

// Text is made, copied and dropped without a call but those for a block, and read without one.

inline DtString::DtString() : storage(inlineBuffer), onHeap(false), capacity(theInlineSize)
{
   inlineBuffer[0] = '\0';
}

inline DtString::DtString(DtString const & other)
   : storage(inlineBuffer), onHeap(false), capacity(theInlineSize)
{
   if (other.capacity == theInlineSize)
      std::memcpy(inlineBuffer, other.storage, theInlineSize);
   else if (other.capacity > theInlineSize)
   {
      takeBlock(static_cast<std::size_t>(other.capacity));
      std::memcpy(storage, other.storage, static_cast<std::size_t>(other.capacity));
   }
   else
      startAs(other);
}

inline DtString::DtString(char const * text) : storage(inlineBuffer), onHeap(false), capacity(theInlineSize)
{
   start(text, text == nullptr ? 0 : std::strlen(text));
}

inline DtString::DtString(char const * text, int count)
   : storage(inlineBuffer), onHeap(false), capacity(theInlineSize)
{
   start(text, text == nullptr || count == -1 ? 0 : static_cast<std::size_t>(count));
}

inline DtString::~DtString()
{
   if (onHeap)
      clear();
}

inline void DtString::clear()
{
   if (onHeap)
      delete[] storage;
   storage = nullptr;
   onHeap = false;
   capacity = 0;
}

/// A block of the exact size, which the capacity must be able to tell.
inline char * DtString::newBlock(std::size_t size)
{
   if (size > INT_MAX)
      failForSize();
   return new char[size];
}

inline void DtString::start(char const * text, std::size_t length)
{
   if (length >= theInlineSize)
   {
      takeBlock(length + 1);
      std::memcpy(storage, text, length);
   }
   else if (length > 0)
      std::memcpy(inlineBuffer, text, length);
   storage[length] = '\0';
}

inline DtString::operator char const *() const
{
   return storage;
}

inline char const * DtString::string() const
{
   return storage;
}

inline char const * DtString::c_str() const
{
   return storage;
}

/// Comparisons of two strings: the left side's operation with the right side's text.
TSLUTIL_EXPORT bool operator==(DtString const & left, DtString const & right);
TSLUTIL_EXPORT bool operator!=(DtString const & left, DtString const & right);
TSLUTIL_EXPORT bool operator<(DtString const & left, DtString const & right);
TSLUTIL_EXPORT bool operator<=(DtString const & left, DtString const & right);
TSLUTIL_EXPORT bool operator>(DtString const & left, DtString const & right);
TSLUTIL_EXPORT bool operator>=(DtString const & left, DtString const & right);

/// The left text with the right text behind it.
TSLUTIL_EXPORT DtString operator+(DtString const & left, DtString const & right);
TSLUTIL_EXPORT DtString operator+(char const * left, DtString const & right);

/// Writes the text.
TSLUTIL_EXPORT std::ostream & operator<<(std::ostream & out, DtString const & text);

/// Reads one word, or the words within double quotes, joined by single blanks. Through the string's slots.
TSLUTIL_EXPORT std::istream & operator>>(std::istream & in, DtString & text);

/// Whether `part` occurs in `text`; the empty text does.
TSLUTIL_EXPORT bool DtContainsSubstring(DtString const & text, DtString const & part);

/// A copy with the first character in lower case.
TSLUTIL_EXPORT DtString DtFirstCharToLower(DtString const & text);

/// A copy with the first character in upper case.
TSLUTIL_EXPORT DtString DtFirstCharToUpper(DtString const & text);

/// DtFirstCharToLower, unless a second character follows that is no lower-case letter: "ABc" stays.
TSLUTIL_EXPORT DtString DtFirstCharToLowerConditional(DtString const & text);

/// A copy with the first `from` replaced; an empty `from` stands at the front. A result of 512 or more
/// characters ends the process.
TSLUTIL_EXPORT DtString DtReplaceSubstring(DtString const & text, DtString const & from, DtString const & to);

/// A copy with every `from` replaced, searching from the front after each. Never returns if `from` is found
/// in `to` or is empty: that is the caller's to avoid.
TSLUTIL_EXPORT DtString DtReplaceAllSubstrings(DtString const & text, DtString const & from,
                                               DtString const & to);

/// A copy that the caller releases with array delete; null for null.
TSLUTIL_EXPORT char * DtStrdup(char const * text);

/// Change 'A' to 'Z' or 'a' to 'z' in place, whatever the locale; return the argument, which may be null.
TSLUTIL_EXPORT char * DtToLower(char * text);
TSLUTIL_EXPORT char * DtToUpper(char * text);

/// Grows a malloc block to room for `wanted` characters and a NUL; new bytes are zero. Returns 0, or -1 if
/// `wanted` is out of range (nothing changed) or memory is short (the block is freed, `buffer` null, `size`
/// 0).
TSLUTIL_EXPORT int DtResizeString(char *& buffer, int & size, int wanted);
