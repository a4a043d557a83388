// SPDX-License-Identifier: MIT
#include "tools/fomReport.h"

#include "tools/fomFields.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <ostream>
#include <set>
#include <sstream>

namespace
{

void judgeWhole(FomCheck & check)
{
   DtString errors;
   DtMergeFomStatus_enum const status = check.merged->postMergeCheckTarget(errors);
   bool const passes = status == DtMergeFomSuccess;
   check.fits &= passes;
   std::set<std::string> told;
   for (FomFinding const & finding : check.merged->findings)
      told.insert(finding.text);
   std::istringstream lines(errors.stdString());
   for (std::string line; std::getline(lines, line);)
   {
      if (told.count(line) == 0 && !line.empty())
         check.findings.push_back({!passes, "merged model", "check", line});
   }
}

/// Lists what the tables of the second model add to and change in those of the first.
struct TableComparer
{
   FomDifference & difference;
   FomModel const & firstModel;
   FomModel const & secondModel;

   template<class Record>
   void operator()(char const * title, DtFedNamedTable<Record> const & first,
                   DtFedNamedTable<Record> const & second)
   {
      auto at = first.begin(); // both are in the order of names
      for (auto const & row : second)
      {
         while (at != first.end() && (*at)->name < row->name)
            ++at;
         Record const * const stands = at != first.end() && (*at)->name == row->name ? at->get() : nullptr;
         compare(title, row->name, stands, row.get(),
                 stands == nullptr ? FomPlace() : firstModel.placeOf(stands), secondModel.placeOf(row.get()));
      }
   }

   template<class Row>
   void compare(char const * title, DtString const & name, Row const * first, Row const * second,
                FomPlace const & firstPlace, FomPlace const & secondPlace)
   {
      std::string const quoted = "\"" + name.stdString() + "\"";
      if (first == nullptr)
      {
         difference.rows.push_back({"adds", secondPlace.text(), title, quoted});
         return;
      }
      std::string const what = differences(fieldsOf(*first), fieldsOf(*second), true);
      if (!what.empty())
         difference.rows.push_back(
            {"changes", secondPlace.text(), title, quoted + " of " + firstPlace.text() + ": " + what});
   }

   void compareClasses(char const * title, FomModel::Classes const & first, FomModel::Classes const & second)
   {
      for (auto const & [name, entry] : second)
      {
         auto const stands = first.find(name);
         bool const isThere = stands != first.end();
         if (isThere && (entry.isScaffold() || stands->second.isScaffold()))
            continue;
         compare(title, name, isThere ? &stands->second.row : nullptr, &entry.row,
                 isThere ? stands->second.place : FomPlace(), entry.place);
         std::map<DtString, FomModel::Member const *> known;
         if (isThere)
            for (FomModel::Member const & member : stands->second.members)
               known.emplace(member.row.name, &member);
         for (FomModel::Member const & member : entry.members)
         {
            auto const found = known.find(member.row.name);
            bool const hasIt = found != known.end();
            compare(title, name + "." + member.row.name, hasIt ? &found->second->row : nullptr, &member.row,
                    hasIt ? found->second->place : FomPlace(), member.place);
         }
      }
   }
};

DtMergeFomStatus_enum mergeBoth(FomModel const & first, FomModel const & second, FomModel & merged)
{
   merged.setFomType(first.fomType());
   DtMergeFomStatus_enum const status = merged.mergeTarget(first);
   return status == DtMergeFomSuccess ? merged.mergeTarget(second) : status;
}

nlohmann::json jsonOf(DtMergeFomStatus_enum status)
{
   return {{"status", int(status)}, {"text", mergeStatusText(status)}};
}

} // namespace

FomCheck checkModules(std::vector<std::string> const & files, FomModules const & modules,
                      FomRules const & rules)
{
   FomCheck check;
   check.merged = std::make_unique<FomModel>(rules);
   check.merged->setFomType(modules.front()->fomType());
   for (std::size_t i = 0; i < modules.size(); ++i)
   {
      check.findings.insert(check.findings.end(), modules[i]->findings.begin(), modules[i]->findings.end());
      DtMergeFomStatus_enum const status = check.merged->mergeTarget(*modules[i]);
      if (status != DtMergeFomSuccess)
      {
         check.findings.push_back(
            {true, files[i] + ":1", "module",
             std::string("does not fit what stands before it: ") + mergeStatusText(status)});
         check.fits = false;
      }
   }
   if (check.fits)
      judgeWhole(check);
   std::vector<FomFinding> const & told = check.merged->findings;
   check.findings.insert(check.findings.end(), told.begin(), told.end());
   return check;
}

FomDifference compareModels(FomModel const & first, FomModel const & second, FomRules const & rules)
{
   FomDifference difference;
   TableComparer comparer{difference, first, second};
   forEachTable(first, second, comparer);
   for (auto const & [name, dimension] : second.dimensions)
   {
      auto const stands = first.dimensions.find(name);
      bool const isThere = stands != first.dimensions.end();
      comparer.compare("dimensions", name, isThere ? &stands->second.row : nullptr, &dimension.row,
                       isThere ? stands->second.place : FomPlace(), dimension.place);
   }
   comparer.compareClasses("object classes", first.objectClasses, second.objectClasses);
   comparer.compareClasses("interaction classes", first.interactionClasses, second.interactionClasses);
   bool const changes = std::any_of(difference.rows.begin(), difference.rows.end(),
                                    [](FomDifference::Row const & row) { return row.kind[0] == 'c'; });
   FomModel forwards(rules);
   FomModel backwards(rules);
   difference.inOrder = mergeBoth(first, second, forwards);
   difference.reversed = mergeBoth(second, first, backwards);
   for (FomFinding const & finding : forwards.findings)
      if (finding.fails)
         difference.rows.push_back({"conflicts", finding.place, finding.table, finding.text});
   difference.orderMatters = difference.inOrder != difference.reversed || changes;
   return difference;
}

void printCheck(std::ostream & out, FomCheck const & check, std::size_t modules)
{
   for (FomFinding const & finding : check.findings)
      out << finding.place << ": " << (finding.fails ? "error" : "warning") << ": " << finding.table << ": "
          << finding.text << "\n";
   out << (check.fits ? "fits: " : "does not fit: ") << modules << (modules == 1 ? " module" : " modules")
       << ", " << check.findings.size() << (check.findings.size() == 1 ? " finding\n" : " findings\n");
}

void printCheckJson(std::ostream & out, FomCheck const & check)
{
   nlohmann::json findings = nlohmann::json::array();
   for (FomFinding const & finding : check.findings)
      findings.push_back({{"severity", finding.fails ? "error" : "warning"},
                          {"place", finding.place},
                          {"table", finding.table},
                          {"text", finding.text}});
   nlohmann::json const report = {{"fits", check.fits}, {"findings", findings}};
   out << report.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void printDifference(std::ostream & out, FomDifference const & difference)
{
   for (FomDifference::Row const & row : difference.rows)
      out << row.place << ": " << row.kind << ": " << row.table << ": " << row.text << "\n";
   out << "merged in this order " << mergeStatusText(difference.inOrder) << ", the other way round "
       << mergeStatusText(difference.reversed) << "; the order "
       << (difference.orderMatters ? "matters\n" : "does not matter\n");
}

void printDifferenceJson(std::ostream & out, FomDifference const & difference)
{
   nlohmann::json rows = nlohmann::json::array();
   for (FomDifference::Row const & row : difference.rows)
      rows.push_back({{"kind", row.kind}, {"place", row.place}, {"table", row.table}, {"text", row.text}});
   nlohmann::json const report = {{"rows", rows},
                                  {"inOrder", jsonOf(difference.inOrder)},
                                  {"reversed", jsonOf(difference.reversed)},
                                  {"orderMatters", difference.orderMatters}};
   out << report.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}
