// SPDX-License-Identifier: MIT
#include "fom/fedRows.h"
#include "support/slots.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace
{

TEST(DtFedTarget, SlotOrder)
{
   std::size_t const slots[] = {
      slotOf(&RowTarget::setFomType),
      slotOf(&RowTarget::fomType),
      slotOf(&RowTarget::addSpace),
      slotOf<void (DtFedTarget::*)(char const *, unsigned long, unsigned long, unsigned long, bool,
                                   DtString const &)>(&DtFedTarget::addDimension),
      slotOf<void (DtFedTarget::*)(char const *, char const *)>(&DtFedTarget::addDimension),
      slotOf(&RowTarget::addObjectClass),
      slotOf(&RowTarget::addAttribute),
      slotOf(&RowTarget::addInteractionClass),
      slotOf(&RowTarget::addParameter),
      slotOf(&RowTarget::knownObjectClass),
      slotOf(&RowTarget::knownInteractionClass),
      slotOf(&RowTarget::removeAllClasses),
      slotOf(&RowTarget::autoProvide),
      slotOf(&RowTarget::setAutoProvide),
      slotOf(&RowTarget::conveyRegionDesignatorSets),
      slotOf(&RowTarget::setConveyRegionDesignatorSets),
      slotOf(&RowTarget::conveyProducingFederate),
      slotOf(&RowTarget::setConveyProducingFederate),
      slotOf(&RowTarget::attributeScopeAdvisory),
      slotOf(&RowTarget::setAttributeScopeAdvisory),
      slotOf(&RowTarget::attributeRelevanceAdvisory),
      slotOf(&RowTarget::setAttributeRelevanceAdvisory),
      slotOf(&RowTarget::objectClassRelevanceAdvisory),
      slotOf(&RowTarget::setObjectClassRelevanceAdvisory),
      slotOf(&RowTarget::interactionRelevanceAdvisory),
      slotOf(&RowTarget::setInteractionRelevanceAdvisory),
      slotOf(&RowTarget::serviceReporting),
      slotOf(&RowTarget::setServiceReporting),
      slotOf(&RowTarget::exceptionReporting),
      slotOf(&RowTarget::setExceptionReporting),
      slotOf(&RowTarget::delaySubscriptionEvaluation),
      slotOf(&RowTarget::setDelaySubscriptionEvaluation),
      slotOf(&RowTarget::automaticResignAction),
      slotOf(&RowTarget::setAutomaticResignAction),
      slotOf(&RowTarget::UpdateRateConsistencyTest),
      slotOf(&RowTarget::knownUpdateRate),
      slotOf(&RowTarget::numUpdateRates),
      slotOf(&RowTarget::addUpdateRate),
      slotOf(&RowTarget::SyncPointConsistencyTest),
      slotOf(&RowTarget::knownSyncPoint),
      slotOf(&RowTarget::addSyncPoint),
      slotOf(&RowTarget::numSyncPoints),
      slotOf(&RowTarget::knownTransportType),
      slotOf(&RowTarget::TransportTypeConsistencyTest),
      slotOf(&RowTarget::numTransports),
      slotOf(&RowTarget::addTransportType),
      slotOf(&RowTarget::transportTypeFromTransportation),
      slotOf(&RowTarget::knownUserDefinedTag),
      slotOf(&RowTarget::numUserDefinedTags),
      slotOf(&RowTarget::userDefinedTagsSame),
      slotOf(&RowTarget::addUserDefinedTag),
      slotOf(&RowTarget::mergeUserDefinedTypes),
      slotOf(&RowTarget::NoteConsistencyTest),
      slotOf(&RowTarget::knownNote),
      slotOf(&RowTarget::addNote),
      slotOf(&RowTarget::numNotes),
      slotOf(&RowTarget::mergeSwitches),
      slotOf(&RowTarget::knownSwitch),
      slotOf(&RowTarget::numSwitches),
      slotOf(&RowTarget::switchesSame),
      slotOf(&RowTarget::switchValue),
      slotOf(&RowTarget::addSwitch),
      slotOf(&RowTarget::mergeNotes),
      slotOf(&RowTarget::knownTime),
      slotOf(&RowTarget::numTimeTypes),
      slotOf(&RowTarget::timeTypesSame),
      slotOf(&RowTarget::addTime),
      slotOf(&RowTarget::mergeTimeTypes),
      slotOf(&RowTarget::addModelIdentification),
      slotOf(&RowTarget::mergeTarget),
      slotOf(&RowTarget::mergeSpaces),
      slotOf(&RowTarget::mergeObjectClasses),
      slotOf(&RowTarget::mergeInteractionClasses),
      slotOf(&RowTarget::mergeUpdateRates),
      slotOf(&RowTarget::mergeSyncPoints),
      slotOf(&RowTarget::mergeTransportTypes),
      slotOf(&RowTarget::postMergeCheckTarget),
      slotOf(&RowTarget::resolveObjectModelIdentification),
      slotOf(&RowTarget::resolveObjectClasses),
      slotOf(&RowTarget::resolveInteractionClasses),
      slotOf(&RowTarget::resolveAttributes),
      slotOf(&RowTarget::resolveParameters),
      slotOf(&RowTarget::resolveDimensions),
      slotOf(&RowTarget::resolveTimeRepresentations),
      slotOf(&RowTarget::resolveUserSuppliedTags),
      slotOf(&RowTarget::resolveSynchronizationPoints),
      slotOf(&RowTarget::resolveTranportationTypes),
      slotOf(&RowTarget::resolveUpdateRates),
      slotOf(&RowTarget::resolveSwitches),
      slotOf(&RowTarget::resolveDatatypes),
      slotOf(&RowTarget::resolveNotes),
      slotOf(&RowTarget::resolveServiceUsage),
      slotOf(&RowTarget::addBasicDataRepresentation),
      slotOf(&RowTarget::addSimpleDataType),
      slotOf(&RowTarget::addArrayDataType),
      slotOf(&RowTarget::addEnumeratedDataType),
      slotOf(&RowTarget::addFixedRecordDataType),
      slotOf(&RowTarget::addVariantRecordDataType),
      slotOf(&RowTarget::knownModelIdentification),
      slotOf(&RowTarget::modelIdentificationSame),
      slotOf(&RowTarget::basicDataRepresentationConsistencyTest),
      slotOf(&RowTarget::knownBasicDataRepresentation),
      slotOf(&RowTarget::basicDataRepresentationSame),
      slotOf(&RowTarget::mergeBasicDataRepresentation),
      slotOf(&RowTarget::simpleDatatypeConsistencyTest),
      slotOf(&RowTarget::knownSimpleDatatype),
      slotOf(&RowTarget::simpleDatatypeSame),
      slotOf(&RowTarget::mergeSimpleDatatype),
      slotOf(&RowTarget::enumeratedDatatypeConsistencyTest),
      slotOf(&RowTarget::knownEnumeratedDatatype),
      slotOf(&RowTarget::enumeratedDatatypeSame),
      slotOf(&RowTarget::mergeEnumeratedDatatype),
      slotOf(&RowTarget::arrayDatatypeConsistencyTest),
      slotOf(&RowTarget::knownArrayDatatype),
      slotOf(&RowTarget::arrayDatatypeSame),
      slotOf(&RowTarget::mergeArrayDatatypeType),
      slotOf(&RowTarget::fixedRecordDatatypeConsistencyTest),
      slotOf(&RowTarget::knownFixedRecordDatatype),
      slotOf(&RowTarget::fixedRecordDatatypeSame),
      slotOf(&RowTarget::mergeFixedRecordDatatype),
      slotOf(&RowTarget::variantRecordDatatypeConsistencyTest),
      slotOf(&RowTarget::knownVariantRecordDatatype),
      slotOf(&RowTarget::variantRecordDatatypeSame),
      slotOf(&RowTarget::addUnresolvedAttributeTransportation),
      slotOf(&RowTarget::removeResolvedAttributeTransportation),
      slotOf(&RowTarget::addUnresolvedInteractionTransportation),
      slotOf(&RowTarget::removeResolvedInteractionTransportation),
      slotOf(&RowTarget::lastError),
      slotOf(&RowTarget::addUnresolvedAttributeDimension),
      slotOf(&RowTarget::removeResolvedAttribute),
      slotOf(&RowTarget::addUnresolvedInteractionDimension),
      slotOf(&RowTarget::removeResolvedInteractionDimension),
      slotOf(&RowTarget::mergeUnresolved),
      slotOf(&RowTarget::unionUnresolvedAttributeDimensions),
      slotOf(&RowTarget::unionUnresolvedInteractionDimensions),
      slotOf(&RowTarget::unionUnresolvedAttributeTransportation),
      slotOf(&RowTarget::unionUnresolvedInteractionTransportation),
      slotOf(&RowTarget::checkStringsIgnoringWhiteSpaceAndNewline)};
   std::size_t expected = 2;
   for (std::size_t const slot : slots)
      EXPECT_EQ(slot, expected++);
}

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

   DtMergeFomStatus_enum mergeTimeTypes(DtFedTarget const &) override { return merged("TimeTypes"); }
   DtMergeFomStatus_enum mergeSwitches(DtFedTarget const &) override { return merged("Switches"); }
   DtMergeFomStatus_enum mergeUserDefinedTypes(DtFedTarget const &) override
   {
      return merged("UserDefinedTypes");
   }
   DtMergeFomStatus_enum mergeSpaces(DtFedTarget const &) override { return merged("Spaces"); }
   DtMergeFomStatus_enum mergeObjectClasses(DtFedTarget const &) override { return merged("ObjectClasses"); }
   DtMergeFomStatus_enum mergeInteractionClasses(DtFedTarget const &) override
   {
      return merged("InteractionClasses");
   }
   DtMergeFomStatus_enum mergeUpdateRates(DtFedTarget const &) override { return merged("UpdateRates"); }
   DtMergeFomStatus_enum mergeBasicDataRepresentation(DtFedTarget const &) override
   {
      return merged("BasicDataRepresentation");
   }
   DtMergeFomStatus_enum mergeSimpleDatatype(DtFedTarget const &) override
   {
      return merged("SimpleDatatype");
   }
   DtMergeFomStatus_enum mergeEnumeratedDatatype(DtFedTarget const &) override
   {
      return merged("EnumeratedDatatype");
   }
   DtMergeFomStatus_enum mergeArrayDatatypeType(DtFedTarget const &) override
   {
      return merged("ArrayDatatypeType");
   }
   DtMergeFomStatus_enum mergeFixedRecordDatatype(DtFedTarget const &) override
   {
      return merged("FixedRecordDatatype");
   }
   DtMergeFomStatus_enum mergeSyncPoints(DtFedTarget const &) override { return merged("SyncPoints"); }
   DtMergeFomStatus_enum mergeTransportTypes(DtFedTarget const &) override
   {
      return merged("TransportTypes");
   }
   DtMergeFomStatus_enum mergeNotes(DtFedTarget const &) override { return merged("Notes"); }
   bool resolveObjectModelIdentification(DtString &) override { return step("ObjectModelIdentification"); }
   bool resolveObjectClasses(DtString &, bool & unresolved) override
   {
      unresolved |= leavesOpen;
      return step("ObjectClasses");
   }
   bool resolveInteractionClasses(DtString &, bool & unresolved) override
   {
      unresolved |= leavesOpen;
      return step("InteractionClasses");
   }
   bool resolveAttributes(DtString &, bool & unresolved) override
   {
      unresolved |= leavesOpen;
      return step("Attributes");
   }
   bool resolveParameters(DtString &, bool & unresolved) override
   {
      unresolved |= leavesOpen;
      return step("Parameters");
   }
   bool resolveDimensions(DtString &, bool & unresolved) override
   {
      unresolved |= leavesOpen;
      return step("Dimensions");
   }
   bool resolveTimeRepresentations(DtString &) override { return step("TimeRepresentations"); }
   bool resolveUserSuppliedTags(DtString &) override { return step("UserSuppliedTags"); }
   bool resolveSynchronizationPoints(DtString &) override { return step("SynchronizationPoints"); }
   bool resolveTranportationTypes(DtString &) override { return step("TranportationTypes"); }
   bool resolveUpdateRates(DtString &) override { return step("UpdateRates"); }
   bool resolveSwitches(DtString &) override { return step("Switches"); }
   bool resolveDatatypes(DtString &) override { return step("Datatypes"); }
   bool resolveNotes(DtString &) override { return step("Notes"); }
   bool resolveServiceUsage(DtString &) override { return step("ServiceUsage"); }
};

struct Step
{
   char const * name;
   int failure;
};

Step const theMergeSteps[] = {{"mTimeTypes", 9},
                              {"mSwitches", 1},
                              {"mUserDefinedTypes", 7},
                              {"mSpaces", 18},
                              {"mObjectClasses", 16},
                              {"mInteractionClasses", 17},
                              {"mUpdateRates", 4},
                              {"mBasicDataRepresentation", 10},
                              {"mSimpleDatatype", 11},
                              {"mEnumeratedDatatype", 12},
                              {"mArrayDatatypeType", 13},
                              {"mFixedRecordDatatype", 14},
                              {"mSyncPoints", 6},
                              {"mTransportTypes", 5},
                              {"mNotes", 8}};

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
