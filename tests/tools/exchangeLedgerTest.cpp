// SPDX-License-Identifier: MIT
#include "tools/exchangeLedger.h"

#include "support/pduText.h"

#include <gtest/gtest.h>

#include <deque>
#include <tuple>

namespace
{

/// An account in which these are entered, and what came back is entered 250 microseconds later.
struct Entered : ExchangeLedger
{
   explicit Entered(std::vector<std::string> const & pdus)
   {
      for (std::string const & bytes : pdus)
         sent(all.emplace_back(Pdu{{bytes.begin(), bytes.end()}}), begin);
   }

   bool receive(std::vector<char> const & unit)
   {
      return arrived(unit.data(), unit.size(), begin + std::chrono::microseconds(250));
   }

   std::deque<Pdu> all;
   Clock::time_point const begin = Clock::now();
};

TEST(ExchangeLedger, SettlesWhatComesBackInOrder)
{
   Entered ledger({pdu(40, 7, 1, 0, 'a'), pdu(40, 7, 2, 0, 'b'), pdu(50, 7, 1, 0, 'c')});
   EXPECT_EQ(ledger.outstandingBytes(), 130u);
   for (Pdu const & each : ledger.all)
      EXPECT_TRUE(ledger.receive(each.bytes));
   EXPECT_EQ(ledger.outstandingPdus() + ledger.outstandingBytes() + ledger.disordered, 0u);
   EXPECT_EQ(ledger.latencies, std::vector<double>(3, 250.0));
   ExchangeRow const row = ledger.rows.at({1, 1});
   EXPECT_EQ(std::tuple(row.out, row.back, row.bytes, ledger.rows.size()), std::tuple(2u, 2u, 90u, 2u));
}

TEST(ExchangeLedger, RefusesAWrongByteAndSizeAndCountsWhatOvertakesAndIsLost)
{
   Entered ledger({pdu(40, 7, 1, 0, 'a'), pdu(40, 7, 1, 0, 'b'), pdu(40, 7, 1, 0, 'c')});
   for (auto const & [size, last] : {std::pair(40u, 'x'), {39u, 'b'}, {41u, '\0'}})
   {
      std::vector<char> wrong = ledger.all[1].bytes;
      wrong.resize(size);
      wrong.back() = last;
      EXPECT_FALSE(ledger.receive(wrong)) << size;
   }
   EXPECT_TRUE(ledger.receive(ledger.all[1].bytes) && !ledger.receive(ledger.all[1].bytes));
   EXPECT_TRUE(ledger.receive(ledger.all[0].bytes));
   ledger.abandonOutstanding();
   EXPECT_FALSE(ledger.receive(ledger.all[2].bytes));
   EXPECT_EQ(std::tuple(ledger.disordered, ledger.lost, ledger.outstandingBytes(), ledger.total.back),
             std::tuple(1u, 1u, 0u, 2u));
}

TEST(ExchangeLedger, TakesACoupledPairAsOneUnit)
{
   Entered ledger({pdu(41, 7, 1, 8, 'a'), pdu(40, 7, theAttributeKind, 0, 'b'), pdu(41, 7, 1, 8, 'c'),
                   pdu(40, 7, 2, 0, 'd'), pdu(41, 7, 1, 0, 'e'), pdu(40, 7, theAttributeKind, 0, 'f')});
   auto const unit = [&](std::size_t first, char fill)
   {
      std::vector<char> bytes = ledger.all[first].bytes;
      std::vector<char> const & next = ledger.all[first + 1].bytes;
      bytes.resize(48, fill);
      bytes.insert(bytes.end(), next.begin(), next.end());
      return bytes;
   };
   EXPECT_FALSE(ledger.receive(unit(0, 1))) << "fill is zero";
   EXPECT_TRUE(ledger.receive(unit(0, 0)));
   EXPECT_EQ(ledger.outstandingPdus(), 4u);
   EXPECT_TRUE(ledger.receive(unit(2, 0)));
   EXPECT_EQ(ledger.outstandingPdus(), 3u) << "no Attribute PDU: it comes again";
   EXPECT_TRUE(ledger.receive(ledger.all[3].bytes));
   EXPECT_FALSE(ledger.receive(unit(4, 0))) << "no coupled bit";
   EXPECT_EQ(std::tuple(ledger.coupled, ledger.attached, ledger.disordered), std::tuple(1u, 1u, 0u));
}

} // namespace
