// SPDX-License-Identifier: MIT
#include "fom/fedRows.h"
#include "support/slots.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace
{

#define SLOT(operation) slotOf(&RowTarget::operation)

TEST(DtFedTarget, SlotOrder)
{
   // clang-format off
   std::size_t const slots[] = {
      SLOT(setFomType), SLOT(fomType), SLOT(addSpace),
      slotOf<void (DtFedTarget::*)(char const *, unsigned long, unsigned long, unsigned long, bool, DtString const &)>(&DtFedTarget::addDimension),
      slotOf<void (DtFedTarget::*)(char const *, char const *)>(&DtFedTarget::addDimension),
      SLOT(addObjectClass), SLOT(addAttribute), SLOT(addInteractionClass), SLOT(addParameter),
      SLOT(knownObjectClass), SLOT(knownInteractionClass), SLOT(removeAllClasses), SLOT(autoProvide),
      SLOT(setAutoProvide), SLOT(conveyRegionDesignatorSets), SLOT(setConveyRegionDesignatorSets),
      SLOT(conveyProducingFederate), SLOT(setConveyProducingFederate), SLOT(attributeScopeAdvisory),
      SLOT(setAttributeScopeAdvisory), SLOT(attributeRelevanceAdvisory), SLOT(setAttributeRelevanceAdvisory),
      SLOT(objectClassRelevanceAdvisory), SLOT(setObjectClassRelevanceAdvisory),
      SLOT(interactionRelevanceAdvisory), SLOT(setInteractionRelevanceAdvisory), SLOT(serviceReporting),
      SLOT(setServiceReporting), SLOT(exceptionReporting), SLOT(setExceptionReporting),
      SLOT(delaySubscriptionEvaluation), SLOT(setDelaySubscriptionEvaluation), SLOT(automaticResignAction),
      SLOT(setAutomaticResignAction), SLOT(UpdateRateConsistencyTest), SLOT(knownUpdateRate),
      SLOT(numUpdateRates), SLOT(addUpdateRate), SLOT(SyncPointConsistencyTest), SLOT(knownSyncPoint),
      SLOT(addSyncPoint), SLOT(numSyncPoints), SLOT(knownTransportType), SLOT(TransportTypeConsistencyTest),
      SLOT(numTransports), SLOT(addTransportType), SLOT(transportTypeFromTransportation),
      SLOT(knownUserDefinedTag), SLOT(numUserDefinedTags), SLOT(userDefinedTagsSame), SLOT(addUserDefinedTag),
      SLOT(mergeUserDefinedTypes), SLOT(NoteConsistencyTest), SLOT(knownNote), SLOT(addNote), SLOT(numNotes),
      SLOT(mergeSwitches), SLOT(knownSwitch), SLOT(numSwitches), SLOT(switchesSame), SLOT(switchValue),
      SLOT(addSwitch), SLOT(mergeNotes), SLOT(knownTime), SLOT(numTimeTypes), SLOT(timeTypesSame),
      SLOT(addTime), SLOT(mergeTimeTypes), SLOT(addModelIdentification), SLOT(mergeTarget), SLOT(mergeSpaces),
      SLOT(mergeObjectClasses), SLOT(mergeInteractionClasses), SLOT(mergeUpdateRates), SLOT(mergeSyncPoints),
      SLOT(mergeTransportTypes), SLOT(postMergeCheckTarget), SLOT(resolveObjectModelIdentification),
      SLOT(resolveObjectClasses), SLOT(resolveInteractionClasses), SLOT(resolveAttributes),
      SLOT(resolveParameters), SLOT(resolveDimensions), SLOT(resolveTimeRepresentations),
      SLOT(resolveUserSuppliedTags), SLOT(resolveSynchronizationPoints), SLOT(resolveTranportationTypes),
      SLOT(resolveUpdateRates), SLOT(resolveSwitches), SLOT(resolveDatatypes), SLOT(resolveNotes),
      SLOT(resolveServiceUsage), SLOT(addBasicDataRepresentation), SLOT(addSimpleDataType),
      SLOT(addArrayDataType), SLOT(addEnumeratedDataType), SLOT(addFixedRecordDataType),
      SLOT(addVariantRecordDataType), SLOT(knownModelIdentification), SLOT(modelIdentificationSame),
      SLOT(basicDataRepresentationConsistencyTest), SLOT(knownBasicDataRepresentation),
      SLOT(basicDataRepresentationSame), SLOT(mergeBasicDataRepresentation),
      SLOT(simpleDatatypeConsistencyTest), SLOT(knownSimpleDatatype), SLOT(simpleDatatypeSame),
      SLOT(mergeSimpleDatatype), SLOT(enumeratedDatatypeConsistencyTest), SLOT(knownEnumeratedDatatype),
      SLOT(enumeratedDatatypeSame), SLOT(mergeEnumeratedDatatype), SLOT(arrayDatatypeConsistencyTest),
      SLOT(knownArrayDatatype), SLOT(arrayDatatypeSame), SLOT(mergeArrayDatatypeType),
      SLOT(fixedRecordDatatypeConsistencyTest), SLOT(knownFixedRecordDatatype), SLOT(fixedRecordDatatypeSame),
      SLOT(mergeFixedRecordDatatype), SLOT(variantRecordDatatypeConsistencyTest),
      SLOT(knownVariantRecordDatatype), SLOT(variantRecordDatatypeSame),
      SLOT(addUnresolvedAttributeTransportation), SLOT(removeResolvedAttributeTransportation),
      SLOT(addUnresolvedInteractionTransportation), SLOT(removeResolvedInteractionTransportation),
      SLOT(lastError), SLOT(addUnresolvedAttributeDimension), SLOT(removeResolvedAttribute),
      SLOT(addUnresolvedInteractionDimension), SLOT(removeResolvedInteractionDimension),
      SLOT(mergeUnresolved), SLOT(unionUnresolvedAttributeDimensions),
      SLOT(unionUnresolvedInteractionDimensions), SLOT(unionUnresolvedAttributeTransportation),
      SLOT(unionUnresolvedInteractionTransportation), SLOT(checkStringsIgnoringWhiteSpaceAndNewline)};
   // clang-format on
   std::size_t expected = 2;
   for (std::size_t const slot : slots)
      EXPECT_EQ(slot, expected++);
}

#undef SLOT

TEST(DtFedTarget, StartsWithItsDefaults)
{
   DtFedTarget::setDefaultServiceReporting(true);
   RowTarget changed;
   DtFedTarget::setDefaultServiceReporting(false);
   RowTarget target;
   EXPECT_TRUE(changed.serviceReporting());
   EXPECT_FALSE(target.serviceReporting());
   EXPECT_TRUE(target.attributeRelevanceAdvisory());
   EXPECT_TRUE(target.knownModelIdentification("0"));
   EXPECT_EQ(target.automaticResignAction(), 4);
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
   EXPECT_EQ(target.numNotes(), 1u);
   EXPECT_EQ((*target.notes.begin())->semantics, "first");
   for (int i = 0; i < 2; ++i)
      target.addTime(new DtTimeType{"timeStamp", "HLAinteger64Time", ""});
   EXPECT_EQ(target.numTimeTypes(), 2u);
   EXPECT_TRUE(target.knownTime({"timeStamp", "HLAinteger64Time", ""}));
   EXPECT_FALSE(target.knownTime({"timeStamp", "HLAinteger64Time", "other"}));
   target.setAutoProvide(true);
   EXPECT_FALSE(target.knownSwitch("autoProvide"));
   target.addSwitch("autoProvide", false);
   target.addSwitch("autoProvide", true);
   EXPECT_FALSE(target.switchValue("autoProvide"));
   EXPECT_EQ(target.transportTypeFromTransportation("none"), DtTransportNotFound);
   EXPECT_FALSE(target.checkStringsIgnoringWhiteSpaceAndNewline("a", "a"));
}

TEST(DtFedTarget, CopiesShareRecordsAndLeaveFieldsOut)
{
   RowTarget source;
   source.addModelIdentification("source");
   source.setDelaySubscriptionEvaluation(true);
   source.addNote(new DtNotesType{"label", "text"});
   source.lastError() = "told";
   RowTarget const copy(source);
   EXPECT_FALSE(copy.delaySubscriptionEvaluation());
   EXPECT_TRUE(copy.knownModelIdentification("source"));
   RowTarget assigned;
   assigned.addModelIdentification("kept");
   assigned = source;
   EXPECT_FALSE(assigned.delaySubscriptionEvaluation());
   EXPECT_TRUE(assigned.knownModelIdentification("kept"));
   EXPECT_EQ(assigned.lastError(), "told");
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
   EXPECT_EQ(target.unresolvedAttributeDimensions.at("both").size(), 1u);
   EXPECT_EQ(target.unresolvedAttributeDimensions.at("both").begin()->second, "mine");
   EXPECT_EQ(target.unresolvedAttributeDimensions.at("new").size(), 1u);
   EXPECT_EQ(target.unresolvedInteractionTransportation.count("new"), 1u);
   target.removeResolvedAttribute("never added", {"Class", "mine"});
   EXPECT_EQ(target.unresolvedAttributeDimensions.count("never added"), 1u);
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
   EXPECT_EQ(target.numNotes(), 1u);
   EXPECT_EQ(target.numTimeTypes(), 1u);
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
   EXPECT_TRUE(target.knownNote({"z", ""}));
   EXPECT_TRUE(target.knownNote({"b", ""}));
   EXPECT_FALSE(target.knownNote({"a", ""}));
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
   std::string calls;
   std::string spoiled;
   bool throws = false;
   bool leavesOpen = false;

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

struct Step
{
   char const * name;
   int failure;
};

// clang-format off
Step const theMergeSteps[] = {
   {"mTimeTypes", 9}, {"mSwitches", 1}, {"mUserDefinedTypes", 7}, {"mSpaces", 18}, {"mObjectClasses", 16},
   {"mInteractionClasses", 17}, {"mUpdateRates", 4}, {"mBasicDataRepresentation", 10},
   {"mSimpleDatatype", 11}, {"mEnumeratedDatatype", 12}, {"mArrayDatatypeType", 13},
   {"mFixedRecordDatatype", 14}, {"mSyncPoints", 6}, {"mTransportTypes", 5}, {"mNotes", 8}};
// clang-format on

TEST(DtFedTarget, MergeGoesThroughTheSlotsInOrderAndStopsAtTheFirstFailure)
{
   std::string calls;
   for (Step const & step : theMergeSteps)
   {
      Overriding target;
      target.spoiled = step.name;
      calls += std::string(step.name) + ' ';
      EXPECT_EQ(target.mergeTarget(target), step.failure);
      EXPECT_EQ(target.calls, calls);
      EXPECT_FALSE(target.merging);
      EXPECT_TRUE(target.knownModelIdentification("0"));
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
   for (char const * name :
        {"ObjectModelIdentification", "ObjectClasses", "InteractionClasses", "Attributes", "Parameters",
         "Dimensions", "TimeRepresentations", "UserSuppliedTags", "SynchronizationPoints",
         "TranportationTypes", "UpdateRates", "Switches", "Datatypes", "Notes", "ServiceUsage"})
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
