// SPDX-License-Identifier: MIT
#include "tools/exchangeLedger.h"

#include <gtest/gtest.h>

namespace
{

using Clock = ExchangeLedger::Clock;

Pdu pdu(int kind, std::size_t size, char content, int status = 0)
{
   Pdu made{std::vector<char>(size, content)};
   made.bytes[0] = 7;
   made.bytes[1] = 5;
   made.bytes[2] = static_cast<char>(kind);
   made.bytes[10] = static_cast<char>(status);
   return made;
}

class LedgerTest : public testing::Test
{
protected:
   void send(std::vector<Pdu> const & all)
   {
      for (Pdu const & each : all)
         ledger.sent(each, begin);
   }

   bool receive(std::vector<char> const & unit)
   {
      return ledger.arrived(unit.data(), unit.size(), begin + std::chrono::microseconds(250));
   }

   ExchangeLedger ledger;
   Clock::time_point const begin = Clock::now();
};

TEST_F(LedgerTest, SettlesWhatComesBackInOrder)
{
   std::vector<Pdu> const all = {pdu(1, 40, 'a'), pdu(2, 40, 'b'), pdu(1, 50, 'c')};
   send(all);
   EXPECT_EQ(ledger.outstandingBytes(), 130u);
   for (Pdu const & each : all)
      EXPECT_TRUE(receive(each.bytes));
   EXPECT_EQ(ledger.outstandingPdus(), 0u);
   EXPECT_EQ(ledger.outstandingBytes(), 0u);
   EXPECT_EQ(ledger.disordered, 0u);
   EXPECT_EQ(ledger.latencies, std::vector<double>(3, 250.0));
   ExchangeRow const row = ledger.rows.at({1, 5});
   EXPECT_EQ(row.out, 2u);
   EXPECT_EQ(row.back, 2u);
   EXPECT_EQ(row.bytes, 90u);
   EXPECT_EQ(ledger.rows.size(), 2u);
}

TEST_F(LedgerTest, RefusesOneWrongByteAndAWrongSize)
{
   std::vector<Pdu> const all = {pdu(1, 40, 'a')};
   send(all);
   std::vector<char> wrong = all[0].bytes;
   wrong.back() = 'x';
   EXPECT_FALSE(receive(wrong));
   wrong.back() = 'a';
   wrong.push_back(0);
   EXPECT_FALSE(receive(wrong));
   EXPECT_FALSE(receive({all[0].bytes.begin(), all[0].bytes.end() - 1}));
   EXPECT_TRUE(receive(all[0].bytes));
   EXPECT_FALSE(receive(all[0].bytes));
}

TEST_F(LedgerTest, CountsWhatOvertakesAndWhatIsLost)
{
   std::vector<Pdu> const all = {pdu(1, 40, 'a'), pdu(1, 40, 'b'), pdu(1, 40, 'c')};
   send(all);
   EXPECT_TRUE(receive(all[1].bytes));
   EXPECT_TRUE(receive(all[0].bytes));
   EXPECT_EQ(ledger.disordered, 1u);
   ledger.abandonOutstanding();
   EXPECT_EQ(ledger.lost, 1u);
   EXPECT_EQ(ledger.outstandingBytes(), 0u);
   EXPECT_FALSE(receive(all[2].bytes));
   EXPECT_EQ(ledger.total.back, 2u);
}

TEST_F(LedgerTest, TakesACoupledPairAsOneUnit)
{
   std::vector<Pdu> const all = {pdu(1, 41, 'a', 8), pdu(theAttributeKind, 40, 'b'),
                                 pdu(1, 41, 'c', 8), pdu(2, 40, 'd'),
                                 pdu(1, 41, 'e'),    pdu(theAttributeKind, 40, 'f')};
   send(all);
   auto const unit = [&](std::size_t first, char fill)
   {
      std::vector<char> bytes = all[first].bytes;
      bytes.resize(48, fill);
      bytes.insert(bytes.end(), all[first + 1].bytes.begin(), all[first + 1].bytes.end());
      return bytes;
   };
   EXPECT_FALSE(receive(unit(0, 1))) << "fill is zero";
   EXPECT_TRUE(receive(unit(0, 0)));
   EXPECT_EQ(ledger.outstandingPdus(), 4u);
   EXPECT_TRUE(receive(unit(2, 0)));
   EXPECT_EQ(ledger.outstandingPdus(), 3u) << "no Attribute PDU: it comes again";
   EXPECT_TRUE(receive(all[3].bytes));
   EXPECT_FALSE(receive(unit(4, 0))) << "no coupled bit";
   EXPECT_EQ(ledger.coupled, 1u);
   EXPECT_EQ(ledger.attached, 1u);
   EXPECT_EQ(ledger.disordered, 0u);
}

} // namespace
