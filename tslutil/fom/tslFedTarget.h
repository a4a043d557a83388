// SPDX-License-Identifier: MIT
/// One federation object model in memory: what a parser found in a FOM module, and the union of several
/// modules. A subclass brings the class trees and resolves what refers to them; a caller fills targets,
/// merges them in order and has the result checked. Failures are told by status and by text that accumulates;
/// nothing throws. A target belongs to one thread at a time.
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/fom/tslFedRecords.h"
#include "tslutil/fom/tslFedTable.h"
#include "tslutil/tslutilExport.h"

#include <boost/shared_ptr.hpp>

#include <map>
#include <set>
#include <utility>

/// The version of an object model.
enum DtFomType : int
{
   DtFomInvalid = 0, ///< not set
   DtFomHla13 = 1,   ///< HLA 1.3; has no switch table
   DtFom1516 = 2,    ///< IEEE 1516-2000; seven switches
   DtFom1516e = 3    ///< IEEE 1516-2010; ten switches
};

/// How a transportation of a given name delivers.
enum DtTransportType : int
{
   DtTransportNotFound = -1,  ///< no transportation of that name
   DtTransportBestEffort = 0, ///< not reliable
   DtTransportReliable = 1    ///< reliable
};

/// What the RTI does for a federate that is lost. Stored and copied, never interpreted here.
enum DtResignAction : int
{
   DtResignUnconditionallyDivestAttributes = 0,
   DtResignDeleteObjects = 1,
   DtResignCancelPendingOwnershipAcquisitions = 2,
   DtResignDeleteObjectsThenDivest = 3,
   DtResignCancelThenDeleteThenDivest = 4,
   DtResignNoAction = 5
};

/// The outcome of a merge, of one of its steps or of the check behind it. 0, 2 and 19 are a subclass's to
/// use.
enum DtMergeFomStatus_enum : int
{
   DtMergeFomSwitchesMismatch = 1,
   DtMergeFomPostCheckFailed = 3,
   DtMergeFomUpdateRatesMismatch = 4,
   DtMergeFomTransportTypesMismatch = 5,
   DtMergeFomSyncPointsMismatch = 6,
   DtMergeFomUserTagsMismatch = 7,
   DtMergeFomNotesMismatch = 8,
   DtMergeFomTimeTypesMismatch = 9,
   DtMergeFomBasicDataMismatch = 10,
   DtMergeFomSimpleDatatypeMismatch = 11,
   DtMergeFomEnumeratedDatatypeMismatch = 12,
   DtMergeFomArrayDatatypeMismatch = 13,
   DtMergeFomFixedRecordMismatch = 14,
   DtMergeFomVariantRecordMismatch = 15,
   DtMergeFomObjectClassesMismatch = 16,
   DtMergeFomInteractionClassesMismatch = 17,
   DtMergeFomSpacesMismatch = 18,
   DtMergeFomUnresolvedReferences = 20,
   DtMergeFomSuccess = 21
};

/// An object model: its tables, switches and open references. Abstract; see the seven pure operations.
class TSLUTIL_EXPORT DtFedTarget
{
public:
   /// Texts told apart by a pair, as an object class and its attribute.
   typedef std::pair<DtString, DtString> TextPair;
   /// Open references of two texts, under a key that the subclass chooses.
   typedef std::map<DtString, std::set<TextPair>> UnresolvedPairs;
   /// Open references of one text, under a key that the subclass chooses.
   typedef std::map<DtString, std::set<DtString>> UnresolvedTexts;

   /// An empty model with the class defaults as its switch values and "0" as its identification.
   DtFedTarget();
   /// Shares the other's records and copies all else but delaySubscriptionEvaluation, which is left false.
   DtFedTarget(DtFedTarget const & other);
   /// As the copy constructor, but leaves delaySubscriptionEvaluation and the identification as they were.
   DtFedTarget & operator=(DtFedTarget const & other);

   // Virtual operations, in slot order.

   virtual ~DtFedTarget();

   /// Sets the model's version.
   virtual void setFomType(DtFomType type);
   /// The model's version.
   virtual DtFomType fomType() const;

   /// A routing space of HLA 1.3. Does nothing here.
   virtual void addSpace(char const * name);
   /// A dimension with its numbers and default text. Does nothing here.
   virtual void addDimension(char const * name, unsigned long first, unsigned long second,
                             unsigned long third, bool flag, DtString const & text);
   /// A dimension of a routing space. Does nothing here.
   virtual void addDimension(char const * space, char const * name);

   /// Adds an object class under its parent.
   virtual void addObjectClass(DtString const & name, DtString const & parent) = 0;
   /// Adds an attribute to an object class.
   virtual void addAttribute(DtString const & objectClass, DtString const & name) = 0;
   /// Adds an interaction class under its parent.
   virtual void addInteractionClass(DtString const & name, DtString const & parent) = 0;
   /// Adds a parameter to an interaction class.
   virtual void addParameter(DtString const & interactionClass, DtString const & name) = 0;
   /// Whether there is an object class of that name.
   virtual bool knownObjectClass(DtString const & name) const = 0;
   /// Whether there is an interaction class of that name.
   virtual bool knownInteractionClass(DtString const & name) const = 0;
   /// Empties both class trees.
   virtual void removeAllClasses() = 0;

   /// Whether updates are asked for when an object is discovered.
   virtual bool autoProvide() const;
   /// Sets whether updates are asked for when an object is discovered.
   virtual void setAutoProvide(bool value);
   /// Whether the regions of an update are passed on.
   virtual bool conveyRegionDesignatorSets() const;
   /// Sets whether the regions of an update are passed on.
   virtual void setConveyRegionDesignatorSets(bool value);
   /// Whether the producing federate is passed on.
   virtual bool conveyProducingFederate() const;
   /// Sets whether the producing federate is passed on.
   virtual void setConveyProducingFederate(bool value);
   /// Whether attributes coming into scope are advised of.
   virtual bool attributeScopeAdvisory() const;
   /// Sets whether attributes coming into scope are advised of.
   virtual void setAttributeScopeAdvisory(bool value);
   /// Whether the relevance of attributes is advised of.
   virtual bool attributeRelevanceAdvisory() const;
   /// Sets whether the relevance of attributes is advised of.
   virtual void setAttributeRelevanceAdvisory(bool value);
   /// Whether the relevance of object classes is advised of.
   virtual bool objectClassRelevanceAdvisory() const;
   /// Sets whether the relevance of object classes is advised of.
   virtual void setObjectClassRelevanceAdvisory(bool value);
   /// Whether the relevance of interactions is advised of.
   virtual bool interactionRelevanceAdvisory() const;
   /// Sets whether the relevance of interactions is advised of.
   virtual void setInteractionRelevanceAdvisory(bool value);
   /// Whether services are reported.
   virtual bool serviceReporting() const;
   /// Sets whether services are reported.
   virtual void setServiceReporting(bool value);
   /// Whether exceptions are reported.
   virtual bool exceptionReporting() const;
   /// Sets whether exceptions are reported.
   virtual void setExceptionReporting(bool value);
   /// Whether subscriptions are evaluated late.
   virtual bool delaySubscriptionEvaluation() const;
   /// Sets whether subscriptions are evaluated late.
   virtual void setDelaySubscriptionEvaluation(bool value);
   /// What the RTI does for a federate that is lost.
   virtual DtResignAction automaticResignAction() const;
   /// Sets what the RTI does for a federate that is lost.
   virtual void setAutomaticResignAction(DtResignAction value);

   // In all tables: an add takes ownership of a record made with `new`, ignores null, and destroys without a
   // report a record whose name the table holds; a consistency test tells whether a received record agrees
   // with the stored one of its name, and appends to lastError() how not; a merge brings in the other model's
   // records.

   /// Rates have to agree exactly; texts too if semantics are compared.
   virtual bool UpdateRateConsistencyTest(DtUpdateRateType const & received);
   /// Whether there is an update rate of that name.
   virtual bool knownUpdateRate(DtUpdateRateType const & record) const;
   /// The number of update rates.
   virtual unsigned int numUpdateRates() const;
   /// Adds an update rate.
   virtual void addUpdateRate(DtUpdateRateType * record);

   /// Texts have to agree if semantics are compared.
   virtual bool SyncPointConsistencyTest(DtSynchronizationPointsType const & received);
   /// Whether there is a synchronization point of that name.
   virtual bool knownSyncPoint(DtSynchronizationPointsType const & record) const;
   /// Adds a synchronization point.
   virtual void addSyncPoint(DtSynchronizationPointsType * record);
   /// The number of synchronization points.
   virtual unsigned int numSyncPoints() const;

   /// Whether there is a transportation of that name.
   virtual bool knownTransportType(DtTransportationType const & record) const;
   /// Reliability has to agree; texts too if semantics are compared.
   virtual bool TransportTypeConsistencyTest(DtTransportationType const & received);
   /// The number of transportations.
   virtual unsigned int numTransports() const;
   /// Adds a transportation.
   virtual void addTransportType(DtTransportationType * record);
   /// How the transportation of that name delivers.
   virtual DtTransportType transportTypeFromTransportation(DtString const & name) const;

   /// Whether a tag of all three texts is there.
   virtual bool knownUserDefinedTag(DtUserSuppliedTagsType const & record) const;
   /// The number of tags, equal ones counted each.
   virtual unsigned int numUserDefinedTags() const;
   /// Whether the tables are of one size and the other knows each tag of this one, or one is empty.
   virtual bool userDefinedTagsSame(DtFedTarget const & other) const;
   /// Adds a tag, also one that is there already.
   virtual void addUserDefinedTag(DtUserSuppliedTagsType * record);
   /// Takes the other's tags if there are none here; else both have to be the same, or the other's empty.
   virtual DtMergeFomStatus_enum mergeUserDefinedTypes(DtFedTarget const & other);

   /// Texts have to agree if semantics are compared.
   virtual bool NoteConsistencyTest(DtNotesType const & received);
   /// Whether there is a note of that label.
   virtual bool knownNote(DtNotesType const & record) const;
   /// Adds a note.
   virtual void addNote(DtNotesType * record);
   /// The number of notes.
   virtual unsigned int numNotes() const;

   /// Takes the other's switch table and values if there is no table here; two tables have to be the same.
   virtual DtMergeFomStatus_enum mergeSwitches(DtFedTarget const & other);
   /// Whether the switch is in the table, whatever the values are.
   virtual bool knownSwitch(DtString const & name) const;
   /// The number of switches in the table.
   virtual unsigned int numSwitches() const;
   /// Whether tables are of one size, resign actions agree and, with tables, the seven switches that count
   /// agree.
   virtual bool switchesSame(DtFedTarget const & other) const;
   /// The table's value of a switch; false for one that is not there.
   virtual bool switchValue(DtString const & name) const;
   /// Adds a switch to the table; one that is there keeps its value. Doesn't touch the value of the same
   /// name.
   virtual void addSwitch(DtString const & name, bool value);

   /// Merges the notes.
   virtual DtMergeFomStatus_enum mergeNotes(DtFedTarget const & other);
   /// Whether a time type of all three texts is there.
   virtual bool knownTime(DtTimeType const & record) const;
   /// The number of time types, equal ones counted each.
   virtual unsigned int numTimeTypes() const;
   /// Whether the tables are of one size and the other knows each time type of this one, or one is empty.
   virtual bool timeTypesSame(DtFedTarget const & other) const;
   /// Adds a time type, also one that is there already.
   virtual void addTime(DtTimeType * record);
   /// Takes the other's time types if there are none here; else both have to be the same, or the other's
   /// empty.
   virtual DtMergeFomStatus_enum mergeTimeTypes(DtFedTarget const & other);

   /// Replaces the identification by `id`, in spite of the name.
   virtual void addModelIdentification(char const * id);

   /// Folds `other` into this model, table by table in a fixed order, and stops at the first that conflicts;
   /// what was merged until then stays. Records are shared with `other` afterwards. The reason stands in
   /// lastError(), where the table gives one.
   virtual DtMergeFomStatus_enum mergeTarget(DtFedTarget const & other);
   /// For a subclass with routing spaces. Succeeds here.
   virtual DtMergeFomStatus_enum mergeSpaces(DtFedTarget const & other);
   /// For a subclass with object classes. Succeeds here.
   virtual DtMergeFomStatus_enum mergeObjectClasses(DtFedTarget const & other);
   /// For a subclass with interaction classes. Succeeds here.
   virtual DtMergeFomStatus_enum mergeInteractionClasses(DtFedTarget const & other);
   /// Merges the update rates.
   virtual DtMergeFomStatus_enum mergeUpdateRates(DtFedTarget const & other);
   /// Merges the synchronization points.
   virtual DtMergeFomStatus_enum mergeSyncPoints(DtFedTarget const & other);
   /// Merges the transportations.
   virtual DtMergeFomStatus_enum mergeTransportTypes(DtFedTarget const & other);
   /// Judges the model as a whole by all fifteen operations below. Their messages are appended to `errors`,
   /// also where they pass.
   virtual DtMergeFomStatus_enum postMergeCheckTarget(DtString & errors);

   // The checks. Those that do no work here pass; a subclass overrides what it can judge and sets
   // `unresolved` where references remain open.

   /// Passes here.
   virtual bool resolveObjectModelIdentification(DtString & errors);
   /// Passes here.
   virtual bool resolveObjectClasses(DtString & errors, bool & unresolved);
   /// Passes here.
   virtual bool resolveInteractionClasses(DtString & errors, bool & unresolved);
   /// Passes here.
   virtual bool resolveAttributes(DtString & errors, bool & unresolved);
   /// Passes here.
   virtual bool resolveParameters(DtString & errors, bool & unresolved);
   /// Passes here.
   virtual bool resolveDimensions(DtString & errors, bool & unresolved);
   /// Passes here.
   virtual bool resolveTimeRepresentations(DtString & errors);
   /// Passes here.
   virtual bool resolveUserSuppliedTags(DtString & errors);
   /// Passes here.
   virtual bool resolveSynchronizationPoints(DtString & errors);
   /// Fails at a transportation without a name.
   virtual bool resolveTranportationTypes(DtString & errors);
   /// Fails at an update rate without a name; a rate of 0 is told, ends the walk and passes.
   virtual bool resolveUpdateRates(DtString & errors);
   /// Fails where the version's switches are missing from the table; the newest version only if the subclass
   /// is strict.
   virtual bool resolveSwitches(DtString & errors);
   /// Passes here.
   virtual bool resolveDatatypes(DtString & errors);
   /// Passes here.
   virtual bool resolveNotes(DtString & errors);
   /// Passes here.
   virtual bool resolveServiceUsage(DtString & errors);

   /// Adds a basic data representation.
   virtual void addBasicDataRepresentation(DtBasicDataRepresentationType * record);
   /// Adds a simple datatype.
   virtual void addSimpleDataType(DtSimpleDatatypeType * record);
   /// Adds an array datatype.
   virtual void addArrayDataType(DtArrayDatatypeType * record);
   /// Adds an enumerated datatype.
   virtual void addEnumeratedDataType(DtEnumeratedDatatypeType * record);
   /// Adds a fixed record datatype.
   virtual void addFixedRecordDataType(DtFixedRecordDatatypeType * record);
   /// Adds a variant record datatype.
   virtual void addVariantRecordDataType(DtVariantRecordDatatypeType * record);

   /// Whether the identification equals `id`.
   virtual bool knownModelIdentification(DtString const & id) const;
   /// Whether the other's identification equals this one's.
   virtual bool modelIdentificationSame(DtFedTarget const & other) const;

   // Datatypes: the consistency tests pass here, so the first definition of a name stays. The same tests
   // compare names alone.

   /// Passes here.
   virtual bool basicDataRepresentationConsistencyTest(DtBasicDataRepresentationType const & received);
   /// Whether there is a basic data representation of that name.
   virtual bool knownBasicDataRepresentation(DtBasicDataRepresentationType const & record) const;
   /// Whether both models have the same names of basic data representations.
   virtual bool basicDataRepresentationSame(DtFedTarget const & other) const;
   /// Merges the basic data representations.
   virtual DtMergeFomStatus_enum mergeBasicDataRepresentation(DtFedTarget const & other);

   /// Passes here.
   virtual bool simpleDatatypeConsistencyTest(DtSimpleDatatypeType const & received);
   /// Whether there is a simple datatype of that name.
   virtual bool knownSimpleDatatype(DtSimpleDatatypeType const & record) const;
   /// Whether both models have the same names of simple datatypes.
   virtual bool simpleDatatypeSame(DtFedTarget const & other) const;
   /// Merges the simple datatypes.
   virtual DtMergeFomStatus_enum mergeSimpleDatatype(DtFedTarget const & other);

   /// Passes here.
   virtual bool enumeratedDatatypeConsistencyTest(DtEnumeratedDatatypeType const & received);
   /// Whether there is an enumerated datatype of that name.
   virtual bool knownEnumeratedDatatype(DtEnumeratedDatatypeType const & record) const;
   /// Whether both models have the same names of enumerated datatypes.
   virtual bool enumeratedDatatypeSame(DtFedTarget const & other) const;
   /// Merges the enumerated datatypes.
   virtual DtMergeFomStatus_enum mergeEnumeratedDatatype(DtFedTarget const & other);

   /// Passes here.
   virtual bool arrayDatatypeConsistencyTest(DtArrayDatatypeType const & received);
   /// Whether there is an array datatype of that name.
   virtual bool knownArrayDatatype(DtArrayDatatypeType const & record) const;
   /// Whether both models have the same names of array datatypes.
   virtual bool arrayDatatypeSame(DtFedTarget const & other) const;
   /// Merges the array datatypes. Reports the enumerated mismatch on its own; that is meant.
   virtual DtMergeFomStatus_enum mergeArrayDatatypeType(DtFedTarget const & other);

   /// Passes here.
   virtual bool fixedRecordDatatypeConsistencyTest(DtFixedRecordDatatypeType received);
   /// Whether there is a fixed record datatype of that name.
   virtual bool knownFixedRecordDatatype(DtFixedRecordDatatypeType record) const;
   /// Whether both models have the same names of fixed record datatypes.
   virtual bool fixedRecordDatatypeSame(DtFedTarget const & other) const;
   /// Merges the fixed record datatypes.
   virtual DtMergeFomStatus_enum mergeFixedRecordDatatype(DtFedTarget const & other);

   /// Passes here.
   virtual bool variantRecordDatatypeConsistencyTest(DtVariantRecordDatatypeType const & received);
   /// Whether there is a variant record datatype of that name.
   virtual bool knownVariantRecordDatatype(DtVariantRecordDatatypeType const & record) const;
   /// Whether both models have the same names of variant record datatypes.
   virtual bool variantRecordDatatypeSame(DtFedTarget const & other) const;

   /// Notes an open transportation of an attribute.
   virtual void addUnresolvedAttributeTransportation(DtString const & key, DtString const & first,
                                                     DtString const & second);
   /// Takes a noted transportation off; the key stays, and comes to be if it was unknown.
   virtual void removeResolvedAttributeTransportation(DtString const & key, TextPair const & pair);
   /// Notes an open transportation of an interaction.
   virtual void addUnresolvedInteractionTransportation(DtString const & key, DtString const & value);
   /// Takes a noted transportation off; the key stays, and comes to be if it was unknown.
   virtual void removeResolvedInteractionTransportation(DtString const & key, DtString const & value);
   /// The text that consistency tests append to. Nothing here clears it: that is the caller's to do.
   virtual DtString & lastError();

protected:
   /// Notes an open dimension of an attribute.
   virtual void addUnresolvedAttributeDimension(DtString const & key, DtString const & first,
                                                DtString const & second);
   /// Takes a noted dimension of an attribute off; the key stays, and comes to be if it was unknown.
   virtual void removeResolvedAttribute(DtString const & key, TextPair const & pair);
   /// Notes an open dimension of an interaction.
   virtual void addUnresolvedInteractionDimension(DtString const & key, DtString const & value);
   /// Takes a noted dimension of an interaction off; the key stays, and comes to be if it was unknown.
   virtual void removeResolvedInteractionDimension(DtString const & key, DtString const & value);

   /// Merges the four maps of open references.
   virtual void mergeUnresolved(DtFedTarget const & other);
   /// Brings in the keys that are new here, with their sets; a key that is here keeps just its own.
   virtual void unionUnresolvedAttributeDimensions(UnresolvedPairs const & other);
   /// The same for the dimensions of interactions.
   virtual void unionUnresolvedInteractionDimensions(UnresolvedTexts const & other);
   /// The same for the transportations of attributes.
   virtual void unionUnresolvedAttributeTransportation(UnresolvedPairs const & other);
   /// The same for the transportations of interactions.
   virtual void unionUnresolvedInteractionTransportation(UnresolvedTexts const & other);
   /// A subclass's comparison of texts. False here for any two, and called by nothing here.
   virtual bool checkStringsIgnoringWhiteSpaceAndNewline(DtString const & left, DtString const & right) const;

public:
   /// Merges the variant record datatypes. Not virtual, unlike the other merges.
   DtMergeFomStatus_enum mergeVariantRecordDatatype(DtFedTarget const & other);

   /// Sets `missing` and appends `name` and a blank to `names` if the switch is not in the table.
   void checkSpecificSwitch(DtString const & name, bool & missing, DtString & names);

   /// The initial autoProvide of targets built from now on.
   static bool defaultAutoProvide();
   /// Sets the initial autoProvide of targets built from now on.
   static void setDefaultAutoProvide(bool value);
   /// The initial conveyRegionDesignatorSets of targets built from now on.
   static bool defaultConveyRegionDesignatorSets();
   /// Sets the initial conveyRegionDesignatorSets of targets built from now on.
   static void setDefaultConveyRegionDesignatorSets(bool value);
   /// The initial conveyProducingFederate of targets built from now on.
   static bool defaultConveyProducingFederate();
   /// Sets the initial conveyProducingFederate of targets built from now on.
   static void setDefaultConveyProducingFederate(bool value);
   /// The initial attributeScopeAdvisory of targets built from now on.
   static bool defaultAttributeScopeAdvisory();
   /// Sets the initial attributeScopeAdvisory of targets built from now on.
   static void setDefaultAttributeScopeAdvisory(bool value);
   /// The initial attributeRelevanceAdvisory of targets built from now on.
   static bool defaultAttributeRelevanceAdvisory();
   /// Sets the initial attributeRelevanceAdvisory of targets built from now on.
   static void setDefaultAttributeRelevanceAdvisory(bool value);
   /// The initial objectClassRelevanceAdvisory of targets built from now on.
   static bool defaultObjectClassRelevanceAdvisory();
   /// Sets the initial objectClassRelevanceAdvisory of targets built from now on.
   static void setDefaultObjectClassRelevanceAdvisory(bool value);
   /// The initial interactionRelevanceAdvisory of targets built from now on.
   static bool defaultInteractionRelevanceAdvisory();
   /// Sets the initial interactionRelevanceAdvisory of targets built from now on.
   static void setDefaultInteractionRelevanceAdvisory(bool value);
   /// The initial serviceReporting of targets built from now on.
   static bool defaultServiceReporting();
   /// Sets the initial serviceReporting of targets built from now on.
   static void setDefaultServiceReporting(bool value);
   /// The initial exceptionReporting of targets built from now on.
   static bool defaultExceptionReporting();
   /// Sets the initial exceptionReporting of targets built from now on.
   static void setDefaultExceptionReporting(bool value);
   /// The initial resign action of targets built from now on.
   static DtResignAction defaultAutomaticResignAction();
   /// Sets the initial resign action of targets built from now on.
   static void setDefaultAutomaticResignAction(DtResignAction value);

protected:
   /// The initial autoProvide.
   static bool theDefaultAutoProvide;
   /// The initial conveyRegionDesignatorSets.
   static bool theDefaultConveyRegionDesignatorSets;
   /// The initial conveyProducingFederate.
   static bool theDefaultConveyProducingFederate;
   /// The initial attributeScopeAdvisory.
   static bool theDefaultAttributeScopeAdvisory;
   /// The initial attributeRelevanceAdvisory.
   static bool theDefaultAttributeRelevanceAdvisory;
   /// The initial objectClassRelevanceAdvisory.
   static bool theDefaultObjectClassRelevanceAdvisory;
   /// The initial interactionRelevanceAdvisory.
   static bool theDefaultInteractionRelevanceAdvisory;
   /// The initial serviceReporting.
   static bool theDefaultServiceReporting;
   /// The initial exceptionReporting.
   static bool theDefaultExceptionReporting;
   /// The initial resign action.
   static DtResignAction theDefaultAutomaticResignAction;

   /// The kind of object model.
   DtFomType myFomType = DtFomInvalid;
   /// The texts that identify the modules, one behind the other.
   DtString modelIdentification{0};
   /// The switch autoProvide.
   bool myAutoProvide = theDefaultAutoProvide;
   /// The switch conveyRegionDesignatorSets.
   bool myConveyRegionDesignatorSets = theDefaultConveyRegionDesignatorSets;
   /// The switch conveyProducingFederate.
   bool myConveyProducingFederate = theDefaultConveyProducingFederate;
   /// The switch attributeScopeAdvisory.
   bool myAttributeScopeAdvisory = theDefaultAttributeScopeAdvisory;
   /// The switch attributeRelevanceAdvisory.
   bool myAttributeRelevanceAdvisory = theDefaultAttributeRelevanceAdvisory;
   /// The switch objectClassRelevanceAdvisory.
   bool myObjectClassRelevanceAdvisory = theDefaultObjectClassRelevanceAdvisory;
   /// The switch interactionRelevanceAdvisory.
   bool myInteractionRelevanceAdvisory = theDefaultInteractionRelevanceAdvisory;
   /// The switch serviceReporting.
   bool myServiceReporting = theDefaultServiceReporting;
   /// The switch exceptionReporting.
   bool myExceptionReporting = theDefaultExceptionReporting;
   /// The switch delaySubscriptionEvaluation. It has no class default.
   bool myDelaySubscriptionEvaluation = false;
   /// The resign action.
   DtResignAction myAutomaticResignAction = theDefaultAutomaticResignAction;
   bool compareSemantics = false; ///< whether merges compare semantics texts; a subclass sets it
   bool strictSwitches = false;   ///< whether missing switches fail the check; a subclass sets it

   // These two are not ordered by content: equal rows may stand in them, in any order.
   /// The time representations.
   std::set<boost::shared_ptr<DtTimeType>> timeTypes;
   /// The user-supplied tags.
   std::set<boost::shared_ptr<DtUserSuppliedTagsType>> userDefinedTags;

   /// The synchronization points.
   DtFedNamedTable<DtSynchronizationPointsType> syncPoints;
   /// The transportation types.
   DtFedNamedTable<DtTransportationType> transportTypes;
   /// The update rates.
   DtFedNamedTable<DtUpdateRateType> updateRates;
   /// The notes.
   DtFedNamedTable<DtNotesType> notes;
   /// The switches of the modules by name, on or off.
   std::map<DtString, bool> switches;
   /// The basic data representations.
   DtFedNamedTable<DtBasicDataRepresentationType> basicDataRepresentations;
   /// The simple datatypes.
   DtFedNamedTable<DtSimpleDatatypeType> simpleDatatypes;
   /// The enumerated datatypes.
   DtFedNamedTable<DtEnumeratedDatatypeType> enumeratedDatatypes;
   /// The array datatypes.
   DtFedNamedTable<DtArrayDatatypeType> arrayDatatypes;
   /// The fixed record datatypes.
   DtFedNamedTable<DtFixedRecordDatatypeType> fixedRecordDatatypes;
   /// The variant record datatypes.
   DtFedNamedTable<DtVariantRecordDatatypeType> variantRecordDatatypes;

   /// What lastError() answers.
   DtString myLastError;
   bool merging = false; ///< true while mergeTarget runs, for a subclass's overrides to read

   /// Dimensions that attributes name and no module has defined yet.
   UnresolvedPairs unresolvedAttributeDimensions;
   /// The same of interactions.
   UnresolvedTexts unresolvedInteractionDimensions;
   /// Transportation types that attributes name and no module has defined yet.
   UnresolvedPairs unresolvedAttributeTransportation;
   /// The same of interactions.
   UnresolvedTexts unresolvedInteractionTransportation;

private:
   bool semanticsAgree(char const * prefix, char const * middle, DtString const & name,
                       DtString const & stored, DtString const & received);
   bool disagree(char const * prefix, char const * middle, DtString const & name, DtString const & stored,
                 DtString const & received);
};
