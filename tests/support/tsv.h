// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

typedef std::vector<std::string> Fields;

/// The fields of a line between its tabs. "\t", "\n", "\r" and "\xE4" stand for the byte that they name, a
/// backslash before anything else for that.
inline Fields fieldsOf(std::string const & line)
{
   Fields fields(1);
   for (std::size_t i = 0; i < line.size(); ++i)
      if (line[i] == '\t')
         fields.emplace_back();
      else if (line[i] != '\\')
         fields.back() += line[i];
      else if (line[++i] == 'x')
         fields.back() += static_cast<char>(std::stoi(line.substr((i += 2) - 1, 2), nullptr, 16));
      else
         fields.back() += line[i] == 't' ? '\t' : line[i] == 'n' ? '\n' : line[i] == 'r' ? '\r' : line[i];
   return fields;
}

/// The rows of a table of tests/data, as "base/parses.tsv", behind the names of its columns. Every row has at
/// least as many fields as there are columns; lines without any text are left out. Fails the test if there is
/// no row.
///
///    for (Fields const & row : tableOf("base/parses.tsv"))
///       EXPECT_EQ(parsed(row[0]), row[1]) << row[0];
inline std::vector<Fields> tableOf(std::string const & name)
{
   std::ifstream file(std::string(TEST_DATA_DIR) + "/" + name);
   std::vector<Fields> rows;
   std::string line;
   std::getline(file, line);
   std::size_t const columns = fieldsOf(line).size();
   while (std::getline(file, line))
      if (!line.empty())
      {
         rows.push_back(fieldsOf(line));
         rows.back().resize(std::max(columns, rows.back().size()));
      }
   EXPECT_FALSE(rows.empty()) << name;
   return rows;
}
