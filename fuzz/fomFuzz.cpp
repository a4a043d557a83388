// SPDX-License-Identifier: MIT
// Any text as a document of an object model: read, merged with itself and checked, or refused in words.
#include "tools/fomReader.h"
#include "tools/fomReport.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
   std::string const text(reinterpret_cast<char const *>(data), size);
   FomRules const rules{size % 2 != 0, false, size % 3 == 0};
   try
   {
      FomModules modules;
      modules.push_back(readFomText("first", text, rules));
      modules.push_back(readFomText("second", text, rules));
      checkModules({"first", "second"}, modules, rules);
      compareModels(*modules[0], *modules[1], rules);
   }
   catch (FomReadError const &)
   {
   }
   return 0;
}
