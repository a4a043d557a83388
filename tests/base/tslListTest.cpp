// SPDX-License-Identifier: MIT
#include "tslutil/base/tslIntrusiveList.h"

#include "support/allocations.h"
#include "support/slots.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace
{

char letters[] = "abcdefghijklmnopqrstuvwxyz";

void * letter(char c)
{
   return &letters[c - 'a'];
}

char toChar(void const * data)
{
   return data != nullptr ? *static_cast<char const *>(data) : '-';
}

DtList listOf(std::string const & text)
{
   DtList list;
   for (char const c : text)
      list.add(c == '-' ? nullptr : letter(c));
   return list;
}

/// The data of a list as text, with "!" behind it if the two ways through it or its count differ.
std::string textOf(DtList const & list)
{
   std::string there;
   std::string back;
   for (DtListItem const * item = list.first(); item != nullptr; item = item->next())
      there += toChar(item->data());
   for (DtListItem const * item = list.last(); item != nullptr; item = item->prev())
      back.insert(back.begin(), toChar(item->data()));
   return there == back && there.size() == list.count() ? there : there + "!" + back;
}

TEST(DtList, SlotOrder)
{
   struct Open : DtList
   {
      using DtList::addToList;
      using DtList::removeFromList;
   };
   EXPECT_EQ(slotOf(&Open::addToList), 2u);
   EXPECT_EQ(slotOf(&Open::removeFromList), 3u);
}

TEST(DtList, PutsDataWhereItIsAsked)
{
   struct
   {
      char const * what;
      DtListItem * (*add)(DtList &);
      char const * toThree;
   } const rows[] = {
      {"after null", [](DtList & list) { return list.addAfter(letter('x'), nullptr); }, "xabc"},
      {"after first", [](DtList & list) { return list.addAfter(letter('x'), list.first()); }, "axbc"},
      {"after last", [](DtList & list) { return list.addAfter(letter('x'), list.last()); }, "abcx"},
      {"before null", [](DtList & list) { return list.addBefore(letter('x'), nullptr); }, "xabc"},
      {"before first", [](DtList & list) { return list.addBefore(letter('x'), list.first()); }, "xabc"},
      {"before last", [](DtList & list) { return list.addBefore(letter('x'), list.last()); }, "abxc"},
      {"start", [](DtList & list) { return list.addToStart(letter('x')); }, "xabc"},
      {"end", [](DtList & list) { return list.addToEnd(letter('x')); }, "abcx"},
      {"add", [](DtList & list) { return list.add(letter('x')); }, "abcx"},
   };
   for (auto const & row : rows)
   {
      DtList three = listOf("abc");
      DtList none;
      EXPECT_EQ(row.add(three)->data(), letter('x')) << row.what;
      row.add(none);
      EXPECT_EQ(textOf(three), row.toThree) << row.what;
      EXPECT_EQ(textOf(none), "x") << row.what;
   }
}

TEST(DtList, RemovesAndFindsItems)
{
   DtList list = listOf("ab-cb-");
   EXPECT_EQ(list.itemLookup(letter('b')), list.first()->next());
   EXPECT_EQ(list.itemLookup(nullptr), list.first()->next()->next());
   EXPECT_EQ(list.itemLookup(letter('z')), nullptr);
   EXPECT_EQ(list.remove(list.itemLookup(letter('c'))), letter('c'));
   EXPECT_EQ(textOf(list), "ab-b-");
   EXPECT_EQ(list.remove(nullptr), nullptr);
   EXPECT_EQ(list.remove(list.first()), letter('a'));
   EXPECT_EQ(list.remove(list.last()), nullptr);
   EXPECT_EQ(textOf(list), "b-b");
   list.removeAll();
   EXPECT_EQ(textOf(list), "");
}

TEST(DtList, CopiesDataIntoItsOwnItemsThroughItsSlots)
{
   struct Noting : DtList
   {
      using DtList::operator=;
      void addToList(DtListItem * item, DtListItem * after) override
      {
         notes += std::string("+") + toChar(item->data());
         DtList::addToList(item, after);
      }
      void removeFromList(DtListItem * item) override
      {
         notes += std::string("-") + toChar(item->data());
         DtList::removeFromList(item);
      }
      std::string notes;
   } noting;
   noting.addToStart(letter('b'));
   noting.addToStart(letter('a'));
   DtList const source = listOf("xy");
   noting = source;
   EXPECT_EQ(noting.notes, "+b+a-a-b+x+y");
   DtList & itself = noting;
   noting = itself;
   EXPECT_EQ(textOf(noting), "xy");
   DtList const copy(source);
   EXPECT_EQ(textOf(copy), "xy");
   EXPECT_NE(copy.first(), source.first());
}

TEST(DtList, GivesItemsBackOnWhateverThread)
{
   // More than a thread keeps, added here, removed there; the leak check tells of a lost one.
   DtList list;
   for (int i = 0; i < 3000; ++i)
      list.add(letter('a'));
   std::thread(
      [&list]
      {
         list.removeAll();
         for (int i = 0; i < 3000; ++i)
            list.add(letter('b'));
      })
      .join();
   EXPECT_EQ(textOf(list), std::string(3000, 'b'));
}

TEST(DtList, UsesItsItemsAgainUpToABound)
{
   DtList list;
   list.remove(list.add(letter('a')));
   AllocationCount const steady;
   for (int i = 0; i < 100; ++i)
      list.remove(list.add(letter('a')));
   EXPECT_EQ(steady.here(), 0u);
   std::size_t const many = 3000;
   for (std::size_t i = 0; i < many; ++i)
      list.add(letter('a'));
   list.removeAll();
   AllocationCount const full;
   for (std::size_t i = 0; i < many; ++i)
      list.add(letter('a'));
   EXPECT_EQ(full.here(), many - 1024);
}

class Object : public DtListedObj
{
public:
   explicit Object(int * ends = nullptr) : deaths(ends) {}
   Object(Object const &) = default;
   ~Object() override
   {
      if (deaths != nullptr)
         ++*deaths;
   }
   int * deaths;
};

class Objects : public DtIntrusiveList
{
public:
   using DtIntrusiveList::removeAllAndDelete;
   using DtIntrusiveList::removeAndDelete;
   void put(DtListedObj & object) { add(&object); }
};

TEST(DtIntrusiveList, SlotOrder)
{
   EXPECT_EQ(slotOf<void (Objects::*)(DtListItem *)>(&Objects::removeAndDelete), 4u);
   EXPECT_EQ(slotOf(&Objects::removeAllAndDelete), 5u);
}

TEST(DtIntrusiveList, TellsObjectsTheirPlace)
{
   Object a, b, c;
   Objects list;
   EXPECT_EQ(a.next(), nullptr);
   EXPECT_EQ(a.wrapPrev(), nullptr);
   list.put(a);
   EXPECT_EQ(a.wrapNext(), &a);
   list.put(b);
   list.put(c);
   void * const none = nullptr;
   EXPECT_EQ((std::vector<void *>{a.next(), b.next(), c.next()}), (std::vector<void *>{&b, &c, none}));
   EXPECT_EQ((std::vector<void *>{a.prev(), b.prev(), c.prev()}), (std::vector<void *>{none, &a, &b}));
   EXPECT_EQ(c.wrapNext(), &a);
   EXPECT_EQ(b.wrapNext(), &c);
   EXPECT_EQ(a.wrapPrev(), &c);
   EXPECT_EQ(Object(b).next(), &c);
   list.addAfter(nullptr, list.itemLookup(&b));
   EXPECT_EQ(b.wrapNext(), &a);
   list.remove(list.itemLookup(&b));
   EXPECT_EQ(b.wrapNext(), nullptr);
   list.removeAll();
   EXPECT_EQ(c.wrapNext(), nullptr);
}

TEST(DtIntrusiveList, MovesPlacesByAssignmentAndNotByCopy)
{
   Object a, b, c;
   Objects source;
   source.put(a);
   source.put(b);
   {
      Objects const copy(source);
      EXPECT_EQ(copy.count(), 2u);
      source.addToStart(static_cast<DtListedObj *>(&c));
      EXPECT_EQ(a.prev(), &c);
      EXPECT_EQ(b.wrapNext(), &c);
   }
   Objects target;
   target = source;
   source.removeAll();
   EXPECT_EQ(c.wrapNext(), nullptr);
   source = target;
   target.removeAll();
   target = source;
   target.remove(target.first());
   EXPECT_EQ(b.wrapNext(), &a);
   EXPECT_EQ(source.count(), 3u);
}

TEST(DtIntrusiveList, DeletesObjectsAndCountsOneOfThemTwice)
{
   int deaths = 0;
   Objects list;
   std::vector<Object *> objects;
   for (int i = 0; i < 5; ++i)
      list.put(*objects.emplace_back(new Object(&deaths)));
   list.removeAndDelete(objects[1]);
   EXPECT_EQ(list.count(), 3u);
   list.removeAndDelete(list.last());
   EXPECT_EQ(list.count(), 1u);
   EXPECT_EQ(deaths, 2);
   EXPECT_EQ(objects[0]->next(), objects[2]);
   Object const stranger;
   list.removeAndDelete(&stranger);
   EXPECT_EQ(list.count(), 1u);
   list.removeAllAndDelete();
   EXPECT_EQ(deaths, 5);
   EXPECT_EQ(list.first(), nullptr);
   EXPECT_EQ(list.count(), static_cast<unsigned int>(-2));
}

} // namespace
