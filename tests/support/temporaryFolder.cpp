// SPDX-License-Identifier: MIT
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

TemporaryFolder::TemporaryFolder()
   : myPath((std::filesystem::temp_directory_path() / "tslutilXXXXXX").string())
{
   if (mkdtemp(myPath.data()) == nullptr)
      throw std::runtime_error("no temporary folder " + myPath);
}

TemporaryFolder::~TemporaryFolder()
{
   std::error_code ignored;
   std::filesystem::remove_all(myPath, ignored);
}

std::string TemporaryFolder::write(std::string const & name, std::string const & content) const
{
   std::filesystem::path const file(path(name));
   std::filesystem::create_directories(file.parent_path());
   std::ofstream out(file, std::ios::binary);
   out << content << std::flush;
   EXPECT_TRUE(out.good()) << "writing " << file;
   return file.string();
}

std::string TemporaryFolder::read(std::string const & name) const
{
   std::ifstream in(path(name), std::ios::binary);
   EXPECT_TRUE(in.good()) << "reading " << path(name);
   return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
