// SPDX-License-Identifier: MIT
#include "tslutil/base/tslAssert.h"

#include "tslutil/base/tslException.h"
#include "tslutil/base/tslNotify.h"

namespace
{

char const * orEmpty(char const * text)
{
   return text != nullptr ? text : "";
}

} // namespace

DtAssert::AssertFunction DtAssert::theAssertFunction = nullptr;
DtAssert::AssertFunction const DtAssert::theNoAssertFunction = nullptr;
DtOutputStream & DtAssert::theAssertStream = DtWarn;

void DtAssert::fatal()
{
   theAssertFunction = defaultFatal;
}

void DtAssert::warn()
{
   theAssertFunction = defaultNonFatal;
}

void DtAssert::ignore()
{
   theAssertFunction = theNoAssertFunction;
}

void DtAssert::setAssertFunction(AssertFunction function)
{
   theAssertFunction = function;
}

DtAssert::AssertFunction DtAssert::getAssertFunction()
{
   return theAssertFunction;
}

// A pointer is thrown on purpose: the catching site owns the object.
void DtAssert::defaultFatal(char const * file, char const * function, int line, char const * expression)
{
   defaultNonFatal(file, function, line, expression);
   throw new DtException("Assert", function, file, static_cast<unsigned int>(line), nullptr);
}

void DtAssert::defaultNonFatal(char const * file, char const * function, int line, char const * expression)
{
   theAssertStream << "DtAssert `" << orEmpty(expression) << "` Failed in `" << orEmpty(function) << "` ["
                   << orEmpty(file) << ":" << line << "]" << std::endl;
}
