// SPDX-License-Identifier: MIT
#pragma once

#include "support/temporaryFolder.h"

#include <cstdlib>
#include <filesystem>

/// A temporary folder that the process works in while it lives; PATH is put back at its end, too.
struct WorkFolder : TemporaryFolder
{
   WorkFolder() { std::filesystem::current_path(path()); }
   ~WorkFolder()
   {
      std::filesystem::current_path(before);
      setenv("PATH", pathBefore.c_str(), 1);
   }
   std::string const before = std::filesystem::current_path(), pathBefore = std::getenv("PATH");
};
