// SPDX-License-Identifier: MIT
#pragma once

#include "tools/fomModel.h"

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

typedef std::vector<std::unique_ptr<FomModel>> FomModules;

/// What merging modules in their order came to.
struct FomCheck
{
   std::unique_ptr<FomModel> merged;
   std::vector<FomFinding> findings;
   bool fits = true;
};

/// Merges the modules in their order and checks the result. A module that conflicts is told, and what was
/// merged of it until then stays; the check of the whole is then left out.
FomCheck checkModules(std::vector<std::string> const & files, FomModules const & modules,
                      FomRules const & rules);

/// What a second model brings to a first.
struct FomDifference
{
   struct Row
   {
      char const * kind; ///< "adds", "changes" or "conflicts"
      std::string place;
      std::string table;
      std::string text;
   };
   std::vector<Row> rows;
   DtMergeFomStatus_enum inOrder;  ///< of the second merged behind the first
   DtMergeFomStatus_enum reversed; ///< of the first merged behind the second
   bool orderMatters;
};

FomDifference compareModels(FomModel const & first, FomModel const & second, FomRules const & rules);

void printCheck(std::ostream & out, FomCheck const & check, std::size_t modules);
void printCheckJson(std::ostream & out, FomCheck const & check);
void printDifference(std::ostream & out, FomDifference const & difference);
void printDifferenceJson(std::ostream & out, FomDifference const & difference);
