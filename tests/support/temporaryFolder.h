// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// A folder of its own for a test, deleted with all that is in it at the end of the scope.
///
///    TemporaryFolder folder;
///    std::string const log = folder.write("run.log", "one\n");
class TemporaryFolder
{
public:
   /// Throws std::runtime_error if none can be made.
   TemporaryFolder();
   ~TemporaryFolder();
   TemporaryFolder(TemporaryFolder &&) = delete;

   /// The absolute path, without a trailing separator.
   std::string const & path() const { return myPath; }

   /// The path of `name` in here, which need not exist.
   std::string path(std::string const & name) const { return myPath + "/" + name; }

   /// Writes a file in here, and the folders that lead to it, and returns its path. Fails the test if it
   /// can't.
   std::string write(std::string const & name, std::string const & content) const;

   /// The content of a file in here. Fails the test if it can't be read.
   std::string read(std::string const & name) const;

private:
   std::string myPath;
};
