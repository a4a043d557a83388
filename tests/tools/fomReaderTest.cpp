// SPDX-License-Identifier: MIT
#include "tools/fomReader.h"

#include "fom/fedRows.h"
#include "support/temporaryFolder.h"
#include "tools/fomWriter.h"

#include <filesystem>
#include <set>

using nlohmann::json;

namespace
{

typedef std::multiset<std::vector<std::string>> Rows;

FomModel makeModel(bool comparesSemantics, bool strict)
{
   return FomModel({comparesSemantics, strict, false});
}

std::string contentOf(std::filesystem::path const & path)
{
   std::ifstream file(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(file), {}};
}

/// Fills a model from a module's document, or from its rows where there is no document.
void loadModule(FomModel & model, std::string const & module)
{
   std::string const name = module.substr(module.find('/') + 1);
   bool const isCrafted = name.rfind("crafted/", 0) == 0;
   std::string text = isCrafted ? "" : contentOf(theFomFolder + name);
   if (isCrafted)
      loadRows(model, recordsOf(module));
   else if (name.substr(name.size() - 4) == ".fed")
      readFed(name, text, model);
   else
      readFomXml(name, text, model);
}

/// Lists the fields of a record, and behind them the sizes of its sets.
struct RowLister
{
   std::vector<std::string> row, counts;

   void text(char const *, DtString const & value) { row.push_back(value.stdString()); }
   void number(char const *, std::int64_t value) { row.push_back(std::to_string(value)); }
   void real(char const *, float value) { row.push_back(std::to_string(value)); }
   void flag(char const *, bool value) { row.push_back(value ? "1" : "0"); }
   void choice(char const *, std::int64_t value, char const * const *) { number("", value); }
   void list(char const *, std::vector<DtString> const &) {}

   template<class Set>
   void rows(char const *, Set const & set)
   {
      counts.push_back(std::to_string(set.size()));
   }
};

template<class Table>
void list(Rows & rows, char const * kind, Table const & table, bool withName = false)
{
   for (auto const & record : table)
   {
      RowLister lister;
      lister.row.push_back(kind);
      if (withName)
         lister.row.push_back(record->name.stdString());
      describe(lister, *record);
      lister.row.insert(lister.row.end(), lister.counts.begin(), lister.counts.end());
      lister.row.resize(8);
      rows.insert(lister.row);
   }
}

/// The tables of a model as the recorded rows have them.
Rows rowsOf(FomModel const & model)
{
   Rows rows;
   // clang-format off
   list(rows, "time", model.timeTypes, true); list(rows, "tag", model.userDefinedTags, true);
   list(rows, "sync", model.syncPoints); list(rows, "transport", model.transportTypes);
   list(rows, "rate", model.updateRates); list(rows, "note", model.notes);
   list(rows, "basic", model.basicDataRepresentations); list(rows, "simple", model.simpleDatatypes);
   list(rows, "enum", model.enumeratedDatatypes); list(rows, "array", model.arrayDatatypes);
   list(rows, "fixed", model.fixedRecordDatatypes); list(rows, "variant", model.variantRecordDatatypes);
   // clang-format on
   for (auto const & [name, value] : model.switches)
      rows.insert({"switch", name.stdString(), value ? "1" : "0", "", "", "", "", ""});
   return rows;
}

Rows recordedRows(std::string const & name, std::string & model, std::string & version)
{
   Rows rows;
   std::ifstream file(recordsOf("open/" + name));
   for (std::string line; std::getline(file, line);)
   {
      std::vector<std::string> row = fields(line);
      if (row[0] == "rate")
         row[2] = std::to_string(std::stof(row[2]));
      if (row[0] == "model")
         model = row[1];
      else if (row[0] == "fomType")
         version = row[1];
      else if (row[0] != "resign")
         rows.insert(row);
   }
   return rows;
}

std::size_t members(FomModel::Classes const & classes)
{
   std::size_t count = 0;
   for (auto const & [name, entry] : classes)
      count += entry.members.size();
   return count;
}

/// How many classes of either kind a model has, and how many members they have.
json classesOf(FomModel const & model)
{
   return {model.objectClasses.size(), model.interactionClasses.size(), members(model.objectClasses),
           members(model.interactionClasses)};
}

TEST(Fom, DocumentsReadAsRecorded)
{
   std::ifstream report(theFomFolder + "report.json");
   for (json const & expected : json::parse(report))
   {
      std::string const name = expected["file"];
      SCOPED_TRACE(name);
      auto const model = readFom(theFomFolder + name, FomRules());
      std::string identification, version;
      EXPECT_EQ(rowsOf(*model), recordedRows(name, identification, version));
      EXPECT_EQ(model->modelIdentification.stdString(), identification);
      EXPECT_EQ(std::to_string(model->fomType()), version);
      EXPECT_EQ(classesOf(*model),
                json({expected.value("objectClass", 0u), expected.value("interactionClass", 0u),
                      expected.value("attribute", 0u), expected.value("parameter", 0u)}));
      EXPECT_EQ(model->spaces.size(), expected.value("space", 0u));
   }
}

TEST(Fom, RecordedListsOfDocumentsMergeAsExpected)
{
   for (json const & expected : recordedLines("expected-merge.jsonl"))
      expectList<FomModel>(expected, makeModel, loadModule);
}

TEST(Fom, RecordedPairsOfDocumentsMergeAsExpected)
{
   std::map<std::string, std::unique_ptr<FomModel>> models;
   auto const modelOf = [&](json const & name) -> FomModel &
   {
      std::unique_ptr<FomModel> & model = models[name];
      if (!model)
         model = readFom(theFomFolder + name.get<std::string>(), FomRules());
      return *model;
   };
   for (json const & pair : recordedLines("pairs.jsonl"))
      for (bool semantics : {false, true})
      {
         FomModel merged = makeModel(semantics, false);
         json const statuses = {merged.mergeTarget(modelOf(pair["first"])),
                                merged.mergeTarget(modelOf(pair["second"]))};
         EXPECT_EQ(statuses, pair[semantics ? "semantics" : "lenient"]) << pair["first"] << pair["second"];
         bool const tells = std::any_of(merged.findings.begin(), merged.findings.end(),
                                        [](FomFinding const & finding) { return finding.fails; });
         EXPECT_EQ(tells, statuses[1] != DtMergeFomSuccess) << pair["first"] << pair["second"];
      }
}

TEST(Fom, MergedModelsReadBackAsTheyWere)
{
   TemporaryFolder const folder;
   std::string const path = folder.path() + "/merged.xml";
   for (json const & expected : recordedLines("expected-merge.jsonl"))
   {
      if (expected["status"] != DtMergeFomSuccess || expected["modules"].empty() ||
          expected["compareSemantics"] || expected["strictSwitches"])
         continue;
      SCOPED_TRACE(expected["list"]);
      FomModel merged = makeModel(false, false);
      for (json const & module : expected["modules"])
      {
         FomModel model = makeModel(false, false);
         loadModule(model, module);
         merged.setFomType(merged.fomType() == DtFomInvalid ? model.fomType() : merged.fomType());
         merged.mergeTarget(model);
      }
      writeFom(merged, path);
      auto const again = readFom(path, FomRules());
      EXPECT_TRUE(merged.fomType() != DtFom1516e || rowsOf(*again) == rowsOf(merged));
      EXPECT_EQ(again->modelIdentification.stdString(), merged.modelIdentification.stdString());
      EXPECT_EQ(classesOf(*again), classesOf(merged));
   }
}

} // namespace
