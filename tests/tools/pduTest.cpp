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
using Bytes = std::vector<char>;

/// A bare PDU: the header fields that count, and zeros up to its size.
Bytes pdu(int version, int kind, std::size_t size, int status = 0, std::size_t length = 0)
{
   Bytes bytes(size);
   length = length == 0 ? size : length;
   bytes[0] = static_cast<char>(version);
   bytes[2] = static_cast<char>(kind);
   bytes[8] = static_cast<char>(length >> 8);
   bytes[9] = static_cast<char>(length);
   bytes[10] = static_cast<char>(status);
   return bytes;
}

Bytes operator+(Bytes left, Bytes const & right)
{
   left.insert(left.end(), right.begin(), right.end());
   return left;
}

TEST(SplitRow, GivesThePdusOfTheManifests)
{
   for (char const * name : {"singles-s1", "bundles-s1", "samples", "each-kind-v7", "coupled-turn"})
   {
      std::string const stem = std::string(TEST_DATA_DIR "/dis/") + name;
      Capture const capture = readCapture(stem + ".pcap");
      std::ifstream manifest(stem + ".manifest.jsonl");
      std::map<std::size_t, std::size_t> next;
      for (std::string line; std::getline(manifest, line);)
      {
         auto const told = nlohmann::json::parse(line);
         std::size_t const datagram = told["datagram"];
         Row row;
         // The one exception was cut short by its recorder.
         ASSERT_NE(splitRow(capture.datagrams.at(datagram), row), capture.datagrams[datagram].size() == 8192);
         if (row.empty())
            continue;
         Pdu const & pdu = row.at(next[datagram]++);
         EXPECT_EQ(nlohmann::json({pdu.version(), pdu.exercise(), pdu.kind(), pdu.bytes.size()}),
                   nlohmann::json({told["version"], told["exercise"], told["type"], told["length"]}))
            << name << " " << line;
      }
      EXPECT_GE(next.size() + 1, capture.datagrams.size()) << name;
   }
}

TEST(SplitRow, TakesRowsAndRefusesWhatIsNone)
{
   struct Case
   {
      char const * what;
      Bytes datagram;
      std::vector<std::size_t> sizes;
   } const cases[] = {
      {"empty", {}, {}},
      {"runt", Bytes(11), {}},
      {"length 0", Bytes(40), {}},
      {"length below a header", pdu(6, 1, 40, 0, 11), {}},
      {"length beyond the end", pdu(6, 1, 40, 0, 41), {}},
      {"second is none", pdu(6, 1, 32) + Bytes(32), {}},
      {"single", pdu(6, 1, 33), {33}},
      {"version 6 without fill", pdu(6, 1, 33) + pdu(6, 2, 40), {33, 40}},
      {"version 6 with fill", pdu(6, 1, 33) + Bytes(7) + pdu(6, 2, 40), {}},
      {"version 7 with fill", pdu(7, 1, 33) + Bytes(7) + pdu(7, 2, 40), {33, 40}},
      {"version 7 without fill", pdu(7, 1, 33) + pdu(7, 2, 40), {}},
      {"fill behind the last", pdu(7, 1, 33) + Bytes(7), {33}},
      {"padding behind the last", pdu(7, 1, 32) + Bytes(11), {32}},
      {"a header's room behind the last", pdu(7, 1, 32) + Bytes(12), {}},
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
   std::map<int, char const *> const names = {
      {0, "Other"},      {1, "Entity State"},     {23, "Electromagnetic Emission"},
      {26, "Signal"},    {51, "Create Entity-R"}, {67, "Entity State Update"},
      {72, "Attribute"}, {73, "PDU type 73"}};
   for (auto const & [kind, name] : names)
      EXPECT_EQ(pduKindName(kind), name);
}

} // namespace
