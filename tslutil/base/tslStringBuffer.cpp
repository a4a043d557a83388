// SPDX-License-Identifier: MIT
#include "tslutil/base/tslStringBuffer.h"

#include "tslutil/base/tslNetTypes.h"
#include "tslutil/base/tslString.h"

#include <climits>
#include <cstdint>
#include <cstring>

int DtVariableArraySizeLength = 4;

namespace
{

/// The count field as it is written.
int const theCountLength = 4;

template<class Value>
Value valueAt(char const * from)
{
   Value value;
   std::memcpy(&value, from, sizeof value);
   return value;
}

int writeCounted(char * buffer, int bufferSize, DtString const & text)
{
   int const length = text.size();
   if (bufferSize < std::int64_t(length) + theCountLength)
      return 0;
   DtNetU32 const count(static_cast<std::uint32_t>(length));
   std::memcpy(buffer, &count, sizeof count);
   std::memcpy(buffer + theCountLength, text.string(), static_cast<std::size_t>(length));
   return length + theCountLength;
}

int writeWide(char * buffer, int bufferSize, DtString const & text)
{
   int const length = text.size();
   if (bufferSize < 2 * std::int64_t(length) + theCountLength)
      return 0;
   DtNetU32 const count(static_cast<std::uint32_t>(length));
   std::memcpy(buffer, &count, sizeof count);
   char * unit = buffer + theCountLength;
   for (int i = 0; i < length; ++i)
   {
      *unit++ = '\0';
      *unit++ = text[i];
   }
   return 2 * length + theCountLength;
}

/// Copies `size` bytes of the text if they fit.
int writeBytes(char * buffer, int bufferSize, DtString const & text, int size)
{
   if (bufferSize < size)
      return 0;
   if (size > 0)
      std::memcpy(buffer, text.string(), static_cast<std::size_t>(size));
   return size;
}

int readCounted(DtString * text, char const * buffer, int bufferSize)
{
   std::int64_t const count = valueAt<DtNetU32>(buffer);
   // Meant: the count field is added to the bound where a strict reader would take it off.
   bool const fits = bufferSize >= 0 && count <= std::int64_t(DtVariableArraySizeLength) + bufferSize;
   std::int64_t const used = count + DtVariableArraySizeLength;
   if (!fits || used > INT_MAX)
      return 0;
   *text = DtString(buffer + DtVariableArraySizeLength, static_cast<int>(count));
   return static_cast<int>(used);
}

int readWide(DtString * text, char const * buffer)
{
   std::int32_t const count = valueAt<DtNetInt32>(buffer);
   char const * const units = buffer + DtVariableArraySizeLength;
   auto const unitAt = [units](int i)
   { return std::uint16_t(valueAt<DtNetU16>(units + 2 * std::ptrdiff_t(i))); };
   // Room is made for the units that are there, not for those that the count claims.
   int length = 0;
   while (length < count && unitAt(length) != 0)
      ++length;
   DtString narrow(units, length);
   for (int i = 0; i < length; ++i)
      narrow[i] = static_cast<char>(unitAt(i));
   *text = narrow;
   return static_cast<int>(DtVariableArraySizeLength + 2 * std::int64_t(count));
}

int readTerminated(DtString * text, char const * buffer, int bufferSize)
{
   if (bufferSize > 0)
   {
      void const * const end = std::memchr(buffer, '\0', static_cast<std::size_t>(bufferSize));
      std::ptrdiff_t const length = end == nullptr ? bufferSize : static_cast<char const *>(end) - buffer;
      *text = DtString(buffer, static_cast<int>(length));
   }
   return text->length() + 1;
}

} // namespace

int DtStringGetNetPadding(DtStringEncodingType type)
{
   switch (type)
   {
   case DtStringCounted:
      return DtVariableArraySizeLength;
   case DtStringTerminated:
   case DtStringTerminated3:
      return 1;
   default:
      return 0;
   }
}

int DtStringToBuffer(DtStringEncodingType type, char * buffer, int bufferSize, DtString const & text,
                     bool wide)
{
   switch (type)
   {
   case DtStringCounted:
      return wide ? writeWide(buffer, bufferSize, text) : writeCounted(buffer, bufferSize, text);
   case DtStringTerminated:
   case DtStringTerminated3:
      return writeBytes(buffer, bufferSize, text, text.size() + 1);
   case DtStringBare:
   case DtStringBare4:
   case DtStringBare5:
   case DtStringBareWriteOnly:
      return writeBytes(buffer, bufferSize, text, text.size());
   default:
      return 0;
   }
}

int DtStringFromBuffer(DtStringEncodingType type, DtString * text, char const * buffer, int bufferSize,
                       bool wide)
{
   switch (type)
   {
   case DtStringCounted:
      return wide ? readWide(text, buffer) : readCounted(text, buffer, bufferSize);
   case DtStringTerminated:
   case DtStringTerminated3:
      return readTerminated(text, buffer, bufferSize);
   case DtStringBare:
   case DtStringBare4:
   case DtStringBare5:
      *text = DtString(buffer, bufferSize);
      return bufferSize;
   default:
      return 0;
   }
}
