// SPDX-License-Identifier: MIT
#include "tslutil/base/tslHashlist.h"

#include "tslutil/base/nodePool.h"
#include "tslutil/base/tslNotify.h"

#include <algorithm>
#include <cstdint>
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

template<class Matches>
DtListItem * findInBucket(DtList const & bucket, Matches matches)
{
   DtListItem * item = bucket.first();
   while (item != nullptr && (item->data() == nullptr || !matches(recordAt(item)->hashKey())))
      item = item->next();
   return item;
}

/// The same answer as by equalTo, for a key of exactly the class `Key`: keys of this class are compared in
/// place, others are asked.
template<class Key>
DtListItem * findExactly(DtList const & bucket, DtBaseHashKey const & wanted)
{
   Key const & key = static_cast<Key const &>(wanted);
   unsigned long const hash = key.DtBaseHashKey::hashValue();
   return findInBucket(bucket,
                       [&key, hash](DtBaseHashKey const & stored)
                       {
                          if (typeid(stored) != typeid(Key))
                             return stored.equalTo(key);
                          return stored.DtBaseHashKey::hashValue() == hash &&
                                 static_cast<Key const &>(stored).Key::value() == key.Key::value();
                       });
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
     buckets(new DtList[static_cast<std::size_t>(bucketCount)])
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
      while (DtListItem * const item = findInBucket(buckets[i], [](DtBaseHashKey const &) { return true; }))
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
   keyList.remove(record->keyItem());
   return values->remove(record->listItem());
}

void * DtHashlist::lookup(DtBaseHashKey const & key) const
{
   DtListItem const * const item = itemLookup(key);
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
   DtListItem const * const item = bucketItemLookup(key);
   return item != nullptr ? recordAt(item)->listItem() : nullptr;
}

DtList * DtHashlist::bucketFromHashKey(DtBaseHashKey const & key) const
{
   std::uint32_t const hash = static_cast<std::uint32_t>(key.hashValue());
   // A constant is divided by faster.
   return &buckets[bucketCount == theDfltNumBuckets ? hash % theDfltNumBuckets
                                                    : hash % static_cast<std::uint32_t>(bucketCount)];
}

DtListItem * DtHashlist::bucketItemLookup(DtBaseHashKey const & key) const
{
   DtList const & bucket = *bucketFromHashKey(key);
   std::type_info const & kind = typeid(key);
   if (kind == typeid(DtStringHashKey))
      return findExactly<DtStringHashKey>(bucket, key);
   if (kind == typeid(DtIntHashKey))
      return findExactly<DtIntHashKey>(bucket, key);
   if (kind == typeid(DtPtrHashKey))
      return findExactly<DtPtrHashKey>(bucket, key);
   return findInBucket(bucket, [&key](DtBaseHashKey const & stored) { return stored.equalTo(key); });
}
