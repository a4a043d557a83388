// SPDX-License-Identifier: MIT
#include "tslutil/base/tslString.h"

#include "support/allocations.h"
#include "support/skip.h"
#include "support/tsv.h"
#include "tslutil/base/tslNetTypes.h"
#include "tslutil/base/tslStringBuffer.h"
#include "tslutil/base/tslStringPattern.h"

#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <map>
#include <new>
#include <numeric>
#include <random>

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

/// The values, each ended by a semicolon.
template<class... Values>
std::string listed(Values const &... values)
{
   std::ostringstream list;
   ((list << values << ';'), ...);
   return list.str();
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

std::string tokens(DtString const & text, char separator)
{
   std::vector<DtString> all(3);
   text.tokenize(separator, all);
   return std::accumulate(all.begin(), all.end(), std::string(),
                          [](std::string const & list, DtString const & each)
                          { return list + listed(each); });
}

/// The word or quoted text that is read, and what is left of the input.
std::string wordAndRest(DtString const & input)
{
   std::istringstream in(input.stdString());
   DtString text("before");
   in >> text;
   in.clear();
   return listed(text, std::string(std::istreambuf_iterator<char>(in), {}));
}

/// What the helpers for plain text return, which is what they were given.
std::string plainChanged(DtString const & text)
{
   std::unique_ptr<char[]> const copy(DtStrdup(text));
   std::string const lower = DtToLower(copy.get());
   return DtToUpper(copy.get()) == copy.get() ? listed(lower, copy.get()) : "another place";
}

std::string printed(double number)
{
   char text[64];
   std::snprintf(text, sizeof text, "%.13g", number);
   return text;
}

/// The number, then the flag after it was preset to true and to false, each after an earlier call's error.
template<class Number>
std::string parsed(Number (DtString::*parser)(bool *) const, DtString const & text, std::string const & error)
{
   bool flags[] = {true, false};
   std::string number;
   for (bool & flag : flags)
   {
      errno = error == "ERANGE" ? ERANGE : error == "EINVAL" ? EINVAL : 0;
      number = printed(static_cast<double>((text.*parser)(&flag)));
      EXPECT_EQ(printed(static_cast<double>((text.*parser)(nullptr))), number) << text;
   }
   return number + " " + "01"[flags[0]] + "01"[flags[1]];
}

typedef std::string (*Operation)(DtString & s, Fields const & row);

// What an operation makes of the text s and the arguments behind it, whose first characters are a and b.
// clang-format off
#define OPERATION(name, ...) {#name, [](DtString & s, [[maybe_unused]] Fields const & row) -> std::string { \
   [[maybe_unused]] char const a = row[3][0], b = row[4][0]; return __VA_ARGS__; }}
#define PARSER(name) OPERATION(name, parsed(&DtString::name, s, row[3]))
std::map<std::string, Operation> const theOperations = {
   OPERATION(compare, listed(compared(s, row[3].c_str()), compared(s, DtString(row[3])))),
   OPERATION(caseCompare, listed(s.caseCompare(row[3].c_str()), s.caseCompare(DtString(row[3])))),
   OPERATION(findChar, listed(s.findChar(a), s.findLastChar(a), s.count(a))),
   OPERATION(findString, listed(s.findString(row[3].c_str()), s.findLastString(row[3].c_str()))),
   OPERATION(snipBack, listed(s.snipBack(a, b != 0), s)), OPERATION(snipBackToFirst, listed(s.snipBackToFirst(a), s)),
   OPERATION(snipFront, listed(s.snipFront(a, b != 0), s)), OPERATION(snipFrontToLast, listed(s.snipFrontToLast(a), s)),
   OPERATION(chompFront, listed(s.chompFront(), s)), OPERATION(chompBack, listed(s.chompBack(), s)),
   OPERATION(toUpper, (s.toUpper(), listed(s))), OPERATION(toLower, (s.toLower(), listed(s))),
   OPERATION(print, (std::ostringstream() << std::setw(4) << s).str()),
   OPERATION(tokenize, tokens(s, a)), OPERATION(read, wordAndRest(s)), OPERATION(plain, plainChanged(s)),
   OPERATION(section, listed(s.section(a, std::stoi(row[4]), std::stoi(row[5])))),
   OPERATION(firstChar, listed(DtFirstCharToLower(s), DtFirstCharToUpper(s), DtFirstCharToLowerConditional(s))),
   OPERATION(contains, listed(DtContainsSubstring(s, row[3]))),
   OPERATION(replace, listed(DtReplaceSubstring(s, row[3], row[4]))),
   OPERATION(replaceAll, listed(DtReplaceAllSubstrings(s, row[3], row[4]))),
   OPERATION(indexOf, listed(DtStringPatternMatch(s, row[3]).indexOfOccurence(std::stoi(row[4])))),
   PARSER(toInt), PARSER(toUInt), PARSER(toFloat), PARSER(toDouble), PARSER(toBoolean)};
#undef PARSER
#undef OPERATION
// clang-format on

TEST(DtString, OperationsGiveWhatTheTableSays)
{
   for (Fields const & row : tableOf("base/strings.tsv"))
   {
      DtString text(row[2]);
      EXPECT_EQ(theOperations.at(row[0])(text, row), row[1]) << row[0] << ' ' << row[2];
   }
}

/// Records which slots the other operations reach.
struct Overriding : DtString
{
   using DtString::DtString;
   using DtString::operator=;
   using DtString::operator+=;
   using DtString::caseCompare, DtString::clear;
   mutable std::string calls;

   DtString & operator=(char const * text) override { return calls += "= ", DtString::operator=(text); }
   DtString & operator+=(char const * text) override { return calls += "+= ", DtString::operator+=(text); }
   bool operator==(char const * text) const override { return calls += "==", DtString::operator==(text); }
   bool caseCompare(char const *) const override { return calls += "case ", false; }
   bool snipFront(char, bool last) override { return calls += last ? "front last " : "front ", true; }
   bool snipBack(char, bool first) override { return calls += first ? "back first " : "back ", true; }
   int toInt(bool * ok) const override { return calls += "toInt ", DtString::toInt(ok); }
   int size() const override { return calls += "size ", DtString::size(); }
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
   std::istringstream("\"a b\"") >> text;
   EXPECT_EQ(text.calls,
             "toInt case case case size tokenize back first front last ==+= size = += size += size ");
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

TEST(DtStringNumber, BecomesTheDigitsOf32BitsOrTheTextOfThirteenDigits)
{
   EXPECT_STREQ(DtString(INT_MIN) + DtString(UINT_MAX) + DtString(-7L) + DtString(0x100000005L) +
                   DtString(0x80000000L) + DtString(0xFFFFFFFFFFFFFFFFul),
                "-21474836484294967295-75-21474836484294967295");
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
   setenv("LOCPATH", TEST_DATA_DIR "/base/locale", 1);
   bool const isSet = std::setlocale(LC_NUMERIC, "comma") != nullptr;
   unsetenv("LOCPATH");
   SKIP_BECAUSE(isSet ? "" : "the run time reads its locales elsewhere");
   EXPECT_STREQ(DtString(-1.5) + DtString(2.0), "-1,52");
   std::setlocale(LC_NUMERIC, "C");
}

TEST(DtStringHelpers, TakeNullAndEndTheProcessAtAResultTooLong)
{
   EXPECT_TRUE(DtStrdup(nullptr) == nullptr && DtToLower(nullptr) == nullptr &&
               DtToUpper(nullptr) == nullptr);
   DtString const text("x" + std::string(510, 'a'));
   EXPECT_EXIT(DtReplaceSubstring(text, "x", "yz"), testing::KilledBySignal(SIGABRT), "DtReplaceSubstring: ");
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

struct Table : DtStringPatternMatch
{
   using DtStringPatternMatch::DtStringPatternMatch;

   std::string entries(std::string const & letters) const
   {
      std::string text;
      for (char letter : letters)
         text += std::to_string(mySkipTable[int{letter}]) + ' ';
      return text;
   }
};

TEST(DtStringPatternMatch, TakesAPatternOnlyBehindATextAndKeepsATableOfItsOwn)
{
   Table match, textless("", "b");
   match.setPattern("b");
   EXPECT_TRUE(match.pattern().isEmpty());
   match.setString("abc");
   EXPECT_EQ(match.indexOfOccurence(0), -2);
   match.setPattern("b");
   match.setString("xxxb");
   textless.setString("ab");
   EXPECT_EQ(match.indexOfOccurence(0) + textless.indexOfOccurence(0), 4);
   match.setPattern("");
   EXPECT_EQ(match.indexOfOccurence(0), -2);
   match.setPattern("abcab");
   Table copy(match);
   match.setPattern("xy");
   EXPECT_EQ(match.entries("axy") + copy.entries("abcx"), "2 1 -2 1 -3 2 5 ");
   copy = match;
   match.setPattern("a");
   EXPECT_EQ(copy.entries("axy"), "2 1 -2 ");
}

TEST(DtStringBuffer, WritesAndReadsWhatTheTableSaysAndTakesTheLengthOfCountsFromTheReader)
{
   for (Fields const & row : tableOf("base/stringBuffer.tsv"))
   {
      bool const writes = row[0] == "write", wide = row[2] == "wide";
      auto const form = DtStringEncodingType(std::stoi(row[1]));
      int const size = std::stoi(row[4]);
      std::string const untouched(writes ? static_cast<std::size_t>(size) + 1 : 0, '#');
      std::string const & content = writes ? untouched : row[5];
      std::vector<char> bytes(content.begin(), content.end());
      DtString text("before");
      DtSetNetworkByteOrdering(row[3] == "host" ? DtHostByteOrder : DtNetByteOrder);
      int const used = writes ? DtStringToBuffer(form, bytes.data(), size, row[5].c_str(), wide)
                              : DtStringFromBuffer(form, &text, bytes.data(), size, wide);
      EXPECT_EQ(std::to_string(used), row[6]) << row[0] << row[1] << ' ' << row[5];
      EXPECT_EQ(writes ? std::string(bytes.begin(), bytes.end()) : text.stdString(), row[7]) << row[5];
   }
   DtSetNetworkByteOrdering(DtNetByteOrder);
   EXPECT_EQ(DtStringToBuffer(DtStringEncodingType(7), nullptr, -1, "abc"), 0);
   std::string paddings;
   for (int form = -1; form < 8; ++form)
      paddings += std::to_string(DtStringGetNetPadding(DtStringEncodingType(form)));
   EXPECT_EQ(paddings, "040110000");
   DtVariableArraySizeLength = 6;
   DtString text;
   EXPECT_EQ(DtStringFromBuffer(DtStringCounted, &text, "\0\0\0\2##xy", 8, false), 8);
   EXPECT_STREQ(text, "xy");
   EXPECT_EQ(DtStringGetNetPadding(DtStringCounted), 6);
   DtVariableArraySizeLength = 4;
}

} // namespace
