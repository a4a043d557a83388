// SPDX-License-Identifier: MIT
#include "fom/fedRows.h"
#include "support/slots.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <stdexcept>

namespace
{

TEST(DtFedTarget, LeavesSevenOperationsBehindTheDimensionsToSubclasses)
{
   typedef DtFedTarget T;
   EXPECT_TRUE(inSlotsFrom(7, &T::addObjectClass, &T::addAttribute, &T::addInteractionClass, &T::addParameter,
                           &T::knownObjectClass, &T::knownInteractionClass, &T::removeAllClasses));
}

TEST(DtFedTarget, StartsWithItsDefaults)
{
   DtFedTarget::setDefaultServiceReporting(true);
   RowTarget changed;
   DtFedTarget::setDefaultServiceReporting(false);
   RowTarget target;
   EXPECT_TRUE(changed.serviceReporting() && !target.serviceReporting() &&
               target.attributeRelevanceAdvisory());
   EXPECT_TRUE(target.knownModelIdentification("0") && target.automaticResignAction() == 4);
   DtString errors;
   EXPECT_EQ(target.postMergeCheckTarget(errors), DtMergeFomPostCheckFailed);
   EXPECT_EQ(errors, "Invalid FOM Type\n");
   target.setFomType(DtFomType(9));
   EXPECT_FALSE(target.resolveSwitches(errors));
   EXPECT_EQ(errors, "Invalid FOM Type\nUnknown FOM Type\n");
   target.setFomType(DtFomHla13);
   EXPECT_EQ(target.postMergeCheckTarget(errors), DtMergeFomSuccess);
}

TEST(DtFedTarget, KeepsTheFirstRecordOfANameAndEveryRowOfUnorderedTables)
{
   RowTarget target;
   target.addNote(new DtNotesType{"label", "first"});
   target.addNote(new DtNotesType{"label", "second"});
   target.addNote(nullptr);
   EXPECT_TRUE(target.numNotes() == 1 && (*target.notes.begin())->semantics == "first");
   for (int i = 0; i < 2; ++i)
      target.addTime(new DtTimeType{"timeStamp", "HLAinteger64Time", ""});
   EXPECT_TRUE(target.numTimeTypes() == 2 && target.knownTime({"timeStamp", "HLAinteger64Time", ""}) &&
               !target.knownTime({"timeStamp", "HLAinteger64Time", "other"}));
   target.setAutoProvide(true);
   EXPECT_FALSE(target.knownSwitch("autoProvide"));
   target.addSwitch("autoProvide", false);
   target.addSwitch("autoProvide", true);
   EXPECT_FALSE(target.switchValue("autoProvide") ||
                target.checkStringsIgnoringWhiteSpaceAndNewline("a", "a"));
   EXPECT_EQ(target.transportTypeFromTransportation("none"), DtTransportNotFound);
}

TEST(DtFedTarget, CopiesShareRecordsAndLeaveFieldsOut)
{
   RowTarget source;
   source.addModelIdentification("source");
   source.setDelaySubscriptionEvaluation(true);
   source.addNote(new DtNotesType{"label", "text"});
   source.lastError() = "told";
   RowTarget const copy(source);
   EXPECT_TRUE(!copy.delaySubscriptionEvaluation() && copy.knownModelIdentification("source"));
   RowTarget assigned;
   assigned.addModelIdentification("kept");
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
   RowTarget target;
   target.addModelIdentification("x");
   target.addNote(new DtNotesType{"label", "text"});
   target.addTime(new DtTimeType{"timeStamp", "type", ""});
   target.addSwitch("autoProvide", true);
   EXPECT_EQ(target.mergeTarget(target), DtMergeFomSuccess);
   EXPECT_TRUE(target.knownModelIdentification("x + x"));
   EXPECT_EQ(std::pair(target.numNotes(), target.numTimeTypes()), std::pair(1u, 1u));
}

TEST(DtFedTarget, RatesThatAreNoNumbersNeverAgree)
{
   RowTarget target;
   target.addUpdateRate(new DtUpdateRateType{"rate", std::nanf(""), ""});
   EXPECT_EQ(target.mergeTarget(target), DtMergeFomUpdateRatesMismatch);
   EXPECT_EQ(
      target.lastError(),
      "For UpdateRate \"rate\": Mismatched rate in DtUpdateRateType: expected: \"nan\" received: \"nan\n");
}

/// A caller that renames a shared record puts the table out of order; answers then come from walking it.
TEST(DtFedTarget, AnswersByWalkingWhereARecordWasRenamed)
{
   RowTarget target, other;
   for (char const * name : {"a", "b", "c"})
      target.addNote(new DtNotesType{name, name});
   (*target.notes.begin())->name = "z";
   EXPECT_TRUE(target.knownNote({"z", ""}) && target.knownNote({"b", ""}) && !target.knownNote({"a", ""}));
   target.compareSemantics = true;
   other.addNote(new DtNotesType{"z", "a"});
   EXPECT_EQ(target.mergeNotes(other), DtMergeFomSuccess);
   other.addNote(new DtNotesType{"b", "not b"});
   EXPECT_EQ(target.mergeNotes(other), DtMergeFomNotesMismatch);
}

/// Sees every step of a merge and of a check, and can spoil one.
class Overriding : public RowTarget
{
public:
   std::string calls, spoiled;
   bool throws = false, leavesOpen = false;

   bool step(std::string const & name)
   {
      EXPECT_EQ(merging, name[0] == 'm');
      calls += name + ' ';
      if (throws && name == spoiled)
         throw std::runtime_error("override");
      return name != spoiled;
   }

   DtMergeFomStatus_enum merged(std::string const & name)
   {
      return step("m" + name) ? DtMergeFomSuccess : DtMergeFomStatus_enum(2);
   }

   // clang-format off
#define MERGE(name) DtMergeFomStatus_enum merge##name(DtFedTarget const &) override { return merged(#name); }
#define RESOLVE(name) bool resolve##name(DtString &) override { return step(#name); }
#define RESOLVE_CLASS(name) \
   bool resolve##name(DtString &, bool & open) override { open |= leavesOpen; return step(#name); }
   MERGE(TimeTypes) MERGE(Switches) MERGE(UserDefinedTypes) MERGE(Spaces) MERGE(ObjectClasses)
   MERGE(InteractionClasses) MERGE(UpdateRates) MERGE(BasicDataRepresentation) MERGE(SimpleDatatype)
   MERGE(EnumeratedDatatype) MERGE(ArrayDatatypeType) MERGE(FixedRecordDatatype) MERGE(SyncPoints)
   MERGE(TransportTypes) MERGE(Notes)
   RESOLVE(ObjectModelIdentification) RESOLVE_CLASS(ObjectClasses) RESOLVE_CLASS(InteractionClasses)
   RESOLVE_CLASS(Attributes) RESOLVE_CLASS(Parameters) RESOLVE_CLASS(Dimensions) RESOLVE(TimeRepresentations)
   RESOLVE(UserSuppliedTags) RESOLVE(SynchronizationPoints) RESOLVE(TranportationTypes) RESOLVE(UpdateRates)
   RESOLVE(Switches) RESOLVE(Datatypes) RESOLVE(Notes) RESOLVE(ServiceUsage)
#undef MERGE
#undef RESOLVE
#undef RESOLVE_CLASS
   // clang-format on
};

// clang-format off
std::pair<char const *, int> const theMergeSteps[] = {
   {"mTimeTypes", 9}, {"mSwitches", 1}, {"mUserDefinedTypes", 7}, {"mSpaces", 18}, {"mObjectClasses", 16},
   {"mInteractionClasses", 17}, {"mUpdateRates", 4}, {"mBasicDataRepresentation", 10},
   {"mSimpleDatatype", 11}, {"mEnumeratedDatatype", 12}, {"mArrayDatatypeType", 13},
   {"mFixedRecordDatatype", 14}, {"mSyncPoints", 6}, {"mTransportTypes", 5}, {"mNotes", 8}};
// clang-format on

TEST(DtFedTarget, MergeGoesThroughTheSlotsInOrderAndStopsAtTheFirstFailure)
{
   std::string calls;
   for (auto const & [name, failure] : theMergeSteps)
   {
      Overriding target;
      target.spoiled = name;
      calls += target.spoiled + ' ';
      EXPECT_EQ(target.mergeTarget(target), failure);
      EXPECT_EQ(target.calls, calls);
      EXPECT_TRUE(!target.merging && target.knownModelIdentification("0"));
      target.throws = true;
      EXPECT_THROW(target.mergeTarget(target), std::runtime_error);
      EXPECT_FALSE(target.merging);
   }
}

TEST(DtFedTarget, CheckAsksAllFifteenWhateverOneAnswers)
{
   std::string const all = "ObjectModelIdentification ObjectClasses InteractionClasses Attributes Parameters "
                           "Dimensions TimeRepresentations UserSuppliedTags SynchronizationPoints "
                           "TranportationTypes UpdateRates Switches Datatypes Notes ServiceUsage ";
   std::istringstream names(all);
   for (std::string name; names >> name;)
   {
      DtString errors;
      Overriding target;
      target.leavesOpen = true;
      EXPECT_EQ(target.postMergeCheckTarget(errors), DtMergeFomSuccess);
      EXPECT_EQ(target.calls, all);
      target.spoiled = name;
      EXPECT_EQ(target.postMergeCheckTarget(errors), DtMergeFomUnresolvedReferences);
      target.leavesOpen = false;
      EXPECT_EQ(target.postMergeCheckTarget(errors), DtMergeFomPostCheckFailed);
      EXPECT_EQ(target.calls, all + all + all);
   }
}

} // namespace
