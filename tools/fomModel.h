// SPDX-License-Identifier: MIT
#pragma once

#include "tools/fomRecords.h"

#include "tslutil/fom/tslFedTarget.h"

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

/// Where a row stands, and the labels of its notes.
struct FomPlace
{
   std::shared_ptr<std::string const> file;
   std::size_t line = 0;
   std::string notes;

   /// "FILE:LINE".
   std::string text() const;
};

/// One thing to tell an integrator.
struct FomFinding
{
   bool fails; ///< else it is a warning
   std::string place;
   std::string table;
   std::string text;
};

/// What a model is judged by.
struct FomRules
{
   bool compareSemantics = false;  ///< free texts have to agree too
   bool strictSwitches = false;    ///< every switch of the version has to be there
   bool strictDefinitions = false; ///< a second definition of a datatype or class has to agree with the first
};

/// Orders the full names of classes so that subclasses come right behind their parent.
struct FomPathOrder
{
   bool operator()(DtString const & left, DtString const & right) const;
};

/// A model with its class trees, its dimensions and the place of every row.
class FomModel : public DtFedTarget
{
public:
   struct Member
   {
      FomMember row;
      FomPlace place;
   };

   /// A class by its full name, parents first: "HLAobjectRoot.Employee".
   struct Class
   {
      FomClass row;
      DtString parent;
      std::vector<Member> members;
      FomPlace place;

      /// Whether it is named only to hold its subclasses.
      bool isScaffold() const;
   };
   typedef std::map<DtString, Class, FomPathOrder> Classes;

   struct Dimension
   {
      FomDimension row;
      FomPlace place;
   };

   /// A routing space of HLA 1.3.
   struct Space
   {
      std::vector<DtString> dimensions;
      FomPlace place;
   };

   explicit FomModel(FomRules const & rules);

   /// Adds a row by the given operation and notes its place.
   template<class Record>
   void add(Record * record, void (DtFedTarget::*adder)(Record *), FomPlace const & place)
   {
      places[record] = place;
      (this->*adder)(record);
   }

   /// The same for a table by name; a second record of a name becomes a finding. Whether the table grows
   /// tells that, since to ask for an unknown name would walk the table for every record.
   template<class Record>
   void add(Record * record, DtFedNamedTable<Record> DtFedTarget::*table,
            void (DtFedTarget::*adder)(Record *), FomPlace const & place, char const * title)
   {
      DtString const name = record->name;
      std::size_t const before = (this->*table).size();
      (this->*adder)(record);
      if ((this->*table).size() > before)
         places[record] = place;
      else
         tellSecond(title, name, place);
   }

   /// Adds a switch and sets the value of its name; a known one is a finding and keeps its value.
   void addSwitchAt(DtString const & name, bool isOn, void (DtFedTarget::*set)(bool), FomPlace const & place);
   /// Adds a class with its members; a known one is a finding.
   void addClass(Classes & classes, DtString const & name, Class const & added);
   /// Notes the transportations and dimensions that this module refers to and does not hold itself.
   void noteReferences(std::string const & module);
   /// The place of a record or row; an empty one for what was never placed.
   FomPlace const & placeOf(void const * record) const;

   // The subclass's part of the target.

   void addObjectClass(DtString const & name, DtString const & parent) override;
   void addAttribute(DtString const & objectClass, DtString const & name) override;
   void addInteractionClass(DtString const & name, DtString const & parent) override;
   void addParameter(DtString const & interactionClass, DtString const & name) override;
   bool knownObjectClass(DtString const & name) const override;
   bool knownInteractionClass(DtString const & name) const override;
   void removeAllClasses() override;

   bool UpdateRateConsistencyTest(DtUpdateRateType const & received) override;
   bool SyncPointConsistencyTest(DtSynchronizationPointsType const & received) override;
   bool TransportTypeConsistencyTest(DtTransportationType const & received) override;
   bool NoteConsistencyTest(DtNotesType const & received) override;
   bool basicDataRepresentationConsistencyTest(DtBasicDataRepresentationType const & received) override;
   bool simpleDatatypeConsistencyTest(DtSimpleDatatypeType const & received) override;
   bool enumeratedDatatypeConsistencyTest(DtEnumeratedDatatypeType const & received) override;
   bool arrayDatatypeConsistencyTest(DtArrayDatatypeType const & received) override;
   bool fixedRecordDatatypeConsistencyTest(DtFixedRecordDatatypeType received) override;
   bool variantRecordDatatypeConsistencyTest(DtVariantRecordDatatypeType const & received) override;

   DtMergeFomStatus_enum mergeTarget(DtFedTarget const & other) override;
   DtMergeFomStatus_enum mergeTimeTypes(DtFedTarget const & other) override;
   DtMergeFomStatus_enum mergeUserDefinedTypes(DtFedTarget const & other) override;
   DtMergeFomStatus_enum mergeSwitches(DtFedTarget const & other) override;
   DtMergeFomStatus_enum mergeFixedRecordDatatype(DtFedTarget const & other) override;
   DtMergeFomStatus_enum mergeSpaces(DtFedTarget const & other) override;
   DtMergeFomStatus_enum mergeObjectClasses(DtFedTarget const & other) override;
   DtMergeFomStatus_enum mergeInteractionClasses(DtFedTarget const & other) override;

   bool resolveInteractionClasses(DtString & errors, bool & unresolved) override;
   bool resolveAttributes(DtString & errors, bool & unresolved) override;
   bool resolveDimensions(DtString & errors, bool & unresolved) override;

   Classes objectClasses;
   Classes interactionClasses;
   std::map<DtString, Dimension> dimensions;
   std::map<DtString, Space> spaces;
   std::vector<FomFinding> findings;

   // The tables, for those who read and write models.
   using DtFedTarget::arrayDatatypes;
   using DtFedTarget::basicDataRepresentations;
   using DtFedTarget::enumeratedDatatypes;
   using DtFedTarget::fixedRecordDatatypes;
   using DtFedTarget::modelIdentification;
   using DtFedTarget::notes;
   using DtFedTarget::simpleDatatypes;
   using DtFedTarget::switches;
   using DtFedTarget::syncPoints;
   using DtFedTarget::timeTypes;
   using DtFedTarget::transportTypes;
   using DtFedTarget::updateRates;
   using DtFedTarget::userDefinedTags;
   using DtFedTarget::variantRecordDatatypes;

private:
   template<class Record>
   bool judge(char const * title, DtFedNamedTable<Record> DtFedTarget::*table, Record const & received,
              bool agrees);
   template<class Record>
   bool judgeDatatype(char const * title, DtFedNamedTable<Record> DtFedTarget::*table,
                      Record const & received, void const * placed);
   template<class Row>
   void findRowConflicts(char const * title, std::set<boost::shared_ptr<Row>> const & here,
                         FomModel const & other, std::set<boost::shared_ptr<Row>> const & there);
   void tellSecond(char const * title, DtString const & name, FomPlace const & place);
   void tell(bool fails, FomPlace const & place, char const * title, DtString const & name,
             std::string const & what, FomPlace const & first);
   bool mergeClasses(char const * title, Classes & here, Classes const & there);
   bool classAgrees(char const * title, DtString const & name, Class const & here, Class const & there);
   void noteReferences(std::string const & module, DtString const & owner, FomMember const & attribute);
   void openReference(char const * table, std::string const & owner, char const * kind, DtString const & name,
                      FomPlace const & place, bool & unresolved, std::string & told);
   bool isKnownTransport(DtString const & name) const;
   bool isKnownDimension(DtString const & name) const;
   FomPlace const & placeOfOwner(Classes const & classes, DtString const & owner) const;

   FomRules const myRules;
   FomModel const * merged = nullptr; ///< the model that is being taken in
   /// Of that model, the record whose copy is asked about next.
   DtFedNamedTable<DtFixedRecordDatatypeType>::const_iterator nextFixedRecord;
   std::unordered_map<void const *, FomPlace> places;
   std::map<DtString, FomPlace> switchPlaces;
};

/// The switches by name: their order in a document, and how their values are read and set.
struct FomSwitch
{
   char const * name;
   bool (DtFedTarget::*get)() const;
   void (DtFedTarget::*set)(bool);
};
extern FomSwitch const theFomSwitches[10];

/// Calls `visit(title, table of one model, the same table of the other)` for every table of records.
template<class Visitor>
void forEachTable(FomModel const & a, FomModel const & b, Visitor visit)
{
   visit("synchronization points", a.syncPoints, b.syncPoints);
   visit("transportations", a.transportTypes, b.transportTypes);
   visit("update rates", a.updateRates, b.updateRates);
   visit("notes", a.notes, b.notes);
   visit("basic data representations", a.basicDataRepresentations, b.basicDataRepresentations);
   visit("simple datatypes", a.simpleDatatypes, b.simpleDatatypes);
   visit("enumerated datatypes", a.enumeratedDatatypes, b.enumeratedDatatypes);
   visit("array datatypes", a.arrayDatatypes, b.arrayDatatypes);
   visit("fixed record datatypes", a.fixedRecordDatatypes, b.fixedRecordDatatypes);
   visit("variant record datatypes", a.variantRecordDatatypes, b.variantRecordDatatypes);
}

/// The resign actions by name, in the order of their numbers.
extern char const * const theResignActions[6];

/// What a status of a merge means: "the update rates disagree".
char const * mergeStatusText(DtMergeFomStatus_enum status);
