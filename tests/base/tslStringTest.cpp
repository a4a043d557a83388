// SPDX-License-Identifier: MIT
#include "tslutil/base/tslString.h"

#include "support/allocations.h"
#include "support/slots.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
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
   using DtString::caseCompare;
   using DtString::clear;
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

} // namespace
