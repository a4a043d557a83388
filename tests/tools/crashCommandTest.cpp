// SPDX-License-Identifier: MIT
#include "support/program.h"
#include "support/pseudoTerminal.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>

namespace
{

using nlohmann::json;
using testing::HasSubstr;

/// A place that may not be written, as the processor sees it; null would be refused by a sanitizer before.
int * volatile thePlace = reinterpret_cast<int *>(0x40);

[[gnu::noinline]] void writeNowhere()
{
   *thePlace = 1;
}

[[gnu::noinline]] void callAbort()
{
   std::abort();
}

/// The dump of a process that crashes and whose user says yes.
std::string dumpOf(TemporaryFolder const & folder, void (*crash)())
{
   TerminalRun const run = runToCrash(folder.path(), "sim", crash, "y\n");
   EXPECT_THAT(run.shown, HasSubstr("Saved dump file to 'sim.dmp'"));
   return folder.path("sim.dmp");
}

TEST(TslCrash, NamesTheFunctionsAndLinesOfADump)
{
   std::tuple<void (*)(), char const *, int, int, char const *> const rows[] = {
      {writeNowhere, "writeNowhere()", SIGSEGV, 0x40, "there is no memory at the address"},
      {callAbort, "callAbort()", SIGABRT, 0, "raised by a process"}};
   for (auto const & [crash, function, signal, address, cause] : rows)
   {
      TemporaryFolder const folder;
      std::string const dump = dumpOf(folder, crash);
      json const report = Program::report("crash", dump);
      EXPECT_EQ(json({report["signal"], report["cause"], report["address"], report["file"]}),
                json({signal, cause, address, dump}));
      EXPECT_EQ(report["process"], report["thread"]);
      EXPECT_EQ(report["frames"][0]["address"], report["registers"]["rip"]);
      EXPECT_GT(report["map"].size(), 10u);
      std::string const found = report["crashed"]["function"];
      EXPECT_THAT(found, HasSubstr(function));
#ifndef NDEBUG
      // Built with debugging information.
      EXPECT_THAT(report["crashed"]["source"], HasSubstr("crashCommandTest.cpp:"));
      EXPECT_THAT(report["frames"].dump(), HasSubstr("runToCrash("));
#endif
      EXPECT_THAT(Program("crash " + dump).out,
                  AllOf(HasSubstr("\nCrashed in " + found),
                        testing::ContainsRegex("\n  #0 .*\nRegisters\n(  .*\n)+\nMemory map\n  0x")));
   }
}

} // namespace
