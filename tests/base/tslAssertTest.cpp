// SPDX-License-Identifier: MIT
#include "tslutil/base/tslAssert.h"

#include "support/capturedStream.h"
#include "tslutil/base/tslException.h"

#include <gtest/gtest.h>

namespace
{

TEST(DtAssert, DoesWhatItIsToldToAtAFailureOnly)
{
   CapturedStream captured;
   static std::string calls;
   calls.clear();
   int tests = 0;
   EXPECT_EQ(DtAssert::getAssertFunction(), nullptr);
   DtASSERT(++tests == 0);
   DtAssert::setAssertFunction(
      [](char const * file, char const * function, int line, char const * expression)
      { calls += std::string(file) + function + std::to_string(line) + expression; });
   DtASSERT(++tests == 2);
   int const before = __LINE__;
   DtASSERT(++tests == 0);
   EXPECT_EQ(calls,
             __FILE__ + std::string(__PRETTY_FUNCTION__) + std::to_string(before + 1) + "++tests == 0");
   DtAssert::ignore();
   DtASSERT(++tests == 0);
   EXPECT_EQ(tests, 4);

   DtAssert::warn();
   DtAssert::getAssertFunction()("a.cpp", "void f()", 12, "x > 0");
   DtAssert::fatal();
   try
   {
      DtAssert::getAssertFunction()("b.cpp", "void g()", 34, "y");
      ADD_FAILURE() << "it returned";
   }
   catch (DtException * thrown)
   {
      EXPECT_EQ(thrown->where() + thrown->what(), DtString("void g() [b.cpp:34] Assert"));
      delete thrown;
   }
   DtAssert::ignore();
   EXPECT_EQ(captured.textAt(1), "DtAssert `x > 0` Failed in `void f()` [a.cpp:12]\n"
                                 "DtAssert `y` Failed in `void g()` [b.cpp:34]\n");
}

} // namespace
