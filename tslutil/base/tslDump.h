// SPDX-License-Identifier: MIT
#pragma once

/// Labelled fields for a person to read. Each function writes one line: the label, ": ", blanks up to the
/// common column, the value. The DtDump family writes to DtInfo, so it is silent when that stream is. `long`
/// values count as 32 bits.

#include "tslutil/base/tslString.h"
#include "tslutil/tslutilExport.h"

#include <cstdint>
#include <iosfwd>

/// Writes `label` and ": ", then blanks for the characters that the label, without the ": ", lacks to
/// `width`.
TSLUTIL_EXPORT void DtPrintAndIndent(std::ostream & out, DtString const & label, int width);

/// "TRUE" or "FALSE". If `value` is false and `suppressFalse` is not 0, the line stays open behind the label.
TSLUTIL_EXPORT void DtDumpBoolean(char const * label, bool value, int suppressFalse = 0);
/// `name`, unless it is null, and the number in parentheses.
TSLUTIL_EXPORT void DtDumpEnum(char const * label, char const * name, int value);
/// The value as the stream formats it.
TSLUTIL_EXPORT void DtDumpFloat(char const * label, double value);
/// The value as the stream formats it.
TSLUTIL_EXPORT void DtDumpInteger(char const * label, long value);
/// The text; null counts as empty.
TSLUTIL_EXPORT void DtDumpString(char const * label, char const * value);
/// The text.
TSLUTIL_EXPORT void DtDumpString(char const * label, DtString const & value);
/// The value in hexadecimal.
TSLUTIL_EXPORT void DtDumpHexWord(char const * label, unsigned long value);
/// The label on a line of its own, then the bytes as DtDumpHex writes them.
TSLUTIL_EXPORT void DtDumpHexBytes(char const * label, void const * bytes, int count);

/// "TRUE" or "FALSE".
TSLUTIL_EXPORT void DtPrintAttribute(std::ostream & out, char const * label, bool value);
/// `name`, unless it is null, and the number in parentheses.
TSLUTIL_EXPORT void DtPrintAttribute(std::ostream & out, char const * label, char const * name, int value);
/// The value as a decimal number.
TSLUTIL_EXPORT void DtPrintAttribute(std::ostream & out, char const * label, unsigned char value);
/// The value in hexadecimal; the stream's format flags stay as they were.
TSLUTIL_EXPORT void DtPrintAttributeHex(std::ostream & out, char const * label, unsigned long value);
/// The label on a line of its own, then the bytes as DtDumpHex writes them.
TSLUTIL_EXPORT void DtPrintAttributeHex(std::ostream & out, char const * label, void const * bytes,
                                        int count);

/// Writes one line of bytes in hexadecimal, each with a blank behind it. The width of two digits holds for
/// the first byte only, and the stream's fill character is "0" afterwards: the dumps are meant to look so.
TSLUTIL_EXPORT void DtDumpLineOfHex(std::ostream & out, unsigned char * bytes, std::uint64_t count);
/// Writes the bytes in lines of 8 by DtDumpLineOfHex.
TSLUTIL_EXPORT void DtDumpHex(std::ostream & out, char const * bytes, std::uint64_t count);
/// Writes the bytes in lines of `perLine`, each as a blank and two digits. A `perLine` of 0 makes one line.
TSLUTIL_EXPORT void printHexToStream(std::ostream & out, unsigned int perLine, unsigned char * bytes,
                                     unsigned int count);
