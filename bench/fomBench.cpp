// SPDX-License-Identifier: MIT
// Merging and checking object models.
#include "bench/compare.h"

#include "tslutil/fom/tslFedTarget.h"

#include <cstdio>
#include <iterator>
#include <set>

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

/// Half of the names are in both models. Each call merges into a fresh copy.
void mergeNotes(Bench & bench, int count)
{
   NoteTarget here;
   NoteTarget there;
   here.fill(0, count, 1);
   there.fill(count / 2, count, 1);
   NoteTarget::Notes const hereSet = here.set();
   NoteTarget::Notes const thereSet = there.set();
   std::vector<NoteTarget> targets;
   std::vector<NoteTarget::Notes> sets;
   std::size_t target = 0;
   std::size_t set = 0;
   bench.blockSize = count > 1000 ? 2 : 20;
   bench.prepare = [&](std::size_t size)
   {
      targets.assign(size, here);
      sets.assign(size, hereSet);
      target = set = 0;
   };
   bench.run([&] { targets[target++].mergeNotes(there); },
             [&]
             {
                NoteTarget::Notes both;
                NoteTarget::Notes & mine = sets[set++];
                std::set_union(mine.begin(), mine.end(), thereSet.begin(), thereSet.end(),
                               std::inserter(both, both.end()), DtFedNameOrder());
                mine.swap(both);
             });
}

bool const merge1k =
   addComparison({"merge of 1,000 notes, tests and union", "std::set_union, hinted", 1.15, 500},
                 [](Bench & bench) { mergeNotes(bench, 1000); });
bool const merge10k =
   addComparison({"merge of 10,000 notes, tests and union", "std::set_union, hinted", 1.15, 5000},
                 [](Bench & bench) { mergeNotes(bench, 10000); });

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
