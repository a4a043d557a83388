// SPDX-License-Identifier: MIT
#include "tools/fomModel.h"

#include "tools/fomFields.h"

#include <functional>
#include <map>

FomSwitch const theFomSwitches[10] = {
   {"autoProvide", &DtFedTarget::autoProvide, &DtFedTarget::setAutoProvide},
   {"conveyRegionDesignatorSets", &DtFedTarget::conveyRegionDesignatorSets,
    &DtFedTarget::setConveyRegionDesignatorSets},
   {"conveyProducingFederate", &DtFedTarget::conveyProducingFederate,
    &DtFedTarget::setConveyProducingFederate},
   {"attributeScopeAdvisory", &DtFedTarget::attributeScopeAdvisory, &DtFedTarget::setAttributeScopeAdvisory},
   {"attributeRelevanceAdvisory", &DtFedTarget::attributeRelevanceAdvisory,
    &DtFedTarget::setAttributeRelevanceAdvisory},
   {"objectClassRelevanceAdvisory", &DtFedTarget::objectClassRelevanceAdvisory,
    &DtFedTarget::setObjectClassRelevanceAdvisory},
   {"interactionRelevanceAdvisory", &DtFedTarget::interactionRelevanceAdvisory,
    &DtFedTarget::setInteractionRelevanceAdvisory},
   {"serviceReporting", &DtFedTarget::serviceReporting, &DtFedTarget::setServiceReporting},
   {"exceptionReporting", &DtFedTarget::exceptionReporting, &DtFedTarget::setExceptionReporting},
   {"delaySubscriptionEvaluation", &DtFedTarget::delaySubscriptionEvaluation,
    &DtFedTarget::setDelaySubscriptionEvaluation},
};

char const * const theResignActions[6] = {"UnconditionallyDivestAttributes",    "DeleteObjects",
                                          "CancelPendingOwnershipAcquisitions", "DeleteObjectsThenDivest",
                                          "CancelThenDeleteThenDivest",         "NoAction"};

char const * mergeStatusText(DtMergeFomStatus_enum status)
{
   static std::map<DtMergeFomStatus_enum, char const *> const texts = {
      {DtMergeFomSwitchesMismatch, "the switches disagree"},
      {DtMergeFomPostCheckFailed, "the merged model does not pass its check"},
      {DtMergeFomUpdateRatesMismatch, "the update rates disagree"},
      {DtMergeFomTransportTypesMismatch, "the transportations disagree"},
      {DtMergeFomSyncPointsMismatch, "the synchronization points disagree"},
      {DtMergeFomUserTagsMismatch, "the user-supplied tags disagree"},
      {DtMergeFomNotesMismatch, "the notes disagree"},
      {DtMergeFomTimeTypesMismatch, "the time representations disagree"},
      {DtMergeFomBasicDataMismatch, "the basic data representations disagree"},
      {DtMergeFomSimpleDatatypeMismatch, "the simple datatypes disagree"},
      {DtMergeFomEnumeratedDatatypeMismatch, "the enumerated datatypes disagree"},
      {DtMergeFomArrayDatatypeMismatch, "the array datatypes disagree"},
      {DtMergeFomFixedRecordMismatch, "the fixed record datatypes disagree"},
      {DtMergeFomVariantRecordMismatch, "the variant record datatypes disagree"},
      {DtMergeFomObjectClassesMismatch, "the object classes disagree"},
      {DtMergeFomInteractionClassesMismatch, "the interaction classes disagree"},
      {DtMergeFomSpacesMismatch, "the dimensions disagree"},
      {DtMergeFomUnresolvedReferences, "the merged model refers to what it does not hold"},
   };
   auto const found = texts.find(status);
   return found == texts.end() ? "the models fit" : found->second;
}

std::string differences(FomFields const & here, FomFields const & there, bool withSemantics)
{
   auto const counts = [&](std::string const & name)
   {
      static std::string const word = "semantics";
      return withSemantics || name.size() < word.size() ||
             name.compare(name.size() - word.size(), word.size(), word) != 0;
   };
   std::map<std::string, std::pair<std::string, std::string>> both;
   for (auto const & [name, value] : here)
      both[name].first = value;
   for (auto const & [name, value] : there)
      both[name].second = value;
   std::string text;
   for (auto const & [name, values] : both)
      if (values.first != values.second && counts(name))
         text +=
            (text.empty() ? "" : ", ") + name + " \"" + values.first + "\" against \"" + values.second + "\"";
   return text;
}

bool FomPathOrder::operator()(DtString const & left, DtString const & right) const
{
   std::string const a = left.stdString();
   std::string const b = right.stdString();
   return std::lexicographical_compare(
      a.begin(), a.end(), b.begin(), b.end(),
      [](char x, char y)
      {
         return x != y &&
                (x == '.' || (y != '.' && static_cast<unsigned char>(x) < static_cast<unsigned char>(y)));
      });
}

std::string FomPlace::text() const
{
   return (file ? *file : "?") + ":" + std::to_string(line);
}

bool FomModel::Class::isScaffold() const
{
   return members.empty() && fieldsOf(row).size() == 1;
}

FomModel::FomModel(FomRules const & rules) : myRules(rules)
{
   compareSemantics = rules.compareSemantics;
   strictSwitches = rules.strictSwitches;
}

FomPlace const & FomModel::placeOf(void const * record) const
{
   static FomPlace const none;
   auto const found = places.find(record);
   return found == places.end() ? none : found->second;
}

void FomModel::addSwitchAt(DtString const & name, bool isOn, void (DtFedTarget::*set)(bool),
                           FomPlace const & place)
{
   if (!switchPlaces.emplace(name, place).second)
   {
      tellSecond("switches", name, place);
      return;
   }
   addSwitch(name, isOn);
   (this->*set)(isOn);
}

void FomModel::tellSecond(char const * title, DtString const & name, FomPlace const & place)
{
   findings.push_back({false, place.text(), title,
                       "\"" + name.stdString() + "\" is defined twice; the first definition stays"});
}

void FomModel::addClass(Classes & classes, DtString const & name, Class const & added)
{
   if (!classes.emplace(name, added).second)
      tellSecond("classes", name, added.place);
}

// The subclass's part of the target.

void FomModel::addObjectClass(DtString const & name, DtString const & parent)
{
   objectClasses[name].parent = parent;
}

void FomModel::addAttribute(DtString const & objectClass, DtString const & name)
{
   objectClasses[objectClass].members.push_back({{name, {}, {}, {}, {}, {}, {}, {}, {}, {}}, {}});
}

void FomModel::addInteractionClass(DtString const & name, DtString const & parent)
{
   interactionClasses[name].parent = parent;
}

void FomModel::addParameter(DtString const & interactionClass, DtString const & name)
{
   interactionClasses[interactionClass].members.push_back({{name, {}, {}, {}, {}, {}, {}, {}, {}, {}}, {}});
}

bool FomModel::knownObjectClass(DtString const & name) const
{
   return objectClasses.count(name) != 0;
}

bool FomModel::knownInteractionClass(DtString const & name) const
{
   return interactionClasses.count(name) != 0;
}

void FomModel::removeAllClasses()
{
   objectClasses.clear();
   interactionClasses.clear();
}

// References. A key names its module, since a merge brings in the open references of new keys alone.

bool FomModel::isKnownTransport(DtString const & name) const
{
   static char const * const predefined[] = {"",         "NA",         "HLAreliable", "HLAbestEffort",
                                             "reliable", "best_effort"};
   return std::any_of(std::begin(predefined), std::end(predefined),
                      [&](char const * one) { return name == one; }) ||
          transportTypes.known(name);
}

bool FomModel::isKnownDimension(DtString const & name) const
{
   return name.isEmpty() || name == "NA" || dimensions.count(name) != 0 || spaces.count(name) != 0;
}

void FomModel::noteReferences(std::string const & module, DtString const & owner, FomMember const & attribute)
{
   DtString const key((module + "\n" + owner.stdString()).c_str());
   if (!isKnownTransport(attribute.transportation))
      addUnresolvedAttributeTransportation(key, attribute.name, attribute.transportation);
   for (DtString const & dimension : attribute.dimensions)
      if (!isKnownDimension(dimension))
         addUnresolvedAttributeDimension(key, attribute.name, dimension);
}

void FomModel::noteReferences(std::string const & module)
{
   for (auto const & [name, entry] : objectClasses)
      for (Member const & attribute : entry.members)
         noteReferences(module, name, attribute.row);
   for (auto const & [name, entry] : interactionClasses)
   {
      DtString const key((module + "\n" + name.stdString()).c_str());
      if (!isKnownTransport(entry.row.transportation))
         addUnresolvedInteractionTransportation(key, entry.row.transportation);
      for (DtString const & dimension : entry.row.dimensions)
         if (!isKnownDimension(dimension))
            addUnresolvedInteractionDimension(key, dimension);
   }
}

namespace
{

std::string ownerOf(DtString const & key)
{
   std::string const text = key.stdString();
   return text.substr(text.rfind('\n') + 1);
}

} // namespace

FomPlace const & FomModel::placeOfOwner(Classes const & classes, DtString const & owner) const
{
   auto const found = classes.find(owner);
   return found == classes.end() ? placeOf(nullptr) : found->second.place;
}

void FomModel::openReference(char const * table, std::string const & owner, char const * kind,
                             DtString const & name, FomPlace const & place, bool & unresolved,
                             std::string & told)
{
   unresolved = true;
   std::string const text =
      owner + " refers to the " + kind + " \"" + name.stdString() + "\", which is not defined";
   findings.push_back({true, place.text(), table, text});
   told += text + "\n";
}

bool FomModel::resolveAttributes(DtString & errors, bool & unresolved)
{
   bool open = false;
   std::string told; // appended once: a DtString copies itself at every append
   UnresolvedPairs const noted = unresolvedAttributeTransportation;
   for (auto const & [key, pairs] : noted)
   {
      for (TextPair const & pair : pairs)
      {
         std::string const owner = ownerOf(key);
         if (isKnownTransport(pair.second))
            removeResolvedAttributeTransportation(key, pair);
         else
            openReference("object classes", owner + "." + pair.first.stdString(), "transportation",
                          pair.second, placeOfOwner(objectClasses, owner.c_str()), open, told);
      }
   }
   errors += told.c_str();
   unresolved |= open;
   return !open;
}

bool FomModel::resolveInteractionClasses(DtString & errors, bool & unresolved)
{
   bool open = false;
   std::string told;
   UnresolvedTexts const noted = unresolvedInteractionTransportation;
   for (auto const & [key, names] : noted)
   {
      for (DtString const & name : names)
      {
         std::string const owner = ownerOf(key);
         if (isKnownTransport(name))
            removeResolvedInteractionTransportation(key, name);
         else
            openReference("interaction classes", owner, "transportation", name,
                          placeOfOwner(interactionClasses, owner.c_str()), open, told);
      }
   }
   errors += told.c_str();
   unresolved |= open;
   return !open;
}

bool FomModel::resolveDimensions(DtString & errors, bool & unresolved)
{
   bool open = false;
   std::string told;
   UnresolvedPairs const ofAttributes = unresolvedAttributeDimensions;
   for (auto const & [key, pairs] : ofAttributes)
   {
      for (TextPair const & pair : pairs)
      {
         std::string const owner = ownerOf(key);
         if (isKnownDimension(pair.second))
            removeResolvedAttribute(key, pair);
         else
            openReference("object classes", owner + "." + pair.first.stdString(), "dimension", pair.second,
                          placeOfOwner(objectClasses, owner.c_str()), open, told);
      }
   }
   UnresolvedTexts const ofInteractions = unresolvedInteractionDimensions;
   for (auto const & [key, names] : ofInteractions)
   {
      for (DtString const & name : names)
      {
         std::string const owner = ownerOf(key);
         if (isKnownDimension(name))
            removeResolvedInteractionDimension(key, name);
         else
            openReference("interaction classes", owner, "dimension", name,
                          placeOfOwner(interactionClasses, owner.c_str()), open, told);
      }
   }
   errors += told.c_str();
   unresolved |= open;
   return !open;
}
