// SPDX-License-Identifier: MIT
#pragma once

/// Assertions, all routed to one function that the application chooses at its start. The state is unguarded:
/// set it before there are threads.

#include "tslutil/base/tslOutputStream.h"
#include "tslutil/tslutilExport.h"

#include <boost/current_function.hpp>

/// Tests `expression` and, if it fails and there is an assert function, calls that with the place.
#define DtASSERT(expression)                                                                                 \
   do                                                                                                        \
   {                                                                                                         \
      if (!(expression) && DtAssert::getAssertFunction() != nullptr)                                         \
         DtAssert::getAssertFunction()(__FILE__, BOOST_CURRENT_FUNCTION, __LINE__, #expression);             \
   } while (false)

/// What happens at a failed assertion: nothing, until the application chooses otherwise.
class TSLUTIL_EXPORT DtAssert
{
public:
   /// Called with source file, function, line and the text of the failed expression.
   typedef void (*AssertFunction)(char const * file, char const * function, int line,
                                  char const * expression);

   /// The function that failed assertions call; null, the start value, does nothing.
   static AssertFunction theAssertFunction;
   /// The null that ignores failed assertions.
   static AssertFunction const theNoAssertFunction;
   /// Where the default functions print: DtWarn.
   static DtOutputStream & theAssertStream;

   /// Failed assertions print a line, then throw a pointer to a DtException on the heap, which the catching
   /// site owns. This is the one place where the library throws a pointer, and it is meant.
   static void fatal();
   /// Failed assertions print a line.
   static void warn();
   /// Failed assertions do nothing.
   static void ignore();
   /// Failed assertions call `function`; null ignores them.
   static void setAssertFunction(AssertFunction function);
   /// What failed assertions call, or null.
   static AssertFunction getAssertFunction();

protected:
   /// What fatal() installs.
   static void defaultFatal(char const * file, char const * function, int line, char const * expression);
   /// What warn() installs.
   static void defaultNonFatal(char const * file, char const * function, int line, char const * expression);
};
