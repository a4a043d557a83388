// SPDX-License-Identifier: MIT
#include "tslutil/base/tslIntrusiveList.h"

#include "support/allocations.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

typedef DtListItem Item;

/// Data that is told apart by its letter; "-" for none.
void * data(char letter)
{
   static char letters[] = "abcdefghijklmnopqrstuvwxyz";
   return letter == '-' ? nullptr : &letters[letter - 'a'];
}

void fill(DtList & list, std::string const & letters)
{
   for (char const letter : letters)
      list.add(data(letter));
}

/// The data of a list as letters, with "!" behind it if the two ways through it or its count differ.
std::string lettersOf(DtList const & list)
{
   auto const letter = [](Item const * item)
   { return item->data() ? *static_cast<char *>(item->data()) : '-'; };
   std::string there, back;
   for (Item const * item = list.first(); item != nullptr; item = item->next())
      there += letter(item);
   for (Item const * item = list.last(); item != nullptr; item = item->prev())
      back.insert(back.begin(), letter(item));
   return there == back && there.size() == list.count() ? there : there + "!" + back;
}

/// Notes the calls of the slots, and what the list is then.
struct Noting : DtList
{
   void addToList(Item * item, Item * after) override { DtList::addToList(item, after), note('+'); }
   void removeFromList(Item * item) override { DtList::removeFromList(item), note('-'); }
   void note(char change) { notes += change + lettersOf(*this); }
   std::string notes;
};

TEST(DtList, PutsDataWhereItIsAskedThroughItsSlots)
{
   Noting list;
   Item * const b = list.addToEnd(data('b'));
   list.addToStart(data('a'));
   Item * const d = list.add(data('d'));
   EXPECT_EQ(list.addAfter(data('c'), b)->data(), data('c'));
   list.addAfter(data('e'), d);
   list.addBefore(data('x'), d);
   list.addBefore(data('y'), list.first());
   list.addBefore(data('z'), nullptr);
   list.addAfter(data('-'), nullptr);
   list.remove(b);
   EXPECT_EQ(list.notes, "+b+ab+abd+abcd+abcde+abcxde+yabcxde+zyabcxde+-zyabcxde--zyacxde");
}

TEST(DtList, RemovesFindsAndCopiesData)
{
   Noting list;
   fill(list, "ab-cb-");
   EXPECT_TRUE(list.itemLookup(data('b')) == list.first()->next() && list.itemLookup(data('z')) == nullptr &&
               list.itemLookup(nullptr) == list.first()->next()->next());
   EXPECT_TRUE(list.remove(list.itemLookup(data('c'))) == data('c') && list.remove(nullptr) == nullptr &&
               list.remove(list.first()) == data('a') && list.remove(list.last()) == nullptr);
   DtList const copy(list);
   EXPECT_TRUE(lettersOf(copy) == "b-b" && copy.first() != list.first());
   list.notes.clear();
   DtList & target = list;
   target = copy;
   EXPECT_EQ(list.notes, "--b-b-+b+b-+b-b");
   target = list;
   EXPECT_EQ(lettersOf(list), "b-b");
}

TEST(DtList, UsesItsItemsAgainUpToABoundOnWhateverThread)
{
   DtList list;
   std::string const many(3000, 'a');
   fill(list, many);
   std::thread(
      [&]
      {
         list.removeAll();
         AllocationCount const full;
         fill(list, many);
         EXPECT_EQ(full.here(), many.size() - 1024);
      })
      .join();
   EXPECT_EQ(lettersOf(list), many);
}

int deaths = 0;

struct Object : DtListedObj
{
   ~Object() override { ++deaths; }
};

struct Objects : DtIntrusiveList
{
   using DtIntrusiveList::removeAllAndDelete, DtIntrusiveList::removeAndDelete;
   void put(DtListedObj & object) { add(&object); }
};

TEST(DtIntrusiveList, TellsObjectsTheirPlace)
{
   Object a, b, c, d;
   Objects list;
   typedef std::vector<void *> Places;
   list.put(a);
   EXPECT_EQ(a.wrapNext(), &a);
   list.put(b);
   list.put(c);
   EXPECT_EQ((Places{a.prev(), b.prev(), c.prev(), a.wrapPrev()}), (Places{nullptr, &a, &b, &c}));
   EXPECT_EQ((Places{a.next(), b.next(), c.next(), c.wrapNext()}), (Places{&b, &c, nullptr, &a}));
   EXPECT_TRUE(b.wrapNext() == &c && Object(b).next() == &c);
   Objects copy(list);
   copy.addToStart(static_cast<DtListedObj *>(&d));
   EXPECT_EQ(c.wrapNext(), &a);
   copy = list;
   copy.remove(copy.first());
   EXPECT_TRUE(a.wrapNext() == nullptr && c.wrapNext() == &b);
   copy.addAfter(nullptr, copy.first());
   EXPECT_TRUE(b.wrapNext() == &b && list.count() == 3);
}

TEST(DtIntrusiveList, DeletesObjectsAndCountsOneOfThemTwice)
{
   Object const stranger;
   Objects list;
   for (int i = 0; i < 5; ++i)
      list.put(*new Object);
   deaths = 0;
   list.removeAndDelete(static_cast<DtListedObj *>(list.first()->next()->data()));
   list.removeAndDelete(&stranger);
   EXPECT_TRUE(list.count() == 3 && deaths == 1);
   list.removeAndDelete(list.last());
   EXPECT_TRUE(list.count() == 1 && deaths == 2);
   list.removeAllAndDelete();
   EXPECT_TRUE(list.count() == static_cast<unsigned int>(-2) && deaths == 5 && list.first() == nullptr);
}

} // namespace
