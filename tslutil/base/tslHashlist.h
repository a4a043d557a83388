// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslHashKey.h"
#include "tslutil/base/tslList.h"
#include "tslutil/tslutilExport.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <typeinfo>

/// The record that a bucket of a DtHashlist holds: a key and its places in the lists of values and of keys.
class TSLUTIL_EXPORT DtHashItem
{
public:
   /// Takes over `key`, which was made with new; the place in the key list is null.
   DtHashItem(DtBaseHashKey * key, DtListItem * listItem);
   DtHashItem(DtHashItem const &) = delete;
   DtHashItem & operator=(DtHashItem const &) = delete;

   // Virtual operations, in slot order.

   /// Deletes the key. The places belong to their lists.
   virtual ~DtHashItem();
   /// The key.
   virtual DtBaseHashKey const & hashKey() const;
   /// The place in the list of values.
   virtual DtListItem * listItem() const;
   /// The place in the list of keys; null until it is set.
   virtual DtListItem * keyItem() const;
   /// Sets the place in the list of keys.
   virtual void setKeyItem(DtListItem * item);

   // Records come and go often: a thread uses those that it deleted again.
   /// Takes a record that this thread has deleted, or memory.
   static void * operator new(std::size_t size);
   /// Keeps the memory for this thread to use again.
   static void operator delete(void * memory, std::size_t size) noexcept;

private:
   friend class DtHashlist;

   DtBaseHashKey * myKey;
   DtListItem * myListItem;
   DtListItem * myKeyItem;
   // For the table's index.
   std::uint64_t sign;
   DtHashItem * nextInIndex;
   DtListItem * bucketItem;
};

/// Finds untyped values, which may be null, by keys, and keeps both in two plain lists in the order of
/// arrival: the n-th key belongs to the n-th value. Replacing a value moves both to the end. Values are the
/// caller's and are never deleted; keys are copied. The number of buckets never changes. Look-ups allocate
/// nothing, an insertion five small blocks. Nothing is locked: a table belongs to one thread at a time, or
/// its owner guards it.
class TSLUTIL_EXPORT DtHashlist
{
protected:
   /// The number of buckets if none is given.
   static constexpr int theDfltNumBuckets = 127;

public:
   /// An empty table with a list of its own. Fewer than 1 bucket are 1.
   explicit DtHashlist(int numBuckets = theDfltNumBuckets);
   /// An empty table that appends its values to `list`, which must outlive it; null gives it a list of its
   /// own. What is in the list already can't be found by key.
   explicit DtHashlist(DtList * list, int numBuckets = theDfltNumBuckets);
   /// A table of as many buckets, with a list of its own and the other's contents in their order.
   DtHashlist(DtHashlist const & other);
   /// setFromOther; nothing for the table itself.
   DtHashlist & operator=(DtHashlist const & other);

   // Virtual operations, in slot order.

   /// Removes all from both lists.
   virtual ~DtHashlist();
   /// Appends a value under a copy of `key`, in place of the value that had this key. The old value, null if
   /// there was none, goes to `*oldData` unless `oldData` is null. Returns the new place in the list of
   /// values.
   virtual DtListItem * add(DtBaseHashKey const & key, void * data, void ** oldData = nullptr);
   /// Forgets a key, which may be one that keys() handed out, and returns its value; null for an unknown one.
   virtual void * remove(DtBaseHashKey const & key);
   /// The value, or null. A null value and an unknown key look alike.
   virtual void * lookup(DtBaseHashKey const & key) const;
   /// The same as lookup().
   virtual void * operator[](DtBaseHashKey const & key) const;
   /// The values in the order of arrival.
   virtual DtList const * list() const;
   /// Tells keys and values, in the order of arrival, on DtInfo.
   virtual void print() const;
   /// The keys, as DtBaseHashKey *, in the order of arrival.
   virtual DtList const * keys() const;
   /// Removes each key, the first ahead.
   virtual void empty();
   /// Empties this table and adds the other's contents in their order. The number of buckets stays.
   virtual void setFromOther(DtHashlist const & other);

protected:
   /// The place of a key's value in the list of values, or null.
   virtual DtListItem * itemLookup(DtBaseHashKey const & key) const;
   /// The bucket that a key belongs to, of DtHashItem *.
   virtual DtList * bucketFromHashKey(DtBaseHashKey const & key) const;
   /// The place of a key in its bucket, or null. Steps over null data.
   virtual DtListItem * bucketItemLookup(DtBaseHashKey const & key) const;

private:
   bool isIndexed(DtBaseHashKey const & key) const;
   void * lookupOther(DtBaseHashKey const & key) const;
   static void note(DtBaseHashKey const & key);
   static std::uint64_t signOf(DtBaseHashKey const & key);
   DtHashItem * findText(DtStringHashKey const & key) const;
   DtHashItem * find(DtBaseHashKey const & key) const;
   DtHashItem *& indexAt(std::uint64_t sign) const;
   void addToIndex(DtHashItem & record);
   void removeFromIndex(DtHashItem & record);
   void * drop(DtList & bucket, DtListItem * item);

   int bucketCount;
   bool ownsValues;
   DtList * values;
   DtList * buckets;
   DtList keyList;
   // Beside the buckets, which get long: finds keys as long as all are of one of the library's classes.
   std::type_info const * keyClass;
   std::unique_ptr<DtHashItem *[]> index;
   std::size_t indexMask;
};
