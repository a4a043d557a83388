// SPDX-License-Identifier: MIT
#include "tools/exchangeLedger.h"

#include <gtest/gtest.h>

namespace
{

using Bytes = std::vector<char>;

Pdu pdu(int kind, std::size_t size, char content, int status = 0)
{
   Pdu made{Bytes(size, content)};
   made.bytes[0] = 7;
   made.bytes[1] = 5;
   made.bytes[2] = static_cast<char>(kind);
   made.bytes[10] = static_cast<char>(status);
   return made;
}

class LedgerTest : public testing::Test
{
protected:
   void send(std::vector<Pdu> const & pdus)
   {
      all = pdus;
      for (Pdu const & each : all)
         ledger.sent(each, begin);
   }

   bool receive(Bytes const & unit)
   {
      return ledger.arrived(unit.data(), unit.size(), begin + std::chrono::microseconds(250));
   }

   /// The PDU at `first`, fill to 48 bytes, and the next one.
   Bytes pair(std::size_t first, char fill)
   {
      Bytes bytes = all[first].bytes;
      bytes.resize(48, fill);
      bytes.insert(bytes.end(), all[first + 1].bytes.begin(), all[first + 1].bytes.end());
      return bytes;
   }

   std::vector<Pdu> all;
   ExchangeLedger ledger;
   ExchangeLedger::Clock::time_point const begin = ExchangeLedger::Clock::now();
};

TEST_F(LedgerTest, SettlesWhatComesBackByteForByte)
{
   send({pdu(1, 40, 'a'), pdu(2, 41, 'b'), pdu(1, 50, 'c')});
   EXPECT_EQ(ledger.outstandingBytes(), 131u);
   Bytes wrong = all[0].bytes;
   wrong.back() = 'x';
   EXPECT_FALSE(receive(wrong));
   EXPECT_FALSE(receive(Bytes(all[0].bytes.begin(), all[0].bytes.end() - 1)));
   for (Pdu const & each : all)
      EXPECT_TRUE(receive(each.bytes));
   EXPECT_FALSE(receive(all[2].bytes)) << "once only";
   EXPECT_EQ(ledger.outstandingPdus() + ledger.outstandingBytes() + ledger.disordered, 0u);
   EXPECT_EQ(ledger.latencies, std::vector<double>(3, 250.0));
   EXPECT_EQ(ledger.rows.size(), 2u);
   EXPECT_EQ((ledger.rows[{1, 5}].out), 2u);
   EXPECT_EQ((ledger.rows[{1, 5}].back), 2u);
   EXPECT_EQ((ledger.rows[{1, 5}].bytes), 90u);
}

TEST_F(LedgerTest, CountsWhatOvertakesAndWhatIsLost)
{
   send({pdu(1, 40, 'a'), pdu(1, 40, 'b'), pdu(1, 40, 'c')});
   EXPECT_TRUE(receive(all[1].bytes));
   EXPECT_TRUE(receive(all[0].bytes));
   EXPECT_EQ(ledger.disordered, 1u);
   ledger.abandonOutstanding();
   EXPECT_EQ(ledger.lost, 1u);
   EXPECT_FALSE(receive(all[2].bytes));
   EXPECT_EQ(ledger.total.back, 2u);
}

TEST_F(LedgerTest, TakesACoupledPairAsOneUnit)
{
   send({pdu(1, 41, 'a', 8), pdu(theAttributeKind, 40, 'b'), pdu(1, 41, 'c', 8), pdu(2, 40, 'd'),
         pdu(1, 41, 'e'), pdu(theAttributeKind, 40, 'f')});
   EXPECT_FALSE(receive(pair(0, 1))) << "fill is zero";
   EXPECT_TRUE(receive(pair(0, 0)));
   EXPECT_EQ(ledger.outstandingPdus(), 4u);
   EXPECT_TRUE(receive(pair(2, 0)));
   EXPECT_EQ(ledger.outstandingPdus(), 3u) << "no Attribute PDU: it comes again";
   EXPECT_TRUE(receive(all[3].bytes));
   EXPECT_FALSE(receive(pair(4, 0))) << "no coupled bit";
   EXPECT_EQ(ledger.coupled, 1u);
   EXPECT_EQ(ledger.attached, 1u);
   EXPECT_EQ(ledger.disordered, 0u);
}

} // namespace
