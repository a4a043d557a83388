// SPDX-License-Identifier: MIT
#include "fom/fedRows.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>

using nlohmann::json;

namespace
{

std::string const theFolder = std::string(TEST_DATA_DIR) + "/fom/";

std::vector<std::string> fields(std::string const & line)
{
   std::vector<std::string> row(1);
   for (std::size_t i = 0; i < line.size(); ++i)
   {
      if (line[i] == '\t')
         row.emplace_back();
      else if (line[i] != '\\')
         row.back() += line[i];
      else
      {
         char const next = line[++i];
         row.back() += next == 't' ? '\t' : next == 'n' ? '\n' : next == 'r' ? '\r' : next;
      }
   }
   row.resize(8);
   return row;
}

struct Switch
{
   char const * name;
   bool (DtFedTarget::*get)() const;
   void (DtFedTarget::*set)(bool);
};

Switch const theSwitches[] = {
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

std::vector<json> lines(std::string const & name)
{
   std::vector<json> all;
   std::ifstream file(theFolder + name);
   for (std::string line; std::getline(file, line);)
      all.push_back(json::parse(line));
   return all;
}

std::string recordsOf(std::string const & module)
{
   std::string const name = module.substr(module.find('/') + 1);
   return theFolder + (name.rfind("crafted/", 0) == 0 ? name : "records/" + name + ".tsv");
}

} // namespace

void RowTarget::load(std::string const & path)
{
   std::ifstream file(path);
   ASSERT_TRUE(file) << path;
   for (std::string line; std::getline(file, line);)
      addRow(fields(line));
}

void RowTarget::addRow(std::vector<std::string> const & row)
{
   auto const text = [&](std::size_t field) { return DtString(row[field]); };
   auto const number = [&](std::size_t field) { return std::stoi(row[field]); };
   std::map<std::string, std::function<void()>> const adders = {
      {"fomType", [&] { setFomType(DtFomType(number(1))); }},
      {"model", [&] { addModelIdentification(row[1].c_str()); }},
      {"resign", [&] { setAutomaticResignAction(DtResignAction(number(1))); }},
      {"switch",
       [&]
       {
          addSwitch(text(1), row[2] == "1");
          for (Switch const & each : theSwitches)
             if (row[1] == each.name)
                (this->*each.set)(row[2] == "1");
       }},
      {"time",
       [&] {
          addTime(new DtTimeType{text(1), text(2), text(3)});
       }},
      {"tag",
       [&] {
          addUserDefinedTag(new DtUserSuppliedTagsType{text(1), text(2), text(3)});
       }},
      {"sync",
       [&] {
          addSyncPoint(new DtSynchronizationPointsType{text(1), text(2), number(3), text(4)});
       }},
      {"transport",
       [&] {
          addTransportType(new DtTransportationType{text(1), text(2), row[3] == "1", text(4)});
       }},
      {"rate",
       [&] {
          addUpdateRate(new DtUpdateRateType{text(1), std::stof(row[2]), text(3)});
       }},
      {"note",
       [&] {
          addNote(new DtNotesType{text(1), text(2)});
       }},
      {"basic",
       [&]
       {
          addBasicDataRepresentation(
             new DtBasicDataRepresentationType{text(1), number(2), text(3), number(4), text(5)});
       }},
      {"simple",
       [&] {
          addSimpleDataType(new DtSimpleDatatypeType{text(1), text(2), text(3), text(4), text(5), text(6)});
       }},
      {"enum",
       [&] {
          addEnumeratedDataType(new DtEnumeratedDatatypeType{text(1), text(2), {}, text(3)});
       }},
      {"array",
       [&] {
          addArrayDataType(new DtArrayDatatypeType{text(1), text(2), text(3), text(4), text(5)});
       }},
      {"fixed",
       [&] {
          addFixedRecordDataType(new DtFixedRecordDatatypeType{text(1), text(2), text(3), {}});
       }},
      {"variant",
       [&]
       {
          addVariantRecordDataType(
             new DtVariantRecordDatatypeType{text(1), text(2), text(3), {}, text(4), text(5)});
       }},
   };
   auto const adder = adders.find(row[0]);
   ASSERT_NE(adder, adders.end()) << row[0];
   adder->second();
}

json RowTarget::counts() const
{
   return {{"timeTypes", numTimeTypes()},
           {"userDefinedTags", numUserDefinedTags()},
           {"syncPoints", numSyncPoints()},
           {"transports", numTransports()},
           {"updateRates", numUpdateRates()},
           {"switches", numSwitches()},
           {"notes", numNotes()},
           {"basic", basicDataRepresentations.size()},
           {"simple", simpleDatatypes.size()},
           {"enum", enumeratedDatatypes.size()},
           {"array", arrayDatatypes.size()},
           {"fixed", fixedRecordDatatypes.size()},
           {"variant", variantRecordDatatypes.size()}};
}

TEST(DtFedTarget, RecordedDocumentsFillTheirTables)
{
   std::ifstream file(theFolder + "report.json");
   std::map<std::string, std::string> const names = {{"timeTypes", "time"},
                                                     {"userDefinedTags", "tags"},
                                                     {"syncPoints", "synchronizationPoints"},
                                                     {"transports", "transportations"}};
   for (json const & document : json::parse(file))
   {
      RowTarget target;
      target.load(theFolder + "records/" + document["file"].get<std::string>() + ".tsv");
      json const counts = target.counts();
      for (auto const & [table, count] : counts.items())
      {
         auto const name = names.find(table);
         EXPECT_EQ(count, document[name == names.end() ? table : name->second])
            << document["file"] << ' ' << table;
      }
   }
}

TEST(DtFedTarget, RecordedListsOfModulesMergeAsExpected)
{
   std::size_t checked = 0;
   for (json const & expected : lines("expected-merge.jsonl"))
   {
      SCOPED_TRACE(expected["list"].dump() + expected["compareSemantics"].dump() +
                   expected["strictSwitches"].dump());
      RowTarget merged(expected["compareSemantics"], expected["strictSwitches"]);
      int status = DtMergeFomSuccess;
      json steps = json::array();
      for (json const & module : expected["modules"])
      {
         RowTarget target;
         target.load(recordsOf(module));
         if (steps.empty())
            merged.setFomType(target.fomType());
         status = merged.mergeTarget(target);
         steps.push_back(status);
         if (status != DtMergeFomSuccess)
            break;
      }
      EXPECT_EQ(steps, expected["steps"]);
      EXPECT_EQ(status, expected["status"]);
      EXPECT_EQ(merged.lastError().stdString(), expected["lastError"]);
      EXPECT_EQ(merged.modelIdentification.stdString(), expected["identification"]);
      EXPECT_EQ(merged.counts(), expected["counts"]);
      EXPECT_EQ(merged.automaticResignAction(), expected["resign"]);
      for (Switch const & each : theSwitches)
      {
         json const & value = expected["values"][each.name];
         EXPECT_TRUE(value.is_null() || value == (merged.*each.get)()) << each.name;
      }
      for (auto const & [name, kind] : expected["transports"].items())
         EXPECT_EQ(merged.transportTypeFromTransportation(name.c_str()),
                   kind == "reliable" ? DtTransportReliable : DtTransportBestEffort);
      auto note = merged.notes.begin();
      for (json const & first : expected["firstNotes"])
      {
         EXPECT_EQ(json({(*note)->name.stdString(), (*note)->semantics.stdString()}), first);
         ++note;
      }
      DtString errors;
      EXPECT_EQ(merged.postMergeCheckTarget(errors), expected["postCheck"]);
      EXPECT_EQ(errors.stdString(), expected["postErrors"]);
      ++checked;
   }
   EXPECT_EQ(checked, 136u);
}

typedef DtMergeFomStatus_enum (DtFedTarget::*Merge)(DtFedTarget const &);

std::map<std::string, Merge> const theMerges = {
   {"mergeTimeTypes", &DtFedTarget::mergeTimeTypes},
   {"mergeSwitches", &DtFedTarget::mergeSwitches},
   {"mergeUserDefinedTypes", &DtFedTarget::mergeUserDefinedTypes},
   {"mergeUpdateRates", &DtFedTarget::mergeUpdateRates},
   {"mergeBasicDataRepresentation", &DtFedTarget::mergeBasicDataRepresentation},
   {"mergeSimpleDatatype", &DtFedTarget::mergeSimpleDatatype},
   {"mergeEnumeratedDatatype", &DtFedTarget::mergeEnumeratedDatatype},
   {"mergeArrayDatatypeType", &DtFedTarget::mergeArrayDatatypeType},
   {"mergeFixedRecordDatatype", &DtFedTarget::mergeFixedRecordDatatype},
   {"mergeVariantRecordDatatype", &DtFedTarget::mergeVariantRecordDatatype},
   {"mergeSyncPoints", &DtFedTarget::mergeSyncPoints},
   {"mergeTransportTypes", &DtFedTarget::mergeTransportTypes},
   {"mergeNotes", &DtFedTarget::mergeNotes},
};

void expectPair(json const & pair, bool semantics)
{
   std::string const suffix = semantics ? "Semantics" : "Lenient";
   RowTarget first, second;
   first.load(recordsOf("open/" + pair["first"].get<std::string>()));
   second.load(recordsOf("open/" + pair["second"].get<std::string>()));
   RowTarget merged(semantics, false);
   EXPECT_EQ(json({merged.mergeTarget(first), merged.mergeTarget(second)}),
             pair[semantics ? "semantics" : "lenient"]);
   EXPECT_EQ(merged.lastError().stdString(), pair.value("error" + suffix, ""));
   json failures = json::object();
   for (auto const & [name, merge] : theMerges)
   {
      RowTarget alone(semantics, false);
      alone.mergeTarget(first);
      alone.lastError() = "";
      DtMergeFomStatus_enum const status = (alone.*merge)(second);
      if (status == DtMergeFomSuccess)
         continue;
      std::string const text = alone.lastError().stdString();
      failures[name] = text.empty() ? json(status) : json({int(status), text});
   }
   EXPECT_EQ(failures, pair.value("alone" + suffix, json::object()));
}

TEST(DtFedTarget, RecordedPairsOfModulesMergeAsExpected)
{
   std::size_t checked = 0;
   for (json const & pair : lines("pairs.jsonl"))
   {
      SCOPED_TRACE(pair["first"].dump() + pair["second"].dump());
      expectPair(pair, false);
      expectPair(pair, true);
      ++checked;
   }
   EXPECT_EQ(checked, 729u);
}
