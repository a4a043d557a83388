// SPDX-License-Identifier: MIT
#include "tslutil/base/tslHashlist.h"

#include "support/allocations.h"
#include "support/capturedStream.h"
#include "support/slots.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <utility>

namespace
{

typedef DtBaseHashKey const & Key;
typedef DtStringHashKey Text;
typedef DtWStringHashKey Wide;
typedef DtIntHashKey Int;
typedef DtPtrHashKey Ptr;

/// A caller's own kind of key, which equals all or nothing.
struct OwnKey : Text
{
   using Text::computeHashValue;
   OwnKey(char const * value, bool always) : Text(value), equals(always) {}
   OwnKey(OwnKey const &) = default;
   ~OwnKey() override { ++deaths; }
   DtBaseHashKey * clone() const override { return new OwnKey(*this); }
   DtString stringRep() const override { return "ca"; }
   bool equalTo(Key) const override { return equals; }
   bool equals;
   static inline int deaths = 0;
};

/// Notes the calls of its slots by their initials.
struct Table : DtHashlist
{
   using List = DtHashlist;
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
std::string contents(DtHashlist const & table)
{
   std::string text;
   DtListItem const * value = table.list()->first();
   for (DtListItem const * item = table.keys()->first(); item != nullptr; item = item->next())
   {
      Key key = *static_cast<DtBaseHashKey const *>(item->data());
      EXPECT_EQ(table.lookup(key), value->data());
      text += key.stringRep().stdString() + char('0' + reinterpret_cast<std::uintptr_t>(value->data())) + " ";
      value = value->next();
   }
   return text;
}

TEST(DtHashlist, KeepsTheOrderOfSlots)
{
   EXPECT_TRUE(inSlotsFrom(2, &Text::operator==, &Text::operator!=, &Text::hashValue, &Text::hashKeyType,
                           &Text::clone, &Text::stringRep, &Text::equalTo, &OwnKey::computeHashValue,
                           &Text::value, &Text::setValue));
   EXPECT_TRUE(inSlotsFrom(10, &Wide::value, &Wide::setValue) &&
               slotOf(&Int::value) + slotOf(&Ptr::value) == 20);
   EXPECT_TRUE(inSlotsFrom(2, &DtHashItem::hashKey, &DtHashItem::listItem, &DtHashItem::keyItem,
                           &DtHashItem::setKeyItem));
   EXPECT_TRUE(inSlotsFrom(2, &Table::add, &Table::remove, &Table::lookup, &Table::operator[], &Table::list,
                           &Table::print, &Table::keys, &Table::empty, &Table::setFromOther,
                           &Table::itemLookup, &Table::bucketFromHashKey, &Table::bucketItemLookup));
}

TEST(DtHashKey, HasAHashAndATextOf32BitNumbersAndSignedBytes)
{
   auto const check = [](Key key, DtHashKeyType kind, unsigned long hash, char const * text)
   {
      std::unique_ptr<DtBaseHashKey> const copy(key.clone());
      EXPECT_TRUE(copy->hashKeyType() == kind && copy->stringRep() == text) << copy->stringRep();
      EXPECT_EQ(copy->hashValue(), hash) << text;
   };
   check(Int(0x3FFFFFFFF), DtIntHashKeyType, 4294967295, "4294967295");
   check(Ptr(data(0x700000005)), DtPtrHashKeyType, 5, "5");
   check(Text(nullptr), DtStringHashKeyType, 0, "");
   check(Text("\xFF"), DtStringHashKeyType, 4294967295, "\xFF");
   check(Text("\xFFxy"), DtStringHashKeyType, 602, "\xFFxy");
   check(Wide(static_cast<wchar_t const *>(nullptr)), DtWStringHashKeyType, 0, "");
   // The surrogates of a character beyond 16 bits count; a low byte of zero ends the text.
   check(Wide(L"\U0001F63A\u0142"), DtWStringHashKeyType, 0xD83D + 2 * 0xDE3A + 3 * 0x142, "=:B");
   check(Wide(L"a\u0100b"), DtWStringHashKeyType, 'a' + 2 * 0x100 + 3 * 'b', "a");
   Text text("a"), other("z");
   text.setValue("b");
   EXPECT_EQ(text.hashValue(), 98u);
   // What was hashed once keeps its hash, also in copies.
   text.setValue("c");
   other = text;
   check(other, DtStringHashKeyType, 98, "c");
   Wide wide(L"b");
   EXPECT_EQ(wide.hashValue(), 98u);
   wide.setValue(L"c");
   check(wide, DtWStringHashKeyType, 98, "c");
}

TEST(DtHashKey, EqualsByHashAndTextUnlessTheKindKnowsBetter)
{
   struct Address : Ptr
   {
      using Ptr::Ptr;
   };
   auto const check = [](Key left, Key right, bool same, bool sameInTable)
   {
      DtHashlist table;
      table.add(left, &table);
      EXPECT_TRUE((left == right) == same && (left != right) == !same && left.equalTo(right) == sameInTable &&
                  table[right] == (sameInTable ? &table : nullptr))
         << left.stringRep() << " " << right.stringRep();
   };
   check(Text("ab"), Text("ab"), true, true);
   check(Text("ab"), Text("ca"), false, false);
   check(Int(53), Text("5"), false, false);
   check(Int(53), Text("53"), false, false);
   check(Int(5), Int(0x100000005), true, true);
   check(Int(5), Ptr(data(5)), true, true);
   check(Text("ab"), Wide(L"ab"), true, true);
   check(Wide(L"\u0341\u0141"), Wide(L"\u0141\u0241"), true, true);
   check(Wide(L"ab"), Wide(L"ca"), false, false);
   // The hash and the text of an address have 32 bits; a table still tells addresses of one class apart.
   check(Ptr(data(0x100000005)), Ptr(data(5)), true, false);
   check(Ptr(data(0x100000005)), Address(data(5)), true, true);
   check(OwnKey("ab", false), Text("ca"), true, false);
   check(OwnKey("ab", true), Text("ab"), false, true);
   // In the same bucket by another hash.
   check(OwnKey("ab", true), Int(293 + 127), false, true);
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
      DtHashlist &target = lent, &same = target;
      target = same;
      target = table;
      EXPECT_EQ(lent[Text("ca")], data(4));
      EXPECT_EQ(lent.notes, "serbarbarblib");
      EXPECT_EQ(contents(DtHashlist(lent)), "b0 ca4 ");
      EXPECT_EQ(values.count(), 3u);
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
   // A thread of its own has no nodes to use again yet.
   std::thread(
      [&]
      {
         DtHashlist table;
         AllocationCount const insertions;
         for (unsigned long i = 0; i < 200; ++i)
            table.add(Int(i), &table);
         EXPECT_EQ(insertions.here(), 200 * 5u);
         // One more for the text itself.
         table.add(longText, &table);
         EXPECT_EQ(insertions.here(), 201 * 5u + 1);
         // The first removal opens the thread's stores of nodes.
         table.remove(Int(4));
         AllocationCount const steady;
         EXPECT_TRUE(table.lookup(longText) && table.lookup(longWide) && !table.lookup(likeLong));
         table.remove(Int(3));
         table.add(Int(3), &table);
         EXPECT_EQ(steady.here(), 0u);
      })
      .join();
}

} // namespace
