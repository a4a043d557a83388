// SPDX-License-Identifier: MIT
#include "support/networkNamespace.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <sys/wait.h>

namespace
{

std::string recording(std::string const & name)
{
   return TEST_DATA_DIR "/dis/" + name + ".pcap";
}

/// A run of the program: how it ended and what it wrote.
struct Program
{
   explicit Program(std::string const & arguments)
   {
      std::string const command =
         TSL_PROGRAM " " + arguments + " >" + folder.path("out") + " 2>" + folder.path("err");
      int const status = std::system(command.c_str());
      code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      out = folder.read("out");
      err = folder.read("err");
   }

   nlohmann::json json() const { return nlohmann::json::parse(out); }

   TemporaryFolder folder;
   int code;
   std::string out;
   std::string err;
};

bool contains(std::string const & text, std::string const & part)
{
   return text.find(part) != std::string::npos;
}

TEST(TslExchange, BringsEveryRecordingBackWhole)
{
   struct Case
   {
      char const * name;
      std::size_t pdus;
      std::size_t leftOut;
   } const cases[] = {
      {"singles-s1", 239, 0},  {"bundles-s1", 625, 0},   {"samples", 15, 0},
      {"each-kind-v7", 72, 0}, {"coupled-turn", 315, 1}, {"edges-s1", 221, 19},
   };
   for (Case const & c : cases)
   {
      for (int const bundle : {0, 12, 1400, 65504})
      {
         Program const run("exchange --json --bundle " + std::to_string(bundle) + " " + recording(c.name));
         ASSERT_EQ(run.code, 0) << c.name << " in bundles of " << bundle << "\n" << run.out << run.err;
         nlohmann::json const report = run.json();
         EXPECT_EQ(report["recording"]["pdus"], c.pdus) << c.name;
         EXPECT_EQ(report["recording"]["datagramsLeftOut"], c.leftOut) << c.name;
         EXPECT_EQ(report["out"], c.pdus) << c.name;
         EXPECT_EQ(report["back"], c.pdus) << c.name;
         EXPECT_EQ(report["datagrams"] == c.pdus, bundle < 1400) << c.name << " in bundles of " << bundle;
         EXPECT_EQ(run.err, "") << c.name;
      }
   }
}

TEST(TslExchange, TellsWhatWentOutAndCameBack)
{
   nlohmann::json const report = Program("exchange --json --loop 3 " + recording("coupled-turn")).json();
   EXPECT_EQ(report["out"], 945);
   EXPECT_TRUE(report["whole"]);
   EXPECT_GT(report["coupled"], 0);
   EXPECT_LE(report["latencyMicroseconds"]["p50"], report["latencyMicroseconds"]["p99"]);
   EXPECT_EQ(report["datagramsSaved"].get<int>() + report["datagrams"].get<int>(), 945);
   std::size_t out = 0;
   for (nlohmann::json const & row : report["kinds"])
      out += row["out"].get<std::size_t>();
   EXPECT_EQ(out, 945u);
   nlohmann::json const paced =
      Program("exchange --json --rate 1000 --bundle 8000 " + recording("singles-s1")).json();
   EXPECT_GE(paced["seconds"], 0.2);
   EXPECT_GE(paced["datagrams"], 13) << "a flush at the end of each of 15 frames";
   Program const table("exchange --loop 3 " + recording("coupled-turn"));
   for (char const * part : {"1 Entity State", "72 Attribute", "945", "saved by bundling", "PDUs/s", "p50",
                             "p99", "byte for byte and in order"})
      EXPECT_TRUE(contains(table.out, part)) << part << " in\n" << table.out;
}

TEST(TslExchange, RefusesWhatCannotBeCarriedOutWithAWordOfHelp)
{
   TemporaryFolder const folder;
   std::string const text = folder.write("text.pcap", "no capture, but text that goes on for a while");
   // The head of a capture of Ethernet packets, and no packet.
   std::string const empty = folder.write(
      "empty.pcap", std::string("\xD4\xC3\xB2\xA1\x02\0\x04\0\0\0\0\0\0\0\0\0\xFF\xFF\0\0\x01\0\0\0", 24));
   struct Case
   {
      std::string arguments;
      char const * told;
   } const cases[] = {
      {"", "subcommand"},
      {"exchang", "subcommand"},
      {"exchange", "FILE"},
      {"exchange " + folder.path("none.pcap"), "none.pcap"},
      {"exchange " + text, "Wireshark"},
      {"exchange " + empty, "no PDUs"},
      {"exchange --bundle -1 " + recording("samples"), "--bundle"},
      {"exchange --loop 0 " + recording("samples"), "--loop"},
      {"exchange --rate none " + recording("samples"), "--rate"},
      {"exchange --device none0 " + recording("samples"), "ip address"},
   };
   for (Case const & c : cases)
   {
      Program const run(c.arguments);
      EXPECT_EQ(run.code, 2) << c.arguments;
      EXPECT_EQ(run.out, "") << c.arguments;
      EXPECT_TRUE(contains(run.err, c.told)) << c.arguments << "\n" << run.err;
   }
   Program const help("exchange --help");
   EXPECT_EQ(help.code, 0);
   EXPECT_TRUE(contains(help.out, "Example")) << help.out;
}

TEST(TslExchange, CrossesInterfacesAndGroupsAndGivesUpOnStrangers)
{
   SKIP_BECAUSE(NetworkNamespace::whyNot());
   NetworkNamespace near, far;
   NetworkNamespace::connect(near, "eth0", far, "eth0");
   near.addAddress("eth0", "10.1.0.1/24");
   near.addAddress("eth0", "fd01::1/64");
   far.addAddress("eth0", "10.1.0.2/24");
   NetworkNamespace::Inside inside(near);
   std::string const file = recording("bundles-s1");
   for (char const * arguments : {"--device eth0", "--device 10.1.0.1 --suppress", "--to 10.1.0.1:3000",
                                  "--to [fd01::1]:3000", "--to 10.1.0.255:3000 --device eth0"})
   {
      Program const run(std::string("exchange --json ") + arguments + " " + file);
      EXPECT_EQ(run.code, 0) << arguments << "\n" << run.out << run.err;
   }
   Program const suppressed("exchange --json --to 239.1.2.3:3000 --device eth0 --suppress " + file);
   EXPECT_EQ(suppressed.code, 0) << suppressed.out << suppressed.err;
   EXPECT_EQ(suppressed.json()["ownDropped"], suppressed.json()["datagrams"]);
   EXPECT_EQ(suppressed.json()["ownHeard"], 0);

   Program const lost("exchange --json --to 10.1.0.2:3000 " + recording("samples"));
   EXPECT_EQ(lost.code, 1) << lost.out;
   EXPECT_EQ(lost.json()["lost"], 15);
   EXPECT_EQ(lost.json()["back"], 0);
   Program const unknown("exchange --to no-such-host:3000 " + file);
   EXPECT_EQ(unknown.code, 2) << unknown.out;
   EXPECT_TRUE(contains(unknown.err, "no-such-host")) << unknown.err;
}

} // namespace
