// SPDX-License-Identifier: MIT
#include "tslutil/base/tslString.h"

#include "support/skip.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <random>

namespace
{

std::string printed(double number)
{
   char text[64];
   std::snprintf(text, sizeof text, "%.13g", number);
   return text;
}

TEST(DtStringNumber, IntegersBecomeDecimalDigitsOf32Bits)
{
   EXPECT_STREQ(DtString(INT_MIN) + DtString(UINT_MAX) + DtString(-7L) + DtString(0x100000005L) +
                   DtString(0x80000000L) + DtString(0xFFFFFFFFFFFFFFFFul),
                "-21474836484294967295-75-21474836484294967295");
}

TEST(DtStringNumber, DoublesBecomeTheTextOfThirteenDigits)
{
   for (double number :
        {0.0, -0.0, 1.0, -2.5, 100.0, 1e-4, 9.9999e-5, 0.1, 1.0 / 3, 9999999999999.0, 9999999999999.5, 1e13,
         1e300, -5e-324, 0.99999999999996, 1.5 + std::ldexp(1.0, -42), HUGE_VAL, -HUGE_VAL})
      EXPECT_EQ(DtString(number).stdString(), printed(number));
   std::mt19937_64 random(1);
   for (int i = 0; i < 20000; ++i)
   {
      // Quotients by powers of two meet ties; the others every size.
      double const tie =
         static_cast<double>(random() % 200000000000000u) / static_cast<double>(1ull << random() % 50);
      double const any = std::ldexp(static_cast<double>(random()), static_cast<int>(random() % 160) - 110);
      ASSERT_EQ(DtString(tie).stdString(), printed(tie));
      ASSERT_EQ(DtString(-any).stdString(), printed(-any));
   }
}

TEST(DtStringNumber, DoublesFollowTheLocalesDecimalPoint)
{
   // A compiled locale: its sections' places, then the decimal point as bytes and as a wide character.
   char const numeric[] = "\x14\x11\x03\x20\6\0\0\0\x20\0\0\0\x22\0\0\0\x23\0\0\0\x24\0\0\0\x28\0\0\0"
                          "\x2c\0\0\0,\0\0\0\0\0\0\0,\0\0\0\0\0\0\0UTF-8";
   TemporaryFolder const folder;
   folder.write("comma/LC_NUMERIC", std::string(numeric, sizeof numeric));
   setenv("LOCPATH", folder.path().c_str(), 1);
   bool const isSet = std::setlocale(LC_NUMERIC, "comma") != nullptr;
   unsetenv("LOCPATH");
   if (!isSet)
      SKIP_BECAUSE("the run time reads its locales elsewhere");
   EXPECT_STREQ(DtString(-1.5) + DtString(2.0), "-1,52");
   std::setlocale(LC_NUMERIC, "C");
}

/// What a parse gives: the number, then the flag after it was preset to true and to false.
template<class Number>
std::string parsed(Number (DtString::*parser)(bool *) const, char const * text, int staleErrno)
{
   DtString const string(text);
   bool flags[] = {true, false};
   errno = staleErrno;
   Number const number = (string.*parser)(&flags[0]);
   errno = staleErrno;
   EXPECT_EQ((string.*parser)(&flags[1]), number) << text;
   EXPECT_EQ((string.*parser)(nullptr), number) << text;
   return printed(static_cast<double>(number)) + " " + "01"[flags[0]] + "01"[flags[1]];
}

/// Every text gives the outcome, after the error that an earlier call left.
template<class Number>
void expectParses(Number (DtString::*parser)(bool *) const, std::string const & outcome,
                  std::initializer_list<char const *> texts, int staleErrno = 0)
{
   for (char const * text : texts)
      EXPECT_EQ(parsed(parser, text, staleErrno), outcome) << text;
}

TEST(DtStringNumber, ParsesSignedIntegers)
{
   auto const toInt = &DtString::toInt;
   expectParses(toInt, "12 10", {"12", " 12 ", "12abc", "+12", "0012", "0 12", "\r\n\t+0+ 12", "\v014"});
   expectParses(toInt, "89 10", {"089"});
   expectParses(toInt, "-16 10", {"-16", " -16", "0 -16", "-020", "-0x10"});
   // The flag is written for 0 and the two ends alone.
   expectParses(toInt, "0 11", {"0", "000", "-0", "-0xg"});
   expectParses(toInt, "0 00", {"", " ", "+", "-", "- 5", "abc", "x1F", " x1F", "0x", "0xg"});
   expectParses(toInt, "0 10", {"0x1F", "00X1f"});
   expectParses(toInt, "2147483647 11", {"2147483647"});
   expectParses(toInt, "2147483647 00", {"2147483648", "4294967296", "99999999999999999999"});
   expectParses(toInt, "-2147483648 11", {"-2147483648"});
   expectParses(toInt, "-2147483648 00", {"-2147483649", "-99999999999"});
   // There an old error decides.
   expectParses(toInt, "2147483647 00", {"2147483647"}, ERANGE);
   expectParses(toInt, "7 10", {"7"}, ERANGE);
   expectParses(toInt, "0 11", {"0"}, EINVAL);
}

TEST(DtStringNumber, ParsesUnsignedIntegers)
{
   auto const toUInt = &DtString::toUInt;
   expectParses(toUInt, "12 11", {"12", "012", "+12x"});
   expectParses(toUInt, "0 11", {"0", "-0"});
   expectParses(toUInt, "0 00", {"", "abc", "x", "0x"});
   expectParses(toUInt, "0 10", {"0x1F"});
   expectParses(toUInt, "4294967295 11", {"4294967295", "-1"});
   expectParses(toUInt, "4294967295 00", {"4294967296", "-99999999999"});
   expectParses(toUInt, "4294967295 00", {"4294967295"}, ERANGE);
   expectParses(toUInt, "0 00", {"0"}, EINVAL);
   expectParses(toUInt, "5 11", {"5"}, EINVAL);
}

template<class Number>
void expectReals(Number (DtString::*parser)(bool *) const)
{
   expectParses(parser, "150 11", {"150", " 1.5e2x", "+00150"});
   expectParses(parser, "-0.5 11", {"-.5", "0 -0.5"});
   expectParses(parser, "0 00", {"", "e", "0x", " X1F"});
   expectParses(parser, "inf 00", {"1e999"});
   expectParses(parser, "inf 00", {"inf"}, ERANGE);
   expectParses(parser, "inf 11", {"inf"});
   expectParses(parser, "-inf 11", {"-1e999"});
   expectParses(parser, "0 00", {"0"}, EINVAL);
}

TEST(DtStringNumber, ParsesRealNumbers)
{
   expectReals(&DtString::toDouble);
   expectReals(&DtString::toFloat);
   EXPECT_EQ(DtString("0.1").toDouble() - DtString("0.1").toFloat(), 0.1 - 0.1f);
   // Hexadecimal digits are the bits of the double, and nothing of a float.
   expectParses(&DtString::toDouble, "1 10", {"0x3FF0000000000000"});
   expectParses(&DtString::toFloat, "0 10", {"0x3FF0000000000000"});
   EXPECT_EQ(DtString("0x1F").toDouble(), std::ldexp(31.0, -1074));
}

TEST(DtStringNumber, ParsesTruth)
{
   expectParses(&DtString::toBoolean, "1 11", {"1", "-3", "7x", "TRUE", "True"});
   expectParses(&DtString::toBoolean, "0 11", {"0", "False", "0x1"});
   expectParses(&DtString::toBoolean, "0 00", {"", "yes", "truely"});
}

} // namespace
