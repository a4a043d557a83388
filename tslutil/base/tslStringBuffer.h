// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

class DtString;

/// Strings in network buffers: counted, bare or terminated. Nothing here locks.

/// The length in bytes of the count field of a variable array, and so of a counted string, for those who read
/// one; writing always uses 4.
extern TSLUTIL_EXPORT int DtVariableArraySizeLength;

/// The form of a string in a buffer. No other number is a form.
enum DtStringEncodingType : int
{
   DtStringCounted = 0,      ///< A 32-bit count, then the characters, in 1 or 2 bytes each.
   DtStringBare = 1,         ///< The characters alone; the reader knows the length.
   DtStringTerminated = 2,   ///< The characters and a NUL.
   DtStringTerminated3 = 3,  ///< As DtStringTerminated.
   DtStringBare4 = 4,        ///< As DtStringBare.
   DtStringBare5 = 5,        ///< As DtStringBare.
   DtStringBareWriteOnly = 6 ///< As DtStringBare, but never read.
};

/// How many bytes a form takes beyond the text.
TSLUTIL_EXPORT int DtStringGetNetPadding(DtStringEncodingType type);

/// Writes a string and returns the bytes used, or 0 if they do not fit `bufferSize` or there is no such form;
/// then nothing is written. `wide` gives the characters of a counted string as big-endian 16-bit units. The
/// count follows the ordering of the DtNet values.
TSLUTIL_EXPORT int DtStringToBuffer(DtStringEncodingType type, char * buffer, int bufferSize,
                                    DtString const & text, bool wide = false);

/// Reads a string and returns the bytes used, or 0 if the form is not readable; then `text` stays as it was.
/// The caller vouches for counted strings. A count is let pass up to `bufferSize` +
/// DtVariableArraySizeLength, so that up to twice that length may be read behind the buffer; the count of a
/// wide string is not compared with `bufferSize` at all. A wide string ends at a zero unit, but its whole
/// count is used; each unit, read in the ordering of the DtNet values, gives its low byte. A terminated
/// string without its NUL ends with the buffer.
TSLUTIL_EXPORT int DtStringFromBuffer(DtStringEncodingType type, DtString * text, char const * buffer,
                                      int bufferSize, bool wide = false);
