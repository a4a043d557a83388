// SPDX-License-Identifier: MIT
#include "tslutil/dis/tslPduFilterTest.h"

#include "support/slots.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

typedef std::vector<unsigned long> Values;

struct ReachedTest : DtPduFilterTest
{
   using DtPduFilterTest::clearList;
};

/// The bytes of 0 to 9 that pass, tested at offset 1.
std::string passed(DtPduFilterTest & test)
{
   std::string bytes;
   for (unsigned char byte = 0; byte < 10; ++byte)
   {
      unsigned char data[] = {77, byte, 77};
      if (test.evalTest(data, 1, DtPduFilterByte))
         bytes += static_cast<char>('0' + byte);
   }
   return bytes;
}

TEST(DtPduFilterTest, SlotOrder)
{
   typedef DtPduFilterTest Filter;
   typedef void (Filter::*ByList)(int, unsigned long *);
   EXPECT_EQ(slotOf<void (Filter::*)(DtPduTestOperator, int, unsigned long *)>(&Filter::setTest), 2u);
   EXPECT_TRUE(inSlotsFrom(3, ByList(&Filter::extendTest), ByList(&Filter::reduceTest), &Filter::setOperator,
                           &Filter::evalTest, &ReachedTest::clearList));
}

TEST(DtPduFilterTest, OperatorAndListDecide)
{
   struct Case
   {
      int op;
      Values values;
      char const * passes;
   };
   // Any operator but 1 accepts; a value counts by its low 32 bits, and above 255 it matches no byte.
   // clang-format off
   for (Case c : std::vector<Case>{
           {1, {}, "0123456789"}, {1, {3}, "012456789"}, {1, {9, 3, 3}, "01245678"}, {0, {}, ""}, {0, {6}, "6"},
           {2, {6, 1}, "16"}, {-1, {6, 262}, "6"}, {0, {0x100000005}, "5"}})
   // clang-format on
   {
      DtPduFilterTest test;
      EXPECT_EQ(passed(test), "0123456789");
      test.setTest(DtPduTestOperator(c.op), static_cast<int>(c.values.size()), c.values.data());
      EXPECT_EQ(passed(test), c.passes);
      for (int const type : {int(DtPduFilterOther), 2})
         EXPECT_EQ(test.evalTest(nullptr, 0, DtPduFilterType(type)), c.op == 1);
      test.disableTest();
      EXPECT_EQ(passed(test), "0123456789");
   }
}

TEST(DtPduFilterTest, ListGrowsAndShrinksItemByItem)
{
   DtPduFilterTest test, assigned;
   test.setTest(DtPduTestInclude, 4);
   Values more = {7, 4};
   test.extendTest(2, more.data());
   test.extendTest(0, nullptr);
   test.extendTest(-1, nullptr);
   EXPECT_EQ(passed(test), "47");
   test.reduceTest(4);
   test.reduceTest(8);
   test.reduceTest(-1, nullptr);
   EXPECT_EQ(passed(test), "47") << "4 was listed twice";
   DtPduFilterTest const copy(test);
   test.reduceTest(2, more.data());
   test.extendTest(1);
   EXPECT_EQ(passed(test), "1");
   assigned = copy;
   EXPECT_EQ(passed(assigned), "47");
   assigned.setOperator(DtPduTestInclude);
   EXPECT_EQ(passed(assigned), "") << "setting an operator, also the same, empties the list";
   test.setOperator(DtPduTestExclude);
   EXPECT_EQ(passed(test), "0123456789");
}

} // namespace
