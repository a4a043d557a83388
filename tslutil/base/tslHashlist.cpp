// SPDX-License-Identifier: MIT
#include "tslutil/base/tslHashlist.h"

#include "tslutil/base/nodePool.h"
#include "tslutil/base/tslNotify.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <typeinfo>

namespace
{

typedef tsl::NodePool<sizeof(DtHashItem)> RecordPool;

DtHashItem * recordAt(DtListItem const * item)
{
   return static_cast<DtHashItem *>(item->data());
}

DtBaseHashKey const & keyAt(DtListItem const * item)
{
   return *static_cast<DtBaseHashKey const *>(item->data());
}

/// Whether an object is of exactly this class. Where it is told of two places in memory at once, the answer
/// may be no without need.
template<class Class, class Base>
bool isExactly(Base const & object)
{
   return &typeid(object) == &typeid(Class);
}

/// Whether the class of a key is one of the library's own. Two such keys of different hashes are never equal.
bool isOwnKind(DtBaseHashKey const & key)
{
   return isExactly<DtStringHashKey>(key) || isExactly<DtIntHashKey>(key) || isExactly<DtPtrHashKey>(key) ||
          isExactly<DtWStringHashKey>(key);
}

/// What equalTo says of two keys of the library's own classes with one hash.
bool areEqual(DtBaseHashKey const & stored, DtBaseHashKey const & wanted)
{
   if (!isExactly<DtStringHashKey>(stored) || !isExactly<DtStringHashKey>(wanted))
      return stored.equalTo(wanted);
   DtString const & text = static_cast<DtStringHashKey const &>(stored).DtStringHashKey::value();
   DtString const & wantedText = static_cast<DtStringHashKey const &>(wanted).DtStringHashKey::value();
   return std::strcmp(text.DtString::c_str(), wantedText.DtString::c_str()) == 0;
}

template<class Matches>
DtListItem * findInBucket(DtList const & bucket, Matches matches)
{
   DtListItem * item = bucket.first();
   while (item != nullptr && (item->data() == nullptr || !matches(*recordAt(item))))
      item = item->next();
   return item;
}

} // namespace

DtHashItem::DtHashItem(DtBaseHashKey * key, DtListItem * listItem)
   : myKey(key), myListItem(listItem), myKeyItem(nullptr)
{
}

DtHashItem::~DtHashItem()
{
   delete myKey;
}

DtBaseHashKey const & DtHashItem::hashKey() const
{
   return *myKey;
}

DtListItem * DtHashItem::listItem() const
{
   return myListItem;
}

DtListItem * DtHashItem::keyItem() const
{
   return myKeyItem;
}

void DtHashItem::setKeyItem(DtListItem * item)
{
   myKeyItem = item;
}

void * DtHashItem::operator new(std::size_t size)
{
   return size == sizeof(DtHashItem) ? RecordPool::take() : ::operator new(size);
}

void DtHashItem::operator delete(void * memory, std::size_t size) noexcept
{
   if (memory != nullptr && size == sizeof(DtHashItem))
      RecordPool::giveBack(memory);
   else
      ::operator delete(memory);
}

DtHashlist::DtHashlist(int numBuckets) : DtHashlist(nullptr, numBuckets) {}

DtHashlist::DtHashlist(DtList * list, int numBuckets)
   : bucketCount(std::max(numBuckets, 1)),
     ownsValues(list == nullptr),
     values(list),
     buckets(new DtList[static_cast<std::size_t>(bucketCount)]),
     foreignKeys(0)
{
   if (ownsValues)
      values = new DtList;
}

DtHashlist::DtHashlist(DtHashlist const & other) : DtHashlist(other.bucketCount)
{
   DtHashlist::setFromOther(other);
}

DtHashlist & DtHashlist::operator=(DtHashlist const & other)
{
   if (this != &other)
      setFromOther(other);
   return *this;
}

DtHashlist::~DtHashlist()
{
   DtHashlist::empty();
   // What a key that doesn't find itself has left.
   for (int i = 0; i < bucketCount && keyList.count() > 0; ++i)
      while (DtListItem * const item = findInBucket(buckets[i], [](DtHashItem const &) { return true; }))
         drop(buckets[i], item);
   if (ownsValues)
      delete values;
   delete[] buckets;
}

DtListItem * DtHashlist::add(DtBaseHashKey const & key, void * data, void ** oldData)
{
   DtList * const bucket = bucketFromHashKey(key);
   // Copied before the old entry goes: the key may be the one that is stored there.
   std::unique_ptr<DtBaseHashKey> copy(key.clone());
   void * const old = remove(key);
   if (oldData != nullptr)
      *oldData = old;
   DtListItem * const place = values->add(data);
   DtBaseHashKey * const stored = copy.get();
   DtHashItem * const record = new DtHashItem(copy.release(), place);
   bucket->add(record);
   record->setKeyItem(keyList.add(stored));
   foreignKeys += isOwnKind(*stored) ? 0 : 1;
   return place;
}

void * DtHashlist::remove(DtBaseHashKey const & key)
{
   DtListItem * const item = bucketItemLookup(key);
   return item != nullptr ? drop(*bucketFromHashKey(key), item) : nullptr;
}

/// Removes an entry of a bucket altogether, its key with it, and returns the value.
void * DtHashlist::drop(DtList & bucket, DtListItem * item)
{
   std::unique_ptr<DtHashItem> const record(static_cast<DtHashItem *>(bucket.remove(item)));
   foreignKeys -= isOwnKind(record->hashKey()) ? 0 : 1;
   keyList.remove(record->keyItem());
   return values->remove(record->listItem());
}

void * DtHashlist::lookup(DtBaseHashKey const & key) const
{
   DtListItem const * const item = hasOwnSlots() ? DtHashlist::itemLookup(key) : itemLookup(key);
   return item != nullptr ? item->data() : nullptr;
}

void * DtHashlist::operator[](DtBaseHashKey const & key) const
{
   return lookup(key);
}

DtList const * DtHashlist::list() const
{
   return values;
}

void DtHashlist::print() const
{
   for (DtListItem const * item = keyList.first(); item != nullptr; item = item->next())
   {
      DtInfo("Key: %s\n", keyAt(item).stringRep().c_str());
      if (void const * const data = lookup(keyAt(item)))
         DtInfo(" Data: %x\n", static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(data)));
      else
         DtInfo(" Data: NULL\n");
   }
}

DtList const * DtHashlist::keys() const
{
   return &keyList;
}

void DtHashlist::empty()
{
   for (DtListItem const * item = keyList.first(); item != nullptr;)
   {
      DtBaseHashKey const & key = keyAt(item);
      item = item->next();
      remove(key);
   }
}

void DtHashlist::setFromOther(DtHashlist const & other)
{
   empty();
   for (DtListItem const * item = other.keyList.first(); item != nullptr; item = item->next())
      add(keyAt(item), other.lookup(keyAt(item)), nullptr);
}

DtListItem * DtHashlist::itemLookup(DtBaseHashKey const & key) const
{
   DtListItem const * const item = hasOwnSlots() ? DtHashlist::bucketItemLookup(key) : bucketItemLookup(key);
   return item != nullptr ? recordAt(item)->listItem() : nullptr;
}

DtList * DtHashlist::bucketFromHashKey(DtBaseHashKey const & key) const
{
   return bucketAt(key.hashValue());
}

DtListItem * DtHashlist::bucketItemLookup(DtBaseHashKey const & key) const
{
   if (!hasOwnSlots() || foreignKeys > 0 || !isOwnKind(key))
      return findInBucket(*bucketFromHashKey(key),
                          [&key](DtHashItem const & record) { return record.hashKey().equalTo(key); });
   // Nothing here is overridden: the same without the slots.
   unsigned long const hash = key.DtBaseHashKey::hashValue();
   return findInBucket(*bucketAt(hash),
                       [&key, hash](DtHashItem const & record)
                       {
                          DtBaseHashKey const & stored = record.DtHashItem::hashKey();
                          return stored.DtBaseHashKey::hashValue() == hash && areEqual(stored, key);
                       });
}

/// Whether no subclass can have changed what the operations do and what the buckets hold.
bool DtHashlist::hasOwnSlots() const
{
   return isExactly<DtHashlist>(*this);
}

DtList * DtHashlist::bucketAt(unsigned long hash) const
{
   std::uint32_t const bits = static_cast<std::uint32_t>(hash);
   // A constant is divided by faster.
   return &buckets[bucketCount == theDfltNumBuckets ? bits % theDfltNumBuckets
                                                    : bits % static_cast<std::uint32_t>(bucketCount)];
}
