// SPDX-License-Identifier: MIT
#include "tslutil/fom/tslFedTarget.h"

#include <algorithm>

namespace
{

/// Sets a flag for a scope, so that it is cleared also when an override throws.
class FlagGuard
{
public:
   explicit FlagGuard(bool & raised) : flag(raised) { flag = true; }
   ~FlagGuard() { flag = false; }
   FlagGuard(FlagGuard const &) = delete;
   FlagGuard & operator=(FlagGuard const &) = delete;

private:
   bool & flag;
};

struct MergeStep
{
   DtMergeFomStatus_enum (DtFedTarget::*merge)(DtFedTarget const &);
   DtMergeFomStatus_enum failure;
};

/// The order of a merge. What a failing step itself returns is discarded for the value beside it.
MergeStep const theMergeSteps[] = {
   {&DtFedTarget::mergeTimeTypes, DtMergeFomTimeTypesMismatch},
   {&DtFedTarget::mergeSwitches, DtMergeFomSwitchesMismatch},
   {&DtFedTarget::mergeUserDefinedTypes, DtMergeFomUserTagsMismatch},
   {&DtFedTarget::mergeSpaces, DtMergeFomSpacesMismatch},
   {&DtFedTarget::mergeObjectClasses, DtMergeFomObjectClassesMismatch},
   {&DtFedTarget::mergeInteractionClasses, DtMergeFomInteractionClassesMismatch},
   {&DtFedTarget::mergeUpdateRates, DtMergeFomUpdateRatesMismatch},
   {&DtFedTarget::mergeBasicDataRepresentation, DtMergeFomBasicDataMismatch},
   {&DtFedTarget::mergeSimpleDatatype, DtMergeFomSimpleDatatypeMismatch},
   {&DtFedTarget::mergeEnumeratedDatatype, DtMergeFomEnumeratedDatatypeMismatch},
   {&DtFedTarget::mergeArrayDatatypeType, DtMergeFomArrayDatatypeMismatch},
   {&DtFedTarget::mergeFixedRecordDatatype, DtMergeFomFixedRecordMismatch},
   {&DtFedTarget::mergeVariantRecordDatatype, DtMergeFomVariantRecordMismatch},
   {&DtFedTarget::mergeSyncPoints, DtMergeFomSyncPointsMismatch},
   {&DtFedTarget::mergeTransportTypes, DtMergeFomTransportTypesMismatch},
   {&DtFedTarget::mergeNotes, DtMergeFomNotesMismatch},
};

/// Merges a table that is not ordered by content: taken whole into an empty one, else not changed.
template<class Rows>
bool mergeRows(Rows & rows, Rows const & others, bool same)
{
   if (!rows.empty())
      return same || others.empty();
   if (&rows != &others)
      rows = others;
   return true;
}

/// For each key that is new: its whole set. A key that is there keeps just its own elements; that is meant.
template<class Map>
void addNewKeys(Map & map, Map const & other)
{
   map.insert(other.begin(), other.end());
}

} // namespace

DtMergeFomStatus_enum DtFedTarget::mergeTarget(DtFedTarget const & other)
{
   FlagGuard const guard(merging);
   for (MergeStep const & step : theMergeSteps)
      if ((this->*step.merge)(other) != DtMergeFomSuccess)
         return step.failure;
   mergeUnresolved(other);
   DtString const otherIdentification(other.modelIdentification); // the other may be this target
   modelIdentification += " + ";
   modelIdentification += otherIdentification;
   return DtMergeFomSuccess;
}

DtMergeFomStatus_enum DtFedTarget::mergeSpaces(DtFedTarget const &)
{
   return DtMergeFomSuccess;
}

DtMergeFomStatus_enum DtFedTarget::mergeObjectClasses(DtFedTarget const &)
{
   return DtMergeFomSuccess;
}

DtMergeFomStatus_enum DtFedTarget::mergeInteractionClasses(DtFedTarget const &)
{
   return DtMergeFomSuccess;
}

DtMergeFomStatus_enum DtFedTarget::mergeUpdateRates(DtFedTarget const & other)
{
   auto const agrees = [this](DtUpdateRateType const & received)
   { return UpdateRateConsistencyTest(received); };
   return updateRates.merge(other.updateRates, agrees) ? DtMergeFomSuccess : DtMergeFomUpdateRatesMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeSyncPoints(DtFedTarget const & other)
{
   auto const agrees = [this](DtSynchronizationPointsType const & received)
   { return SyncPointConsistencyTest(received); };
   return syncPoints.merge(other.syncPoints, agrees) ? DtMergeFomSuccess : DtMergeFomSyncPointsMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeTransportTypes(DtFedTarget const & other)
{
   auto const agrees = [this](DtTransportationType const & received)
   { return TransportTypeConsistencyTest(received); };
   return transportTypes.merge(other.transportTypes, agrees) ? DtMergeFomSuccess
                                                             : DtMergeFomTransportTypesMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeNotes(DtFedTarget const & other)
{
   auto const agrees = [this](DtNotesType const & received) { return NoteConsistencyTest(received); };
   return notes.merge(other.notes, agrees) ? DtMergeFomSuccess : DtMergeFomNotesMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeBasicDataRepresentation(DtFedTarget const & other)
{
   auto const agrees = [this](DtBasicDataRepresentationType const & received)
   { return basicDataRepresentationConsistencyTest(received); };
   return basicDataRepresentations.merge(other.basicDataRepresentations, agrees)
             ? DtMergeFomSuccess
             : DtMergeFomBasicDataMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeSimpleDatatype(DtFedTarget const & other)
{
   auto const agrees = [this](DtSimpleDatatypeType const & received)
   { return simpleDatatypeConsistencyTest(received); };
   return simpleDatatypes.merge(other.simpleDatatypes, agrees) ? DtMergeFomSuccess
                                                               : DtMergeFomSimpleDatatypeMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeEnumeratedDatatype(DtFedTarget const & other)
{
   auto const agrees = [this](DtEnumeratedDatatypeType const & received)
   { return enumeratedDatatypeConsistencyTest(received); };
   return enumeratedDatatypes.merge(other.enumeratedDatatypes, agrees) ? DtMergeFomSuccess
                                                                       : DtMergeFomEnumeratedDatatypeMismatch;
}

// The enumerated value is meant; only a whole merge tells of arrays.
DtMergeFomStatus_enum DtFedTarget::mergeArrayDatatypeType(DtFedTarget const & other)
{
   auto const agrees = [this](DtArrayDatatypeType const & received)
   { return arrayDatatypeConsistencyTest(received); };
   return arrayDatatypes.merge(other.arrayDatatypes, agrees) ? DtMergeFomSuccess
                                                             : DtMergeFomEnumeratedDatatypeMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeFixedRecordDatatype(DtFedTarget const & other)
{
   auto const agrees = [this](DtFixedRecordDatatypeType const & received)
   { return fixedRecordDatatypeConsistencyTest(received); };
   return fixedRecordDatatypes.merge(other.fixedRecordDatatypes, agrees) ? DtMergeFomSuccess
                                                                         : DtMergeFomFixedRecordMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeVariantRecordDatatype(DtFedTarget const & other)
{
   auto const agrees = [this](DtVariantRecordDatatypeType const & received)
   { return variantRecordDatatypeConsistencyTest(received); };
   return variantRecordDatatypes.merge(other.variantRecordDatatypes, agrees)
             ? DtMergeFomSuccess
             : DtMergeFomVariantRecordMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeTimeTypes(DtFedTarget const & other)
{
   bool const same = !timeTypes.empty() && timeTypesSame(other);
   return mergeRows(timeTypes, other.timeTypes, same) ? DtMergeFomSuccess : DtMergeFomTimeTypesMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeUserDefinedTypes(DtFedTarget const & other)
{
   bool const same = !userDefinedTags.empty() && userDefinedTagsSame(other);
   return mergeRows(userDefinedTags, other.userDefinedTags, same) ? DtMergeFomSuccess
                                                                  : DtMergeFomUserTagsMismatch;
}

DtMergeFomStatus_enum DtFedTarget::mergeSwitches(DtFedTarget const & other)
{
   if (switchesSame(other))
      return DtMergeFomSuccess;
   if (!switches.empty())
      return other.switches.empty() ? DtMergeFomSuccess : DtMergeFomSwitchesMismatch;
   if (this != &other)
      switches = other.switches;
   setAutoProvide(other.autoProvide());
   setConveyRegionDesignatorSets(other.conveyRegionDesignatorSets());
   setConveyProducingFederate(other.conveyProducingFederate());
   setAttributeScopeAdvisory(other.attributeScopeAdvisory());
   setAttributeRelevanceAdvisory(other.attributeRelevanceAdvisory());
   setObjectClassRelevanceAdvisory(other.objectClassRelevanceAdvisory());
   setInteractionRelevanceAdvisory(other.interactionRelevanceAdvisory());
   setServiceReporting(other.serviceReporting());
   setExceptionReporting(other.exceptionReporting());
   setDelaySubscriptionEvaluation(other.delaySubscriptionEvaluation());
   setAutomaticResignAction(other.automaticResignAction());
   return DtMergeFomSuccess;
}

// Seven of the ten switches count; the producing federate, exceptions and late evaluation don't. That is
// meant.
bool DtFedTarget::switchesSame(DtFedTarget const & other) const
{
   if (numSwitches() != other.numSwitches() || automaticResignAction() != other.automaticResignAction())
      return false;
   if (switches.empty() || other.switches.empty())
      return true;
   return autoProvide() == other.autoProvide() &&
          conveyRegionDesignatorSets() == other.conveyRegionDesignatorSets() &&
          attributeScopeAdvisory() == other.attributeScopeAdvisory() &&
          attributeRelevanceAdvisory() == other.attributeRelevanceAdvisory() &&
          objectClassRelevanceAdvisory() == other.objectClassRelevanceAdvisory() &&
          interactionRelevanceAdvisory() == other.interactionRelevanceAdvisory() &&
          serviceReporting() == other.serviceReporting();
}

bool DtFedTarget::timeTypesSame(DtFedTarget const & other) const
{
   if (numTimeTypes() != other.numTimeTypes())
      return false;
   return other.timeTypes.empty() ||
          std::all_of(timeTypes.begin(), timeTypes.end(),
                      [&](boost::shared_ptr<DtTimeType> const & row) { return other.knownTime(*row); });
}

bool DtFedTarget::userDefinedTagsSame(DtFedTarget const & other) const
{
   if (numUserDefinedTags() != other.numUserDefinedTags())
      return false;
   return other.userDefinedTags.empty() ||
          std::all_of(userDefinedTags.begin(), userDefinedTags.end(),
                      [&](boost::shared_ptr<DtUserSuppliedTagsType> const & row)
                      { return other.knownUserDefinedTag(*row); });
}

bool DtFedTarget::basicDataRepresentationSame(DtFedTarget const & other) const
{
   auto const isKnown = [&](DtBasicDataRepresentationType const & record)
   { return other.knownBasicDataRepresentation(record); };
   return basicDataRepresentations.same(other.basicDataRepresentations, isKnown);
}

bool DtFedTarget::basicDataRepresentationConsistencyTest(DtBasicDataRepresentationType const &)
{
   return true;
}

bool DtFedTarget::simpleDatatypeSame(DtFedTarget const & other) const
{
   auto const isKnown = [&](DtSimpleDatatypeType const & record)
   { return other.knownSimpleDatatype(record); };
   return simpleDatatypes.same(other.simpleDatatypes, isKnown);
}

bool DtFedTarget::simpleDatatypeConsistencyTest(DtSimpleDatatypeType const &)
{
   return true;
}

bool DtFedTarget::enumeratedDatatypeSame(DtFedTarget const & other) const
{
   auto const isKnown = [&](DtEnumeratedDatatypeType const & record)
   { return other.knownEnumeratedDatatype(record); };
   return enumeratedDatatypes.same(other.enumeratedDatatypes, isKnown);
}

bool DtFedTarget::enumeratedDatatypeConsistencyTest(DtEnumeratedDatatypeType const &)
{
   return true;
}

bool DtFedTarget::arrayDatatypeSame(DtFedTarget const & other) const
{
   auto const isKnown = [&](DtArrayDatatypeType const & record) { return other.knownArrayDatatype(record); };
   return arrayDatatypes.same(other.arrayDatatypes, isKnown);
}

bool DtFedTarget::arrayDatatypeConsistencyTest(DtArrayDatatypeType const &)
{
   return true;
}

bool DtFedTarget::fixedRecordDatatypeSame(DtFedTarget const & other) const
{
   auto const isKnown = [&](DtFixedRecordDatatypeType const & record)
   { return other.knownFixedRecordDatatype(record); };
   return fixedRecordDatatypes.same(other.fixedRecordDatatypes, isKnown);
}

bool DtFedTarget::fixedRecordDatatypeConsistencyTest(DtFixedRecordDatatypeType)
{
   return true;
}

bool DtFedTarget::variantRecordDatatypeSame(DtFedTarget const & other) const
{
   auto const isKnown = [&](DtVariantRecordDatatypeType const & record)
   { return other.knownVariantRecordDatatype(record); };
   return variantRecordDatatypes.same(other.variantRecordDatatypes, isKnown);
}

bool DtFedTarget::variantRecordDatatypeConsistencyTest(DtVariantRecordDatatypeType const &)
{
   return true;
}

bool DtFedTarget::UpdateRateConsistencyTest(DtUpdateRateType const & received)
{
   DtUpdateRateType const * const stored = updateRates.find(received.name);
   if (stored == nullptr)
      return true;
   if (stored->rate != received.rate)
      return disagree("For UpdateRate \"", "\": Mismatched rate in DtUpdateRateType: expected: \"",
                      stored->name, DtString(static_cast<double>(stored->rate)),
                      DtString(static_cast<double>(received.rate)));
   return semanticsAgree("For UpdateRate \"", "\": Mismatched semantics in DtUpdateRateType: expected: \"",
                         stored->name, stored->semantics, received.semantics);
}

bool DtFedTarget::SyncPointConsistencyTest(DtSynchronizationPointsType const & received)
{
   DtSynchronizationPointsType const * const stored = syncPoints.find(received.name);
   return stored == nullptr ||
          semanticsAgree("For SyncPoint \"",
                         "\": Mismatched semantics in DtSynchronizationPointsType: expected: \"",
                         stored->name, stored->semantics, received.semantics);
}

bool DtFedTarget::TransportTypeConsistencyTest(DtTransportationType const & received)
{
   DtTransportationType const * const stored = transportTypes.find(received.name);
   if (stored == nullptr)
      return true;
   if (stored->reliability != received.reliability)
      return disagree("For TransportType \"",
                      "\": Mismatched reliability in DtTransportationType: expected: \"", stored->name,
                      DtString(int(stored->reliability)), DtString(int(received.reliability)));
   return semanticsAgree("For TransportType \"", "\": Mismatched semantics: expected: \"", stored->name,
                         stored->semantics, received.semantics);
}

bool DtFedTarget::NoteConsistencyTest(DtNotesType const & received)
{
   DtNotesType const * const stored = notes.find(received.name);
   return stored == nullptr || semanticsAgree("For Note \"", "\": Mismatched semantics: expected: \"",
                                              stored->name, stored->semantics, received.semantics);
}

bool DtFedTarget::semanticsAgree(char const * prefix, char const * middle, DtString const & name,
                                 DtString const & stored, DtString const & received)
{
   return !compareSemantics || stored == received || disagree(prefix, middle, name, stored, received);
}

// The received value gets no closing quotation mark; that is meant.
bool DtFedTarget::disagree(char const * prefix, char const * middle, DtString const & name,
                           DtString const & stored, DtString const & received)
{
   myLastError += prefix;
   myLastError += name;
   myLastError += middle;
   myLastError += stored;
   myLastError += "\" received: \"";
   myLastError += received;
   myLastError += "\n";
   return false;
}

void DtFedTarget::mergeUnresolved(DtFedTarget const & other)
{
   unionUnresolvedAttributeDimensions(other.unresolvedAttributeDimensions);
   unionUnresolvedInteractionDimensions(other.unresolvedInteractionDimensions);
   unionUnresolvedAttributeTransportation(other.unresolvedAttributeTransportation);
   unionUnresolvedInteractionTransportation(other.unresolvedInteractionTransportation);
}

void DtFedTarget::unionUnresolvedAttributeDimensions(UnresolvedPairs const & other)
{
   addNewKeys(unresolvedAttributeDimensions, other);
}

void DtFedTarget::unionUnresolvedInteractionDimensions(UnresolvedTexts const & other)
{
   addNewKeys(unresolvedInteractionDimensions, other);
}

void DtFedTarget::unionUnresolvedAttributeTransportation(UnresolvedPairs const & other)
{
   addNewKeys(unresolvedAttributeTransportation, other);
}

void DtFedTarget::unionUnresolvedInteractionTransportation(UnresolvedTexts const & other)
{
   addNewKeys(unresolvedInteractionTransportation, other);
}
