// SPDX-License-Identifier: MIT
#include "tools/pdu.h"

#include "tools/capture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <map>

namespace
{

using Row = std::vector<Pdu>;

/// A bare PDU: the header fields that count, and zeros up to its size.
std::vector<char> pdu(int version, int kind, std::size_t size, int status = 0, std::size_t length = 0)
{
   std::vector<char> bytes(size);
   length = length == 0 ? size : length;
   bytes[0] = static_cast<char>(version);
   bytes[2] = static_cast<char>(kind);
   bytes[8] = static_cast<char>(length >> 8);
   bytes[9] = static_cast<char>(length);
   bytes[10] = static_cast<char>(status);
   return bytes;
}

std::vector<char> operator+(std::vector<char> left, std::vector<char> const & right)
{
   left.insert(left.end(), right.begin(), right.end());
   return left;
}

std::vector<char> zeros(std::size_t count)
{
   return std::vector<char>(count);
}

class Recording : public testing::TestWithParam<char const *>
{
};

TEST_P(Recording, HoldsThePdusOfItsManifest)
{
   std::string const stem = std::string(TEST_DATA_DIR "/dis/") + GetParam();
   Capture const capture = readCapture(stem + ".pcap");
   std::ifstream manifest(stem + ".manifest.jsonl");
   std::map<std::size_t, std::size_t> next;
   std::size_t count = 0;
   for (std::string line; std::getline(manifest, line); ++count)
   {
      auto const told = nlohmann::json::parse(line);
      std::size_t const datagram = told["datagram"];
      Row row;
      if (!splitRow(capture.datagrams.at(datagram), row))
      {
         // The one that its recorder cut short.
         EXPECT_EQ(capture.datagrams[datagram].size(), 8192u) << line;
         continue;
      }
      Pdu const & pdu = row.at(next[datagram]++);
      EXPECT_EQ(pdu.version(), told["version"]) << line;
      EXPECT_EQ(pdu.exercise(), told["exercise"]) << line;
      EXPECT_EQ(pdu.kind(), told["type"]) << line;
      EXPECT_EQ(pdu.bytes.size(), told["length"]) << line;
   }
   EXPECT_GE(count, capture.datagrams.size());
   EXPECT_EQ(capture.otherPackets, 0u);
}

INSTANTIATE_TEST_SUITE_P(Dis, Recording,
                         testing::Values("singles-s1", "bundles-s1", "samples", "each-kind-v7",
                                         "coupled-turn"));

TEST(SplitRow, TakesRowsAndRefusesWhatIsNone)
{
   struct Case
   {
      char const * what;
      std::vector<char> datagram;
      std::vector<std::size_t> sizes;
   } const cases[] = {
      {"empty", {}, {}},
      {"runt", zeros(11), {}},
      {"length 0", zeros(40), {}},
      {"length below a header", pdu(6, 1, 40, 0, 11), {}},
      {"length beyond the end", pdu(6, 1, 40, 0, 41), {}},
      {"second is none", pdu(6, 1, 32) + zeros(32), {}},
      {"single", pdu(6, 1, 33), {33}},
      {"version 6 without fill", pdu(6, 1, 33) + pdu(6, 2, 40), {33, 40}},
      {"version 6 with fill", pdu(6, 1, 33) + zeros(7) + pdu(6, 2, 40), {}},
      {"version 7 with fill", pdu(7, 1, 33) + zeros(7) + pdu(7, 2, 40), {33, 40}},
      {"version 7 without fill", pdu(7, 1, 33) + pdu(7, 2, 40), {}},
      {"fill behind the last", pdu(7, 1, 33) + zeros(7), {33}},
      {"padding behind the last", pdu(7, 1, 32) + zeros(11), {32}},
      {"a header's room behind the last", pdu(7, 1, 32) + zeros(12), {}},
   };
   for (Case const & c : cases)
   {
      Row row = {{pdu(6, 9, 12)}};
      EXPECT_EQ(splitRow(c.datagram, row), !c.sizes.empty()) << c.what;
      ASSERT_EQ(row.size(), 1 + c.sizes.size()) << c.what;
      for (std::size_t i = 0; i < c.sizes.size(); ++i)
         EXPECT_EQ(row[i + 1].bytes.size(), c.sizes[i]) << c.what;
   }
}

TEST(Pdu, IsCoupledFromVersion7OnUnlessItIsTheAttributePdu)
{
   EXPECT_TRUE((Pdu{pdu(7, 1, 12, 0x28)}.isCoupled()));
   EXPECT_FALSE((Pdu{pdu(6, 1, 12, 0x08)}.isCoupled()));
   EXPECT_FALSE((Pdu{pdu(7, theAttributeKind, 12, 0x08)}.isCoupled()));
   EXPECT_FALSE((Pdu{pdu(7, 1, 12, 0x07)}.isCoupled()));
}

TEST(PduKindName, FollowsTheNumbersOfTheStandard)
{
   EXPECT_EQ(pduKindName(0), "Other");
   EXPECT_EQ(pduKindName(1), "Entity State");
   EXPECT_EQ(pduKindName(23), "Electromagnetic Emission");
   EXPECT_EQ(pduKindName(41), "Environmental Process");
   EXPECT_EQ(pduKindName(51), "Create Entity-R");
   EXPECT_EQ(pduKindName(67), "Entity State Update");
   EXPECT_EQ(pduKindName(72), "Attribute");
   EXPECT_EQ(pduKindName(73), "PDU type 73");
}

} // namespace
