// SPDX-License-Identifier: MIT
#include "tslutil/base/tslException.h"

#include "support/slots.h"

#include <gtest/gtest.h>

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

TEST(DtException, SlotOrder)
{
   EXPECT_EQ(slotOf(&DtException::lastException), 2u);
   EXPECT_EQ(slotOf(&DtException::initialException), 3u);
   EXPECT_EQ(slotOf(&DtException::message), 4u);
   EXPECT_EQ(slotOf(&DtException::what), 5u);
   EXPECT_EQ(slotOf(&DtException::where), 6u);
}

TEST(DtException, HoldsMessageAndLocation)
{
   DtException const full("text", "int f()", "file.cpp", 4000000000u, nullptr);
   EXPECT_STREQ(full.message(), "text");
   EXPECT_EQ(full.what(), DtString("text"));
   EXPECT_EQ(full.where(), DtString("int f() [file.cpp:4000000000] "));
   EXPECT_EQ(full.lastException(), nullptr);
   EXPECT_EQ(full.initialException(), &full);
   EXPECT_EQ(printed(full), "text (int f() [file.cpp:4000000000] )\n");
   EXPECT_EQ(printed(DtException(nullptr, nullptr)), " ()\n");
   EXPECT_EQ(printed(DtException(nullptr, nullptr, nullptr, 1, nullptr)), " ( [:1] )\n");
}

TEST(DtException, CopiesOfAChainStandAlone)
{
   auto oldest = std::make_unique<DtException>("3", "h", "c", 3u, nullptr);
   auto middle = std::make_unique<DtException>("2", oldest.get());
   auto newest = std::make_unique<DtException>("1", "f", "a", 1u, middle.get());
   oldest.reset();
   middle.reset();
   std::string const text = "1 (f [a:1] )\n2 ()\n3 (h [c:3] )\n";
   EXPECT_EQ(printed(*newest), text);
   DtException copy(*newest);
   DtException assigned("x", &copy);
   assigned = copy;
   newest.reset();
   EXPECT_EQ(printed(copy), text);
   EXPECT_EQ(printed(assigned), text);
   EXPECT_NE(assigned.initialException(), copy.initialException());
   // A link of its own chain may be assigned to it, and it to itself.
   copy = *copy.lastException();
   DtException const & self = copy;
   copy = self;
   EXPECT_EQ(printed(copy), "2 ()\n3 (h [c:3] )\n");
}

template<class Thrown>
bool isCaughtAs(char const * message)
{
   try
   {
      throw Thrown(message, nullptr);
   }
   catch (DtThreadNotStarted const &)
   {
      return std::is_same_v<Thrown, DtThreadNotStarted>;
   }
   catch (DtException const & exception)
   {
      return std::string(exception.message()) == message;
   }
}

TEST(DtTemplatedException, IsToldApartByItsNumber)
{
   EXPECT_TRUE(isCaughtAs<DtThreadNotStarted>("a"));
   EXPECT_TRUE(isCaughtAs<DtInvalidInput>("b"));
   EXPECT_TRUE((isCaughtAs<DtTemplatedException<7>>("c")));
   EXPECT_TRUE((std::is_same_v<DtThreadAlreadyRunning, DtTemplatedException<1001>>));
   EXPECT_TRUE((std::is_same_v<DtThreadCreationError, DtTemplatedException<1003>>));
   DtTslRtiMismatchException mismatch("d");
   mismatch = DtTslRtiMismatchException("e");
   EXPECT_STREQ(DtTslRtiMismatchException(mismatch).message(), "e");
}

} // namespace
