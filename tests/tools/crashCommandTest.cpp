// SPDX-License-Identifier: MIT
#include "support/program.h"
#include "support/pseudoTerminal.h"
#include "tslutil/base/tslMiniDumper.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

using nlohmann::json;
using testing::HasSubstr;

/// A place that may not be written, as the processor sees it.
int * volatile thePlace = nullptr;

/// Whether this program was built with debugging information.
#ifdef NDEBUG
constexpr bool theProgramHasLines = false;
#else
constexpr bool theProgramHasLines = true;
#endif

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
   auto const child = [&]
   {
      rlimit const noCore = {0, 0};
      setrlimit(RLIMIT_CORE, &noCore);
      DtMiniDumper{"sim"};
      if (chdir(folder.path().c_str()) == 0)
         crash();
      return 0;
   };
   TerminalRun const run = runOnTerminal(child, "(y/n) ", "y\n");
   EXPECT_THAT(run.shown, HasSubstr("Saved dump file to 'sim.dmp'"));
   return folder.path("sim.dmp");
}

TEST(TslCrash, NamesTheFunctionsAndLinesOfADump)
{
   struct
   {
      void (*crash)();
      char const * function;
      int signal;
      char const * cause;
   } const rows[] = {{writeNowhere, "writeNowhere()", SIGSEGV, "there is no memory at the address"},
                     {callAbort, "callAbort()", SIGABRT, "raised by a process"}};
   for (auto const & row : rows)
   {
      TemporaryFolder const folder;
      std::string const dump = dumpOf(folder, row.crash);
      json const report = Program::report("crash", dump);
      EXPECT_EQ(json({report["signal"], report["cause"], report["address"], report["file"]}),
                json({row.signal, row.cause, 0, dump}));
      EXPECT_EQ(report["process"], report["thread"]);
      EXPECT_THAT(report["crashed"]["function"], HasSubstr(row.function));
      if (theProgramHasLines)
      {
         EXPECT_THAT(report["crashed"]["source"], HasSubstr("crashCommandTest.cpp:"));
         EXPECT_THAT(report["frames"].dump(), HasSubstr("dumpOf("));
      }
      EXPECT_EQ(report["frames"][0]["address"], report["registers"]["rip"]);
      EXPECT_GT(report["map"].size(), 10u);
      Program const text("crash " + dump);
      EXPECT_THAT(text.out, HasSubstr("\nCrashed in " + report["crashed"]["function"].get<std::string>()));
      EXPECT_THAT(text.out, testing::ContainsRegex("\n  #0 .*\nRegisters\n(  .*\n)+\nMemory map\n  0x"));
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
   json const report = Program::report("crash", dump);
   json const none = json::array();
   EXPECT_EQ(report["frames"],
             json({{{"address", 0x5010}, {"module", "/none; it's"}, {"offset", 0x1010}, {"places", none}},
                   {{"address", 0x9000}, {"module", ""}, {"offset", 0}, {"places", none}}}));
   EXPECT_THAT(Program("crash " + dump).out, HasSubstr("  #0   0x5010  /none; it's+0x1010\n"));
   std::string const savedPath = std::getenv("PATH");
   setenv("PATH", "", 1);
   EXPECT_THAT(Program("crash " + dump).err, HasSubstr("install addr2line, of the package binutils"));
   setenv("PATH", savedPath.c_str(), 1);
   for (std::string const & file : {folder.path("none"), folder.path(), folder.write("text", "no dump"),
                                    folder.write("empty", ""), std::string("/dev/zero")})
   {
      Program const run("crash " + file);
      EXPECT_EQ(std::tuple(run.code, run.out), std::tuple(2, "")) << file;
      EXPECT_THAT(run.err, HasSubstr(file));
   }
   EXPECT_THAT(Program("crash --help").out, HasSubstr("Example"));
}

} // namespace
