// SPDX-License-Identifier: MIT
#include "tslutil/fom/tslFedTarget.h"

#include <algorithm>

namespace
{

/// Adds a row to a table that is not ordered by content.
template<class Record>
void addRow(std::set<boost::shared_ptr<Record>> & rows, Record * record)
{
   boost::shared_ptr<Record> const owned(record);
   if (owned)
      rows.insert(owned);
}

/// Whether a row of all three texts is there.
template<class Record>
bool knownRow(std::set<boost::shared_ptr<Record>> const & rows, Record const & record)
{
   return std::any_of(rows.begin(), rows.end(),
                      [&](boost::shared_ptr<Record> const & row)
                      {
                         return row->name == record.name && row->dataType == record.dataType &&
                                row->semantics == record.semantics;
                      });
}

} // namespace

DtFedTarget::DtFedTarget() = default;

DtFedTarget::DtFedTarget(DtFedTarget const & other)
{
   *this = other;
   modelIdentification = other.modelIdentification;
}

// delaySubscriptionEvaluation and the identification are not taken along: that is meant.
DtFedTarget & DtFedTarget::operator=(DtFedTarget const & other)
{
   if (this == &other)
      return *this;
   myAutoProvide = other.myAutoProvide;
   myConveyRegionDesignatorSets = other.myConveyRegionDesignatorSets;
   myConveyProducingFederate = other.myConveyProducingFederate;
   myAttributeScopeAdvisory = other.myAttributeScopeAdvisory;
   myAttributeRelevanceAdvisory = other.myAttributeRelevanceAdvisory;
   myObjectClassRelevanceAdvisory = other.myObjectClassRelevanceAdvisory;
   myInteractionRelevanceAdvisory = other.myInteractionRelevanceAdvisory;
   myServiceReporting = other.myServiceReporting;
   myExceptionReporting = other.myExceptionReporting;
   myAutomaticResignAction = other.myAutomaticResignAction;
   compareSemantics = other.compareSemantics;
   strictSwitches = other.strictSwitches;
   timeTypes = other.timeTypes;
   userDefinedTags = other.userDefinedTags;
   syncPoints = other.syncPoints;
   transportTypes = other.transportTypes;
   updateRates = other.updateRates;
   notes = other.notes;
   switches = other.switches;
   basicDataRepresentations = other.basicDataRepresentations;
   simpleDatatypes = other.simpleDatatypes;
   enumeratedDatatypes = other.enumeratedDatatypes;
   arrayDatatypes = other.arrayDatatypes;
   fixedRecordDatatypes = other.fixedRecordDatatypes;
   variantRecordDatatypes = other.variantRecordDatatypes;
   myFomType = other.myFomType;
   myLastError = other.myLastError;
   unresolvedAttributeDimensions = other.unresolvedAttributeDimensions;
   unresolvedInteractionDimensions = other.unresolvedInteractionDimensions;
   unresolvedAttributeTransportation = other.unresolvedAttributeTransportation;
   unresolvedInteractionTransportation = other.unresolvedInteractionTransportation;
   merging = other.merging;
   return *this;
}

DtFedTarget::~DtFedTarget() = default;

void DtFedTarget::setFomType(DtFomType type)
{
   myFomType = type;
}

DtFomType DtFedTarget::fomType() const
{
   return myFomType;
}

void DtFedTarget::addSpace(char const *) {}

void DtFedTarget::addDimension(char const *, unsigned long, unsigned long, unsigned long, bool,
                               DtString const &)
{
}

void DtFedTarget::addDimension(char const *, char const *) {}

void DtFedTarget::addModelIdentification(char const * id)
{
   modelIdentification = id;
}

bool DtFedTarget::knownModelIdentification(DtString const & id) const
{
   return modelIdentification == id;
}

bool DtFedTarget::modelIdentificationSame(DtFedTarget const & other) const
{
   return other.knownModelIdentification(modelIdentification);
}

DtString & DtFedTarget::lastError()
{
   return myLastError;
}

void DtFedTarget::addTime(DtTimeType * record)
{
   addRow(timeTypes, record);
}

bool DtFedTarget::knownTime(DtTimeType const & record) const
{
   return knownRow(timeTypes, record);
}

unsigned int DtFedTarget::numTimeTypes() const
{
   return static_cast<unsigned int>(timeTypes.size());
}

void DtFedTarget::addUserDefinedTag(DtUserSuppliedTagsType * record)
{
   addRow(userDefinedTags, record);
}

bool DtFedTarget::knownUserDefinedTag(DtUserSuppliedTagsType const & record) const
{
   return knownRow(userDefinedTags, record);
}

unsigned int DtFedTarget::numUserDefinedTags() const
{
   return static_cast<unsigned int>(userDefinedTags.size());
}

void DtFedTarget::addSyncPoint(DtSynchronizationPointsType * record)
{
   syncPoints.add(record);
}

bool DtFedTarget::knownSyncPoint(DtSynchronizationPointsType const & record) const
{
   return syncPoints.known(record.name);
}

unsigned int DtFedTarget::numSyncPoints() const
{
   return static_cast<unsigned int>(syncPoints.size());
}

void DtFedTarget::addTransportType(DtTransportationType * record)
{
   transportTypes.add(record);
}

bool DtFedTarget::knownTransportType(DtTransportationType const & record) const
{
   return transportTypes.known(record.name);
}

unsigned int DtFedTarget::numTransports() const
{
   return static_cast<unsigned int>(transportTypes.size());
}

void DtFedTarget::addUpdateRate(DtUpdateRateType * record)
{
   updateRates.add(record);
}

bool DtFedTarget::knownUpdateRate(DtUpdateRateType const & record) const
{
   return updateRates.known(record.name);
}

unsigned int DtFedTarget::numUpdateRates() const
{
   return static_cast<unsigned int>(updateRates.size());
}

void DtFedTarget::addNote(DtNotesType * record)
{
   notes.add(record);
}

bool DtFedTarget::knownNote(DtNotesType const & record) const
{
   return notes.known(record.name);
}

unsigned int DtFedTarget::numNotes() const
{
   return static_cast<unsigned int>(notes.size());
}

void DtFedTarget::addBasicDataRepresentation(DtBasicDataRepresentationType * record)
{
   basicDataRepresentations.add(record);
}

bool DtFedTarget::knownBasicDataRepresentation(DtBasicDataRepresentationType const & record) const
{
   return basicDataRepresentations.known(record.name);
}

void DtFedTarget::addSimpleDataType(DtSimpleDatatypeType * record)
{
   simpleDatatypes.add(record);
}

bool DtFedTarget::knownSimpleDatatype(DtSimpleDatatypeType const & record) const
{
   return simpleDatatypes.known(record.name);
}

void DtFedTarget::addEnumeratedDataType(DtEnumeratedDatatypeType * record)
{
   enumeratedDatatypes.add(record);
}

bool DtFedTarget::knownEnumeratedDatatype(DtEnumeratedDatatypeType const & record) const
{
   return enumeratedDatatypes.known(record.name);
}

void DtFedTarget::addArrayDataType(DtArrayDatatypeType * record)
{
   arrayDatatypes.add(record);
}

bool DtFedTarget::knownArrayDatatype(DtArrayDatatypeType const & record) const
{
   return arrayDatatypes.known(record.name);
}

void DtFedTarget::addFixedRecordDataType(DtFixedRecordDatatypeType * record)
{
   fixedRecordDatatypes.add(record);
}

bool DtFedTarget::knownFixedRecordDatatype(DtFixedRecordDatatypeType record) const
{
   return fixedRecordDatatypes.known(record.name);
}

void DtFedTarget::addVariantRecordDataType(DtVariantRecordDatatypeType * record)
{
   variantRecordDatatypes.add(record);
}

bool DtFedTarget::knownVariantRecordDatatype(DtVariantRecordDatatypeType const & record) const
{
   return variantRecordDatatypes.known(record.name);
}

DtTransportType DtFedTarget::transportTypeFromTransportation(DtString const & name) const
{
   DtTransportationType const * const found = transportTypes.find(name);
   if (found == nullptr)
      return DtTransportNotFound;
   return found->reliability ? DtTransportReliable : DtTransportBestEffort;
}

void DtFedTarget::addUnresolvedAttributeDimension(DtString const & key, DtString const & first,
                                                  DtString const & second)
{
   unresolvedAttributeDimensions[key].insert(TextPair(first, second));
}

void DtFedTarget::removeResolvedAttribute(DtString const & key, TextPair const & pair)
{
   unresolvedAttributeDimensions[key].erase(pair);
}

void DtFedTarget::addUnresolvedAttributeTransportation(DtString const & key, DtString const & first,
                                                       DtString const & second)
{
   unresolvedAttributeTransportation[key].insert(TextPair(first, second));
}

void DtFedTarget::removeResolvedAttributeTransportation(DtString const & key, TextPair const & pair)
{
   unresolvedAttributeTransportation[key].erase(pair);
}

void DtFedTarget::addUnresolvedInteractionDimension(DtString const & key, DtString const & value)
{
   unresolvedInteractionDimensions[key].insert(value);
}

void DtFedTarget::removeResolvedInteractionDimension(DtString const & key, DtString const & value)
{
   unresolvedInteractionDimensions[key].erase(value);
}

void DtFedTarget::addUnresolvedInteractionTransportation(DtString const & key, DtString const & value)
{
   unresolvedInteractionTransportation[key].insert(value);
}

void DtFedTarget::removeResolvedInteractionTransportation(DtString const & key, DtString const & value)
{
   unresolvedInteractionTransportation[key].erase(value);
}

bool DtFedTarget::checkStringsIgnoringWhiteSpaceAndNewline(DtString const &, DtString const &) const
{
   return false;
}
