// SPDX-License-Identifier: MIT
#include "tools/exchangeReport.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <iomanip>

namespace
{

/// 1234567 as "1,234,567".
std::string grouped(double number)
{
   char digits[64];
   std::snprintf(digits, sizeof digits, "%.0f", number);
   std::string text = digits;
   for (std::size_t end = text.size(); end > 3; end -= 3)
      text.insert(end - 3, ",");
   return text;
}

std::string grouped(std::size_t number)
{
   return grouped(static_cast<double>(number));
}

/// "1 PDU", "2 PDUs".
std::string counted(std::size_t number, char const * what)
{
   return grouped(number) + " " + what + (number == 1 ? "" : "s");
}

double percentile(std::vector<double> & values, double fraction)
{
   if (values.empty())
      return 0;
   auto const position = static_cast<std::ptrdiff_t>(fraction * static_cast<double>(values.size() - 1));
   std::nth_element(values.begin(), values.begin() + position, values.end());
   return values[static_cast<std::size_t>(position)];
}

double perSecond(ExchangeResult const & result)
{
   return result.seconds > 0 ? static_cast<double>(result.ledger.total.back) / result.seconds : 0;
}

std::size_t saved(ExchangeResult const & result)
{
   std::size_t const pdus = result.ledger.total.out;
   return pdus > result.datagrams ? pdus - result.datagrams : 0;
}

std::string verdict(ExchangeResult const & result)
{
   if (result.isWhole())
      return "whole: every PDU came back byte for byte and in order";
   std::string text = "NOT WHOLE: " + counted(result.ledger.lost, "PDU") + " lost, " +
                      grouped(result.ledger.disordered) + " out of order, " +
                      grouped(result.strange + result.ownHeard) + " delivered that should not be";
   return result.failure.empty() ? text : text + "\n" + result.failure;
}

void line(std::ostream & out, char const * label, std::string const & text)
{
   out << "  " << std::left << std::setw(12) << label << text << "\n";
}

/// A line that says something only if there is something to say.
void note(std::ostream & out, char const * label, std::size_t count, char const * what,
          std::string const & text)
{
   if (count > 0)
      line(out, label, counted(count, what) + " " + text);
}

void printRow(std::ostream & out, std::string const & kind, std::string const & exercise,
              ExchangeRow const & row)
{
   out << "  " << std::left << std::setw(40) << kind << std::right << std::setw(9) << exercise
       << std::setw(12) << grouped(row.out) << std::setw(12) << grouped(row.back) << std::setw(16)
       << grouped(row.bytes) << (row.out == row.back ? "" : "  <-") << "\n";
}

void printHead(std::ostream & out, ExchangeSubject const & subject)
{
   out << "\n";
   line(out, "recording",
        subject.file + ": " + counted(subject.pdus, "PDU") + " in " + counted(subject.rows, "datagram"));
   note(out, "left out", subject.otherDatagrams, "datagram", "that can't be taken apart into PDUs");
   note(out, "left out", subject.otherPackets, "packet", "without a whole UDP datagram");
   line(out, "road", subject.from + " -> " + subject.to);
   out << "\n";
}

void printRows(std::ostream & out, ExchangeLedger const & ledger)
{
   out << "  " << std::left << std::setw(40) << "kind" << std::right << std::setw(9) << "exercise"
       << std::setw(12) << "out" << std::setw(12) << "back" << std::setw(16) << "bytes out"
       << "\n";
   for (auto const & [key, row] : ledger.rows)
   {
      std::string const kind = std::to_string(key.first) + " " + pduKindName(key.first);
      printRow(out, kind, std::to_string(key.second), row);
   }
   printRow(out, "all", "", ledger.total);
   out << "\n";
}

std::string latencyText(std::vector<double> & latencies)
{
   char text[96];
   std::snprintf(text, sizeof text,
                 "p50 %.1f us, p99 %.1f us from send to receive call, time in the bundle included",
                 percentile(latencies, 0.50), percentile(latencies, 0.99));
   return text;
}

} // namespace

void printExchange(std::ostream & out, ExchangeSubject const & subject, ExchangeResult result)
{
   printHead(out, subject);
   printRows(out, result.ledger);
   line(out, "datagrams",
        grouped(result.datagrams) + " for " + counted(result.ledger.total.out, "PDU") + ": " +
           grouped(saved(result)) + " saved by bundling");
   line(out, "speed", grouped(perSecond(result)) + " PDUs/s");
   line(out, "latency", latencyText(result.ledger.latencies));
   note(out, "coupled", result.ledger.coupled, "PDU", "delivered in one unit with the Attribute PDU behind");
   note(out, "attached", result.ledger.attached, "PDU",
        "with the coupled bit but no Attribute PDU behind: delivered with the next PDU, which came again");
   note(out, "own", result.ownDropped, "datagram", "recognised by the sender as its own and dropped");
   note(out, "own", result.ownHeard, "PDU", "that the sender heard from itself");
   note(out, "strange", result.strange, "PDU", "from the sender like none under way");
   note(out, "foreign", result.foreign, "PDU", "from somebody else, passed over");
   line(out, "verdict", verdict(result));
}

void printExchangeJson(std::ostream & out, ExchangeSubject const & subject, ExchangeResult result)
{
   using nlohmann::ordered_json;
   ordered_json kinds = ordered_json::array();
   for (auto const & [key, row] : result.ledger.rows)
      kinds.push_back({{"kind", key.first},
                       {"name", pduKindName(key.first)},
                       {"exercise", key.second},
                       {"out", row.out},
                       {"back", row.back},
                       {"bytes", row.bytes}});
   ExchangeLedger & ledger = result.ledger;
   ordered_json const report = {
      {"recording",
       {{"file", subject.file},
        {"datagrams", subject.rows},
        {"pdus", subject.pdus},
        {"datagramsLeftOut", subject.otherDatagrams},
        {"packetsLeftOut", subject.otherPackets}}},
      {"from", subject.from},
      {"to", subject.to},
      {"bundle", subject.options.bundle},
      {"loops", subject.options.loops},
      {"kinds", kinds},
      {"out", ledger.total.out},
      {"back", ledger.total.back},
      {"bytes", ledger.total.bytes},
      {"datagrams", result.datagrams},
      {"datagramsSaved", saved(result)},
      {"seconds", result.seconds},
      {"pdusPerSecond", perSecond(result)},
      {"latencyMicroseconds",
       {{"p50", percentile(ledger.latencies, 0.50)}, {"p99", percentile(ledger.latencies, 0.99)}}},
      {"coupled", ledger.coupled},
      {"attached", ledger.attached},
      {"lost", ledger.lost},
      {"disordered", ledger.disordered},
      {"strange", result.strange},
      {"foreign", result.foreign},
      {"ownDropped", result.ownDropped},
      {"ownHeard", result.ownHeard},
      {"failure", result.failure},
      {"whole", result.isWhole()},
   };
   out << report.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}
