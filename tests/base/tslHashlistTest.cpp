// SPDX-License-Identifier: MIT
#include "tslutil/base/tslHashlist.h"

#include "support/allocations.h"
#include "support/capturedStream.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

typedef DtHashlist List;
typedef DtBaseHashKey const & Key;
typedef DtStringHashKey Text;
typedef DtWStringHashKey Wide;
typedef DtIntHashKey Int;
typedef DtPtrHashKey Ptr;

/// A caller's own kind of key, which equals all or nothing.
struct OwnKey : Text
{
   OwnKey(char const * value, bool always) : Text(value), equals(always) {}
   ~OwnKey() override { ++deaths; }
   DtBaseHashKey * clone() const override { return new OwnKey(*this); }
   DtString stringRep() const override { return "ca"; }
   bool equalTo(Key) const override { return equals; }
   bool equals;
   static inline int deaths = 0;
};

/// Notes the calls of its slots by their initials.
struct Table : List
{
   using List::bucketFromHashKey;
   using List::List;
   DtListItem * add(Key k, void * v, void ** o) override { return notes += 'a', List::add(k, v, o); }
   void * remove(Key k) override { return notes += 'r', List::remove(k); }
   void * lookup(Key k) const override { return notes += 'l', List::lookup(k); }
   void empty() override { notes += 'e', List::empty(); }
   void setFromOther(List const & other) override { notes += 's', List::setFromOther(other); }
   DtListItem * itemLookup(Key k) const override { return notes += 'i', List::itemLookup(k); }
   DtListItem * bucketItemLookup(Key k) const override { return notes += 'b', List::bucketItemLookup(k); }
   mutable std::string notes;
};

auto const data = [](std::uintptr_t number) { return reinterpret_cast<void *>(number); };

/// Keys and values, which are digits, in their order: "a1 b2 ".
std::string contents(List const & table)
{
   std::string text;
   DtListItem const *item = table.keys()->first(), *value = table.list()->first();
   for (; item != nullptr; item = item->next(), value = value->next())
   {
      Key key = *static_cast<DtBaseHashKey const *>(item->data());
      EXPECT_EQ(table.lookup(key), value->data());
      text += key.stringRep().stdString() + char('0' + reinterpret_cast<std::uintptr_t>(value->data())) + " ";
   }
   return text;
}

TEST(DtHashKey, HashesNumbersOf32BitsAndSignedBytesAndEqualsByHashAndTextUnlessTheKindKnowsBetter)
{
   Text text("a"), other("z");
   Wide wide(L"b");
   text.setValue("b");
   EXPECT_TRUE(text.hashValue() == 98 && wide.hashValue() == 98);
   text.setValue("c");
   wide.setValue(L"c");
   other = text;
   // clang-format off
   struct Address : Ptr { using Ptr::Ptr; };
   // What was hashed once keeps its hash, also in copies. The surrogates of a character beyond 16 bits count; a
   // low byte of zero ends the text.
   struct { Key key; int kind; unsigned long hash; char const * text; } const singles[] = {
      {other, 3, 98, "c"}, {wide, 4, 98, "c"}, {Text(nullptr), 3, 0, ""}, {Text("\xFF"), 3, 4294967295, "\xFF"},
      {Int(0x3FFFFFFFF), 1, 4294967295, "4294967295"}, {Ptr(data(0x700000005)), 2, 5, "5"},
      {Text("\xFFxy"), 3, 602, "\xFFxy"}, {Wide(static_cast<wchar_t const *>(nullptr)), 4, 0, ""},
      {Wide(L"\U0001F63A\u0142"), 4, 0xD83D + 2 * 0xDE3A + 3 * 0x142, "=:B"},
      {Wide(L"a\u0100b"), 4, 'a' + 2 * 0x100 + 3 * 'b', "a"}};
   // The hash and the text of an address have 32 bits; a table still tells addresses of one class apart. The
   // last keys are in one bucket by different hashes.
   struct { Key left, right; bool same, sameInTable; } const pairs[] = {
      {Text("ab"), Text("ab"), true, true}, {Text("ab"), Text("ca"), false, false},
      {Int(53), Text("5"), false, false}, {Int(53), Text("53"), false, false},
      {Int(5), Int(0x100000005), true, true}, {Int(5), Ptr(data(5)), true, true},
      {Text("ab"), Wide(L"ab"), true, true}, {Wide(L"\u0341\u0141"), Wide(L"\u0141\u0241"), true, true},
      {Wide(L"ab"), Wide(L"ca"), false, false}, {Ptr(data(0x100000005)), Ptr(data(5)), true, false},
      {Ptr(data(0x100000005)), Address(data(5)), true, true}, {OwnKey("ab", false), Text("ca"), true, false},
      {OwnKey("ab", true), Text("ab"), false, true}, {OwnKey("ab", true), Int(293 + 127), false, true}};
   // clang-format on
   for (auto const & row : singles)
   {
      std::unique_ptr<DtBaseHashKey> const copy(row.key.clone());
      EXPECT_TRUE(copy->hashKeyType() == row.kind && copy->stringRep() == row.text) << copy->stringRep();
      EXPECT_EQ(copy->hashValue(), row.hash) << row.text;
   }
   for (auto const & [left, right, same, sameInTable] : pairs)
   {
      List table;
      table.add(left, &table);
      EXPECT_TRUE((left == right) == same && (left != right) == !same && left.equalTo(right) == sameInTable &&
                  table[right] == (sameInTable ? &table : nullptr))
         << left.stringRep() << " " << right.stringRep();
   }
}

TEST(DtHashlist, KeepsKeysAndValuesInStepThroughItsSlots)
{
   DtList values;
   values.add(&values);
   {
      Table table(7), lent(&values, -3);
      auto const check = [&](Key key, std::uintptr_t value, std::uintptr_t oldValue, char const * all)
      {
         void * old = &table;
         DtListItem const * const item = table.add(key, data(value), &old);
         EXPECT_TRUE(item == table.list()->last() && old == data(oldValue)) << old;
         EXPECT_EQ(contents(table), all);
      };
      check(Text("ab"), 1, 0, "ab1 ");
      check(Text("ca"), 2, 0, "ab1 ca2 ");
      check(Text("b"), 0, 0, "ab1 ca2 b0 ");
      check(Text("ab"), 3, 1, "ca2 b0 ab3 ");
      // A key that the table itself handed out.
      check(*static_cast<DtBaseHashKey *>(table.keys()->first()->data()), 4, 2, "b0 ab3 ca4 ");
      EXPECT_TRUE(table.remove(Text("zz")) == nullptr && table.remove(Text("ab")) == data(3));
      lent.add(Text("x"), data(1), nullptr);
      lent.notes.clear();
      List &target = lent, &same = target;
      target = same;
      target = table;
      EXPECT_TRUE(lent[Text("ca")] == data(4) && values.count() == 3);
      EXPECT_EQ(contents(List(lent)) + lent.notes, "b0 ca4 serbarbarblibliblib");
      // Records without a key are stepped over.
      table.bucketFromHashKey(Int(5))->add(nullptr);
      table.add(Int(12), data(0x1ABCDEF01), nullptr);
      EXPECT_EQ(table.bucketFromHashKey(Int(5))->count(), 2u);
      CapturedStream captured;
      DtNotifyLevel = 2;
      table.print();
      EXPECT_EQ(captured.textAt(2), "Key: b\n Data: NULL\nKey: ca\n Data: 4\nKey: 12\n Data: abcdef01\n");
      // Keys that don't find themselves are released at the end.
      lent.add(OwnKey("ab", false), data(1), nullptr);
      lent.empty();
      EXPECT_EQ(lent.keys()->count(), 1u);
      OwnKey::deaths = 0;
   }
   EXPECT_TRUE(OwnKey::deaths == 1 && values.count() == 1);
}

TEST(DtHashlist, TakesFiveBlocksForAnInsertionAndNoneForALookup)
{
   Text const longText(DtString(std::string(100, 'x')));
   Wide const longWide(std::wstring(100, L'x'));
   Int const likeLong(longText.hashValue());
   auto const insertAndLookUp = [&]
   {
      List table;
      AllocationCount const insertions;
      for (unsigned long i = 0; i < 200; ++i)
         table.add(Int(i), &table);
      table.add(longText, &table); // one more, for the text itself
      EXPECT_EQ(insertions.here(), 201 * 5u + 1);
      table.remove(Int(4)); // opens the thread's stores of nodes
      AllocationCount const steady;
      EXPECT_TRUE(table.lookup(longText) && table.lookup(longWide) && !table.lookup(likeLong));
      table.remove(Int(3));
      table.add(Int(3), &table);
      EXPECT_EQ(steady.here(), 0u);
   };
   std::thread(insertAndLookUp).join(); // which has no nodes to use again yet
}

/// Keys that stand elsewhere than a table would look for them, or that hide others: nothing is freed twice.
TEST(DtHashlist, LetsGoOfWhatItDoesNotFind)
{
   struct OneBucket : List
   {
      using List::List;
      DtList * bucketFromHashKey(Key) const override { return List::bucketFromHashKey(Int(0)); }
   };
   struct OddInt : Int
   {
      using Int::Int;
      unsigned long computeHashValue() const override { return 1; }
   };
   DtList list;
   {
      OneBucket table(&list, 7);
      for (unsigned long number = 0; number < 9; ++number)
         table.add(Int(number), nullptr);
      EXPECT_TRUE(table.remove(Int(8)) == nullptr && list.count() == 8u);
   }
   EXPECT_EQ(list.count(), 0u);

   List table(1);
   for (unsigned long number : {2ul, 3ul})
   {
      OddInt odd(number);
      odd.hashValue();
      table.add(Int(odd), data(number)); // with the hash of its subclass
   }
   EXPECT_EQ(contents(table), "22 33 ");
   EXPECT_EQ(table[Int(3)], data(3));

   List texts(7);
   texts.add(Text("a"), nullptr);
   texts.add(Text("b"), nullptr);
   static_cast<Text &>(*static_cast<DtBaseHashKey *>(texts.keys()->first()->data())) =
      static_cast<Text const &>(*static_cast<DtBaseHashKey *>(texts.keys()->last()->data()));
   texts.empty();
   EXPECT_EQ(texts.keys()->count(), 1u);
}

/// Beside a walk of all keys, with classes mixed and not, and in the end with one changed where it is stored.
TEST(DtHashlist, FindsWhatAWalkOfItsKeysFinds)
{
   for (unsigned kinds = 15; kinds > 0; --kinds)
   {
      List table(3);
      std::vector<std::unique_ptr<DtBaseHashKey>> keys;
      for (unsigned number = 0; number < 40; ++number)
      {
         std::string const digits = std::to_string(number / 4 * 7919);
         std::wstring const wide(digits.begin(), digits.end());
         Text const text(digits.c_str());
         Wide const wideText(wide);
         Int const hash(text.hashValue());
         Ptr const address(data(text.hashValue()));
         DtBaseHashKey const * const all[] = {&text, &wideText, &hash, &address};
         keys.emplace_back(all[number % 4]->clone());
         if (kinds >> number % 4 & 1)
            table.add(*keys.back(), keys.back().get());
         if (number % 5 == 4)
            table.remove(*keys[number / 2]);
      }
      auto const check = [&]
      {
         for (auto const & key : keys)
         {
            void * expected = nullptr;
            DtListItem const * value = table.list()->first();
            for (DtListItem const * item = table.keys()->first(); item;
                 item = item->next(), value = value->next())
               if (expected == nullptr && static_cast<DtBaseHashKey *>(item->data())->equalTo(*key))
                  expected = value->data();
            EXPECT_EQ(table[*key], expected) << kinds << " " << key->stringRep();
         }
      };
      check();
      if (kinds > 1)
         continue;
      Text & stored = *static_cast<Text *>(static_cast<DtBaseHashKey *>(table.keys()->first()->data()));
      stored.setValue("other");
      keys.emplace_back(stored.clone());
      check();
   }
}

} // namespace
