// SPDX-License-Identifier: MIT
#pragma once

#include "support/temporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <tuple>

/// A run of the program tsl: how it ended and what it wrote. For tests that know TSL_PROGRAM, its file.
struct Program
{
   explicit Program(std::string const & arguments)
   {
      std::string const streams = " >" + folder.path("out") + " 2>" + folder.path("err");
      int const status = std::system((TSL_PROGRAM " " + arguments + streams).c_str());
      code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      out = folder.read("out");
      err = folder.read("err");
   }

   /// The JSON report of a run of one command, which must end with `wanted`.
   static nlohmann::json report(std::string const & command, std::string const & arguments, int wanted = 0)
   {
      Program const run(command + " --json " + arguments);
      EXPECT_EQ(std::tuple(run.code, run.err), std::tuple(wanted, "")) << arguments << "\n" << run.out;
      return nlohmann::json::parse(run.out);
   }

   TemporaryFolder folder;
   int code;
   std::string out, err;
};
