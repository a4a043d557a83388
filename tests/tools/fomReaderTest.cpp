// SPDX-License-Identifier: MIT
#include "tools/fomReader.h"
#include "fom/fedRows.h"
#include "support/temporaryFolder.h"
#include "tools/fomReport.h"
#include "tools/fomWriter.h"

#include <filesystem>
#include <set>
#include <sstream>

using nlohmann::json;

namespace
{

typedef std::multiset<std::vector<std::string>> Rows;

FomModel makeModel(bool comparesSemantics, bool strict)
{
   return FomModel({comparesSemantics, strict, false});
}

std::string document(std::string const & name)
{
   return theFomFolder + name;
}

/// Fills a model from a module's document, or from its rows where there is no document.
void loadModule(FomModel & model, std::string const & module)
{
   std::string const name = module.substr(module.find('/') + 1);
   if (name.rfind("crafted/", 0) == 0)
   {
      loadRows(model, recordsOf(module));
      return;
   }
   std::ifstream file(document(name));
   std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
   if (name.substr(name.size() - 4) == ".fed")
      readFed(name, text, model);
   else
      readFomXml(name, text, model);
}

class RowLister
{
public:
   std::vector<std::string> row;

   void text(char const *, DtString const & value) { row.push_back(value.stdString()); }
   void number(char const *, std::int64_t value) { row.push_back(std::to_string(value)); }
   void real(char const *, float value) { row.push_back(std::to_string(value)); }
   void flag(char const *, bool value) { row.push_back(value ? "1" : "0"); }
   void choice(char const *, std::int64_t value, char const * const *)
   {
      row.push_back(std::to_string(value));
   }
   void list(char const *, std::vector<DtString> const &) {}

   template<class Set>
   void rows(char const *, Set const & set)
   {
      counts.push_back(std::to_string(set.size()));
   }

   std::vector<std::string> counts;
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
   list(rows, "time", model.timeTypes, true);
   list(rows, "tag", model.userDefinedTags, true);
   list(rows, "sync", model.syncPoints);
   list(rows, "transport", model.transportTypes);
   list(rows, "rate", model.updateRates);
   list(rows, "note", model.notes);
   list(rows, "basic", model.basicDataRepresentations);
   list(rows, "simple", model.simpleDatatypes);
   list(rows, "enum", model.enumeratedDatatypes);
   list(rows, "array", model.arrayDatatypes);
   list(rows, "fixed", model.fixedRecordDatatypes);
   list(rows, "variant", model.variantRecordDatatypes);
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

TEST(Fom, DocumentsReadAsRecorded)
{
   std::ifstream report(theFomFolder + "report.json");
   for (json const & expected : json::parse(report))
   {
      std::string const name = expected["file"];
      SCOPED_TRACE(name);
      auto const model = readFom(document(name), FomRules());
      std::string identification, version;
      EXPECT_EQ(rowsOf(*model), recordedRows(name, identification, version));
      EXPECT_EQ(model->modelIdentification.stdString(), identification);
      EXPECT_EQ(std::to_string(model->fomType()), version);
      EXPECT_EQ(model->objectClasses.size(), expected.value("objectClass", 0u));
      EXPECT_EQ(model->interactionClasses.size(), expected.value("interactionClass", 0u));
      EXPECT_EQ(members(model->objectClasses), expected.value("attribute", 0u));
      EXPECT_EQ(members(model->interactionClasses), expected.value("parameter", 0u));
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
         model = readFom(document(name), FomRules());
      return *model;
   };
   for (json const & pair : recordedLines("pairs.jsonl"))
   {
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
      EXPECT_EQ(again->objectClasses.size(), merged.objectClasses.size());
      EXPECT_EQ(members(again->objectClasses), members(merged.objectClasses));
      EXPECT_EQ(members(again->interactionClasses), members(merged.interactionClasses));
   }
}

std::string failureOf(std::string const & text)
{
   try
   {
      readFomText("model", text, FomRules());
   }
   catch (FomReadError const & error)
   {
      return error.what();
   }
   return "";
}

std::string nested(char const * open, char const * close, int depth)
{
   std::string text;
   for (int i = 0; i < depth; ++i)
      text += open;
   for (int i = 0; i < depth; ++i)
      text += close;
   return text;
}

TEST(Fom, BrokenDocumentsAreToldWithTheirLine)
{
   std::string const model = "<objectModel xmlns=\"x\">\n";
   EXPECT_EQ(failureOf(" \n "), "model:1: is empty");
   EXPECT_EQ(failureOf("<a>\n<b>\n</a>"), "model:3: is no XML: Start-end tags mismatch");
   EXPECT_EQ(failureOf("\n<table/>"),
             "model:2: is no object model: the outermost element is \"table\", not \"objectModel\"");
   EXPECT_EQ(
      failureOf(model +
                "<updateRates>\n<updateRate><name>a</name><rate>1e999</rate></updateRate></updateRates>"
                "</objectModel>"),
      "model:3: \"1e999\" is no rate");
   EXPECT_EQ(
      failureOf(model + "<switches><automaticResignAction resignAction=\"Stay\"/></switches></objectModel>"),
      "model:2: \"Stay\" is no resign action");
   EXPECT_EQ(failureOf(model + "<objects>" + nested("<objectClass>", "</objectClass>", 10000) +
                       "</objects></objectModel>"),
             "model:2: classes are nested deeper than 100 levels");
   EXPECT_EQ(failureOf(model + "<objects><objectClass><name>" + std::string(2001, 'a') +
                       "</name></objectClass></objects></objectModel>"),
             "model:2: the full name of a class is longer than 2000 characters");
   EXPECT_EQ(failureOf(model + "<dataTypes><basicDataRepresentations>\n<basicData><endian>Middle</endian>"
                               "</basicData></basicDataRepresentations></dataTypes></objectModel>"),
             "model:3: \"Middle\" is no endian");
   std::string wide = "\xFF\xFE";
   for (char const c : std::string("<a>\n<b>\n</a>"))
      wide += {c, '\0'};
   EXPECT_EQ(failureOf(wide), "model:3: is no XML: Start-end tags mismatch");
   EXPECT_EQ(failureOf("(FED\n(objects"), "model:2: this list is not closed");
   EXPECT_EQ(failureOf("(FED (Federation \"a\nb\"))\n)"), "model:3: text behind the end of the model");
   EXPECT_EQ(failureOf("(FED)\n)"), "model:2: text behind the end of the model");
   EXPECT_EQ(failureOf("(fed)"), "model:1: is no FED: it begins with \"fed\"");
   EXPECT_EQ(failureOf("(FED \"open"), "model:1: a quotation mark is not closed");
   EXPECT_EQ(failureOf(nested("(FED", ")", 10000)), "model:1: lists are nested deeper than 100 levels");
   EXPECT_EQ(failureOf("<!DOCTYPE a [<!ENTITY b \"cc\"><!ENTITY d \"&b;&b;\">]>" + model +
                       "<modelIdentification><name>&d;</name></modelIdentification></objectModel>"),
             "");
   EXPECT_THROW(readFom(theFomFolder, FomRules()), FomReadError);
}

TEST(Fom, SecondDefinitionsAreToldAndTheFirstStays)
{
   auto const model =
      readFomText("model",
                  "<objectModel xmlns=\"x\"><switches><autoProvide isEnabled=\"true\"/>\n"
                  "<autoProvide isEnabled=\"false\"/></switches><notes>\n<note>"
                  "<label>a</label></note>\n<note><label>a</label></note></notes></objectModel>",
                  FomRules());
   ASSERT_EQ(model->findings.size(), 2u);
   EXPECT_EQ(model->findings[0].place + model->findings[1].place, "model:4model:2");
   EXPECT_TRUE(model->autoProvide());
}

std::string checkText(std::string const & first, std::string const & second, FomRules const & rules)
{
   FomModules modules;
   modules.push_back(readFomText("one.xml", first, rules));
   modules.push_back(readFomText("two.xml", second, rules));
   std::ostringstream out;
   printCheck(out, checkModules({"one.xml", "two.xml"}, modules, rules), modules.size());
   return out.str();
}

// What a fuzzer has found to lead somewhere new.
TEST(Fom, HostileDocumentsAreReadOrRefused)
{
   std::size_t read = 0, refused = 0;
   for (auto const & entry : std::filesystem::directory_iterator(theFomFolder + "corpus"))
   {
      std::ifstream file(entry.path(), std::ios::binary);
      std::string const text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
      if (!failureOf(text).empty())
      {
         ++refused;
         continue;
      }
      checkText(text, text, {true, true, true});
      ++read;
   }
   EXPECT_GT(read, 0u);
   EXPECT_GT(refused, 0u);
}

TEST(Fom, FindingsNameBothDefinitions)
{
   auto const rate = [](char const * number, char const * text)
   {
      return std::string("<objectModel xmlns=\"x\">\n<updateRates>\n<updateRate><name>Low</name><rate>") +
             number + "</rate>\n<semantics>" + text + "</semantics></updateRate></updateRates></objectModel>";
   };
   EXPECT_NE(
      checkText(rate("10", "a"), rate("20", "a"), FomRules())
         .find(
            "two.xml:3: error: update rates: \"Low\" disagrees with its first definition at one.xml:3: rate "
            "\"10\" against \"20\"\ndoes not fit: 2 modules"),
      std::string::npos);
   EXPECT_NE(checkText(rate("10", "a"), rate("10", "b"), FomRules()).find("fits: 2 modules"),
             std::string::npos);
   EXPECT_NE(
      checkText(rate("10", "a"), rate("10", "b"), {true, false, false}).find("semantics \"a\" against \"b\""),
      std::string::npos);
   auto const attribute = [](char const * type)
   {
      return std::string(
                "<objectModel xmlns=\"x\"><objects><objectClass><name>Root</name>\n<attribute><name>a</name>"
                "<dataType>") +
             type +
             "</dataType><transportation>Fast</transportation></attribute></objectClass></objects></"
             "objectModel>";
   };
   std::string const lenient = checkText(attribute("HLAbyte"), attribute("HLAoctet"), FomRules());
   EXPECT_NE(
      lenient.find("two.xml:2: warning: object classes: \"Root.a\" disagrees with its first definition at "
                   "one.xml:2: dataType \"HLAbyte\" against \"HLAoctet\""),
      std::string::npos);
   EXPECT_NE(lenient.find("one.xml:1: error: object classes: Root.a refers to the transportation \"Fast\""),
             std::string::npos);
   auto const records = [](char const * encoding)
   {
      return std::string("<objectModel xmlns=\"x\"><dataTypes><fixedRecordDataTypes>"
                         "<fixedRecordData><name>A</name></fixedRecordData>\n"
                         "<fixedRecordData><name>B</name><encoding>") +
             encoding + "</encoding></fixedRecordData></fixedRecordDataTypes></dataTypes></objectModel>";
   };
   EXPECT_NE(checkText(records("x"), records("y"), FomRules())
                .find("two.xml:2: warning: fixed record datatypes: \"B\" disagrees with its first definition "
                      "at one.xml:2: encoding \"x\" against \"y\""),
             std::string::npos);
   EXPECT_NE(
      checkText(attribute("HLAbyte"), attribute("HLAoctet"), {false, false, true})
         .find("two.xml:1: error: module: does not fit what stands before it: the object classes disagree"),
      std::string::npos);
}

TEST(Fom, DifferencesTellWhetherTheOrderMatters)
{
   auto const note = [](char const * label, char const * text)
   {
      return readFomText("model",
                         std::string("<objectModel xmlns=\"x\"><notes><note><label>") + label +
                            "</label><semantics>" + text + "</semantics></note></notes></objectModel>",
                         FomRules());
   };
   FomDifference const added = compareModels(*note("a", "1"), *note("b", "1"), FomRules());
   ASSERT_EQ(added.rows.size(), 1u);
   EXPECT_STREQ(added.rows[0].kind, "adds");
   EXPECT_FALSE(added.orderMatters);
   FomDifference const changed = compareModels(*note("a", "1"), *note("a", "2"), FomRules());
   ASSERT_EQ(changed.rows.size(), 1u);
   EXPECT_STREQ(changed.rows[0].kind, "changes");
   EXPECT_TRUE(changed.orderMatters);
   FomDifference const conflict = compareModels(*note("a", "1"), *note("a", "2"), {true, false, false});
   ASSERT_EQ(conflict.rows.size(), 2u);
   EXPECT_STREQ(conflict.rows[1].kind, "conflicts");
   EXPECT_EQ(conflict.inOrder, DtMergeFomNotesMismatch);
}

} // namespace

TEST(Fom, RoutingSpacesAndMembersThatDisagreeAreTold)
{
   auto const fed = [](char const * dimension, char const * attributes)
   {
      return std::string("(FED (Federation f)\n(spaces (space \"a b\" (dimension ") + dimension +
             ")))\n(objects (class Root " + attributes + ")))";
   };
   std::string const one = fed("x", "(attribute p) (attribute q)");
   std::string const told = checkText(one, fed("y", "(attribute p)"), {false, false, true});
   EXPECT_NE(told.find("two.xml:2: error: routing spaces: \"a b\" disagrees with its first definition at "
                       "one.xml:2: other dimensions"),
             std::string::npos);
   EXPECT_NE(checkText(one, fed("x", "(attribute p)"), FomRules())
                .find("two.xml:3: warning: object classes: \"Root.q\" disagrees with its first definition at "
                      "one.xml:3: is \"\" against \"missing\""),
             std::string::npos);
   TemporaryFolder const folder;
   writeFom(*readFomText("one", one, FomRules()), folder.path() + "/out.fed");
   EXPECT_EQ(readFom(folder.path() + "/out.fed", FomRules())->spaces.count("a b"), 1u);
}
