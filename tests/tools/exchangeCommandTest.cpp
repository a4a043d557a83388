// SPDX-License-Identifier: MIT
#include "support/networkNamespace.h"
#include "support/program.h"

#include <gmock/gmock.h>

#include <tuple>

namespace
{

using nlohmann::json;
using testing::HasSubstr;

std::string recording(std::string const & name)
{
   return TEST_DATA_DIR "/dis/" + name + ".pcap";
}

TEST(TslExchange, BringsEveryRecordingBackWhole)
{
   // clang-format off
   for (auto const & [name, pdus, leftOut] :
        {std::tuple("singles-s1", 239, 0), {"bundles-s1", 625, 0}, {"samples", 15, 0}, {"each-kind-v7", 72, 0},
         {"coupled-turn", 315, 1}, {"edges-s1", 221, 19}})
      // clang-format on
      for (int const bundle : {0, 12, 1400, 65504})
      {
         json const r =
            Program::report("exchange", "--bundle " + std::to_string(bundle) + " " + recording(name));
         EXPECT_EQ(json({r["recording"]["pdus"], r["recording"]["datagramsLeftOut"], r["out"], r["back"]}),
                   json({pdus, leftOut, pdus, pdus}))
            << name;
         EXPECT_EQ(r["datagrams"] == pdus, bundle < 1400) << name << " in bundles of " << bundle;
      }
}

TEST(TslExchange, TellsTheSameInTableAndJsonAndKeepsToTheRate)
{
   json const report = Program::report("exchange", "--loop 3 " + recording("coupled-turn"));
   EXPECT_EQ(json({report["out"], report["loops"], report["whole"]}), json({945, 3, true}));
   EXPECT_TRUE(report["coupled"] > 0 && report["pdusPerSecond"] > 0.0) << report;
   EXPECT_LE(report["latencyMicroseconds"]["p50"], report["latencyMicroseconds"]["p99"]);
   EXPECT_EQ(report["datagramsSaved"].get<int>() + report["datagrams"].get<int>(), 945);
   int out = 0;
   for (json const & row : report["kinds"])
      out += row["out"].get<int>();
   EXPECT_EQ(out, 945);
   Program const table("exchange --loop 3 " + recording("coupled-turn"));
   for (char const * part : {"1 Entity State", "72 Attribute", "945", "saved by bundling", "PDUs/s", "p50",
                             "p99", "byte for byte and in order"})
      EXPECT_THAT(table.out, HasSubstr(part));
   json const slow = Program::report("exchange", "--rate 1000 --bundle 8000 " + recording("singles-s1"));
   EXPECT_GE(slow["seconds"], 0.2);
   EXPECT_GE(slow["datagrams"], 13) << "a flush at the end of each of 15 frames";
}

TEST(TslExchange, RefusesWhatCannotBeCarriedOutWithAWordOfHelp)
{
   TemporaryFolder const folder;
   std::string const text = folder.write("text.pcap", "no capture, but text that goes on for a while");
   // The head of a capture of Ethernet packets, and no packet.
   std::string const empty = folder.write(
      "empty.pcap", std::string("\xD4\xC3\xB2\xA1\x02\0\x04\0\0\0\0\0\0\0\0\0\xFF\xFF\0\0\x01\0\0\0", 24));
   std::string const samples = " " + recording("samples");
   for (auto const & [arguments, told] : std::vector<std::pair<std::string, char const *>>{
           {"", "subcommand"},
           {"exchang", "subcommand"},
           {"exchange", "FILE"},
           {"exchange " + folder.path("none.pcap"), "none.pcap"},
           {"exchange " + text, "Wireshark"},
           {"exchange " + empty, "no PDUs"},
           {"exchange --bundle -1" + samples, "--bundle"},
           {"exchange --loop 0" + samples, "--loop"},
           {"exchange --rate none" + samples, "--rate"},
           {"exchange --device none0" + samples, "ip address"}})
   {
      Program const run(arguments);
      EXPECT_EQ(std::tuple(run.code, run.out), std::tuple(2, "")) << arguments;
      EXPECT_THAT(run.err, HasSubstr(told)) << arguments;
   }
   Program const help("exchange --help");
   EXPECT_TRUE(help.code == 0 && help.out.find("Example") != std::string::npos) << help.out;
}

using TslExchangeInNetwork = InNetwork;

TEST_F(TslExchangeInNetwork, CrossesInterfacesAndGroupsAndGivesUpOnStrangers)
{
   NetworkNamespace const far;
   NetworkNamespace::connect(*network, "eth0", far, "eth0");
   network->addAddress("eth0", "10.1.0.1/24");
   network->addAddress("eth0", "fd01::1/64");
   far.addAddress("eth0", "10.1.0.2/24");
   std::string const file = recording("bundles-s1");
   for (char const * arguments : {"--device eth0 ", "--device 10.1.0.1 --suppress ", "--to 10.1.0.1:3000 ",
                                  "--to [fd01::1]:3000 ", "--to 10.1.0.255:3000 --device eth0 "})
      Program::report("exchange", arguments + file);
   json const own = Program::report("exchange", "--to 239.1.2.3:3000 --device eth0 --suppress " + file);
   EXPECT_EQ(json({own["ownDropped"], own["ownHeard"]}), json({own["datagrams"], 0}));
   json const lost = Program::report("exchange", "--to 10.1.0.2:3000 " + recording("samples"), 1);
   EXPECT_EQ(json({lost["lost"], lost["back"]}), json({15, 0}));
   Program const unknown("exchange --to no-such-host:3000 " + file);
   EXPECT_TRUE(unknown.code == 2 && unknown.err.find("no-such-host") != std::string::npos) << unknown.err;
}

} // namespace
