// SPDX-License-Identifier: MIT
#include "support/networkNamespace.h"
#include "support/program.h"

#include <tuple>

namespace
{

using nlohmann::json;

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

TEST(TslExchange, CountsPerKindAndKeepsToTheRate)
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
   json const slow = Program::report("exchange", "--rate 1000 --bundle 8000 " + recording("singles-s1"));
   EXPECT_GE(slow["seconds"], 0.2);
   EXPECT_GE(slow["datagrams"], 13) << "a flush at the end of each of 15 frames";
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
}

} // namespace
