// SPDX-License-Identifier: MIT
#include "tslutil/base/tslAssert.h"

#include "support/capturedStream.h"
#include "tslutil/base/tslException.h"
#include "tslutil/base/tslNotify.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

int theTests = 0;
std::string theCall;

bool fails()
{
   ++theTests;
   return false;
}

void noteCall(char const * file, char const * function, int line, char const * expression)
{
   theCall = std::string(file) + "|" + function + "|" + std::to_string(line) + "|" + expression;
}

class DtAssertTest : public ::testing::Test
{
protected:
   void TearDown() override { DtAssert::ignore(); }
   CapturedStream captured;
};

TEST_F(DtAssertTest, DoesNothingUntilToldTo)
{
   EXPECT_EQ(DtAssert::theAssertFunction, nullptr);
   EXPECT_EQ(&DtAssert::theAssertStream, &DtWarn);
   theTests = 0;
   DtASSERT(fails());
   EXPECT_EQ(theTests, 1);
   EXPECT_EQ(captured.text(), "");
}

TEST_F(DtAssertTest, CallsTheAssertFunctionForAFailureOnly)
{
   DtAssert::setAssertFunction(noteCall);
   DtASSERT(!fails());
   EXPECT_EQ(theCall, "");
   int const line = __LINE__ + 1;
   DtASSERT(fails() == true);
   EXPECT_EQ(theCall, __FILE__ + ("|" + std::string(__PRETTY_FUNCTION__)) + "|" + std::to_string(line) +
                         "|fails() == true");
   EXPECT_EQ(DtAssert::getAssertFunction(), noteCall);
}

TEST_F(DtAssertTest, WarnsOrThrowsAPointer)
{
   DtAssert::warn();
   DtAssert::getAssertFunction()("a.cpp", "void f()", 12, "x > 0");
   std::string const line = "DtAssert `x > 0` Failed in `void f()` [a.cpp:12]\n";
   EXPECT_EQ(captured.textAt(1), line);
   captured.clear();
   DtNotifyLevel = 0;
   DtASSERT(fails());
   EXPECT_EQ(captured.text(), "");
   DtNotifyLevel = 1;
   DtAssert::fatal();
   try
   {
      DtAssert::getAssertFunction()("a.cpp", "void f()", 12, "x > 0");
      FAIL() << "it returned";
   }
   catch (DtException * thrown)
   {
      std::unique_ptr<DtException> const owned(thrown);
      EXPECT_STREQ(owned->message(), "Assert");
      EXPECT_EQ(owned->where(), DtString("void f() [a.cpp:12] "));
      EXPECT_EQ(owned->lastException(), nullptr);
   }
   EXPECT_EQ(captured.text(), line);
}

} // namespace
