// SPDX-License-Identifier: MIT
#include "tools/fomReader.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

std::unique_ptr<FomModel> readFom(std::string const & path, FomRules const & rules)
{
   if (std::filesystem::is_directory(path))
      throw FomReadError(path + ": cannot be read: it is a folder");
   std::ifstream file(path, std::ios::binary);
   std::string text;
   if (file)
      text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
   if (!file || file.bad())
      throw FomReadError(path + ": cannot be read: " + std::strerror(errno));
   return readFomText(path, std::move(text), rules);
}

std::unique_ptr<FomModel> readFomText(std::string const & name, std::string text, FomRules const & rules)
{
   auto model = std::make_unique<FomModel>(rules);
   std::size_t const first = text.find_first_not_of(" \t\r\n");
   if (first == std::string::npos)
      throw FomReadError(name + ":1: is empty");
   if (text[first] == '(' || text[first] == ';')
      readFed(name, text, *model);
   else
      readFomXml(name, text, *model);
   model->noteReferences(name);
   return model;
}
