// SPDX-License-Identifier: MIT
// Reading, merging and checking a family of published documents, beside the parse of their XML alone.
#include "bench/compare.h"
#include "tools/fomReader.h"
#include "tools/fomReport.h"

#include <pugixml.hpp>

#include <fstream>
#include <iterator>

namespace
{

std::vector<std::string> const theModules = {
   "HLAstandardMIM.xml",         "RPR-Foundation_v2.0.xml", "RPR-Enumerations_v2.0.xml",
   "RPR-Base_v2.0.xml",          "RPR-Physical_v2.0.xml",   "RPR-Warfare_v2.0.xml",
   "RPR-Communication_v2.0.xml", "RPR-Logistics_v2.0.xml",  "RPR-Switches_v2.0.xml"};

std::vector<std::string> readTexts()
{
   std::vector<std::string> texts;
   for (std::string const & module : theModules)
   {
      std::ifstream file(std::string(FOM_DATA_DIR) + "/" + module, std::ios::binary);
      texts.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
   }
   return texts;
}

bool const family =
   addComparison({"RPR 2.0 family of 1 MB read, merged and checked", "pugixml's parse alone", 6.0},
                 [](Bench & bench)
                 {
                    std::vector<std::string> const texts = readTexts();
                    bench.blockSize = 1;
                    bench.run(
                       [&]
                       {
                          FomModules modules;
                          for (std::size_t i = 0; i < texts.size(); ++i)
                             modules.push_back(readFomText(theModules[i], texts[i], FomRules()));
                          benchmark::DoNotOptimize(checkModules(theModules, modules, FomRules()));
                       },
                       [&]
                       {
                          for (std::string const & text : texts)
                          {
                             pugi::xml_document document;
                             benchmark::DoNotOptimize(document.load_buffer(text.data(), text.size()));
                          }
                       });
                 });

} // namespace
