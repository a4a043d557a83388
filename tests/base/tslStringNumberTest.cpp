// SPDX-License-Identifier: MIT
#include "tslutil/base/tslString.h"

#include "support/skip.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace
{

std::string printed(double number)
{
   std::array<char, 64> text{};
   std::snprintf(text.data(), text.size(), "%.13g", number);
   return text.data();
}

TEST(DtStringNumber, IntegersBecomeDecimalDigitsOf32Bits)
{
   EXPECT_STREQ(DtString(INT_MIN), "-2147483648");
   EXPECT_STREQ(DtString(UINT_MAX), "4294967295");
   EXPECT_STREQ(DtString(-7L), "-7");
   EXPECT_STREQ(DtString(0x100000005L), "5");
   EXPECT_STREQ(DtString(0x80000000L), "-2147483648");
   EXPECT_STREQ(DtString(0xFFFFFFFFFFFFFFFFul), "4294967295");
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
   EXPECT_STREQ(DtString(-1.5), "-1,5");
   EXPECT_STREQ(DtString(2.0), "2");
   std::setlocale(LC_NUMERIC, "C");
}

/// What a parse gives: its result, and the flag after it was preset to true and to false.
struct Outcome
{
   double value;
   bool afterTrue;
   bool afterFalse;
};

bool operator==(Outcome const & left, Outcome const & right)
{
   return left.value == right.value && left.afterTrue == right.afterTrue &&
          left.afterFalse == right.afterFalse;
}

std::ostream & operator<<(std::ostream & out, Outcome const & outcome)
{
   return out << outcome.value << " " << outcome.afterTrue << outcome.afterFalse;
}

template<class Number>
Outcome parse(Number (DtString::*parser)(bool *) const, char const * text, int staleErrno = 0)
{
   DtString const string(text);
   std::array<bool, 2> flags = {true, false};
   double value = 0;
   for (bool & flag : flags)
   {
      errno = staleErrno;
      value = static_cast<double>((string.*parser)(&flag));
   }
   errno = staleErrno;
   EXPECT_EQ(static_cast<double>((string.*parser)(nullptr)), value) << text;
   return {value, flags[0], flags[1]};
}

TEST(DtStringNumber, ParsesSignedIntegers)
{
   struct
   {
      char const * text;
      Outcome outcome;
   } const rows[] = {
      {"12", {12, true, false}},
      {" 12 ", {12, true, false}},
      {"12abc", {12, true, false}},
      {"0777", {777, true, false}},
      {"007", {7, true, false}},
      {"+5", {5, true, false}},
      {"0 5", {5, true, false}},
      {"\r\n\t+0+ -5", {-5, true, false}},
      {"-0777", {-511, true, false}},
      {"\v0777", {511, true, false}},
      {"-0x10", {-16, true, false}},
      {"-0xg", {0, true, true}},
      {"000", {0, true, true}},
      {"-0", {0, true, true}},
      {"089", {89, true, false}},
      {"", {0, false, false}},
      {" ", {0, false, false}},
      {"+", {0, false, false}},
      {"-", {0, false, false}},
      {"- 5", {0, false, false}},
      {"abc", {0, false, false}},
      {"x1F", {0, false, false}},
      {" x1F", {0, false, false}},
      {"0x", {0, false, false}},
      {"0xg", {0, false, false}},
      {"0x1F", {0, true, false}},
      {"00X1f", {0, true, false}},
      {"2147483646", {2147483646, true, false}},
      {"2147483647", {2147483647, true, true}},
      {"2147483648", {2147483647, false, false}},
      {"99999999999999999999", {2147483647, false, false}},
      {"-2147483648", {-2147483648.0, true, true}},
      {"-2147483649", {-2147483648.0, false, false}},
      {"-99999999999", {-2147483648.0, false, false}},
   };
   for (auto const & row : rows)
      EXPECT_EQ(parse(&DtString::toInt, row.text), row.outcome) << row.text;
   // An old error decides at the two ends.
   EXPECT_EQ(parse(&DtString::toInt, "2147483647", ERANGE), (Outcome{2147483647, false, false}));
   EXPECT_EQ(parse(&DtString::toInt, "7", ERANGE), (Outcome{7, true, false}));
   EXPECT_EQ(parse(&DtString::toInt, "0", EINVAL), (Outcome{0, true, true}));
}

TEST(DtStringNumber, ParsesUnsignedIntegers)
{
   struct
   {
      char const * text;
      int staleErrno;
      Outcome outcome;
   } const rows[] = {
      {"12", 0, {12, true, true}},
      {"0", 0, {0, true, true}},
      {"", 0, {0, false, false}},
      {"abc", 0, {0, false, false}},
      {"0x1F", 0, {0, true, false}},
      {"x", 0, {0, false, false}},
      {"-1", 0, {4294967295.0, true, true}},
      {"-4294967295", 0, {1, true, true}},
      {"4294967295", 0, {4294967295.0, true, true}},
      {"4294967296", 0, {4294967295.0, false, false}},
      {"-99999999999", 0, {4294967295.0, false, false}},
      {"4294967295", ERANGE, {4294967295.0, false, false}},
      {"0", EINVAL, {0, false, false}},
      {"5", EINVAL, {5, true, true}},
   };
   for (auto const & row : rows)
      EXPECT_EQ(parse(&DtString::toUInt, row.text, row.staleErrno), row.outcome)
         << row.text << row.staleErrno;
}

TEST(DtStringNumber, ParsesRealNumbers)
{
   double const inf = HUGE_VAL;
   double const bits1F = std::ldexp(31.0, -1074);
   struct
   {
      char const * text;
      int staleErrno;
      Outcome asDouble;
      Outcome asFloat;
   } const rows[] = {
      {" 1.5e2x", 0, {150, true, true}, {150, true, true}},
      {"0.1", 0, {0.1, true, true}, {0.1f, true, true}},
      {"00.5", 0, {0.5, true, true}, {0.5, true, true}},
      {"-.5", 0, {-0.5, true, true}, {-0.5, true, true}},
      {"", 0, {0, false, false}, {0, false, false}},
      {"e", 0, {0, false, false}, {0, false, false}},
      {"1e999", 0, {inf, false, false}, {inf, false, false}},
      {"-1e999", 0, {-inf, true, true}, {-inf, true, true}},
      {"inf", 0, {inf, true, true}, {inf, true, true}},
      {"inf", ERANGE, {inf, false, false}, {inf, false, false}},
      {"0", EINVAL, {0, false, false}, {0, false, false}},
      {"0x3FF0000000000000", 0, {1, true, false}, {0, true, false}},
      {"0x1F", 0, {bits1F, true, false}, {0, true, false}},
      {"0x", 0, {0, false, false}, {0, false, false}},
      {" X1F", 0, {0, false, false}, {0, false, false}},
   };
   for (auto const & row : rows)
   {
      EXPECT_EQ(parse(&DtString::toDouble, row.text, row.staleErrno), row.asDouble) << row.text;
      EXPECT_EQ(parse(&DtString::toFloat, row.text, row.staleErrno), row.asFloat) << row.text;
   }
}

TEST(DtStringNumber, ParsesTruth)
{
   struct
   {
      char const * text;
      Outcome outcome;
   } const rows[] = {{"1", {1, true, true}},     {"7", {1, true, true}},  {"TRUE", {1, true, true}},
                     {"True", {1, true, true}},  {"0", {0, true, true}},  {"False", {0, true, true}},
                     {"yes", {0, false, false}}, {"", {0, false, false}}, {"truely", {0, false, false}},
                     {"-3", {1, true, true}},    {"0x1", {0, true, true}}};
   for (auto const & row : rows)
      EXPECT_EQ(parse(&DtString::toBoolean, row.text), row.outcome) << row.text;
}

} // namespace
