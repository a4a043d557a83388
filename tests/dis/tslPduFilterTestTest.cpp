// SPDX-License-Identifier: MIT
#include "tslutil/dis/tslPduFilterTest.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace
{

/// Which of the bytes 0 to 9 pass after some steps: "s1" sets the operator, "+6" and "-6" extend and reduce
/// by a value, "d" disables, "c" goes on with a copy.
std::string passed(std::string const & script)
{
   DtPduFilterTest test;
   std::istringstream steps(script);
   bool isRefusing = true;
   for (std::string step; steps >> step;)
   {
      unsigned long const value = std::strtoul(step.c_str() + 1, nullptr, 10);
      if (step[0] == 's' || step[0] == 'd')
         isRefusing = step[0] == 'd' || value == 1;
      if (step[0] == 's')
         test.setOperator(DtPduTestOperator(value));
      else if (step[0] == 'd')
         test.disableTest();
      else if (step[0] == 'c')
         test = DtPduFilterTest(test);
      else
         step[0] == '+' ? test.extendTest(value) : test.reduceTest(value);
   }
   std::string bytes;
   for (unsigned char data[] = {77, 0, 77}; data[1] < 10; ++data[1])
      if (test.evalTest(data, 1, DtPduFilterByte))
         bytes += static_cast<char>('0' + data[1]);
   for (int const unread : {0, 2})
      EXPECT_EQ(test.evalTest(nullptr, 0, DtPduFilterType(unread)), isRefusing) << script;
   return bytes;
}

TEST(DtPduFilterTest, OperatorAndListDecide)
{
   // Any operator but 1 accepts. A value counts by its low 32 bits, and one above 255 matches no byte.
   for (std::string const line :
        {"= 0123456789", "+3 = 012456789", "+9 +3 +3 -3 = 01245678", "s0 = ", "s0 +6 = 6", "s2 +6 +1 = 16",
         "s3 +6 +262 = 6", "s0 +4294967301 = 5", "s0 +4 +7 +4 -4 -8 c = 47", "s0 +4 +7 c -4 = 7",
         "s0 +4 s0 = ", "+4 s1 = 0123456789", "s0 +4 d = 0123456789"})
      EXPECT_EQ(passed(line.substr(0, line.find('='))), line.substr(line.find('=') + 2)) << line;
   std::vector<unsigned long> values = {4, 7, 8};
   DtPduFilterTest test;
   test.setTest(DtPduTestExclude, 8);
   test.setTest(DtPduTestExclude, 3, values.data());
   test.reduceTest(2, values.data() + 1);
   for (int const none : {0, -1})
   {
      test.extendTest(none, values.data() + 1);
      test.reduceTest(none, values.data());
   }
   for (unsigned long const value : values)
   {
      unsigned char byte = static_cast<unsigned char>(value);
      EXPECT_EQ(test.evalTest(&byte, 0, DtPduFilterByte), value != 4);
   }
}

} // namespace
