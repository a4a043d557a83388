// SPDX-License-Identifier: MIT
// Merging and checking object models.
#include "bench/compare.h"

#include "tslutil/fom/tslFedTarget.h"

#include <chrono>
#include <cstdio>
#include <iterator>
#include <set>
#include <utility>

namespace
{

class NoteTarget : public DtFedTarget
{
public:
   typedef std::set<boost::shared_ptr<DtNotesType>, DtFedNameOrder> Notes;

   void addObjectClass(DtString const &, DtString const &) override {}
   void addAttribute(DtString const &, DtString const &) override {}
   void addInteractionClass(DtString const &, DtString const &) override {}
   void addParameter(DtString const &, DtString const &) override {}
   bool knownObjectClass(DtString const &) const override { return false; }
   bool knownInteractionClass(DtString const &) const override { return false; }
   void removeAllClasses() override {}

   /// `count` notes, from number `first` on, every `step`th.
   void fill(int first, int count, int step)
   {
      for (int i = 0; i < count; ++i)
         addNote(new DtNotesType{noteName(first + i * step), "the same text"});
   }

   static DtString noteName(int number)
   {
      char name[32];
      std::snprintf(name, sizeof name, "RPRnoteBase%08d", number);
      return name;
   }

   Notes set() const { return Notes(notes.begin(), notes.end()); }
};

/// Two models of as many notes each, with half of their names in both: the second half of one and the first
/// of the other, or names here and there throughout. Each call merges into a fresh copy.
class Merge
{
public:
   enum Layout
   {
      Behind,
      Throughout
   };

   Merge(int count, Layout layout)
   {
      NoteTarget first, second;
      first.fill(0, count, layout == Behind ? 1 : 2);
      if (layout == Behind)
      {
         second.fill(count / 2, count, 1);
      }
      else
      {
         second.fill(0, count / 2, 4);
         second.fill(1, count / 2, 4);
      }
      // Copies, so that both sides' sets lie in memory in the same way.
      here = first;
      there = second;
      NoteTarget::Notes const firstSet = first.set(), secondSet = second.set();
      hereSet = firstSet;
      thereSet = secondSet;
   }

   /// Make the copies that so many calls of one side merge into.
   void prepareOurs(std::size_t size)
   {
      targets.clear();
      targets.assign(size, here);
      target = 0;
   }

   void prepareTheirs(std::size_t size)
   {
      sets.clear();
      sets.assign(size, hereSet);
      set = 0;
   }

   void ours() { targets[target++].mergeNotes(there); }

   void theirs()
   {
      NoteTarget::Notes both;
      NoteTarget::Notes & mine = sets[set++];
      std::set_union(mine.begin(), mine.end(), thereSet.begin(), thereSet.end(),
                     std::inserter(both, both.end()), DtFedNameOrder());
      mine.swap(both);
   }

   /// The seconds of a call of ours and of theirs.
   std::pair<double, double> measure(std::size_t calls)
   {
      // Each side has its copies made right ahead.
      prepareOurs(calls);
      double const first = seconds(calls, [this] { ours(); });
      prepareTheirs(calls);
      return {first, seconds(calls, [this] { theirs(); })};
   }

private:
   template<class Body>
   static double seconds(std::size_t calls, Body body)
   {
      auto const begin = std::chrono::steady_clock::now();
      for (std::size_t i = 0; i < calls; ++i)
         body();
      std::chrono::duration<double> const all = std::chrono::steady_clock::now() - begin;
      return all.count() / static_cast<double>(calls);
   }

   NoteTarget here, there;
   NoteTarget::Notes hereSet, thereSet;
   std::vector<NoteTarget> targets;
   std::vector<NoteTarget::Notes> sets;
   std::size_t target = 0, set = 0;
};

bool addMerge(std::string const & path, int count, Merge::Layout layout)
{
   return addComparison({path, "std::set_union, hinted", 1.15, count / 2.0},
                        [=](Bench & bench)
                        {
                           Merge merge(count, layout);
                           bool isOurs = false;
                           bench.blockSize = count > 1000 ? 2 : 20;
                           // The blocks alternate. Each has its copies made right ahead of it.
                           bench.prepare = [&](std::size_t size)
                           {
                              isOurs = !isOurs;
                              isOurs ? merge.prepareOurs(size) : merge.prepareTheirs(size);
                           };
                           bench.run([&] { merge.ours(); }, [&] { merge.theirs(); });
                        });
}

/// How a merge grows from 1,000 to 10,000 notes, beside how the union does: the time of 10,000 beside what it
/// would be if it grew as the union does. All four are measured in turn.
bool addGrowth(std::string const & path, Merge::Layout layout)
{
   return addComparison({path, "growth of std::set_union", 1.1},
                        [=](Bench & bench)
                        {
                           Merge small(1000, layout), large(10000, layout);
                           bench.runPairs(
                              [&]
                              {
                                 small.measure(20); // so that the caches hold its notes again
                                 auto const [ourSmall, theirSmall] = small.measure(20);
                                 auto const [ourLarge, theirLarge] = large.measure(2);
                                 return std::make_pair(ourLarge, ourSmall * theirLarge / theirSmall);
                              });
                        });
}

bool const merges[] = {
   addMerge("merge of 1,000 notes, tests and union", 1000, Merge::Behind),
   addMerge("merge of 10,000 notes, tests and union", 10000, Merge::Behind),
   addGrowth("merge, growth from 1,000 to 10,000 notes", Merge::Behind),
   addMerge("merge of 1,000 notes, mixed", 1000, Merge::Throughout),
   addMerge("merge of 10,000 notes, mixed", 10000, Merge::Throughout),
   addGrowth("merge, growth from 1,000 to 10,000 mixed", Merge::Throughout),
};

void findNotes(Bench & bench, int count)
{
   NoteTarget target;
   target.fill(0, count, 1);
   NoteTarget::Notes const set = target.set();
   std::vector<DtNotesType> wanted;
   for (int i = 0; i < 64; ++i)
      wanted.push_back({NoteTarget::noteName(i * count / 64), ""});
   std::size_t next = 0;
   bench.run([&] { benchmark::DoNotOptimize(target.knownNote(wanted[next++ % 64])); },
             [&] { benchmark::DoNotOptimize(set.find(wanted[next++ % 64].name) != set.end()); });
}

bool const known1k = addComparison({"known test of a note among 1,000, a hit", "std::set::find", 2.0, 0},
                                   [](Bench & bench) { findNotes(bench, 1000); });
bool const known10k = addComparison({"known test of a note among 10,000, a hit", "std::set::find", 2.0, 0},
                                    [](Bench & bench) { findNotes(bench, 10000); });

} // namespace
