// SPDX-License-Identifier: MIT
#include "tools/command.h"
#include "tools/usageError.h"

#include "tslutil/platform/files.h"
#include "tslutil/system/tslDynamicLibrary.h"
#include "tslutil/system/tslRtiLibrary.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <dlfcn.h>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>

namespace
{

using json = nlohmann::ordered_json;

constexpr char const * theFooter = R"(
Example: which librti1516e64 does a federate find, was it built by the right compiler, and does it load?
  tsl lib librti1516e64
The two libraries of a whole family (hla13, 1516 or 1516e), as the library itself judges them:
  tsl lib 1516e

Walks PATH, since that is where the libraries of an RTI are looked for, and asks the system's loader too. To
load a library runs its start-up code; --no-load only reads the files. Ends with 0 if the library that is found
first fits and loads, 1 if not, 2 if the call can't be carried out.)";

/// Names are bytes, and need not be text.
std::string textOf(json const & report)
{
   return report.dump(2, ' ', false, json::error_handler_t::replace);
}

/// What can be looked for by the interface that it offers.
std::map<std::string, DtHLALib> const theFamilies = {
   {"hla13", DtHLALib13}, {"1516", DtHLALib1516}, {"1516e", DtHLALib1516e}};

/// The longest folder that a search takes; beyond it ends the program.
constexpr std::size_t theLongestFolder = 511;

struct Arguments
{
   std::string name;
   bool load = true;
   bool asJson = false;
};

/// What came of loading a library.
struct Loaded
{
   explicit Loaded(std::string const & name)
   {
      std::unique_ptr<DtDynamicLibrary> const library(DtDynamicLibrary::create(name, false));
      loads = library->isValid();
      if (loads)
         return;
      error = library->error();
      // The library keeps a number; the loader, asked once more, says it in words.
      if (void * const late = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL))
         dlclose(late);
      else
         words = dlerror();
   }

   json toJson() const
   {
      return loads ? json{{"loads", true}} : json{{"loads", false}, {"error", error}, {"words", words}};
   }

   std::string toText() const { return loads ? "loads" : error + ": " + words; }

   bool loads;
   std::string error, words;
};

/// A file that may be the one that is looked for.
struct Candidate
{
   Candidate(std::string const & path, bool load) : file(path)
   {
      DtString report;
      fits = DtCheckRtiLibraryFile(DtFilename(path.c_str()), report);
      std::size_t const head = ("Found library in: " + path + ". ").size();
      words = report.stdString();
      words = words.size() > head ? words.substr(head) : "";
      words.erase(words.find_last_not_of('\n') + 1);
      if (load)
         loaded = std::make_unique<Loaded>(path);
   }

   bool isWell() const { return fits && (loaded == nullptr || loaded->loads); }

   std::string verdict() const
   {
      std::string const both = loaded != nullptr ? " fits and loads" : " fits";
      return isWell() ? both : fits ? " does NOT load" : " does NOT fit";
   }

   json toJson() const
   {
      json object{{"file", file}, {"header", {{"fits", fits}, {"words", words}}}};
      if (loaded != nullptr)
         object["loader"] = loaded->toJson();
      return object;
   }

   std::string file;
   bool fits;
   /// The header's verdict; empty if it has nothing to judge by.
   std::string words;
   /// Null if it was not to be loaded.
   std::unique_ptr<Loaded> loaded;
};

/// A folder of the search path, and what it has.
struct Folder
{
   std::string name;
   std::unique_ptr<Candidate> candidate;
};

std::vector<Folder> searchPath()
{
   char const * const path = std::getenv("PATH");
   std::vector<Folder> folders;
   std::istringstream list(path != nullptr ? path : "");
   for (std::string name; std::getline(list, name, tsl::platform::listSeparator);)
   {
      if (name.size() > theLongestFolder)
         throw UsageError("PATH has a folder of " + std::to_string(name.size()) +
                          " characters; a search takes at most " + std::to_string(theLongestFolder) +
                          ". Shorten it or leave it out.");
      if (!name.empty())
         folders.push_back({name, nullptr});
   }
   return folders;
}

/// The file that a name stands for: with the extension, unless it has one, maybe with a version behind.
std::string fileOf(std::string const & name)
{
   std::string const extension = DtDynamicLibrary::standardExtension().string();
   std::string const last = DtFilename::stripPath(DtFilename(name.c_str())).stdString() + ".";
   return last.find(extension + ".") != std::string::npos ? name : name + extension;
}

void look(std::vector<Folder> & folders, std::string const & file, bool load)
{
   for (Folder & folder : folders)
   {
      std::string const path = (folder.name.empty() ? "" : folder.name + DtFilename::separator()) + file;
      if (DtFilename(path.c_str()).isReadable())
         folder.candidate = std::make_unique<Candidate>(path, load);
   }
}

void print(std::vector<Folder> const & folders, Loaded const * byName)
{
   auto const line = [](char const * label, std::string const & text)
   { std::cout << "    " << std::left << std::setw(8) << label << text << "\n"; };
   for (Folder const & folder : folders)
   {
      Candidate const * const candidate = folder.candidate.get();
      std::cout << "  " << (candidate != nullptr ? candidate->file : folder.name + ": not here") << "\n";
      if (candidate == nullptr)
         continue;
      line("header", candidate->words.empty() ? "no library that tells of its compiler" : candidate->words);
      if (candidate->loaded != nullptr)
         line("loader", candidate->loaded->toText());
   }
   if (byName != nullptr)
   {
      std::cout << "  by its name alone\n";
      line("loader", byName->toText());
   }
}

ExitCode searchLibrary(Arguments const & arguments)
{
   std::string const file = fileOf(arguments.name);
   bool const isPath = file.find(DtFilename::separator()) != std::string::npos;
   std::vector<Folder> folders;
   if (isPath)
      folders.emplace_back();
   else
      folders = searchPath();
   look(folders, file, arguments.load);
   Candidate const * first = nullptr;
   for (Folder const & folder : folders)
      first = first != nullptr ? first : folder.candidate.get();
   if (isPath && first == nullptr)
      throw UsageError(file + " is no file that can be read.");
   std::unique_ptr<Loaded> const byName =
      arguments.load && !isPath ? std::make_unique<Loaded>(file) : nullptr;
   bool const isWell = first != nullptr && first->isWell();
   if (arguments.asJson)
   {
      json report{{"library", file},
                  {"found", first != nullptr ? json(first->file) : json()},
                  {"well", isWell},
                  {"folders", json::array()}};
      for (Folder const & folder : folders)
         report["folders"].push_back(
            {{"folder", folder.name}, {"candidate", folder.candidate ? folder.candidate->toJson() : json()}});
      if (byName != nullptr)
         report["byName"] = byName->toJson();
      std::cout << textOf(report) << "\n";
   }
   else
   {
      std::cout << file << (isPath ? "\n" : ", on PATH\n");
      print(folders, byName.get());
      std::cout << (first == nullptr ? "not found on PATH" : first->file + first->verdict()) << "\n";
   }
   return isWell ? ExitWell : ExitFailed;
}

ExitCode judgeFamily(Arguments const & arguments)
{
   searchPath(); // refuses what the library's own search would not survive
   DtString report;
   bool const fits = checkRtiCompilerVersion(theFamilies.at(arguments.name), report);
   if (arguments.asJson)
      std::cout << textOf({{"family", arguments.name}, {"well", fits}, {"report", report.string()}}) << "\n";
   else
      std::cout << report.string() << (fits ? "" : "\n") << "the family " << arguments.name
                << (fits ? " fits" : " does NOT fit") << "\n";
   return fits ? ExitWell : ExitFailed;
}

ExitCode run(Arguments const & arguments)
{
   return theFamilies.count(arguments.name) > 0 ? judgeFamily(arguments) : searchLibrary(arguments);
}

} // namespace

void addLibCommand(CLI::App & app, ExitCode & code)
{
   auto const arguments = std::make_shared<Arguments>();
   CLI::App * const command =
      app.add_subcommand("lib", "Finds a shared library, and tells how it was built and whether it loads");
   command
      ->add_option(
         "NAME", arguments->name,
         "The library: its name, with or without the extension, or a path; or a family of RTI libraries")
      ->required()
      ->check([](std::string const & name) { return std::string(name.empty() ? "A name is missing." : ""); });
   command->add_flag("!--no-load", arguments->load, "Judge the files and load nothing");
   command->add_flag("--json", arguments->asJson, "Print one JSON object in place of lines");
   command->footer(theFooter);
   command->callback([arguments, &code] { code = run(*arguments); });
}
