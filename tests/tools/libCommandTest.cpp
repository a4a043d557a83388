// SPDX-License-Identifier: MIT
#include "support/program.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace
{

using nlohmann::json;
using testing::HasSubstr;

TEST(TslLib, WalksThePathAndTellsOfEachCandidate)
{
   TemporaryFolder const text, good;
   text.write("libm.so.6", "no library");
   std::filesystem::copy_file("/proc/self/exe", good.path("libm.so.6"));
   std::string const before = std::getenv("PATH");
   std::string const path = "/nowhere:" + text.path() + ":" + good.path() + ":/usr/bin:/bin";
   setenv("PATH", path.c_str(), 1);
   json const r = Program::report("lib", "libm.so.6", 1);
   EXPECT_EQ(r["found"], text.path("libm.so.6"));
   EXPECT_EQ(r["folders"].size(), 5u);
   EXPECT_EQ(r["folders"][0], (json{{"folder", "/nowhere"}, {"candidate", nullptr}}));
   EXPECT_EQ(r["folders"][1]["candidate"]["header"], (json{{"fits", false}, {"words", ""}}));
   EXPECT_EQ(r["folders"][1]["candidate"]["loader"]["error"], "LoadLibrary returned NULL (Error: 193)");
   EXPECT_THAT(r["folders"][1]["candidate"]["loader"]["words"], HasSubstr("file too short"));
   EXPECT_EQ(r["folders"][2]["candidate"]["header"], (json{{"fits", true}, {"words", "found!"}}));
   EXPECT_EQ(r["byName"], (json{{"loads", true}}));
   std::string const program = good.path("libm.so.6");
   struct Row
   {
      std::string arguments;
      int code;
      std::vector<std::string> told;
   } const rows[] = {
      {"libm.so.6", 1, {"/nowhere: not here", "no library that tells", "found!", "does NOT fit"}},
      {program, 1, {"found!", "cannot dynamically load", "does NOT load"}},
      {program + " --no-load", 0, {"found!", "libm.so.6 fits"}},
      {"absent", 1, {"absent.so, on PATH", "126", "not found on PATH"}},
      {"1516e", 1, {"Looking for: librti1516e64_64.so. Found library in: \n", "does NOT fit"}},
      {"--json hla13", 1, {"Looking for: libRTI-NG_64.so", "\"well\": false"}},
      {"--help", 0, {"Example", "tsl lib librti1516e64"}}};
   for (Row const & row : rows)
   {
      Program const run("lib " + row.arguments);
      EXPECT_EQ(std::tuple(run.code, run.err), std::tuple(row.code, "")) << row.arguments;
      for (std::string const & part : row.told)
         EXPECT_THAT(run.out, HasSubstr(part)) << row.arguments;
   }
   setenv("PATH", (path + ":" + std::string(512, 'x')).c_str(), 1);
   for (std::string const arguments : {"", "''", "/no/such/file", "libm.so.6", "1516e"})
   {
      Program const run("lib " + arguments);
      EXPECT_EQ(std::tuple(run.code, run.out), std::tuple(2, "")) << arguments;
      EXPECT_NE(run.err, "") << arguments;
   }
   setenv("PATH", before.c_str(), 1);
}

} // namespace
