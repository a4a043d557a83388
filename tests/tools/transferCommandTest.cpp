// SPDX-License-Identifier: MIT
#include "support/program.h"
#include "support/sha256.h"
#include "support/watchdog.h"
#include "tools/transferProgress.h"
#include "tslutil/inet/tslInetTcpSocket.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <future>

namespace
{

using testing::HasSubstr;

TEST(TslTransfer, BringsFilesOverOrSaysWhyNotAndTellsDigestsAtBothEnds)
{
   Watchdog const watchdog(240);
   TemporaryFolder const folder;
   std::string const in = folder.path("in"), err = folder.path("err"), content(99000, 'c'),
                     line = sha256(content.data(), content.size()) + "  x\n",
                     stranger = "python3 " TEST_DATA_DIR "/transfer/peer.py send 127.0.0.1 ",
                     streams = " --port 0 --into " + in + " >" + folder.path("out") + " 2>" + err;
   for (auto const & [options, old, name, told] :
        std::vector<std::array<std::string, 4>>{{"", "", "x", ""},
                                                {" --max-size 99kB", "", "x", ""},
                                                {" --force", "old", "x", ""},
                                                {"", "old", "x", "refused x from 127.0.0.1:"},
                                                {"", "old", "x", "--force"},
                                                {" --max-size 98kB", "", "x", "--max-size"},
                                                {"", "", "a\\b", "refused a\\b"},
                                                {"", "", "a\nb", "a?b from"}})
   {
      std::filesystem::remove_all(in);
      if (!old.empty())
         folder.write("in/x", old);
      std::string const file = " '" + folder.write(name, content) + "'",
                        command = TSL_PROGRAM " recv --once" + options + streams;
      folder.write("err", "");
      auto receiving = std::async(std::launch::async, [&] { return std::system(command.c_str()); });
      int port = 0;
      EXPECT_TRUE(eventually(
         [&] { return std::sscanf(folder.read("err").c_str(), "tsl: listening on port %d,", &port) == 1; }));
      // A stranger sends what the program itself does not.
      if (name == "x")
         EXPECT_EQ(Program("send --to 127.0.0.1:" + std::to_string(port) + file).out, line);
      else
         EXPECT_EQ(std::system((stranger + std::to_string(port) + file + " 2>/dev/null").c_str()), 0);
      EXPECT_EQ(WEXITSTATUS(receiving.get()), told.empty() ? 0 : 1) << options;
      EXPECT_EQ(folder.read("out"), told.empty() ? line : "");
      EXPECT_THAT(folder.read("err"), HasSubstr(told));
      EXPECT_EQ(std::filesystem::exists(in + "/x") ? folder.read("in/x") : "", told.empty() ? content : old);
      std::filesystem::remove(folder.path(name));
   }
   folder.write("err", "");
   std::string const until =
      " & until grep -q listening " + err + "; do sleep 0.1; done; kill -TERM $!; wait $!";
   EXPECT_EQ(std::system((TSL_PROGRAM " recv" + streams + until).c_str()), 0);
}

TEST(TslTransfer, RefusesWhatCannotBeCarriedOutWithAWordOfHelp)
{
   TemporaryFolder const folder;
   DtInetTcpSocket const deaf(DtInetEndpoint(DtInetAddr("127.0.0.1"), 9, DtInetProtoTcp));
   std::string const x = folder.write("x", "x"), to = " --to 127.0.0.1:" + std::to_string(deaf.localPort());
   for (auto const & [command, code, told] : std::vector<std::tuple<std::string, int, char const *>>{
           {"send" + to, 2, "FILE"},
           {"send " + x, 2, "--to"},
           {"send " + x + " " + folder.path("none") + to, 2, "none can't be read"},
           {"send " + folder.write("empty", "") + to, 2, "empty"},
           {"send '" + folder.write("a\\b", "x") + "'" + to, 2, "under another"},
           {"send " + x + " --to no-such-host:1", 2, "no-such-host"},
           {"send " + x + to, 1, "Connection refused. Is a receiver"},
           {"recv --port 0 --into " + x, 2, "--into"},
           {"recv --port 70000", 2, "--port"},
           {"recv --max-size much", 2, "--max-size"}})
   {
      Program const run(command);
      EXPECT_EQ(std::tuple(run.code, run.out), std::tuple(code, "")) << command;
      EXPECT_THAT(run.err, HasSubstr(told)) << command;
   }
   EXPECT_THAT(Program("recv --help").out + Program("send --help").out,
               testing::ContainsRegex("Example: files(.|\n)*Example: two files"));
}

TEST(TslTransfer, ShowsHowFarItIsOnATerminalOnly)
{
   EXPECT_EQ(progressText("a\x1B[2J", 1234567, 2700000, 0.5),
             "a?[2J  45 %, 1.2 of 2.7 MB, 2.5 MB/s, 0:01 left");
   EXPECT_EQ(progressText("a", 0, 5, 0), "a  0 %, 0.0 of 0.0 MB, 0.0 MB/s, 0:00 left");
   std::ostringstream shown;
   TransferProgress pipe(shown, false), terminal(shown, true);
   pipe.begin(), terminal.begin();
   std::this_thread::sleep_for(std::chrono::milliseconds(110));
   pipe.show("x", 1, 2), pipe.end();
   EXPECT_EQ(shown.str(), "");
   terminal.show("x", 1, 2), terminal.end();
   EXPECT_THAT(shown.str(), testing::AllOf(HasSubstr("\rx  50 %"), testing::EndsWith("\r\x1B[K")));
}

} // namespace
