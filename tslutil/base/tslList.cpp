// SPDX-License-Identifier: MIT
#include "tslutil/base/tslList.h"

#include "tslutil/base/nodePool.h"

namespace
{
typedef tsl::NodePool<sizeof(DtListItem)> ItemPool;
} // namespace

DtListItem::DtListItem(DtListItem const & other) = default;

DtListItem & DtListItem::operator=(DtListItem const & other) = default;

DtListItem::DtListItem(void * data) : myPrev(nullptr), myNext(nullptr), myData(data) {}

DtListItem::~DtListItem()
{
   myPrev = nullptr;
   myNext = nullptr;
   myData = nullptr;
}

void * DtListItem::operator new(std::size_t size)
{
   return size == sizeof(DtListItem) ? ItemPool::take() : ::operator new(size);
}

void DtListItem::operator delete(void * memory, std::size_t size) noexcept
{
   if (memory != nullptr && size == sizeof(DtListItem))
      ItemPool::giveBack(memory);
   else
      ::operator delete(memory);
}

DtList::DtList() : myFirst(nullptr), myLast(nullptr), myCount(0) {}

DtList::DtList(DtList const & other) : DtList()
{
   append(other);
}

DtList & DtList::operator=(DtList const & other)
{
   if (this != &other)
   {
      removeAll();
      append(other);
   }
   return *this;
}

DtList::~DtList()
{
   while (DtListItem * const item = myFirst)
   {
      myFirst = item->myNext;
      delete item;
   }
}

void DtList::addToList(DtListItem * item, DtListItem * after)
{
   if (item == nullptr)
      return;
   DtListItem * const next = after != nullptr ? after->myNext : myFirst;
   item->myPrev = after;
   item->myNext = next;
   (after != nullptr ? after->myNext : myFirst) = item;
   (next != nullptr ? next->myPrev : myLast) = item;
   ++myCount;
}

void DtList::removeFromList(DtListItem * item)
{
   if (item == nullptr)
      return;
   (item->myPrev != nullptr ? item->myPrev->myNext : myFirst) = item->myNext;
   (item->myNext != nullptr ? item->myNext->myPrev : myLast) = item->myPrev;
   --myCount;
}

DtListItem * DtList::addAfter(void * data, DtListItem * after)
{
   DtListItem * const item = new DtListItem(data);
   addToList(item, after);
   return item;
}

DtListItem * DtList::addBefore(void * data, DtListItem * before)
{
   return addAfter(data, before != nullptr ? before->prev() : nullptr);
}

DtListItem * DtList::addToStart(void * data)
{
   return addAfter(data, nullptr);
}

DtListItem * DtList::addToEnd(void * data)
{
   return addAfter(data, myLast);
}

DtListItem * DtList::add(void * data)
{
   return addAfter(data, myLast);
}

void * DtList::remove(DtListItem * item)
{
   if (item == nullptr)
      return nullptr;
   removeFromList(item);
   void * const data = item->myData;
   delete item;
   return data;
}

void DtList::removeAll()
{
   while (myFirst != nullptr)
      remove(myFirst);
}

DtListItem * DtList::itemLookup(void const * data) const
{
   DtListItem * item = myFirst;
   while (item != nullptr && item->myData != data)
      item = item->myNext;
   return item;
}

void DtList::append(DtList const & other)
{
   for (DtListItem const * item = other.myFirst; item != nullptr; item = item->myNext)
      add(item->myData);
}
