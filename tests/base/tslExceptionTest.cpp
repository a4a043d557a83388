// SPDX-License-Identifier: MIT
#include "tslutil/base/tslException.h"

#include "support/slots.h"

#include <gmock/gmock.h>

#include <memory>
#include <sstream>

namespace
{

std::string printed(DtException const & exception)
{
   std::ostringstream out;
   out << exception;
   return out.str();
}

TEST(DtException, HoldsMessageAndLocation)
{
   EXPECT_THAT(
      (std::vector{slotOf(&DtException::lastException), slotOf(&DtException::initialException),
                   slotOf(&DtException::message), slotOf(&DtException::what), slotOf(&DtException::where)}),
      ::testing::ElementsAre(2, 3, 4, 5, 6));
   DtException const full("text", "int f()", "file.cpp", 4000000000u, nullptr);
   EXPECT_EQ(full.what(), DtString("text"));
   EXPECT_EQ(full.where(), DtString("int f() [file.cpp:4000000000] "));
   EXPECT_EQ(full.lastException(), nullptr);
   EXPECT_EQ(full.initialException(), &full);
   EXPECT_EQ(printed(DtException(nullptr, nullptr)), " ()\n");
   EXPECT_EQ(printed(DtException(nullptr, nullptr, nullptr, 1, nullptr)), " ( [:1] )\n");
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
   EXPECT_EQ(printed(copy), "1 (f [a:1] )\n2 ()\n3 (h [c:3] )\n");
   EXPECT_EQ(printed(assigned), printed(copy));
   EXPECT_STREQ(assigned.initialException()->message(), "3");
   // A link of its own chain may be assigned to an exception, and it to itself.
   copy = *copy.lastException();
   DtException const & self = copy;
   copy = self;
   EXPECT_EQ(printed(copy), "2 ()\n3 (h [c:3] )\n");
}

TEST(DtTemplatedException, IsToldApartByItsNumber)
{
   EXPECT_THROW(throw DtTemplatedException<1002>("b"), DtThreadNotStarted);
   EXPECT_THROW(throw DtInvalidInput("a"), DtTemplatedException<-1>);
   EXPECT_THROW(throw DtThreadAlreadyRunning("c"), DtTemplatedException<1001>);
   EXPECT_THROW(throw DtThreadCreationError("c"), DtTemplatedException<1003>);
   EXPECT_THROW(throw DtTemplatedException<7>("d", "f", "a", 1), DtException);
   EXPECT_STREQ(DtTslRtiMismatchException("e").message(), "e");
}

} // namespace
