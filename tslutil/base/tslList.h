// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

#include <cstddef>

/// One place in a DtList: a value and its neighbours. Lists make and delete their items.
class TSLUTIL_EXPORT DtListItem
{
public:
   /// Copies all three fields: the copy names the same neighbours, which don't know of it.
   DtListItem(DtListItem const & other);
   /// The same.
   DtListItem & operator=(DtListItem const & other);

   virtual ~DtListItem();

   /// The neighbours; null at the ends.
   DtListItem * next() const { return myNext; }
   /// The one before.
   DtListItem * prev() const { return myPrev; }

   /// The value.
   void * data() const { return myData; }

   // Items come and go often: a thread uses those that it deleted again.
   /// Takes an item that this thread has deleted, or memory.
   static void * operator new(std::size_t size);
   /// Keeps the item for this thread to use again.
   static void operator delete(void * memory, std::size_t size) noexcept;

protected:
   /// An item on no list.
   explicit DtListItem(void * data);

private:
   friend class DtList;

   DtListItem * myPrev;
   DtListItem * myNext;
   void * myData;
};

/// A doubly linked list of untyped pointers, in the order given. It owns its items and not the data, which
/// may be null. Nothing is locked: a list belongs to one thread at a time, or its owner guards it.
class TSLUTIL_EXPORT DtList
{
public:
   DtList();
   /// New items with the other's data, in order.
   DtList(DtList const & other);
   /// Removes all, then appends the other's data; nothing for the list itself.
   DtList & operator=(DtList const & other);

   // Virtual operations, in slot order.

   /// Deletes all items and no data.
   virtual ~DtList();

protected:
   /// Links `item` behind `after`, or in at the front if `after` is null. Every insertion comes here.
   virtual void addToList(DtListItem * item, DtListItem * after);
   /// Links the neighbours of `item`, which is on this list, to each other. The item's own links stay. Every
   /// removal comes here.
   virtual void removeFromList(DtListItem * item);

public:
   /// Inserts behind `after`, an item of this list, or at the front if it is null. Returns the new item.
   DtListItem * addAfter(void * data, DtListItem * after);
   /// Inserts ahead of `before`, an item of this list, or at the front if it is null. Returns the new item.
   DtListItem * addBefore(void * data, DtListItem * before);
   /// Inserts at the front. Returns the new item.
   DtListItem * addToStart(void * data);
   /// Inserts at the end, as add does. Returns the new item.
   DtListItem * addToEnd(void * data);
   /// addToEnd() by its short name.
   DtListItem * add(void * data);

   /// Deletes an item of this list and returns its data; null does nothing and gives null.
   void * remove(DtListItem * item);
   /// Removes every item, from the first. The data is not deleted.
   void removeAll();

   /// The ends; null if the list is empty.
   DtListItem * first() const { return myFirst; }
   /// The last item.
   DtListItem * last() const { return myLast; }

   /// The number of insertions less the number of removals.
   unsigned int count() const { return myCount; }

   /// The first item that holds `data`, or null. Walks the list.
   DtListItem * itemLookup(void const * data) const;

private:
   void append(DtList const & other);

   DtListItem * myFirst;
   DtListItem * myLast;
   unsigned int myCount;
};
