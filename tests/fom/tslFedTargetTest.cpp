// SPDX-License-Identifier: MIT
#include "fom/fedRows.h"
#include "support/slots.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <random>
#include <set>
#include <stdexcept>
#include <vector>

using nlohmann::json;

namespace
{

struct Filled : RowTarget
{
   Filled(std::initializer_list<char const *> rows)
   {
      for (char const * row : rows)
         addRow(*this, fields(row));
   }
};

TEST(DtFedTarget, StartsWithItsDefaultsAndKeepsTheFirstRecordOfANameAndEveryRowOfUnorderedTables)
{
   typedef DtFedTarget T;
   EXPECT_TRUE(inSlotsFrom(7, &T::addObjectClass, &T::addAttribute, &T::addInteractionClass, &T::addParameter,
                           &T::knownObjectClass, &T::knownInteractionClass, &T::removeAllClasses));
   DtFedTarget::setDefaultServiceReporting(true);
   RowTarget changed;
   DtFedTarget::setDefaultServiceReporting(false);
   changed.setAutoProvide(true);
   EXPECT_TRUE(changed.serviceReporting() && !changed.knownSwitch("autoProvide"));
   Filled target{"note\tlabel\tfirst",     "note\tlabel\tsecond",    "time\tstamp\tHLAinteger64Time",
                 "switch\tautoProvide\t0", "switch\tautoProvide\t1", "time\tstamp\tHLAinteger64Time"};
   target.addNote(nullptr);
   EXPECT_TRUE(target.numNotes() == 1 && (*target.notes.begin())->semantics == "first");
   EXPECT_TRUE(target.numTimeTypes() == 2 && target.knownTime({"stamp", "HLAinteger64Time", ""}) &&
               !target.knownTime({"stamp", "HLAinteger64Time", "other"}));
   EXPECT_TRUE(target.autoProvide() && !target.switchValue("autoProvide") && !target.serviceReporting() &&
               !target.checkStringsIgnoringWhiteSpaceAndNewline("a", "a"));
   EXPECT_EQ(target.transportTypeFromTransportation("none"), DtTransportNotFound);
}

TEST(DtFedTarget, CopiesShareRecordsAndLeaveFieldsOut)
{
   Filled source{"model\tsource", "note\tlabel\ttext"};
   source.setDelaySubscriptionEvaluation(true);
   source.lastError() = "told";
   RowTarget const copy(source);
   EXPECT_TRUE(!copy.delaySubscriptionEvaluation() && copy.knownModelIdentification("source"));
   Filled assigned{"model\tkept"};
   assigned = source;
   EXPECT_TRUE(!assigned.delaySubscriptionEvaluation() && assigned.knownModelIdentification("kept") &&
               assigned.lastError() == "told");
   EXPECT_EQ(*assigned.notes.begin(), *source.notes.begin());
}

TEST(DtFedTarget, UnionOfUnresolvedReferencesAddsNewKeysOnly)
{
   RowTarget target, other;
   target.addUnresolvedAttributeDimension("both", "Class", "mine");
   other.addUnresolvedAttributeDimension("both", "Class", "theirs");
   other.addUnresolvedAttributeDimension("new", "Class", "theirs");
   other.addUnresolvedInteractionTransportation("new", "value");
   target.mergeTarget(other);
   auto const & dimensions = target.unresolvedAttributeDimensions;
   EXPECT_TRUE(dimensions.at("both").size() == 1 && dimensions.at("both").begin()->second == "mine");
   EXPECT_TRUE(dimensions.at("new").size() == 1 &&
               target.unresolvedInteractionTransportation.count("new") == 1);
   target.removeResolvedAttribute("never added", {"Class", "mine"});
   EXPECT_EQ(dimensions.count("never added"), 1u);
}

TEST(DtFedTarget, MergesWithItself)
{
   Filled target{"model\tx", "note\tlabel\ttext", "time\tstamp\ttype", "switch\tautoProvide\t1"};
   EXPECT_EQ(target.mergeTarget(target), DtMergeFomSuccess);
   EXPECT_TRUE(target.knownModelIdentification("x + x"));
   EXPECT_EQ(std::pair(target.numNotes(), target.numTimeTypes()), std::pair(1u, 1u));
}

/// A caller that renames a shared record puts the table out of order; answers then come from walking it.
TEST(DtFedTarget, AnswersByWalkingWhereARecordWasRenamed)
{
   Filled target{"note\ta\ta", "note\tb\tb", "note\tc\tc"}, other{"note\tz\ta"};
   (*target.notes.begin())->name = "z";
   EXPECT_TRUE(target.knownNote({"z", ""}) && target.knownNote({"b", ""}) && !target.knownNote({"a", ""}));
   target.compareSemantics = true;
   EXPECT_EQ(target.mergeNotes(other), DtMergeFomSuccess);
   addRow(other, fields("note\tb\tnot b"));
   EXPECT_EQ(target.mergeNotes(other), DtMergeFomNotesMismatch);
}

/// Adds notes now and then while a merge asks its tests, whose answers it holds against a walk.
struct Walked : RowTarget
{
   typedef DtFedNamedTable<DtNotesType>::Pointer Note;
   explicit Walked(unsigned seed) : random(seed)
   {
      compareSemantics = seed % 3 == 0;
      for (std::size_t count = random() % 9; notes.size() < count;)
         addLetter();
      for (Note const & note : notes)
         note->name = random() % 16 == 0 ? letter() : note->name;
   }
   DtString letter() { return DtString(char('a' + random() % 16)); }
   void addLetter() { addNote(new DtNotesType{letter(), DtString(random() % 8 / 7)}); }
   bool NoteConsistencyTest(DtNotesType const & received) override
   {
      if (seldom && random() % 4 == 0)
         addLetter();
      auto const first = std::find_if(notes.begin(), notes.end(),
                                      [&](Note const & note) { return note->name == received.name; });
      bool const walked =
         !compareSemantics || first == notes.end() || (*first)->semantics == received.semantics;
      EXPECT_EQ(RowTarget::NoteConsistencyTest(received), walked);
      return walked;
   }
   std::minstd_rand random;
   bool seldom = random() % 4 == 0;
};

TEST(DtFedTarget, MergesAsAWalkFromTheStartAndAUnionDo)
{
   for (unsigned seed = 1; seed < 2000; ++seed)
   {
      Walked target(seed), other(seed + 5000);
      std::set<Walked::Note, DtFedNameOrder> both;
      std::vector<Walked::Note> const before(target.notes.begin(), target.notes.end());
      bool const succeeds = target.mergeNotes(other) == DtMergeFomSuccess;
      if (target.seldom)
         continue;
      std::set_union(before.begin(), before.end(), other.notes.begin(), other.notes.end(),
                     std::inserter(both, both.end()), DtFedNameOrder());
      std::vector<Walked::Note> const expected(both.begin(), both.end());
      EXPECT_TRUE(std::equal(target.notes.begin(), target.notes.end(),
                             succeeds ? expected.begin() : before.begin(),
                             succeeds ? expected.end() : before.end()))
         << seed;
   }
}

/// What tests add to the other table, behind the walk, is merged; and the walk goes on there.
TEST(DtFedTarget, MergesWhatItsTestsAddToTheOtherTable)
{
   struct Adding : RowTarget
   {
      void add(char const * name) { addNote(new DtNotesType{name, ""}); }
      bool NoteConsistencyTest(DtNotesType const &) override
      {
         std::exchange(atFirst, [] {})();
         return true;
      }
      std::function<void()> atFirst = [] {};
   } target, other, third;
   target.add("k"), other.add("m"), other.add("z"), third.add("m"), third.add("y");
   target.atFirst = [&]
   {
      other.add("a");
      other.mergeNotes(third);
   };
   other.atFirst = [&] { other.add("b"); };
   EXPECT_EQ(target.mergeNotes(other), DtMergeFomSuccess);
   std::string names;
   for (auto const & note : target.notes)
      names += note->name.c_str();
   EXPECT_EQ(names, "abkmyz");
}

/// Sees every step of a merge and of a check, and can spoil one.
struct Overriding : RowTarget
{
   std::string calls, spoiled;
   bool throws = false, leavesOpen = false;

   bool step(std::string const & name)
   {
      EXPECT_EQ(merging, name[0] == 'm');
      calls += name + ' ';
      return name == spoiled && throws ? throw std::runtime_error("override") : name != spoiled;
   }

   // clang-format off
#define MERGE(name) DtMergeFomStatus_enum name(DtFedTarget const &) override \
   { return DtMergeFomStatus_enum(step(#name) ? 21 : 2); }
#define RESOLVE(name) bool name(DtString &) override { return step(#name); }
#define RESOLVE_CLASS(name) \
   bool name(DtString &, bool & open) override { open |= leavesOpen; return step(#name); }
   MERGE(mergeTimeTypes) MERGE(mergeSwitches) MERGE(mergeUserDefinedTypes) MERGE(mergeSpaces)
   MERGE(mergeObjectClasses) MERGE(mergeInteractionClasses) MERGE(mergeUpdateRates)
   MERGE(mergeBasicDataRepresentation) MERGE(mergeSimpleDatatype) MERGE(mergeEnumeratedDatatype)
   MERGE(mergeArrayDatatypeType) MERGE(mergeFixedRecordDatatype) MERGE(mergeSyncPoints)
   MERGE(mergeTransportTypes) MERGE(mergeNotes) RESOLVE(resolveObjectModelIdentification)
   RESOLVE_CLASS(resolveObjectClasses) RESOLVE_CLASS(resolveInteractionClasses)
   RESOLVE_CLASS(resolveAttributes) RESOLVE_CLASS(resolveParameters) RESOLVE_CLASS(resolveDimensions)
   RESOLVE(resolveTimeRepresentations) RESOLVE(resolveUserSuppliedTags)
   RESOLVE(resolveSynchronizationPoints) RESOLVE(resolveTranportationTypes) RESOLVE(resolveUpdateRates)
   RESOLVE(resolveSwitches) RESOLVE(resolveDatatypes) RESOLVE(resolveNotes) RESOLVE(resolveServiceUsage)
#undef MERGE
#undef RESOLVE
#undef RESOLVE_CLASS
   // clang-format on
};

TEST(DtFedTarget, MergeGoesThroughTheSlotsInOrderAndStopsAtTheFirstFailure)
{
   std::string calls;
   for (Fields const & row : tableOf("fom/mergeSteps.tsv"))
   {
      Overriding target;
      target.spoiled = row[0];
      calls += row[0] + ' ';
      EXPECT_EQ(std::to_string(target.mergeTarget(target)), row[1]);
      EXPECT_EQ(target.calls, calls);
      EXPECT_TRUE(!target.merging && target.knownModelIdentification("0"));
      target.throws = true;
      EXPECT_THROW(target.mergeTarget(target), std::runtime_error);
      EXPECT_FALSE(target.merging);
   }
}

TEST(DtFedTarget, CheckAsksAllFifteenWhateverOneAnswers)
{
   std::vector<Fields> const steps = tableOf("fom/checkSteps.tsv");
   std::string all;
   for (Fields const & row : steps)
      all += row[0] + ' ';
   for (Fields const & row : steps)
   {
      DtString errors;
      Overriding target;
      target.leavesOpen = true;
      EXPECT_EQ(target.postMergeCheckTarget(errors), DtMergeFomSuccess);
      EXPECT_EQ(target.calls, all);
      target.spoiled = row[0];
      EXPECT_EQ(target.postMergeCheckTarget(errors), DtMergeFomUnresolvedReferences);
      target.leavesOpen = false;
      EXPECT_EQ(target.postMergeCheckTarget(errors), DtMergeFomPostCheckFailed);
      EXPECT_EQ(target.calls, all + all + all);
   }
}

// Recorded modules.

TEST(DtFedTarget, RecordedListsOfModulesMergeAsExpected)
{
   std::vector<json> const lists = recordedLines("expected-merge.jsonl");
   EXPECT_EQ(lists.size(), 138u);
   for (json const & expected : lists)
      expectList<RowTarget>(
         expected, [](bool semantics, bool strict) { return RowTarget(semantics, strict); },
         [](RowTarget & target, std::string const & module) { loadRows(target, recordsOf(module)); });
}

typedef DtMergeFomStatus_enum (DtFedTarget::*Merge)(DtFedTarget const &);

// clang-format off
#define MERGE(name) {#name, &DtFedTarget::name}
std::map<std::string, Merge> const theMerges = {
   MERGE(mergeTimeTypes), MERGE(mergeSwitches), MERGE(mergeUserDefinedTypes), MERGE(mergeUpdateRates),
   MERGE(mergeBasicDataRepresentation), MERGE(mergeSimpleDatatype), MERGE(mergeEnumeratedDatatype),
   MERGE(mergeArrayDatatypeType), MERGE(mergeFixedRecordDatatype), MERGE(mergeVariantRecordDatatype),
   MERGE(mergeSyncPoints), MERGE(mergeTransportTypes), MERGE(mergeNotes)};
// clang-format on

void expectPair(json const & pair, bool semantics)
{
   std::string const suffix = semantics ? "Semantics" : "Lenient";
   RowTarget first, second;
   loadRows(first, recordsOf("open/" + pair["first"].get<std::string>()));
   loadRows(second, recordsOf("open/" + pair["second"].get<std::string>()));
   RowTarget merged(semantics, false);
   EXPECT_EQ(json({merged.mergeTarget(first), merged.mergeTarget(second)}),
             pair[semantics ? "semantics" : "lenient"]);
   EXPECT_EQ(merged.lastError().stdString(), pair.value("error" + suffix, ""));
   json failures = json::object();
   for (auto const & [name, merge] : theMerges)
   {
      RowTarget alone(semantics, false);
      alone.mergeTarget(first);
      alone.lastError() = "";
      DtMergeFomStatus_enum const status = (alone.*merge)(second);
      if (status == DtMergeFomSuccess)
         continue;
      std::string const text = alone.lastError().stdString();
      failures[name] = text.empty() ? json(status) : json({int(status), text});
   }
   EXPECT_EQ(failures, pair.value("alone" + suffix, json::object()));
}

TEST(DtFedTarget, RecordedPairsOfModulesMergeAsExpected)
{
   std::vector<json> const pairs = recordedLines("pairs.jsonl");
   EXPECT_EQ(pairs.size(), 729u);
   for (json const & pair : pairs)
   {
      SCOPED_TRACE(pair["first"].dump() + pair["second"].dump());
      for (bool const semantics : {false, true})
         expectPair(pair, semantics);
   }
}

} // namespace
