// SPDX-License-Identifier: MIT
#include "tslutil/base/tslString.h"

#include "support/allocations.h"
#include "support/skip.h"
#include "support/slots.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iomanip>
#include <memory>
#include <new>
#include <random>
#include <sstream>
#include <tuple>

namespace
{

/// A text of `length` characters, none of them white space.
std::string textOf(std::size_t length)
{
   std::string text(length, 'x');
   for (std::size_t i = 0; i < length; ++i)
      text[i] = static_cast<char>('!' + i % 90);
   return text;
}

TEST(DtString, SlotOrder)
{
   typedef DtString S;
   typedef S & (S::*Text)(S const &);
   typedef S & (S::*Plain)(char const *);
   EXPECT_TRUE(inSlotsFrom(
      2, Text(&S::operator=), Plain(&S::operator=), &S::operator char const *, &S::clone, &S::operator<,
      &S::operator>, &S::operator==, &S::operator!=, &S::operator<=, &S::operator>=,
      static_cast<bool (S::*)(S const &) const>(&S::caseCompare),
      static_cast<bool (S::*)(char const *) const>(&S::caseCompare), &S::operator+, Text(&S::operator+=),
      Plain(&S::operator+=), static_cast<char const & (S::*)(int) const>(&S::operator[]),
      static_cast<char & (S::*)(int)>(&S::operator[]), &S::snipFront, &S::snipBack, &S::chompFront,
      &S::chompBack, &S::tokenize, &S::toInt, &S::toUInt, &S::toFloat, &S::toDouble, &S::toBoolean,
      &S::toUpper, &S::toLower, &S::findChar, &S::findLastChar, &S::findString, &S::findLastString, &S::count,
      &S::length, &S::size, &S::stdString, &S::string, &S::c_str, &S::isEmpty, &S::section));
}

TEST(DtString, HoldsTheTextOfEachKindOfArgumentAndTakesABlockFrom64CharactersOn)
{
   EXPECT_STREQ(DtString() + DtString(static_cast<char const *>(nullptr)) + DtString('c') + DtString('\0'),
                "c");
   for (std::size_t length : {0u, 1u, 63u, 64u, 1000u})
   {
      std::string const text = textOf(length);
      DtString target, sum;
      AllocationCount blocks;
      DtString const made(text.c_str()), copied(made), counted(text.c_str(), static_cast<int>(length));
      target = made;
      target = text.c_str();
      sum += text.c_str();
      EXPECT_EQ(blocks.here(), length < 64 ? 0u : 5u);
      std::unique_ptr<DtString> const clone(made.clone());
      for (DtString const & one : {made, copied, counted, target, sum, *clone, DtString(text)})
         EXPECT_EQ(one.stdString(), text);
      EXPECT_EQ(made.size(), static_cast<int>(length));
   }
   DtString const cut("a\0b", 3);
   EXPECT_EQ(std::string(cut.string(), 4), std::string("a\0b", 4));
   EXPECT_STREQ(DtString("abc", -1) + DtString(nullptr, 5), "");
   EXPECT_THROW(DtString("abc", -2), std::bad_alloc);
}

TEST(DtString, GrowsToTheExactSizeAndKeepsItsBlock)
{
   std::string const full = textOf(100);
   DtString text(full);
   char const * const block = text.string();
   for (char const * assigned : {"abc", static_cast<char const *>(nullptr), full.c_str()})
   {
      text = assigned;
      EXPECT_TRUE(text.string() == block && text.isEmpty() == (assigned == nullptr));
   }
   AllocationCount const blocks;
   text += "1";
   text += "2";
   EXPECT_EQ(blocks.here(), 2u);
   // For a copy the capacity decides, not the length.
   text = "abc";
   DtString copy(text), other;
   other = copy;
   EXPECT_EQ(blocks.here(), 4u);
   EXPECT_STREQ(other, "abc");
}

TEST(DtString, JoinsTextsAndItselfToItself)
{
   DtString const left("left");
   EXPECT_STREQ("right" + left + static_cast<char const *>(nullptr) + "right" + DtString(-7),
                "rightleftright-7");
   for (std::size_t length : {20u, 40u, 100u})
   {
      std::string const text = textOf(length);
      DtString own(text);
      own = *&own;
      own = own.string();
      EXPECT_EQ(own.stdString(), text);
      own += own;
      own += own.string() + 5;
      EXPECT_EQ(own.stdString(), text + text + (text + text).substr(5));
      own = own.string() + 2 * length;
      EXPECT_EQ(own.stdString(), (text + text).substr(5));
   }
}

/// The six comparisons, by the member if `right` is plain text.
template<class Right>
std::string compared(DtString const & left, Right const & right)
{
   std::string outcome;
   for (bool one : {left<right, left> right, left == right, left != right, left <= right, left >= right})
      outcome += "01"[one];
   return outcome;
}

TEST(DtString, ComparesByUnsignedBytesAndNeverWithNull)
{
   char const * const null = nullptr;
   DtString const text("a");
   for (auto const & [left, right, outcome] : std::initializer_list<std::array<char const *, 3>>{
           {"", "", "001011"}, {"a", "ab", "100110"}, {"b", "ab", "010101"}, {"a", "\x80", "100110"}})
      EXPECT_EQ(compared(left, right) + compared(left, DtString(right)), std::string(outcome) + outcome);
   EXPECT_EQ(compared(text, null), "000000");
   EXPECT_TRUE(text.caseCompare("A") && text.caseCompare(DtString("A")));
   EXPECT_FALSE(text.caseCompare("ab") || text.caseCompare("") || text.caseCompare(null));
}

TEST(DtString, Searches)
{
   DtString const text("abcabc");
   EXPECT_EQ((std::array<int, 6>{text.findChar('b'), text.findLastChar('b'), text.findChar('x'),
                                 text.findLastChar('x'), text.findChar('\0'), text.count('c')}),
             (std::array<int, 6>{1, 4, -1, -1, 6, 2}));
   std::tuple<DtString, char const *, int> const rows[] = {{"abcabc", "abc", 0}, {"xabcabc", "bc", 2},
                                                           {"abc", "", 0},       {"", "a", -1},
                                                           {"abc", "x", -1},     {"", "", 0}};
   for (auto const & [haystack, needle, index] : rows)
      // The last occurrence is the first.
      EXPECT_TRUE(haystack.findString(needle) == index && haystack.findLastString(needle) == index) << needle;
}

TEST(DtString, CutsAndTellsWhetherItDid)
{
   typedef DtString S;
   std::tuple<std::function<bool(S &)>, char const *, char const *> const rows[] = {
      {[](S & s) { return s.snipBack('/', false); }, "a/b/c", "a/b"},
      {[](S & s) { return s.snipBackToFirst('/'); }, "a/b/c", "a"},
      {[](S & s) { return s.snipFront('/', false); }, "a/b/c", "b/c"},
      {[](S & s) { return s.snipFrontToLast('/'); }, "a/b/", ""},
      {[](S & s) { return s.snipFront('x') || s.snipBack('x'); }, "a/b/c", "a/b/c"},
      {[](S & s) { return s.snipFront('\0') || s.snipBack('\0'); }, "abc", "abc"},
      {[](S & s) { return s.chompFront(); }, " \t\n\v\f\ra ", "a "},
      {[](S & s) { return s.chompBack(); }, " a \t\n\v\f\r", " a"},
      {[](S & s) { return s.chompBack(); }, "  ", ""},
      {[](S & s) { return s.chompFront() || s.chompBack(); }, "a\xA0", "a\xA0"}};
   for (auto const & [cut, before, after] : rows)
   {
      DtString text(before);
      EXPECT_EQ(cut(text), std::strcmp(before, after) != 0) << before;
      EXPECT_STREQ(text, after);
   }
   DtString letters("aZ1\xE9");
   letters.toUpper();
   EXPECT_STREQ(letters, "AZ1\xE9");
   letters.toLower();
   EXPECT_STREQ(letters, "az1\xE9");
}

TEST(DtString, TokenizesAndTakesSections)
{
   std::vector<DtString> tokens(3);
   std::pair<char const *, std::vector<DtString>> const lists[] = {
      {"", {}}, {"a,,b", {"a", "", "b"}}, {",a,", {"", "a"}}};
   for (auto const & [text, split] : lists)
      EXPECT_EQ((DtString(text).tokenize(',', tokens), tokens), split);
   std::tuple<char const *, int, int, char const *> const rows[] = {
      {"a,b,c", -1, -1, "c"},     {"a,b,c", 0, 1, "a,b"}, {"a,b,c", 1, 9, "b,c"},
      {"a,b,c", 2, 1, ""},        {"a,b,c", 0, -4, ""},   {"", 0, -1, ""},
      {"a,,b", 0, 1, "a,,b"},     {"a,,b", 1, 1, "b"},    {",,a,b", 0, 0, "a"},
      {"a,b,,,c", 1, 2, "b,,,c"}, {"a,b", -9, 0, ",a"},   {"a,b,,c", 0, 1, "a,b"}};
   for (auto const & [text, start, end, section] : rows)
      EXPECT_STREQ(DtString(text).section(',', start, end), section) << text << start;
}

/// Records which slots the other operations reach.
class Overriding : public DtString
{
public:
   using DtString::DtString;
   using DtString::operator=;
   using DtString::operator+=;
   using DtString::caseCompare, DtString::clear;
   mutable std::string calls;

   template<class Result>
   Result told(char const * name, Result result) const
   {
      return calls += name, result;
   }

   DtString & operator+=(char const * text) override { return calls += "+= ", DtString::operator+=(text); }
   bool operator==(char const * text) const override { return told("==", DtString::operator==(text)); }
   bool caseCompare(char const *) const override { return told("case ", false); }
   bool snipFront(char, bool last) override { return told(last ? "front last " : "front ", true); }
   bool snipBack(char, bool first) override { return told(first ? "back first " : "back ", true); }
   int toInt(bool * ok) const override { return told("toInt ", DtString::toInt(ok)); }
   int size() const override { return told("size ", DtString::size()); }
   void tokenize(char, std::vector<DtString> &) const override { calls += "tokenize "; }
};

TEST(DtString, InnerCallsReachTheOverridingOperations)
{
   Overriding text("false");
   text.toBoolean();
   text.caseCompare(DtString("x"));
   text.length();
   text.section(',', 0, 1);
   text.snipBackToFirst('x');
   text.snipFrontToLast('x');
   EXPECT_TRUE(static_cast<DtString const &>(text) == DtString("false"));
   text += DtString("x");
   EXPECT_EQ(text.calls, "toInt case case case size tokenize back first front last ==+= size ");
}

TEST(DtString, IsHarmlessWithoutStorageAndHasTwoNullStrings)
{
   Overriding cleared("abc");
   cleared.clear();
   EXPECT_EQ(cleared.size() + cleared.toInt(nullptr) + cleared.count('a'), 0);
   EXPECT_EQ(cleared.findChar('a') + cleared.findLastChar('a') + cleared.findString(""), -3);
   EXPECT_FALSE(cleared == "" || cleared != "" || cleared.chompFront() || cleared.chompBack());
   EXPECT_STREQ(DtString(cleared), "");
   cleared = static_cast<char const *>(nullptr);
   cleared += "ab";
   DtString const small(cleared);
   cleared.clear();
   cleared = small;
   EXPECT_STREQ(cleared, "ab");
   EXPECT_STREQ(DtString::nullString() + DtString::nullId(), "");
   EXPECT_NE(&DtString::nullString(), &DtString::nullId());
}

// Numbers.

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

// Streams and helpers.

TEST(DtStringStreams, ReadWordsAndQuotedText)
{
   std::string const longWord(300, 'w');
   std::string const rows[][3] = {{"  one two", "one", " two"},
                                  {"\"one\" two", "one", " two"},
                                  {"\"a  b\t\n c\" d", "a b c", " d"},
                                  {"\"a b \" c", "a b ", " c"},
                                  {"\" a\" c", "", " a\" c"},
                                  {"a\"b c", "a\"b", " c"},
                                  {"\"a b", "a b", ""},
                                  {"\"a", "a", ""},
                                  {"", "", ""},
                                  {longWord, longWord.substr(45), longWord.substr(255)}};
   for (auto const & [input, expected, rest] : rows)
   {
      std::istringstream in(input);
      DtString text("before");
      in >> text;
      EXPECT_EQ(text.stdString(), expected) << input;
      in.clear();
      EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), rest) << input;
   }
   std::ostringstream out;
   out << std::setw(4) << DtString("ab") << DtString();
   EXPECT_EQ(out.str(), "  ab");
}

/// Assigns in capitals and appends with a mark.
struct Loud : DtString
{
   DtString & operator=(char const * text) override { return DtString::operator=(text), toUpper(), *this; }
   DtString & operator+=(char const * text) override
   {
      return DtString::operator+=(text), DtString::operator+=("!");
   }
};

TEST(DtStringStreams, ReadThroughTheSlots)
{
   std::istringstream in("\"a b\"");
   Loud text;
   in >> text;
   EXPECT_STREQ(text, "A !b!");
}

TEST(DtStringHelpers, ChangeTheFirstCharacter)
{
   std::array<char const *, 4> const rows[] = {{"ABc", "aBc", "ABc", "ABc"}, {"A1", "a1", "A1", "A1"},
                                               {"aB", "aB", "AB", "aB"},     {"Abc", "abc", "Abc", "abc"},
                                               {"A", "a", "A", "a"},         {"", "", "", ""}};
   for (auto const & [text, lower, upper, conditional] : rows)
   {
      EXPECT_STREQ(DtFirstCharToLower(text), lower);
      EXPECT_STREQ(DtFirstCharToUpper(text), upper);
      EXPECT_STREQ(DtFirstCharToLowerConditional(text), conditional);
   }
}

TEST(DtStringHelpers, ReplaceSubstrings)
{
   EXPECT_TRUE(DtContainsSubstring("abc", "bc") && DtContainsSubstring("abc", "") &&
               !DtContainsSubstring("abc", "x"));
   EXPECT_STREQ(DtReplaceSubstring("a-b-c", "-", "==") + DtReplaceSubstring(" abc", "", "x") +
                   DtReplaceSubstring(" abc", "x", "y") + DtReplaceAllSubstrings(" a-b-c", "-", "=="),
                "a==b-cx abc abc a==b==c");
   // From the front again after each: what arises is replaced as well.
   EXPECT_STREQ(DtReplaceAllSubstrings("aabb", "ab", ""), "");
   EXPECT_EQ(DtReplaceAllSubstrings(std::string(400, '-'), "-", "abc").size(), 1200);
   DtString const text("x" + std::string(510, 'a'));
   EXPECT_EQ(DtReplaceSubstring(text, "x", "y").size(), 511);
   EXPECT_EQ(DtReplaceSubstring(text + "more", "z", "y").size(), 515);
   EXPECT_EXIT(DtReplaceSubstring(text, "x", "yz"), testing::KilledBySignal(SIGABRT), "DtReplaceSubstring: ");
}

TEST(DtStringHelpers, CopyAndChangePlainText)
{
   EXPECT_EQ(DtStrdup(nullptr), nullptr);
   std::unique_ptr<char[]> const copy(DtStrdup("@AZ[`az{\xC4\xE4"));
   EXPECT_TRUE(DtToLower(copy.get()) == copy.get() && DtToLower(nullptr) == nullptr);
   EXPECT_STREQ(copy.get(), "@az[`az{\xC4\xE4");
   EXPECT_STREQ(DtToUpper(copy.get()), "@AZ[`AZ{\xC4\xE4");
}

TEST(DtStringHelpers, ResizeInStepsOfFourAndZeroWhatIsNew)
{
   char * buffer = nullptr;
   int size = 99;
   EXPECT_TRUE(DtResizeString(buffer, size, 4) == 0 && size == 8);
   // More memory than it tells of, none of it zero.
   char * const before = buffer = static_cast<char *>(std::memset(std::realloc(buffer, 64), '#', 64));
   EXPECT_EQ(DtResizeString(buffer, size, 7), 0);
   for (int wanted : {-1, INT_MIN, INT_MAX - 1, INT_MAX})
      EXPECT_EQ(DtResizeString(buffer, size, wanted), -1);
   EXPECT_TRUE(buffer == before && size == 8);
   EXPECT_EQ(DtResizeString(buffer, size, 8), 0);
   EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(size)), std::string("########\0\0\0\0", 12));
   std::free(buffer);
}

} // namespace
