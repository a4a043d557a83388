// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslException.h"

#include <boost/current_function.hpp>

/// How the library throws: DtTHROW(DtInvalidInput, "no such port") throws a DtInvalidInput by value with the
/// message "DtInvalidInput: no such port", the signature of the throwing function, the name of the source
/// file without its directory, and no cause. The detail is a DtString or a `char const *`.
#define DtTHROW(Class, detail)                                                                               \
   tsl::throwException<Class>(#Class ": ", detail, BOOST_CURRENT_FUNCTION, __FILE__, __LINE__)

namespace tsl
{

/// The part of a source file's path that a location shows.
DtString sourceFileName(char const * path);

/// Throws an `Exception` with the joined message and the place told.
template<class Exception>
[[noreturn]] void throwException(char const * prefix, DtString const & detail, char const * function,
                                 char const * path, unsigned int line)
{
   DtString const message(prefix + detail);
   DtString const file(sourceFileName(path));
   throw Exception(message.string(), function, file.string(), line, nullptr);
}

} // namespace tsl
