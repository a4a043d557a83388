// SPDX-License-Identifier: MIT
#include "tslutil/base/tslString.h"

#include "support/allocations.h"
#include "support/slots.h"

#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <new>

namespace
{

using testing::ElementsAre;

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
   std::vector<std::size_t> const slots = {
      slotOf<S & (S::*)(S const &)>(&S::operator=),
      slotOf<S & (S::*)(char const *)>(&S::operator=),
      slotOf(&S::operator char const *),
      slotOf(&S::clone),
      slotOf(&S::operator<),
      slotOf(&S::operator>),
      slotOf(&S::operator==),
      slotOf(&S::operator!=),
      slotOf(&S::operator<=),
      slotOf(&S::operator>=),
      slotOf<bool (S::*)(S const &) const>(&S::caseCompare),
      slotOf<bool (S::*)(char const *) const>(&S::caseCompare),
      slotOf(&S::operator+),
      slotOf<S & (S::*)(S const &)>(&S::operator+=),
      slotOf<S & (S::*)(char const *)>(&S::operator+=),
      slotOf<char const & (S::*)(int) const>(&S::operator[]),
      slotOf<char & (S::*)(int)>(&S::operator[]),
      slotOf(&S::snipFront),
      slotOf(&S::snipBack),
      slotOf(&S::chompFront),
      slotOf(&S::chompBack),
      slotOf(&S::tokenize),
      slotOf(&S::toInt),
      slotOf(&S::toUInt),
      slotOf(&S::toFloat),
      slotOf(&S::toDouble),
      slotOf(&S::toBoolean),
      slotOf(&S::toUpper),
      slotOf(&S::toLower),
      slotOf(&S::findChar),
      slotOf(&S::findLastChar),
      slotOf(&S::findString),
      slotOf(&S::findLastString),
      slotOf(&S::count),
      slotOf(&S::length),
      slotOf(&S::size),
      slotOf(&S::stdString),
      slotOf(&S::string),
      slotOf(&S::c_str),
      slotOf(&S::isEmpty),
      slotOf(&S::section),
   };
   for (std::size_t i = 0; i < slots.size(); ++i)
      EXPECT_EQ(slots[i], i + 2);
}

TEST(DtString, HoldsTheTextOfEachKindOfArgument)
{
   EXPECT_STREQ(DtString(), "");
   EXPECT_STREQ(DtString(static_cast<char const *>(nullptr)), "");
   EXPECT_STREQ(DtString('c'), "c");
   EXPECT_TRUE(DtString('\0').isEmpty());
   for (std::size_t length : {0, 1, 62, 63, 64, 65, 1000})
   {
      std::string const text = textOf(length);
      EXPECT_EQ(DtString(text).stdString(), text);
      EXPECT_EQ(DtString(text.c_str()).stdString(), text);
      EXPECT_EQ(DtString(text.c_str(), static_cast<int>(length)).stdString(), text);
      EXPECT_EQ(std::unique_ptr<DtString>(DtString(text).clone())->stdString(), text);
      EXPECT_EQ(DtString(text).size(), static_cast<int>(length));
   }
   DtString const cut("a\0b", 3);
   EXPECT_EQ(std::string(cut.string(), 4), std::string("a\0b", 4));
   EXPECT_EQ(cut.size(), 1);
   EXPECT_STREQ(DtString("abc", -1), "");
   EXPECT_STREQ(DtString(nullptr, 5), "");
   EXPECT_THROW(DtString("abc", -2), std::bad_alloc);
}

TEST(DtString, TouchesTheHeapFrom64CharactersOn)
{
   for (std::size_t length : {0, 10, 63, 64, 100})
   {
      std::string const text = textOf(length);
      std::string const half = textOf(length / 2);
      std::size_t const expected = length < 64 ? 0 : 1;
      AllocationCount construction;
      DtString const made(text.c_str());
      EXPECT_EQ(construction.here(), expected);
      AllocationCount copying;
      DtString const copied(made);
      EXPECT_EQ(copying.here(), expected);
      DtString target;
      AllocationCount assigning;
      target = made;
      target = text.c_str();
      EXPECT_EQ(assigning.here(), expected);
      AllocationCount appending;
      DtString sum(half.c_str());
      sum += half.c_str();
      EXPECT_EQ(appending.here(), expected);
   }
}

TEST(DtString, GrowsToTheExactSizeAndKeepsItsBlock)
{
   DtString text(textOf(100));
   char const * const block = text.string();
   text = "abc";
   text = static_cast<char const *>(nullptr);
   EXPECT_EQ(text.string(), block);
   EXPECT_STREQ(text, "");
   text = textOf(100).c_str();
   EXPECT_EQ(text.string(), block);
   AllocationCount growth;
   text += "1";
   text += "2";
   EXPECT_EQ(growth.here(), 2u);

   text = "abc";
   DtString other;
   AllocationCount copies;
   // The capacity decides, not the length.
   DtString copy(text);
   other = copy;
   EXPECT_EQ(copies.here(), 2u);
   EXPECT_STREQ(other, "abc");
}

TEST(DtString, TakesItselfAndItsOwnTextAsArguments)
{
   for (std::size_t length : {20, 40, 100})
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

TEST(DtString, ComparesByUnsignedBytesAndNeverWithNull)
{
   for (char const * const left : {"", "a", "ab", "\x80"})
   {
      for (char const * const right : {"", "a", "ab", "\x80"})
      {
         int const order = std::strcmp(left, right);
         DtString const l(left);
         DtString const r(right);
         EXPECT_EQ(l < right && l < r, order < 0);
         EXPECT_EQ(l > right && l > r, order > 0);
         EXPECT_EQ(l == right && l == r, order == 0);
         EXPECT_EQ(l != right && l != r, order != 0);
         EXPECT_EQ(l <= right && l <= r, order <= 0);
         EXPECT_EQ(l >= right && l >= r, order >= 0);
      }
   }
   char const * const null = nullptr;
   DtString const text("a");
   EXPECT_FALSE(text < null || text > null || text == null || text != null || text <= null || text >= null);
   EXPECT_TRUE(text.caseCompare("A") && text.caseCompare(DtString("A")));
   EXPECT_FALSE(text.caseCompare("ab") || text.caseCompare("") || text.caseCompare(null));
}

TEST(DtString, Concatenates)
{
   DtString const left("left");
   EXPECT_STREQ(left + "right", "leftright");
   EXPECT_STREQ(left + DtString(-7), "left-7");
   EXPECT_STREQ("right" + left, "rightleft");
   EXPECT_STREQ(left + static_cast<char const *>(nullptr), "left");
}

TEST(DtString, Searches)
{
   DtString const text("abcabc");
   EXPECT_EQ(text.findChar('b'), 1);
   EXPECT_EQ(text.findLastChar('b'), 4);
   EXPECT_EQ(text.findChar('x') + text.findLastChar('x'), -2);
   EXPECT_EQ(text.findChar('\0'), 6);
   EXPECT_EQ(text.count('c'), 2);
   struct
   {
      char const * haystack;
      char const * needle;
      int index;
   } const rows[] = {{"abcabc", "abc", 0}, {"xabcabc", "bc", 2}, {"abc", "", 0},
                     {"", "a", -1},        {"abc", "x", -1},     {"", "", 0}};
   for (auto const & row : rows)
   {
      EXPECT_EQ(DtString(row.haystack).findString(row.needle), row.index) << row.needle;
      // The last occurrence is the first.
      EXPECT_EQ(DtString(row.haystack).findLastString(row.needle), row.index) << row.needle;
   }
}

TEST(DtString, CutsAndTellsWhetherItDid)
{
   struct
   {
      bool (*cut)(DtString &);
      char const * before;
      char const * after;
   } const rows[] = {
      {[](DtString & s) { return s.snipBack('/', false); }, "a/b/c", "a/b"},
      {[](DtString & s) { return s.snipBack('/', true); }, "a/b/c", "a"},
      {[](DtString & s) { return s.snipBackToFirst('/'); }, "a/b/c", "a"},
      {[](DtString & s) { return s.snipFront('/', false); }, "a/b/c", "b/c"},
      {[](DtString & s) { return s.snipFront('/', true); }, "a/b/c", "c"},
      {[](DtString & s) { return s.snipFrontToLast('/'); }, "a/b/", ""},
      {[](DtString & s) { return s.snipFront('x') || s.snipBack('x'); }, "a/b/c", "a/b/c"},
      {[](DtString & s) { return s.snipFront('\0') || s.snipBack('\0'); }, "abc", "abc"},
      {[](DtString & s) { return s.chompFront(); }, " \t\n\v\f\ra ", "a "},
      {[](DtString & s) { return s.chompBack(); }, " a \t\n\v\f\r", " a"},
      {[](DtString & s) { return s.chompBack(); }, "  ", ""},
      {[](DtString & s) { return s.chompFront(); }, "  ", ""},
      {[](DtString & s) { return s.chompFront() || s.chompBack(); }, "a\xA0", "a\xA0"},
      {[](DtString & s) { return s.chompFront() || s.chompBack(); }, "", ""},
   };
   for (auto const & row : rows)
   {
      DtString text(row.before);
      bool const told = row.cut(text);
      EXPECT_EQ(told, text != row.before) << row.before;
      EXPECT_STREQ(text, row.after);
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
   DtString("").tokenize(',', tokens);
   EXPECT_TRUE(tokens.empty());
   DtString("a,,b").tokenize(',', tokens);
   EXPECT_THAT(tokens, ElementsAre("a", "", "b"));
   DtString(",a,").tokenize(',', tokens);
   EXPECT_THAT(tokens, ElementsAre("", "a"));
   struct
   {
      char const * text;
      int start;
      int end;
      char const * section;
   } const rows[] = {
      {"a,b,c", -1, -1, "c"},     {"a,b,c", 0, 1, "a,b"}, {"a,b,c", 1, 9, "b,c"},
      {"a,b,c", 2, 1, ""},        {"a,b,c", 0, -4, ""},   {"", 0, -1, ""},
      {"a,,b", 0, 1, "a,,b"},     {"a,,b", 1, 1, "b"},    {",,a,b", 0, 0, "a"},
      {"a,b,,,c", 1, 2, "b,,,c"}, {"a,b", -9, 0, ",a"},   {"a,b,,c", 0, 1, "a,b"},
   };
   for (auto const & row : rows)
      EXPECT_STREQ(DtString(row.text).section(',', row.start, row.end), row.section) << row.text << row.start;
}

TEST(DtString, NullStringsAreTwoEmptyTexts)
{
   EXPECT_TRUE(DtString::nullString().isEmpty() && DtString::nullId().isEmpty());
   EXPECT_NE(&DtString::nullString(), &DtString::nullId());
   EXPECT_EQ(&DtString::nullString(), &DtString::nullString());
}

/// Records which slots the other operations reach.
class Overriding : public DtString
{
public:
   using DtString::DtString;
   using DtString::operator=;
   using DtString::operator+=;
   using DtString::caseCompare;
   mutable std::string calls;

   DtString & operator+=(char const * text) override { return calls += "+=", DtString::operator+=(text); }
   bool operator==(char const * text) const override { return calls += "==", DtString::operator==(text); }
   bool caseCompare(char const * text) const override
   {
      return calls += "case ", DtString::caseCompare(text);
   }
   bool snipFront(char c, bool last) override { return calls += "front ", DtString::snipFront(c, last); }
   bool snipBack(char c, bool first) override { return calls += "back ", DtString::snipBack(c, first); }
   int toInt(bool * ok) const override { return calls += "toInt ", DtString::toInt(ok); }
   int size() const override { return calls += "size ", DtString::size(); }
   void tokenize(char delim, std::vector<DtString> & out) const override
   {
      calls += "tokenize ";
      DtString::tokenize(delim, out);
   }
   using DtString::clear;
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
   EXPECT_EQ(text.calls, "toInt case case case size tokenize size back front ==");
   text.calls.clear();
   text += DtString("x");
   EXPECT_EQ(text.calls, "+=size ");
}

TEST(DtString, IsHarmlessWithoutStorage)
{
   Overriding cleared("abc");
   cleared.clear();
   EXPECT_EQ(cleared.string(), nullptr);
   EXPECT_EQ(cleared.size() + cleared.toInt(nullptr) + cleared.count('a'), 0);
   EXPECT_EQ(cleared.findChar('a') + cleared.findLastChar('a') + cleared.findString(""), -3);
   EXPECT_FALSE(cleared == "" || cleared != "" || cleared.chompFront() || cleared.chompBack());
   EXPECT_STREQ(DtString(cleared), "");
   EXPECT_EQ(cleared.stdString(), "");
   cleared = static_cast<char const *>(nullptr);
   cleared += "ab";
   cleared += "cd";
   DtString const small(cleared);
   EXPECT_STREQ(small, "abcd");
   cleared.clear();
   cleared = small;
   EXPECT_STREQ(cleared, "abcd");
}

} // namespace
