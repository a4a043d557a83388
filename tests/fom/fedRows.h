// SPDX-License-Identifier: MIT
/// Models as flat rows of texts, and what merging recorded modules must come to. The checks serve any target
/// that shows its tables, however its modules are read.
#pragma once

#include "support/tsv.h"
#include "tslutil/fom/tslFedTarget.h"

#include <nlohmann/json.hpp>

#include <map>

inline std::string const theFomFolder = std::string(TEST_DATA_DIR) + "/fom/";

/// A target with no class trees, filled from flat rows of texts; its tables are open to tests.
struct RowTarget : DtFedTarget
{
   explicit RowTarget(bool comparesSemantics = false, bool strict = false)
   {
      compareSemantics = comparesSemantics;
      strictSwitches = strict;
   }

   void addObjectClass(DtString const &, DtString const &) override {}
   void addAttribute(DtString const &, DtString const &) override {}
   void addInteractionClass(DtString const &, DtString const &) override {}
   void addParameter(DtString const &, DtString const &) override {}
   bool knownObjectClass(DtString const &) const override { return false; }
   bool knownInteractionClass(DtString const &) const override { return false; }
   void removeAllClasses() override {}

   using DtFedTarget::addUnresolvedAttributeDimension, DtFedTarget::arrayDatatypes,
      DtFedTarget::basicDataRepresentations, DtFedTarget::checkStringsIgnoringWhiteSpaceAndNewline,
      DtFedTarget::compareSemantics, DtFedTarget::enumeratedDatatypes, DtFedTarget::fixedRecordDatatypes,
      DtFedTarget::merging, DtFedTarget::modelIdentification, DtFedTarget::notes,
      DtFedTarget::removeResolvedAttribute, DtFedTarget::simpleDatatypes,
      DtFedTarget::unresolvedAttributeDimensions, DtFedTarget::unresolvedInteractionTransportation,
      DtFedTarget::variantRecordDatatypes;
};

/// The fields of a row, at least eight.
inline Fields fields(std::string const & line)
{
   Fields row = fieldsOf(line);
   row.resize(8);
   return row;
}

struct SwitchAccess
{
   char const * name;
   bool (DtFedTarget::*get)() const;
   void (DtFedTarget::*set)(bool);
};

// clang-format off
#define SWITCH(name, Name) {#name, &DtFedTarget::name, &DtFedTarget::set##Name}
inline SwitchAccess const theSwitches[] = {
   SWITCH(autoProvide, AutoProvide), SWITCH(conveyRegionDesignatorSets, ConveyRegionDesignatorSets),
   SWITCH(conveyProducingFederate, ConveyProducingFederate), SWITCH(attributeScopeAdvisory, AttributeScopeAdvisory),
   SWITCH(attributeRelevanceAdvisory, AttributeRelevanceAdvisory),
   SWITCH(objectClassRelevanceAdvisory, ObjectClassRelevanceAdvisory),
   SWITCH(interactionRelevanceAdvisory, InteractionRelevanceAdvisory),
   SWITCH(serviceReporting, ServiceReporting), SWITCH(exceptionReporting, ExceptionReporting),
   SWITCH(delaySubscriptionEvaluation, DelaySubscriptionEvaluation)};
#undef SWITCH
// clang-format on

inline std::vector<nlohmann::json> recordedLines(std::string const & name)
{
   std::vector<nlohmann::json> all;
   std::ifstream file(theFomFolder + name);
   for (std::string line; std::getline(file, line);)
      all.push_back(nlohmann::json::parse(line));
   return all;
}

/// The file of rows of a module that is called "open/NAME".
inline std::string recordsOf(std::string const & module)
{
   std::string const name = module.substr(module.find('/') + 1);
   return theFomFolder + (name.rfind("crafted/", 0) == 0 ? name : "records/" + name + ".tsv");
}

/// Adds one row to a target.
template<class Target>
void addRow(Target & target, Fields const & row)
{
   auto const text = [&](std::size_t field) { return DtString(row[field]); };
   auto const number = [&](std::size_t field) { return std::stoi(row[field]); };
   // clang-format off
   std::map<std::string, std::function<void()>> const adders = {
      {"fomType", [&] { target.setFomType(DtFomType(number(1))); }},
      {"model", [&] { target.addModelIdentification(row[1].c_str()); }},
      {"resign", [&] { target.setAutomaticResignAction(DtResignAction(number(1))); }},
      {"switch", [&] {
         target.addSwitch(text(1), row[2] == "1");
         for (SwitchAccess const & each : theSwitches)
            if (row[1] == each.name)
               (target.*each.set)(row[2] == "1");
      }},
      {"time", [&] { target.addTime(new DtTimeType{text(1), text(2), text(3)}); }},
      {"tag", [&] { target.addUserDefinedTag(new DtUserSuppliedTagsType{text(1), text(2), text(3)}); }},
      {"sync", [&] { target.addSyncPoint(new DtSynchronizationPointsType{text(1), text(2), number(3), text(4)}); }},
      {"transport", [&] { target.addTransportType(new DtTransportationType{text(1), text(2), row[3] == "1", text(4)}); }},
      {"rate", [&] { target.addUpdateRate(new DtUpdateRateType{text(1), std::stof(row[2]), text(3)}); }},
      {"note", [&] { target.addNote(new DtNotesType{text(1), text(2)}); }},
      {"basic", [&] { target.addBasicDataRepresentation(new DtBasicDataRepresentationType{text(1), number(2), text(3), number(4), text(5)}); }},
      {"simple", [&] { target.addSimpleDataType(new DtSimpleDatatypeType{text(1), text(2), text(3), text(4), text(5), text(6)}); }},
      {"enum", [&] { target.addEnumeratedDataType(new DtEnumeratedDatatypeType{text(1), text(2), {}, text(3)}); }},
      {"array", [&] { target.addArrayDataType(new DtArrayDatatypeType{text(1), text(2), text(3), text(4), text(5)}); }},
      {"fixed", [&] { target.addFixedRecordDataType(new DtFixedRecordDatatypeType{text(1), text(2), text(3), {}}); }},
      {"variant", [&] { target.addVariantRecordDataType(new DtVariantRecordDatatypeType{text(1), text(2), text(3), {}, text(4), text(5)}); }},
   };
   // clang-format on
   adders.at(row[0])();
}

/// Fills a target from a file of rows; a test failure if it cannot be read.
template<class Target>
void loadRows(Target & target, std::string const & path)
{
   std::ifstream file(path);
   ASSERT_TRUE(file) << path;
   for (std::string line; std::getline(file, line);)
      addRow(target, fields(line));
}

/// The sizes of all tables, by the names that the recorded results use.
template<class Target>
nlohmann::json counts(Target const & target)
{
   // clang-format off
   return {{"timeTypes", target.numTimeTypes()}, {"userDefinedTags", target.numUserDefinedTags()},
           {"syncPoints", target.numSyncPoints()}, {"transports", target.numTransports()},
           {"updateRates", target.numUpdateRates()}, {"switches", target.numSwitches()},
           {"notes", target.numNotes()}, {"basic", target.basicDataRepresentations.size()},
           {"simple", target.simpleDatatypes.size()}, {"enum", target.enumeratedDatatypes.size()},
           {"array", target.arrayDatatypes.size()}, {"fixed", target.fixedRecordDatatypes.size()},
           {"variant", target.variantRecordDatatypes.size()}};
   // clang-format on
}

/// Merges a recorded list of modules into a new target and compares all that is known of the result. `make`
/// makes a target by the two rules, `load` fills one from a module's name.
template<class Target, class Make, class Load>
void expectList(nlohmann::json const & expected, Make make, Load load)
{
   SCOPED_TRACE(expected["list"].dump() + expected["compareSemantics"].dump() +
                expected["strictSwitches"].dump());
   Target merged = make(expected["compareSemantics"], expected["strictSwitches"]);
   int status = DtMergeFomSuccess;
   nlohmann::json steps = nlohmann::json::array();
   for (nlohmann::json const & module : expected["modules"])
   {
      Target target = make(expected["compareSemantics"], expected["strictSwitches"]);
      load(target, module);
      if (steps.empty())
         merged.setFomType(target.fomType());
      status = merged.mergeTarget(target);
      steps.push_back(status);
      if (status != DtMergeFomSuccess)
         break;
   }
   EXPECT_EQ(steps, expected["steps"]);
   EXPECT_EQ(merged.lastError().stdString(), expected["lastError"]);
   EXPECT_EQ(merged.modelIdentification.stdString(), expected["identification"]);
   EXPECT_EQ(counts(merged), expected["counts"]);
   EXPECT_EQ(merged.automaticResignAction(), expected["resign"]);
   for (SwitchAccess const & each : theSwitches)
   {
      nlohmann::json const & value = expected["values"][each.name];
      EXPECT_TRUE(value.is_null() || value == (merged.*each.get)()) << each.name;
   }
   for (auto const & [name, kind] : expected["transports"].items())
      EXPECT_EQ(merged.transportTypeFromTransportation(name.c_str()),
                kind == "reliable" ? DtTransportReliable : DtTransportBestEffort);
   auto note = merged.notes.begin();
   for (nlohmann::json const & first : expected["firstNotes"])
      EXPECT_EQ(nlohmann::json({(*note)->name.stdString(), (*note++)->semantics.stdString()}), first);
   DtString errors;
   EXPECT_EQ(merged.postMergeCheckTarget(errors), expected["postCheck"]);
   EXPECT_EQ(errors.stdString(), expected["postErrors"]);
}
