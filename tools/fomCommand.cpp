// SPDX-License-Identifier: MIT
#include "tools/command.h"
#include "tools/fomReader.h"
#include "tools/fomReport.h"
#include "tools/fomWriter.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>

namespace
{

constexpr char const * theFooter = R"(
Examples: do the modules of a federation fit, and which line of which file is at fault if not?
  tsl fom check HLAstandardMIM.xml RPR-Foundation_v2.0.xml RPR-Base_v2.0.xml Mine.xml
One model of them all, and what one module brings to another:
  tsl fom merge HLAstandardMIM.xml RPR-Foundation_v2.0.xml -o merged.xml
  tsl fom diff RPR-Base_v2.0.xml Mine.xml

Reads IEEE 1516-2010 and 1516-2000 XML and HLA 1.3 FED. Ends with 0 if the models fit, 1 if not, 2 if the call
can't be carried out.)";

struct Arguments
{
   std::vector<std::string> files;
   std::string out;
   FomRules rules;
   bool json = false;
};

FomModules readAll(Arguments const & arguments)
{
   FomModules modules;
   for (std::string const & file : arguments.files)
      modules.push_back(readFom(file, arguments.rules));
   return modules;
}

ExitCode check(Arguments const & arguments)
{
   FomModules const modules = readAll(arguments);
   FomCheck const result = checkModules(arguments.files, modules, arguments.rules);
   if (arguments.json)
      printCheckJson(std::cout, result);
   else
      printCheck(std::cout, result, modules.size());
   return result.fits ? ExitWell : ExitFailed;
}

ExitCode merge(Arguments const & arguments)
{
   FomModules const modules = readAll(arguments);
   FomCheck const result = checkModules(arguments.files, modules, arguments.rules);
   printCheck(std::cerr, result, modules.size());
   if (!result.fits)
      return ExitFailed;
   // A merge into a new model names it "0 + " and the modules.
   std::string const name = result.merged->modelIdentification.stdString();
   result.merged->addModelIdentification(name.substr(std::string("0 + ").size()).c_str());
   // Of the modules' forms the one that can hold most.
   for (auto const & module : modules)
      result.merged->setFomType(std::max(result.merged->fomType(), module->fomType()));
   if (result.merged->fomType() != DtFomHla13 && !result.merged->spaces.empty())
      std::cerr << "tsl: the routing spaces of HLA 1.3 have no place in XML and are left out\n";
   writeFom(*result.merged, arguments.out);
   return ExitWell;
}

ExitCode diff(Arguments const & arguments)
{
   FomModules const modules = readAll(arguments);
   FomDifference const result = compareModels(*modules[0], *modules[1], arguments.rules);
   (arguments.json ? printDifferenceJson : printDifference)(std::cout, result);
   return result.inOrder == DtMergeFomSuccess ? ExitWell : ExitFailed;
}

ExitCode run(std::function<ExitCode(Arguments const &)> const & command, Arguments const & arguments)
{
   try
   {
      return command(arguments);
   }
   catch (std::exception const & error)
   {
      std::cerr << "tsl: " << error.what() << "\n";
      return ExitUsage;
   }
}

CLI::App * addCommand(CLI::App & fom, char const * name, char const * what, ExitCode & code,
                      ExitCode (*command)(Arguments const &), std::shared_ptr<Arguments> const & arguments)
{
   CLI::App * const app = fom.add_subcommand(name, what);
   app->add_flag("--compare-semantics", arguments->rules.compareSemantics, "Free texts have to agree too");
   app->add_flag_callback(
      "--strict",
      [arguments] { arguments->rules.strictSwitches = arguments->rules.strictDefinitions = true; },
      "Every switch has to be there, and second definitions of datatypes and classes have to agree");
   app->callback([arguments, &code, command] { code = run(command, *arguments); });
   return app;
}

} // namespace

void addFomCommand(CLI::App & app, ExitCode & code)
{
   CLI::App * const fom =
      app.add_subcommand("fom", "Reads federation object models and tells whether they fit");
   fom->require_subcommand(1);
   fom->footer(theFooter);
   auto const checked = std::make_shared<Arguments>();
   CLI::App * command =
      addCommand(*fom, "check", "Merges modules in their order and checks the whole", code, check, checked);
   command->add_option("FILE", checked->files, "The modules, in the order of merging")->required();
   command->add_flag("--json", checked->json, "Print one JSON object in place of lines");

   auto const merged = std::make_shared<Arguments>();
   command =
      addCommand(*fom, "merge", "Merges modules in their order and writes the whole", code, merge, merged);
   command->add_option("FILE", merged->files, "The modules, in the order of merging")->required();
   command->add_option("-o,--out", merged->out, "Where the merged model goes")->required();

   auto const compared = std::make_shared<Arguments>();
   command = addCommand(*fom, "diff", "Tells what a second model adds to and changes in a first", code, diff,
                        compared);
   command->add_option("FILE", compared->files, "The two models")->required()->expected(2);
   command->add_flag("--json", compared->json, "Print one JSON object in place of lines");
}
