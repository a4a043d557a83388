// SPDX-License-Identifier: MIT
#include "tools/pdu.h"

#include "support/pduText.h"
#include "support/tsv.h"
#include "tools/capture.h"

#include <nlohmann/json.hpp>

#include <map>

namespace
{

Pdu made(std::string const & bytes)
{
   return {{bytes.begin(), bytes.end()}};
}

TEST(Pdu, RecordingsHoldThoseOfTheirManifests)
{
   for (char const * name : {"singles-s1", "bundles-s1", "samples", "each-kind-v7", "coupled-turn"})
   {
      std::string const stem = std::string(TEST_DATA_DIR "/dis/") + name;
      Capture const capture = readCapture(stem + ".pcap");
      std::ifstream manifest(stem + ".manifest.jsonl");
      std::map<std::size_t, std::size_t> next;
      std::size_t count = 0;
      for (std::string line; std::getline(manifest, line); ++count)
      {
         auto const told = nlohmann::json::parse(line);
         std::vector<char> const & datagram = capture.datagrams.at(told["datagram"]);
         std::vector<Pdu> row;
         if (!splitRow(datagram, row))
         {
            EXPECT_EQ(datagram.size(), 8192u) << "the one that its recorder cut short: " << line;
            continue;
         }
         Pdu const & pdu = row.at(next[told["datagram"]]++);
         nlohmann::json const held = {pdu.version(), pdu.exercise(), pdu.kind(), pdu.bytes.size()};
         EXPECT_EQ(held, nlohmann::json({told["version"], told["exercise"], told["type"], told["length"]}))
            << line;
      }
      EXPECT_GE(count, capture.datagrams.size());
      EXPECT_EQ(capture.otherPackets, 0u);
   }
}

TEST(SplitRow, TakesRowsAndRefusesWhatIsNone)
{
   for (Fields const & line : tableOf("tools/rows.tsv"))
   {
      std::vector<Pdu> row = {made(pdu(12, 6))};
      EXPECT_EQ(splitRow(made(datagramOf(line[0])).bytes, row), !line[1].empty()) << line[2];
      std::string sizes;
      for (std::size_t i = 1; i < row.size(); ++i)
         sizes += (i == 1 ? "" : " ") + std::to_string(row[i].bytes.size());
      EXPECT_EQ(sizes, line[1]) << line[2];
      EXPECT_EQ(row.at(0).bytes.size(), 12u) << "stays in front";
   }
}

TEST(Pdu, IsCoupledFromVersion7OnUnlessItIsTheAttributePdu)
{
   EXPECT_TRUE(made(pdu(12, 7, 1, 0x28)).isCoupled());
   for (auto const & bytes : {pdu(12, 6, 1, 0x08), pdu(12, 7, theAttributeKind, 0x08), pdu(12, 7, 1, 0x07)})
      EXPECT_FALSE(made(bytes).isCoupled());
}

TEST(PduKindName, FollowsTheNumbersOfTheStandard)
{
   std::string names;
   for (int const kind : {0, 1, 23, 41, 51, 67, 72, 73})
      names += pduKindName(kind) + "|";
   EXPECT_EQ(names, "Other|Entity State|Electromagnetic Emission|Environmental Process|Create Entity-R|"
                    "Entity State Update|Attribute|PDU type 73|");
}

} // namespace
