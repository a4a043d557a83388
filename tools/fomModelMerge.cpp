// SPDX-License-Identifier: MIT
// How a model takes in another, and what it tells of the rows that disagree.
#include "tools/fomFields.h"
#include "tools/fomModel.h"

namespace
{

FomModel const & modelOf(DtFedTarget const & target)
{
   return dynamic_cast<FomModel const &>(target);
}

std::map<DtString, FomModel::Member const *> byName(FomModel::Class const & entry)
{
   std::map<DtString, FomModel::Member const *> members;
   for (FomModel::Member const & member : entry.members)
      members.emplace(member.row.name, &member);
   return members;
}

} // namespace

void FomModel::tell(bool fails, FomPlace const & place, char const * title, DtString const & name,
                    std::string const & what, FomPlace const & first)
{
   findings.push_back(
      {fails, place.text(), title,
       "\"" + name.stdString() + "\" disagrees with its first definition at " + first.text() + ": " + what});
}

template<class Record>
bool FomModel::judge(char const * title, DtFedNamedTable<Record> DtFedTarget::*table, Record const & received,
                     bool agrees)
{
   if (agrees)
      return true;
   Record const & first = *(this->*table).find(received.name);
   tell(true, merged == nullptr ? placeOf(&received) : merged->placeOf(&received), title, received.name,
        differences(fieldsOf(first), fieldsOf(received), true), placeOf(&first));
   return false;
}

template<class Record>
bool FomModel::judgeDatatype(char const * title, DtFedNamedTable<Record> DtFedTarget::*table,
                             Record const & received, void const * placed)
{
   Record const * const first = (this->*table).find(received.name);
   if (first == nullptr || merged == nullptr)
      return true;
   std::string const what = differences(fieldsOf(*first), fieldsOf(received), compareSemantics);
   if (!what.empty())
      tell(myRules.strictDefinitions, merged->placeOf(placed), title, received.name, what, placeOf(first));
   return what.empty() || !myRules.strictDefinitions;
}

bool FomModel::UpdateRateConsistencyTest(DtUpdateRateType const & received)
{
   return judge("update rates", &FomModel::updateRates, received,
                DtFedTarget::UpdateRateConsistencyTest(received));
}

bool FomModel::SyncPointConsistencyTest(DtSynchronizationPointsType const & received)
{
   return judge("synchronization points", &FomModel::syncPoints, received,
                DtFedTarget::SyncPointConsistencyTest(received));
}

bool FomModel::TransportTypeConsistencyTest(DtTransportationType const & received)
{
   return judge("transportations", &FomModel::transportTypes, received,
                DtFedTarget::TransportTypeConsistencyTest(received));
}

bool FomModel::NoteConsistencyTest(DtNotesType const & received)
{
   return judge("notes", &FomModel::notes, received, DtFedTarget::NoteConsistencyTest(received));
}

bool FomModel::basicDataRepresentationConsistencyTest(DtBasicDataRepresentationType const & received)
{
   return judgeDatatype("basic data representations", &FomModel::basicDataRepresentations, received,
                        &received);
}

bool FomModel::simpleDatatypeConsistencyTest(DtSimpleDatatypeType const & received)
{
   return judgeDatatype("simple datatypes", &FomModel::simpleDatatypes, received, &received);
}

bool FomModel::enumeratedDatatypeConsistencyTest(DtEnumeratedDatatypeType const & received)
{
   return judgeDatatype("enumerated datatypes", &FomModel::enumeratedDatatypes, received, &received);
}

bool FomModel::arrayDatatypeConsistencyTest(DtArrayDatatypeType const & received)
{
   return judgeDatatype("array datatypes", &FomModel::arrayDatatypes, received, &received);
}

// The records come by value, in the order of the other's table, which tells the place of each.
bool FomModel::fixedRecordDatatypeConsistencyTest(DtFixedRecordDatatypeType received)
{
   void const * const placed = merged == nullptr ? nullptr : (nextFixedRecord++)->get();
   return judgeDatatype("fixed record datatypes", &FomModel::fixedRecordDatatypes, received, placed);
}

bool FomModel::variantRecordDatatypeConsistencyTest(DtVariantRecordDatatypeType const & received)
{
   return judgeDatatype("variant record datatypes", &FomModel::variantRecordDatatypes, received, &received);
}

DtMergeFomStatus_enum FomModel::mergeTarget(DtFedTarget const & other)
{
   merged = &modelOf(other);
   DtMergeFomStatus_enum const status = DtFedTarget::mergeTarget(other);
   places.insert(merged->places.begin(), merged->places.end());
   switchPlaces.insert(merged->switchPlaces.begin(), merged->switchPlaces.end());
   merged = nullptr;
   return status;
}

/// Tells of each row of the other model that has no equal here.
template<class Row>
void FomModel::findRowConflicts(char const * title, std::set<boost::shared_ptr<Row>> const & here,
                                FomModel const & other, std::set<boost::shared_ptr<Row>> const & there)
{
   for (auto const & row : there)
   {
      auto const first = std::find_if(here.begin(), here.end(),
                                      [&](auto const & candidate) { return candidate->name == row->name; });
      if (first == here.end())
         findings.push_back({true, other.placeOf(row.get()).text(), title,
                             "\"" + row->name.stdString() + "\" is not in the table that stands, at " +
                                placeOf(here.begin()->get()).text()});
      else if (fieldsOf(**first) != fieldsOf(*row))
         tell(true, other.placeOf(row.get()), title, row->name,
              differences(fieldsOf(**first), fieldsOf(*row), true), placeOf(first->get()));
   }
   if (here.size() > there.size())
      findings.push_back({true, other.placeOf(there.begin()->get()).text(), title,
                          "has " + std::to_string(there.size()) + " rows, the table that stands has " +
                             std::to_string(here.size()) + ", at " + placeOf(here.begin()->get()).text()});
}

DtMergeFomStatus_enum FomModel::mergeTimeTypes(DtFedTarget const & other)
{
   DtMergeFomStatus_enum const status = DtFedTarget::mergeTimeTypes(other);
   if (status != DtMergeFomSuccess)
      findRowConflicts("time representations", timeTypes, modelOf(other), modelOf(other).timeTypes);
   return status;
}

DtMergeFomStatus_enum FomModel::mergeUserDefinedTypes(DtFedTarget const & other)
{
   DtMergeFomStatus_enum const status = DtFedTarget::mergeUserDefinedTypes(other);
   if (status != DtMergeFomSuccess)
      findRowConflicts("user-supplied tags", userDefinedTags, modelOf(other), modelOf(other).userDefinedTags);
   return status;
}

DtMergeFomStatus_enum FomModel::mergeSwitches(DtFedTarget const & other)
{
   DtMergeFomStatus_enum const status = DtFedTarget::mergeSwitches(other);
   if (status == DtMergeFomSuccess)
      return status;
   FomModel const & there = modelOf(other);
   for (auto const & [name, value] : there.switches)
   {
      auto const first = switches.find(name);
      auto const place = there.switchPlaces.find(name);
      FomPlace const & at = place == there.switchPlaces.end() ? placeOf(nullptr) : place->second;
      if (first == switches.end())
         findings.push_back(
            {true, at.text(), "switches", "\"" + name.stdString() + "\" is not in the table that stands"});
      else if (first->second != value)
         tell(true, at, "switches", name, value ? "disabled against enabled" : "enabled against disabled",
              switchPlaces[name]);
   }
   for (auto const & [name, value] : switches)
      if (!there.knownSwitch(name))
         findings.push_back({true, switchPlaces[name].text(), "switches",
                             "\"" + name.stdString() + "\" is not in the table that comes second"});
   if (automaticResignAction() != other.automaticResignAction())
      findings.push_back({true, there.switchPlaces.empty() ? "?" : there.switchPlaces.begin()->second.text(),
                          "switches", "the automatic resign action differs"});
   return status;
}

DtMergeFomStatus_enum FomModel::mergeFixedRecordDatatype(DtFedTarget const & other)
{
   nextFixedRecord = modelOf(other).fixedRecordDatatypes.begin();
   return DtFedTarget::mergeFixedRecordDatatype(other);
}

DtMergeFomStatus_enum FomModel::mergeSpaces(DtFedTarget const & other)
{
   FomModel const & there = modelOf(other);
   for (auto const & [name, space] : there.spaces)
   {
      auto const [first, isNew] = spaces.emplace(name, space);
      if (isNew || first->second.dimensions == space.dimensions)
         continue;
      tell(myRules.strictDefinitions, space.place, "routing spaces", name, "other dimensions",
           first->second.place);
      if (myRules.strictDefinitions)
         return DtMergeFomSpacesMismatch;
   }
   for (auto const & [name, dimension] : there.dimensions)
   {
      auto const [first, isNew] = dimensions.emplace(name, dimension);
      std::string const what =
         differences(fieldsOf(first->second.row), fieldsOf(dimension.row), compareSemantics);
      if (isNew || what.empty())
         continue;
      tell(myRules.strictDefinitions, dimension.place, "dimensions", name, what, first->second.place);
      if (myRules.strictDefinitions)
         return DtMergeFomSpacesMismatch;
   }
   return DtMergeFomSuccess;
}

/// Whether two definitions of a class may stand beside each other. One that only holds subclasses always may.
bool FomModel::classAgrees(char const * title, DtString const & name, Class const & here, Class const & there)
{
   if (here.isScaffold() || there.isScaffold())
      return true;
   bool agrees = true;
   auto const compare = [&](DtString const & what, FomFields const & first, FomFields const & second,
                            FomPlace const & firstPlace, FomPlace const & secondPlace)
   {
      std::string const text = differences(first, second, compareSemantics);
      if (!text.empty())
         tell(myRules.strictDefinitions, secondPlace, title, what, text, firstPlace);
      agrees &= text.empty();
   };
   compare(name, fieldsOf(here.row), fieldsOf(there.row), here.place, there.place);
   std::map<DtString, Member const *> const known = byName(here);
   for (Member const & member : there.members)
   {
      auto const first = known.find(member.row.name);
      DtString const fullName = name + "." + member.row.name;
      if (first != known.end())
         compare(fullName, fieldsOf(first->second->row), fieldsOf(member.row), first->second->place,
                 member.place);
      else
         compare(fullName, {}, {{"is", "added"}}, here.place, member.place);
   }
   std::map<DtString, Member const *> const received = byName(there);
   for (Member const & member : here.members)
      if (received.count(member.row.name) == 0)
         compare(name + "." + member.row.name, {}, {{"is", "missing"}}, member.place, there.place);
   return agrees || !myRules.strictDefinitions;
}

bool FomModel::mergeClasses(char const * title, Classes & here, Classes const & there)
{
   bool agree = true;
   for (auto const & [name, entry] : there)
   {
      auto const first = here.find(name);
      agree &= first == here.end() || classAgrees(title, name, first->second, entry);
   }
   if (!agree)
      return false;
   for (auto const & [name, entry] : there)
   {
      Class & stands = here.emplace(name, entry).first->second;
      if (stands.isScaffold())
         stands = entry;
      std::map<DtString, Member const *> const known = byName(stands);
      for (Member const & member : entry.members)
         if (known.count(member.row.name) == 0)
            stands.members.push_back(member);
   }
   return true;
}

DtMergeFomStatus_enum FomModel::mergeObjectClasses(DtFedTarget const & other)
{
   bool const agree = mergeClasses("object classes", objectClasses, modelOf(other).objectClasses);
   return agree ? DtMergeFomSuccess : DtMergeFomObjectClassesMismatch;
}

DtMergeFomStatus_enum FomModel::mergeInteractionClasses(DtFedTarget const & other)
{
   bool const agree =
      mergeClasses("interaction classes", interactionClasses, modelOf(other).interactionClasses);
   return agree ? DtMergeFomSuccess : DtMergeFomInteractionClassesMismatch;
}
