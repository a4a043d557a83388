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

DtListItem const * itemAt(DtList const & list, unsigned int place)
{
   DtListItem const * item = list.first();
   for (; place > 0; --place)
      item = item->next();
   return item;
}

/// Whether an object is of exactly this class. Where it is told of two places in memory at once, the answer
/// may be no without need.
template<class Class, class Base>
bool isExactly(Base const & object)
{
   return &typeid(object) == &typeid(Class);
}

/// Whether a number or an address has the hash that it tells: copied from a subclass, it may have another.
bool hasOwnHash(DtBaseHashKey const & key)
{
   if (isExactly<DtIntHashKey>(key))
      return key.DtBaseHashKey::hashValue() == static_cast<DtIntHashKey const &>(key).DtIntHashKey::value();
   if (!isExactly<DtPtrHashKey>(key))
      return true;
   void const * const address = static_cast<DtPtrHashKey const &>(key).DtPtrHashKey::value();
   return key.DtBaseHashKey::hashValue() ==
          static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(address));
}

/// The class of a key, if it is one of the library's own, or null.
std::type_info const * ownClassOf(DtBaseHashKey const & key)
{
   bool const isOwn = isExactly<DtStringHashKey>(key) || isExactly<DtIntHashKey>(key) ||
                      isExactly<DtPtrHashKey>(key) || isExactly<DtWStringHashKey>(key);
   return isOwn && hasOwnHash(key) ? &typeid(key) : nullptr;
}

template<class Word>
bool areSameAt(char const * left, char const * right, std::size_t place)
{
   Word ours;
   Word theirs;
   std::memcpy(&ours, left + place, sizeof ours);
   std::memcpy(&theirs, right + place, sizeof theirs);
   return ours == theirs;
}

/// Whether so many bytes are equal. Names are short: without a call, and with the last bytes perhaps twice.
bool areSame(char const * left, char const * right, std::size_t count)
{
   if (count < 4)
      return count == 0 || (left[0] == right[0] && left[count / 2] == right[count / 2] &&
                            left[count - 1] == right[count - 1]);
   if (count < 8)
      return areSameAt<std::uint32_t>(left, right, 0) && areSameAt<std::uint32_t>(left, right, count - 4);
   for (std::size_t place = 0; place + 8 < count; place += 8)
      if (!areSameAt<std::uint64_t>(left, right, place))
         return false;
   return areSameAt<std::uint64_t>(left, right, count - 8);
}

/// Eight places in the index for each bucket, as the next power of two, up to what 32 bits tell apart.
std::size_t indexSizeFor(int bucketCount)
{
   std::size_t size = 8;
   while (size < 8 * static_cast<std::size_t>(bucketCount) && size < 0x80000000u)
      size *= 2;
   return size;
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
   : myKey(key), myListItem(listItem), myKeyItem(nullptr), sign(0), nextInIndex(nullptr), bucketItem(nullptr)
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
     keyClass(nullptr),
     indexMask(indexSizeFor(bucketCount) - 1)
{
   index.reset(new DtHashItem *[indexMask + 1]());
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
   keyClass = nullptr; // a subclass may have chosen the buckets
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
   record->bucketItem = bucket->add(record);
   record->setKeyItem(keyList.add(stored));
   addToIndex(*record);
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
   removeFromIndex(*record);
   keyList.remove(record->keyItem());
   return values->remove(record->listItem());
}

/// Whether the index finds a key as a walk of its bucket would: no subclass can have changed what the
/// operations do and what the buckets hold, and all keys are as they were added, of the library's own class
/// that this one is of. That this one hasOwnHash() is left to the caller.
inline bool DtHashlist::isIndexed(DtBaseHashKey const & key) const
{
   return keyClass == &typeid(key) && isExactly<DtHashlist>(*this) &&
          !DtBaseHashKey::aStoredKeyChanged.load(std::memory_order_relaxed);
}

/// Gives a key its hash and mark. The hash is the same for very many texts that differ in their digits alone;
/// the mark tells most of those apart.
void DtHashlist::note(DtBaseHashKey const & key)
{
   key.DtBaseHashKey::hashValue();
   if (isExactly<DtStringHashKey>(key))
      static_cast<DtStringHashKey const &>(key).noteText();
   else
      key.mark = 1;
}

/// What tells keys of one class apart; for a key with a mark.
inline std::uint64_t DtHashlist::signOf(DtBaseHashKey const & key)
{
   return std::uint64_t(key.hash) << 16 | key.mark;
}

inline DtHashItem *& DtHashlist::indexAt(std::uint64_t sign) const
{
   return index[(sign * 0x9E3779B97F4A7C15u) >> 32 & indexMask];
}

inline DtHashItem * DtHashlist::findText(DtStringHashKey const & key) const
{
   std::uint64_t const sign = signOf(key);
   for (DtHashItem * record = indexAt(sign); record != nullptr; record = record->nextInIndex)
   {
      auto const & stored = static_cast<DtStringHashKey const &>(*record->myKey);
      if (record->sign == sign && stored.textLength == key.textLength &&
          areSame(stored.myValue.DtString::c_str(), key.myValue.DtString::c_str(), key.textLength))
         return record;
   }
   return nullptr;
}

DtHashItem * DtHashlist::find(DtBaseHashKey const & key) const
{
   if (key.mark == 0)
      note(key);
   if (isExactly<DtStringHashKey>(key))
      return findText(static_cast<DtStringHashKey const &>(key));
   std::uint64_t const sign = signOf(key);
   DtHashItem * record = indexAt(sign);
   while (record != nullptr && (record->sign != sign || !record->myKey->equalTo(key)))
      record = record->nextInIndex;
   return record;
}

// A kept text is found without a call.
void * DtHashlist::lookup(DtBaseHashKey const & key) const
{
   if (!isExactly<DtStringHashKey>(key) || key.mark == 0 || !isIndexed(key))
      return lookupOther(key);
   DtHashItem const * const record = findText(static_cast<DtStringHashKey const &>(key));
   return record != nullptr ? record->myListItem->data() : nullptr;
}

// Not in line, so that the road above saves no registers.
[[gnu::noinline]] void * DtHashlist::lookupOther(DtBaseHashKey const & key) const
{
   DtListItem const * item = nullptr;
   if (!isIndexed(key) || !hasOwnHash(key))
      item = itemLookup(key);
   else if (DtHashItem const * const record = find(key))
      item = record->myListItem;
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
   unsigned int left = 0;
   for (DtListItem const * item = keyList.first(); item != nullptr;)
   {
      unsigned int const count = keyList.count();
      remove(keyAt(item));
      // A key that was changed may not find itself, or another one in its place.
      DtListItem const * const next = keyList.count() == count ? item : itemAt(keyList, left);
      left += next == item ? 1 : 0;
      item = next == item ? item->next() : next;
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
   return &buckets[static_cast<std::uint32_t>(key.hashValue()) % static_cast<std::uint32_t>(bucketCount)];
}

DtListItem * DtHashlist::bucketItemLookup(DtBaseHashKey const & key) const
{
   if (!isIndexed(key) || !hasOwnHash(key))
      return findInBucket(*bucketFromHashKey(key),
                          [&key](DtHashItem const & record) { return record.hashKey().equalTo(key); });
   DtHashItem const * const record = find(key);
   return record != nullptr ? record->bucketItem : nullptr;
}

void DtHashlist::addToIndex(DtHashItem & record)
{
   std::type_info const * const ownClass = ownClassOf(*record.myKey);
   keyClass = keyList.count() == 1 || keyClass == ownClass ? ownClass : nullptr;
   if (ownClass == nullptr)
      return;
   record.myKey->isStored = true;
   note(*record.myKey);
   record.sign = signOf(*record.myKey);
   DtHashItem *& first = indexAt(record.sign);
   record.nextInIndex = first;
   first = &record;
}

void DtHashlist::removeFromIndex(DtHashItem & record)
{
   DtHashItem ** place = &indexAt(record.sign);
   while (*place != nullptr && *place != &record)
      place = &(*place)->nextInIndex;
   if (*place != nullptr)
      *place = record.nextInIndex;
}
