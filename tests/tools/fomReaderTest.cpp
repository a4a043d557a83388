// SPDX-License-Identifier: MIT
#include "tools/fomReader.h"

#include "fom/fedRows.h"
#include "support/temporaryFolder.h"
#include "tools/fomReport.h"
#include "tools/fomWriter.h"

#include <gmock/gmock.h>

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
   std::string wide = "\xFF\xFE";
   for (char const c : std::string("<a>\n<b>\n</a>"))
      wide += {c, '\0'};
   // clang-format off
   std::pair<std::string, std::string> const rows[] = {
      {" \n ", "1: is empty"},
      {"<a>\n<b>\n</a>", "3: is no XML: Start-end tags mismatch"},
      {wide, "3: is no XML: Start-end tags mismatch"},
      {"\n<table/>", "2: is no object model: the outermost element is \"table\", not \"objectModel\""},
      {model + "<updateRates>\n<updateRate><name>a</name><rate>1e999</rate></updateRate></updateRates></objectModel>",
       "3: \"1e999\" is no rate"},
      {model + "<switches><automaticResignAction resignAction=\"Stay\"/></switches></objectModel>",
       "2: \"Stay\" is no resign action"},
      {model + "<objects>" + nested("<objectClass>", "</objectClass>", 10000) + "</objects></objectModel>",
       "2: classes are nested deeper than 100 levels"},
      {model + "<objects><objectClass><name>" + std::string(2001, 'a') + "</name></objectClass></objects></objectModel>",
       "2: the full name of a class is longer than 2000 characters"},
      {model + "<dataTypes><basicDataRepresentations>\n<basicData><endian>Middle</endian></basicData>"
               "</basicDataRepresentations></dataTypes></objectModel>",
       "3: \"Middle\" is no endian"},
      {"(FED\n(objects", "2: this list is not closed"},
      {"(FED (Federation \"a\nb\"))\n)", "3: text behind the end of the model"},
      {"(FED)\n)", "2: text behind the end of the model"},
      {"(fed)", "1: is no FED: it begins with \"fed\""},
      {"(FED \"open", "1: a quotation mark is not closed"},
      {nested("(FED", ")", 10000), "1: lists are nested deeper than 100 levels"},
   };
   // clang-format on
   for (auto const & [text, told] : rows)
      EXPECT_EQ(failureOf(text), "model:" + told);
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
      std::string const text = contentOf(entry.path());
      bool const isRead = failureOf(text).empty();
      ++(isRead ? read : refused);
      if (isRead)
         checkText(text, text, {true, true, true});
   }
   EXPECT_TRUE(read > 0 && refused > 0);
}

/// A model around some of its text.
std::string modelOf(std::string const & before, std::string const & text, std::string const & behind)
{
   return "<objectModel xmlns=\"x\">" + before + text + behind + "</objectModel>";
}

TEST(Fom, FindingsNameBothDefinitions)
{
   auto const rate = [](char const * number, std::string const & text)
   {
      return modelOf("\n<updateRates>\n<updateRate><name>Low</name><rate>", number,
                     "</rate>\n<semantics>" + text + "</semantics></updateRate></updateRates>");
   };
   auto const attribute = [](char const * type)
   {
      return modelOf("<objects><objectClass><name>Root</name>\n<attribute><name>a</name><dataType>", type,
                     "</dataType><transportation>Fast</transportation></attribute></objectClass></objects>");
   };
   auto const records = [](char const * encoding)
   {
      return modelOf("<dataTypes><fixedRecordDataTypes><fixedRecordData><name>A</name></fixedRecordData>\n"
                     "<fixedRecordData><name>B</name><encoding>",
                     encoding, "</encoding></fixedRecordData></fixedRecordDataTypes></dataTypes>");
   };
   auto const fed = [](char const * dimension, char const * attributes)
   {
      return std::string("(FED (Federation f)\n(spaces (space \"a b\" (dimension ") + dimension +
             ")))\n(objects (class Root " + attributes + ")))";
   };
   std::string const one = fed("x", "(attribute p) (attribute q)");
   std::string const disagrees = " disagrees with its first definition at one.xml:";
   FomRules const lenient{}, semantics{true, false, false}, strict{false, false, true};
   // clang-format off
   std::tuple<std::string, std::string, FomRules, std::string> const rows[] = {
      {rate("10", "a"), rate("20", "a"), lenient,
       "two.xml:3: error: update rates: \"Low\"" + disagrees + "3: rate \"10\" against \"20\"\ndoes not fit: 2 modules"},
      {rate("10", "a"), rate("10", "b"), lenient, "fits: 2 modules"},
      {rate("10", "a"), rate("10", "b"), semantics, "semantics \"a\" against \"b\""},
      {attribute("HLAbyte"), attribute("HLAoctet"), lenient,
       "two.xml:2: warning: object classes: \"Root.a\"" + disagrees + "2: dataType \"HLAbyte\" against \"HLAoctet\""},
      {attribute("HLAbyte"), attribute("HLAoctet"), lenient,
       "one.xml:1: error: object classes: Root.a refers to the transportation \"Fast\""},
      {attribute("HLAbyte"), attribute("HLAoctet"), strict,
       "two.xml:1: error: module: does not fit what stands before it: the object classes disagree"},
      {records("x"), records("y"), lenient,
       "two.xml:2: warning: fixed record datatypes: \"B\"" + disagrees + "2: encoding \"x\" against \"y\""},
      {one, fed("y", "(attribute p)"), strict,
       "two.xml:2: error: routing spaces: \"a b\"" + disagrees + "2: other dimensions"},
      {one, fed("x", "(attribute p)"), lenient,
       "two.xml:3: warning: object classes: \"Root.q\"" + disagrees + "3: is \"\" against \"missing\""},
   };
   // clang-format on
   for (auto const & [first, second, rules, told] : rows)
      EXPECT_THAT(checkText(first, second, rules), testing::HasSubstr(told));
   TemporaryFolder const folder;
   writeFom(*readFomText("one", one, FomRules()), folder.path() + "/out.fed");
   EXPECT_EQ(readFom(folder.path() + "/out.fed", FomRules())->spaces.count("a b"), 1u);
}

TEST(Fom, DifferencesTellWhetherTheOrderMatters)
{
   auto const note = [](char const * label, std::string const & text)
   {
      return readFomText(
         "model",
         modelOf("<notes><note><label>", label, "</label><semantics>" + text + "</semantics></note></notes>"),
         FomRules());
   };
   auto const told = [&](char const * label, char const * text, bool semantics)
   {
      FomDifference const found =
         compareModels(*note("a", "1"), *note(label, text), {semantics, false, false});
      std::string kinds;
      for (auto const & row : found.rows)
         kinds += row.kind + std::string(" ");
      return kinds + (found.orderMatters ? "in order " : "") + std::to_string(found.inOrder);
   };
   // 21 is success, 8 a mismatch of notes.
   EXPECT_EQ(told("b", "1", false), "adds 21");
   EXPECT_EQ(told("a", "2", false), "changes in order 21");
   EXPECT_EQ(told("a", "2", true), "changes conflicts in order 8");
}

} // namespace
