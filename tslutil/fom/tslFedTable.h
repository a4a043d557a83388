// SPDX-License-Identifier: MIT
/// The by-name table of an object model: what the ten tables of a DtFedTarget have in common.
#pragma once

#include "tslutil/base/tslString.h"

#include <boost/intrusive/set.hpp>
#include <boost/iterator/iterator_facade.hpp>
#include <boost/shared_ptr.hpp>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <set>
#include <utility>

/// Orders the records of a table by name; a name alone finds its place too.
struct DtFedNameOrder
{
   typedef void is_transparent; ///< look-ups by name need no record

   /// Below 0, 0 or above 0, as the left name lies ahead of the right one, is equal to it or lies behind it.
   static int compare(DtString const & left, DtString const & right)
   {
      return std::strcmp(left.DtString::c_str(), right.DtString::c_str());
   }

   /// Orders two records.
   template<class Record>
   bool operator()(boost::shared_ptr<Record> const & left, boost::shared_ptr<Record> const & right) const
   {
      return compare(left->name, right->name) < 0;
   }

   /// Orders a record and a name.
   template<class Record>
   bool operator()(boost::shared_ptr<Record> const & left, DtString const & right) const
   {
      return compare(left->name, right) < 0;
   }

   /// Orders a name and a record.
   template<class Record>
   bool operator()(DtString const & left, boost::shared_ptr<Record> const & right) const
   {
      return compare(left, right->name) < 0;
   }
};

/// A set of shared records in the order of their names, one for a name. Held by DtFedTarget and read by its
/// subclasses; used by one thread at a time. The records are shared with other targets: a caller that renames
/// one puts the table out of order, and it then answers by walking, as the first match from the start.
template<class Record>
class DtFedNamedTable
{
   struct Place;

public:
   typedef boost::shared_ptr<Record> Pointer; ///< how a record is held

   /// Stands at a Pointer, in name order, for as long as the table holds it.
   class const_iterator
      : public boost::iterator_facade<const_iterator, Pointer const, boost::bidirectional_traversal_tag>
   {
   public:
      /// At nothing.
      const_iterator() = default;

   private:
      friend class DtFedNamedTable;
      friend class boost::iterator_core_access;

      const_iterator(DtFedNamedTable const & owner, Place const * place) : table(&owner), at(place) {}

      Pointer const & dereference() const { return at->record; }
      bool equal(const_iterator const & other) const { return at == other.at; }
      void increment() { at = at->behind; }
      void decrement() { at = at != nullptr ? at->before : table->last; }

      DtFedNamedTable const * table = nullptr;
      Place const * at = nullptr;
   };

   /// An empty table.
   DtFedNamedTable() = default;
   /// Shares the other's records.
   DtFedNamedTable(DtFedNamedTable const & other) : DtFedNamedTable()
   {
      for (Pointer const & record : other)
         append(record);
   }
   /// Shares the other's records and lets go of its own.
   DtFedNamedTable & operator=(DtFedNamedTable const & other)
   {
      if (this != &other)
      {
         giveUpWalk();
         DtFedNamedTable copy(other);
         swapPlaces(copy);
      }
      return *this;
   }
   /// Lets go of the records.
   ~DtFedNamedTable() { dispose(first); }

   /// The first record in name order.
   const_iterator begin() const { return const_iterator(*this, first); }
   /// Past the last record.
   const_iterator end() const { return const_iterator(*this, nullptr); }
   /// The number of records.
   std::size_t size() const { return tree.size(); }
   /// Whether there is no record.
   bool empty() const { return first == nullptr; }

   /// Takes ownership of a record made with `new`. One whose name is there already is destroyed without a
   /// report; null is ignored.
   void add(Record * record)
   {
      Pointer const owned(record);
      typename Tree::insert_commit_data gap;
      if (!owned || !tree.insert_check(owned->name, ByName(), gap).second)
         return;
      giveUpWalk();
      Place & place = *new Place(owned);
      auto const next = std::next(tree.insert_commit(place, gap));
      link(place, next != tree.end() ? &*next : nullptr);
   }

   /// The first record of that name, walking from the start; null if there is none.
   Record const * find(DtString const & name) const
   {
      if (walk != nullptr && walk->knows(name))
         return walk->stored();
      for (Pointer const & record : *this)
         if (record->name == name)
            return record.get();
      return nullptr;
   }

   /// Whether a record has that name. A find by order is always right; only a miss has to walk.
   bool known(DtString const & name) const
   {
      return tree.find(name, ByName()) != tree.end() || find(name) != nullptr;
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
      Walk beside(first);
      std::size_t asked = 0;
      {
         WalkGuard const guard(*this, beside);
         for (Place const * place = other.first; place != nullptr; place = place->behind, ++asked)
         {
            fetchAhead(place);
            beside.turnTo(place->record);
            if (!test(*place->record))
               return false;
         }
      }
      // A test may have added records to the other table, behind the walk.
      if (asked == other.size() && beside.end())
         insert(beside.takeNew());
      else if (&other != this)
         unite(other);
      return true;
   }

private:
   typedef boost::intrusive::set_base_hook<boost::intrusive::link_mode<boost::intrusive::normal_link>,
                                           boost::intrusive::optimize_size<true>>
      Hook;

   // A record's place in the tree, which finds names, and in the list, which gives them in order: a merge
   // goes through all of them, and a tree is slow at that.
   struct Place : Hook
   {
      explicit Place(Pointer const & pointer) : record(pointer) {}

      Pointer record;
      Place * before = nullptr;
      Place * behind = nullptr;
   };

   struct ByName
   {
      bool operator()(Place const & left, Place const & right) const
      {
         return DtFedNameOrder()(left.record, right.record);
      }
      bool operator()(Place const & left, DtString const & right) const
      {
         return DtFedNameOrder()(left.record, right);
      }
      bool operator()(DtString const & left, Place const & right) const
      {
         return DtFedNameOrder()(left, right.record);
      }
   };

   typedef boost::intrusive::set<Place, boost::intrusive::base_hook<Hook>, boost::intrusive::compare<ByName>>
      Tree;

   // Goes through the names of a table beside those of the records that come to it, all in strict order, and
   // so knows without a search what a walk from the start would find. It makes sure of the order as it goes,
   // and of that of the whole table at the first name that is not there; where there is none, it gives up.
   // For each new record it makes a place, and keeps as `before` the one that it is to come ahead of.
   class Walk
   {
   public:
      explicit Walk(Place * begin) : at(begin) {}
      ~Walk() { dispose(newPlaces); }
      Walk(Walk const &) = delete;
      Walk & operator=(Walk const &) = delete;

      /// Goes on to the record that comes next.
      void turnTo(Pointer const & record)
      {
         DtString const & name = record->name;
         inOrder = inOrder && (received == nullptr || DtFedNameOrder::compare(*received, name) < 0) &&
                   pass(name) && (isHere || restIsInOrder());
         received = &name;
         if (inOrder && !isHere)
            addNew(record);
      }

      /// Goes on to the end of the table, and tells whether all was in order.
      bool end() { return inOrder && restIsInOrder(); }

      void giveUp() { inOrder = false; }

      /// Whether it can tell of that name.
      bool knows(DtString const & name) const
      {
         return inOrder && (received == &name || DtFedNameOrder::compare(*received, name) == 0);
      }

      /// The table's record of the name, or null.
      Record const * stored() const { return isHere ? at->record.get() : nullptr; }

      /// The places of the new records, one behind the other. The caller's from here on.
      Place * takeNew() { return std::exchange(newPlaces, nullptr); }

   private:
      /// Passes the names below that one; false if they are out of order.
      bool pass(DtString const & name)
      {
         Place const * passed = isHere ? at : nullptr;
         if (isHere)
            step();
         int order = 1;
         for (; at != nullptr && (order = DtFedNameOrder::compare(at->record->name, name)) < 0;
              at = at->behind)
         {
            if (!restChecked && passed != nullptr && !ByName()(*passed, *at))
               return false;
            passed = at;
         }
         isHere = at != nullptr && order == 0;
         return true;
      }

      void step()
      {
         at = at->behind;
         fetchAhead(at);
      }

      bool restIsInOrder()
      {
         Place const * place = restChecked ? nullptr : at;
         for (; place != nullptr && place->behind != nullptr; place = place->behind)
         {
            fetchAhead(place);
            if (!ByName()(*place, *place->behind))
               return false;
         }
         restChecked = true;
         return true;
      }

      void addNew(Pointer const & record)
      {
         Place * const place = new Place(record);
         place->before = at;
         (newPlaces != nullptr ? lastNew->behind : newPlaces) = place;
         lastNew = place;
      }

      Place * at;
      DtString const * received = nullptr;
      bool isHere = false;
      bool inOrder = true;
      bool restChecked = false;
      Place * newPlaces = nullptr;
      Place * lastNew = nullptr;
   };

   // Lets look-ups ask a walk, as long as no test changes the table.
   class WalkGuard
   {
   public:
      WalkGuard(DtFedNamedTable & guarded, Walk & walk) : table(guarded), outer(guarded.walk)
      {
         table.giveUpWalk();
         table.walk = &walk;
      }
      ~WalkGuard() { table.walk = outer; }
      WalkGuard(WalkGuard const &) = delete;
      WalkGuard & operator=(WalkGuard const &) = delete;

   private:
      DtFedNamedTable & table;
      Walk * const outer;
   };

   void giveUpWalk()
   {
      if (walk != nullptr)
         walk->giveUp();
   }

   void append(Pointer const & record)
   {
      Place & place = *new Place(record);
      tree.push_back(place);
      link(place, nullptr);
   }

   /// Inserts places that hang behind each other ahead of those that they keep as `before`.
   void insert(Place * place)
   {
      while (place != nullptr)
      {
         Place * const next = place->before;
         Place * const following = place->behind;
         tree.insert_before(next != nullptr ? tree.iterator_to(*next) : tree.end(), *place);
         link(*place, next);
         place = following;
      }
   }

   /// Links a place into the list, ahead of `next`; null is the end.
   void link(Place & place, Place * next)
   {
      place.before = next != nullptr ? next->before : last;
      place.behind = next;
      (place.before != nullptr ? place.before->behind : first) = &place;
      (next != nullptr ? next->before : last) = &place;
   }

   /// Merges without tests. Only a table out of order, or with another that is, gets places anew.
   void unite(DtFedNamedTable const & other)
   {
      Walk beside(first);
      for (Place const * place = other.first; place != nullptr; place = place->behind)
         beside.turnTo(place->record);
      if (beside.end())
         insert(beside.takeNew());
      else
         replaceByUnion(other);
   }

   void replaceByUnion(DtFedNamedTable const & other)
   {
      std::set<Pointer, DtFedNameOrder> both;
      std::set_union(begin(), end(), other.begin(), other.end(), std::inserter(both, both.end()),
                     DtFedNameOrder());
      DtFedNamedTable result;
      for (Pointer const & record : both)
         result.append(record);
      swapPlaces(result);
   }

   void swapPlaces(DtFedNamedTable & other)
   {
      tree.swap(other.tree);
      std::swap(first, other.first);
      std::swap(last, other.last);
   }

   /// Has the name after the next fetched into the caches while those ahead of it are compared: names lie
   /// about, and a walk would wait for each.
   static void fetchAhead(Place const * place)
   {
      if (place == nullptr || place->behind == nullptr || place->behind->behind == nullptr)
         return;
      char const * const name = reinterpret_cast<char const *>(&place->behind->behind->record->name);
      __builtin_prefetch(name);
      __builtin_prefetch(name + sizeof(DtString) - 1);
   }

   static void dispose(Place * place)
   {
      while (place != nullptr)
         delete std::exchange(place, place->behind);
   }

   Tree tree;
   Place * first = nullptr;
   Place * last = nullptr;
   Walk * walk = nullptr;
};
