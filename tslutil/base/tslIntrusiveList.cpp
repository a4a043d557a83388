// SPDX-License-Identifier: MIT
#include "tslutil/base/tslIntrusiveList.h"

namespace
{

DtListedObj * objectOf(DtListItem const * item)
{
   return item != nullptr ? static_cast<DtListedObj *>(item->data()) : nullptr;
}

void * dataOf(DtListItem const * item)
{
   return item != nullptr ? item->data() : nullptr;
}

} // namespace

DtListedObj::DtListedObj() : myList(nullptr), myItem(nullptr) {}

DtListedObj::DtListedObj(DtListedObj const & other) = default;

DtListedObj & DtListedObj::operator=(DtListedObj const & other) = default;

DtListedObj::~DtListedObj()
{
   myList = nullptr;
   myItem = nullptr;
}

void * DtListedObj::next() const
{
   return myItem != nullptr ? dataOf(myItem->next()) : nullptr;
}

void * DtListedObj::prev() const
{
   return myItem != nullptr ? dataOf(myItem->prev()) : nullptr;
}

void * DtListedObj::wrapNext() const
{
   void * const following = next();
   return following != nullptr || myList == nullptr ? following : dataOf(myList->first());
}

void * DtListedObj::wrapPrev() const
{
   void * const preceding = prev();
   return preceding != nullptr || myList == nullptr ? preceding : dataOf(myList->last());
}

DtIntrusiveList::DtIntrusiveList() = default;

// The items are made while this is a DtList only, so the objects' places go on naming the source.
DtIntrusiveList::DtIntrusiveList(DtIntrusiveList const & other) = default;

DtIntrusiveList & DtIntrusiveList::operator=(DtIntrusiveList const & other) = default;

DtIntrusiveList::~DtIntrusiveList() = default;

void DtIntrusiveList::addToList(DtListItem * item, DtListItem * after)
{
   DtList::addToList(item, after);
   if (DtListedObj * const object = objectOf(item))
   {
      object->myList = this;
      object->myItem = item;
   }
}

void DtIntrusiveList::removeFromList(DtListItem * item)
{
   DtList::removeFromList(item);
   if (DtListedObj * const object = objectOf(item))
   {
      object->myList = nullptr;
      object->myItem = nullptr;
   }
}

void DtIntrusiveList::removeAndDelete(DtListItem * item)
{
   // Twice, here and in remove: the links bear it, and the count falls by two. That is meant.
   removeFromList(item);
   delete static_cast<DtListedObj *>(remove(item));
}

void DtIntrusiveList::removeAllAndDelete()
{
   while (first() != nullptr)
      delete static_cast<DtListedObj *>(remove(first()));
}

void DtIntrusiveList::removeAndDelete(DtListedObj const * object)
{
   removeAndDelete(itemLookup(object));
}
