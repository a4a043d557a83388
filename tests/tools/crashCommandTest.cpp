// SPDX-License-Identifier: MIT
#include "support/program.h"
#include "support/pseudoTerminal.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <sys/stat.h>

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

TEST(TslCrash, ShowsModuleAndOffsetWhereNoMoreIsKnownAndRefusesWhatIsNoDump)
{
   TemporaryFolder const folder;
   std::string const dump =
      folder.write("old.dmp", "signal 99\ncode 1\naddress 0xzz\nregisters\n  rip 0x5010\n  \n"
                              "map\n4000-5000 r--p 00000000 0:1 7 /none; it's\n"
                              "5000-6000 r-xp 00001000 0:1 7 /none; it's\nnonsense\n"
                              "frames\n  0x4abc\n  0x5010\n  0x9000\n");
   json const none = json::array();
   EXPECT_EQ(Program::report("crash", dump)["frames"],
             json({{{"address", 0x5010}, {"module", "/none; it's"}, {"offset", 0x1010}, {"places", none}},
                   {{"address", 0x9000}, {"module", ""}, {"offset", 0}, {"places", none}}}));
   EXPECT_THAT(Program("crash " + dump).out, HasSubstr("  #0   0x5010  /none; it's+0x1010\n"));
   std::string const savedPath = std::getenv("PATH");
   setenv("PATH", "", 1);
   EXPECT_THAT(Program("crash " + dump).err, HasSubstr("install addr2line, of the package binutils"));
   setenv("PATH", savedPath.c_str(), 1);
   mkfifo(folder.path("pipe").c_str(), 0600);
   for (std::string const & file :
        {folder.path("none"), folder.path(), folder.path("pipe"), std::string("/dev/zero"),
         folder.write("text", "no dump"), folder.write("empty", "")})
   {
      Program const run("crash " + file);
      EXPECT_EQ(std::tuple(run.code, run.out), std::tuple(2, "")) << file;
      EXPECT_THAT(run.err, HasSubstr(file));
   }
   EXPECT_THAT(Program("crash --help").out, HasSubstr("Example"));
}

} // namespace
