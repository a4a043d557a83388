// SPDX-License-Identifier: MIT
#include "tools/pdu.h"

#include "tools/capture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <map>
#include <tuple>

namespace
{

/// A bare PDU: the header fields that count, and zeros up to its size.
std::string pdu(int version, int kind, std::size_t size, int status = 0, std::size_t length = 0)
{
   length = length == 0 ? size : length;
   std::string const head{char(version), 0, char(kind)};
   return head + std::string(5, 0) + char(length >> 8) + char(length) + char(status) +
          std::string(size - 11, 0);
}

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
   auto const zeros = [](std::size_t count) { return std::string(count, 0); };
   std::tuple<char const *, std::string, std::string> const rows[] = {
      {"empty", "", ""},
      {"runt", zeros(11), ""},
      {"length 0", zeros(40), ""},
      {"length below a header", pdu(6, 1, 40, 0, 11), ""},
      {"length beyond the end", pdu(6, 1, 40, 0, 41), ""},
      {"second is none", pdu(6, 1, 32) + zeros(32), ""},
      {"single", pdu(6, 1, 33), "33 "},
      {"version 6 without fill", pdu(6, 1, 33) + pdu(6, 2, 40), "33 40 "},
      {"version 6 with fill", pdu(6, 1, 33) + zeros(7) + pdu(6, 2, 40), ""},
      {"version 7 with fill", pdu(7, 1, 33) + zeros(7) + pdu(7, 2, 40), "33 40 "},
      {"version 7 without fill", pdu(7, 1, 33) + pdu(7, 2, 40), ""},
      {"fill behind the last", pdu(7, 1, 33) + zeros(7), "33 "},
      {"padding behind the last", pdu(7, 1, 32) + zeros(11), "32 "},
      {"a header's room behind the last", pdu(7, 1, 32) + zeros(12), ""}};
   for (auto const & [what, datagram, sizes] : rows)
   {
      std::vector<Pdu> row = {made(pdu(6, 9, 12))};
      EXPECT_EQ(splitRow(made(datagram).bytes, row), !sizes.empty()) << what;
      std::string split;
      for (Pdu const & each : row)
         split += std::to_string(each.bytes.size()) + " ";
      EXPECT_EQ(split, "12 " + sizes) << what;
   }
}

TEST(Pdu, IsCoupledFromVersion7OnUnlessItIsTheAttributePdu)
{
   EXPECT_TRUE(made(pdu(7, 1, 12, 0x28)).isCoupled());
   for (auto const & bytes : {pdu(6, 1, 12, 0x08), pdu(7, theAttributeKind, 12, 0x08), pdu(7, 1, 12, 0x07)})
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
