// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslList.h"

/// Base of objects that know their own place on a DtIntrusiveList. An object is on one such list at a time.
class TSLUTIL_EXPORT DtListedObj
{
public:
   /// On no list.
   DtListedObj();
   /// The copy claims the place of its source, which the list doesn't know of.
   DtListedObj(DtListedObj const & other);
   /// The same.
   DtListedObj & operator=(DtListedObj const & other);

   /// Does not take the object off its list: that must be done before.
   virtual ~DtListedObj();

   /// The data of the neighbouring item; null at the end of the list, and on no list.
   void * next() const;
   /// The same, the other way.
   void * prev() const;

   /// The same, going on at the other end of the list; null only on no list or where there is no data.
   void * wrapNext() const;
   /// The same, the other way.
   void * wrapPrev() const;

private:
   friend class DtIntrusiveList;

   DtList * myList;
   DtListItem * myItem;
};

/// A list that tells each object the list and the item that hold it, and that can delete objects. Its data is
/// put in as `static_cast<DtListedObj *>(object)`, which is what `data()` then is. The destructor deletes no
/// object and leaves the objects' places as they are. A copy constructed from a list holds the same objects,
/// whose places go on naming the source; assignment moves the places.
class TSLUTIL_EXPORT DtIntrusiveList : public DtList
{
public:
   DtIntrusiveList();
   /// The same objects; their places go on naming the source.
   DtIntrusiveList(DtIntrusiveList const & other);
   /// The same objects; their places move to this list.
   DtIntrusiveList & operator=(DtIntrusiveList const & other);

   // Virtual operations, in slot order.

   ~DtIntrusiveList() override;

protected:
   /// Also tells the object, if there is one, its place.
   void addToList(DtListItem * item, DtListItem * after) override;
   /// Also tells the object that it is on no list.
   void removeFromList(DtListItem * item) override;
   /// Removes an item and deletes its object. `count` falls by two for it, as callers know it.
   virtual void removeAndDelete(DtListItem * item);
   /// Removes all items and deletes their objects. `count` falls by one for each.
   virtual void removeAllAndDelete();

   /// The same for the item that holds `object`; nothing if it is not on this list.
   void removeAndDelete(DtListedObj const * object);
};
