// SPDX-License-Identifier: MIT
/// The by-name table of an object model: what the ten tables of a DtFedTarget have in common.
#pragma once

#include "tslutil/base/tslString.h"

#include <boost/shared_ptr.hpp>

#include <algorithm>
#include <iterator>
#include <set>

/// Orders the records of a table by name; a name alone finds its place too.
struct DtFedNameOrder
{
   typedef void is_transparent; ///< look-ups by name need no record

   /// Orders two records.
   /// Orders two records.
   template<class Record>
   bool operator()(boost::shared_ptr<Record> const & left, boost::shared_ptr<Record> const & right) const
   {
      return left->name < right->name;
   }

   /// Orders a record and a name.
   /// Orders a record and a name.
   template<class Record>
   bool operator()(boost::shared_ptr<Record> const & left, DtString const & right) const
   {
      return left->name < right;
   }

   /// Orders a name and a record.
   /// Orders a name and a record.
   template<class Record>
   bool operator()(DtString const & left, boost::shared_ptr<Record> const & right) const
   {
      return left < right->name;
   }
};

/// A set of shared records in the order of their names, one for a name. Held by DtFedTarget and read by its
/// subclasses; used by one thread at a time. The records are shared with other targets: a caller that renames
/// one puts the table out of order, and it then answers by walking, as the first match from the start.
template<class Record>
class DtFedNamedTable
{
public:
   typedef boost::shared_ptr<Record> Pointer;           ///< how a record is held
   typedef std::set<Pointer, DtFedNameOrder> Set;       ///< the records in order
   typedef typename Set::const_iterator const_iterator; ///< stands at a Pointer

   /// The first record in name order.
   const_iterator begin() const { return records.begin(); }
   /// Past the last record.
   const_iterator end() const { return records.end(); }
   /// The number of records.
   std::size_t size() const { return records.size(); }
   /// Whether there is no record.
   bool empty() const { return records.empty(); }

   /// Takes ownership of a record made with `new`. One whose name is there already is destroyed without a
   /// report; null is ignored.
   void add(Record * record)
   {
      Pointer const owned(record);
      if (owned)
         records.insert(owned);
   }

   /// The first record of that name, walking from the start; null if there is none.
   Record const * find(DtString const & name) const
   {
      if (merging.sorted)
         return findInOrder(name);
      for (Pointer const & record : records)
         if (record->name == name)
            return record.get();
      return nullptr;
   }

   /// Whether a record has that name. A find by order is always right; only a miss has to walk.
   bool known(DtString const & name) const
   {
      const_iterator const found = lowerBound(name);
      return (found != end() && (*found)->name == name) || find(name) != nullptr;
   }

   /// Whether `test` finds each of these records, given tables of the same size; two empty tables are the
   /// same.
   template<class Test>
   bool same(DtFedNamedTable const & other, Test test) const
   {
      if (size() != other.size())
         return false;
      return std::all_of(begin(), end(), [&](Pointer const & record) { return test(*record); });
   }

   /// Merges `other` into this table: `test` is asked about each of its records in order, and the first false
   /// ends the merge with false and nothing changed. The records of new names are then shared; of two records
   /// of one name this table's stays.
   template<class Test>
   bool merge(DtFedNamedTable const & other, Test test)
   {
      bool const bothSorted = isSorted() && other.isSorted();
      {
         MergeGuard const guard(*this, bothSorted);
         for (Pointer const & record : other)
            if (!test(*record))
               return false;
      }
      if (&other == this)
         return true;
      if (bothSorted)
         addMissing(other);
      else
         replaceByUnion(other);
      return true;
   }

private:
   // While a merge asks its tests, the order has been verified and the look-ups come in name order too: a
   // cursor that moves along answers them without a search. Copies of a table don't take it along, and a
   // table that a test assigns to answers by walking again.
   struct MergeState
   {
      MergeState() = default;
      MergeState(MergeState const &) {}
      MergeState & operator=(MergeState const &)
      {
         sorted = false;
         return *this;
      }
      bool sorted = false;
      mutable const_iterator cursor;
   };

   class MergeGuard
   {
   public:
      MergeGuard(DtFedNamedTable & guarded, bool sorted) : table(guarded)
      {
         table.merging.sorted = sorted;
         table.merging.cursor = table.begin();
      }
      ~MergeGuard() { table.merging.sorted = false; }
      MergeGuard(MergeGuard const &) = delete;
      MergeGuard & operator=(MergeGuard const &) = delete;

   private:
      DtFedNamedTable & table;
   };

   const_iterator lowerBound(DtString const & name) const { return records.lower_bound(name); }

   bool isSorted() const
   {
      const_iterator const outOfOrder = std::adjacent_find(begin(), end(),
                                                           [](Pointer const & left, Pointer const & right)
                                                           { return !(left->name < right->name); });
      return outOfOrder == end();
   }

   Record const * findInOrder(DtString const & name) const
   {
      const_iterator & at = merging.cursor;
      if (at != begin() && !((*std::prev(at))->name < name))
         at = lowerBound(name);
      while (at != end() && (*at)->name < name)
         ++at;
      return at != end() && (*at)->name == name ? at->get() : nullptr;
   }

   void addMissing(DtFedNamedTable const & other)
   {
      const_iterator at = begin();
      for (Pointer const & record : other)
      {
         while (at != end() && (*at)->name < record->name)
            ++at;
         if (at == end() || record->name < (*at)->name)
            records.insert(at, record);
      }
   }

   void replaceByUnion(DtFedNamedTable const & other)
   {
      Set both;
      std::set_union(begin(), end(), other.begin(), other.end(), std::inserter(both, both.end()),
                     DtFedNameOrder());
      records.swap(both);
   }

   Set records;
   MergeState merging;
};
