// SPDX-License-Identifier: MIT
#include "tslutil/base/tslException.h"

#include "support/capturedStream.h"
#include "tslutil/base/tslAssert.h"

#include <gtest/gtest.h>

namespace
{

using testing::PrintToString;

TEST(DtException, HoldsMessageAndLocationAndKindsHaveNumbers)
{
   DtException const full("text", "int f()", "file.cpp", 4000000000u, nullptr);
   EXPECT_STREQ(full.what() + "|" + full.where(), "text|int f() [file.cpp:4000000000] ");
   EXPECT_TRUE(full.lastException() == nullptr && full.initialException() == &full);
   EXPECT_EQ(PrintToString(DtException(nullptr, nullptr)) +
                PrintToString(DtException(nullptr, nullptr, nullptr, 1, nullptr)),
             " ()\n ( [:1] )\n");
   static_assert(std::is_same_v<DtInvalidInput, DtTemplatedException<-1>> &&
                 std::is_same_v<DtThreadAlreadyRunning, DtTemplatedException<1001>> &&
                 std::is_same_v<DtThreadNotStarted, DtTemplatedException<1002>> &&
                 std::is_same_v<DtThreadCreationError, DtTemplatedException<1003>>);
   EXPECT_THROW(throw DtTemplatedException<7>("d", "f", "a", 1), DtException);
   EXPECT_STREQ(DtTslRtiMismatchException("e").message(), "e");
}

TEST(DtException, CopiesOfAChainStandAlone)
{
   auto newest = std::make_unique<DtException>("3", "h", "c", 3u, nullptr);
   newest = std::make_unique<DtException>("2", newest.get());
   newest = std::make_unique<DtException>("1", "f", "a", 1u, newest.get());
   DtException copy(*newest);
   DtException assigned("x", &copy);
   assigned = *newest;
   newest.reset();
   EXPECT_EQ(PrintToString(copy), "1 (f [a:1] )\n2 ()\n3 (h [c:3] )\n");
   EXPECT_EQ(PrintToString(assigned), PrintToString(copy));
   EXPECT_STREQ(assigned.initialException()->message(), "3");
   // A link of its own chain may be assigned to an exception, and it to itself.
   copy = *copy.lastException();
   DtException const & self = copy;
   copy = self;
   EXPECT_EQ(PrintToString(copy), "2 ()\n3 (h [c:3] )\n");
}

TEST(DtAssert, DoesWhatItIsToldToAtAFailureOnly)
{
   CapturedStream captured;
   static std::string calls;
   int tests = 0;
   EXPECT_EQ(DtAssert::getAssertFunction(), nullptr);
   DtASSERT(++tests == 0);
   DtAssert::setAssertFunction(
      [](char const * file, char const * function, int line, char const * expression)
      { calls += std::string(file) + function + std::to_string(line) + expression; });
   DtASSERT(++tests == 2);
   std::string const line = std::to_string(__LINE__ + 1);
   DtASSERT(++tests == 0);
   EXPECT_EQ(std::exchange(calls, ""), __FILE__ + std::string(__PRETTY_FUNCTION__) + line + "++tests == 0");
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
