// SPDX-License-Identifier: MIT
#include "tools/capture.h"
#include "tools/command.h"
#include "tools/exchange.h"
#include "tools/exchangeReport.h"
#include "tools/usageError.h"

#include "tslutil/base/tslNotify.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace
{

constexpr char const * theFooter = R"(
Example: a recording goes out in bundles of up to 1400 bytes, over loopback:
  tsl exchange data/exercise.pcap
The same ten times on the multicast group of an exercise, at 500 PDUs per second:
  tsl exchange data/exercise.pcap --to 239.1.2.3:3000 --device eth0 --suppress --loop 10 --rate 500

Ends with 0 if every PDU came back byte for byte and in order, 1 if not, 2 if the call can't be carried out.)";

struct Arguments
{
   std::string file;
   ExchangeOptions exchange;
   bool json = false;
};

std::vector<Pdu> readPdus(Arguments const & arguments, ExchangeSubject & subject)
{
   Capture const capture = readCapture(arguments.file);
   std::vector<Pdu> pdus;
   for (std::vector<char> const & datagram : capture.datagrams)
      ++(splitRow(datagram, pdus) ? subject.rows : subject.otherDatagrams);
   subject.file = arguments.file;
   subject.otherPackets = capture.otherPackets;
   subject.pdus = pdus.size();
   subject.options = arguments.exchange;
   if (pdus.empty())
      throw UsageError(arguments.file + " holds no PDUs: none of its " +
                       std::to_string(capture.datagrams.size()) + " UDP datagrams is a row of PDUs.");
   return pdus;
}

ExitCode exchange(Arguments const & arguments)
{
   // The library's warnings of a PDU without its Attribute PDU are in the result, and no lines of it.
   DtNotifyLevel = 0;
   ExchangeSubject subject;
   std::vector<Pdu> pdus = readPdus(arguments, subject);
   Exchange exchange(arguments.exchange);
   subject.from = exchange.senderText();
   subject.to = exchange.destinationText();
   ExchangeResult const result = exchange.run(pdus);
   (arguments.json ? printExchangeJson : printExchange)(std::cout, subject, result);
   if (!result.failure.empty())
      std::cerr << "tsl: " << result.failure << "\n";
   return result.isWhole() ? ExitWell : ExitFailed;
}

} // namespace

void addExchangeCommand(CLI::App & app, ExitCode & code)
{
   auto const arguments = std::make_shared<Arguments>();
   ExchangeOptions & options = arguments->exchange;
   CLI::App * const command = app.add_subcommand(
      "exchange", "Sends every PDU of a recording through one DIS socket and takes it back through another");
   command->add_option("FILE", arguments->file, "The recording: a pcap or pcapng file")->required();
   command->add_option("--to", options.to,
                       "Where to: an address, group or host, with a port (3000 if none is given); "
                       "otherwise a free port of the interface's own address");
   command->add_option("--device", options.device,
                       "The interface to use, by name or address; otherwise loopback, or with --to what the "
                       "system chooses");
   command->add_option("--bundle", options.bundle, "The largest bundle in bytes; 0 sends each PDU alone")
      ->check(CLI::Range(0, 65504))
      ->capture_default_str();
   command
      ->add_option("--rate", options.rate,
                   "PDUs per second, sent in 60 frames; otherwise as fast as they come back")
      ->check(CLI::Range(0.001, 1e9));
   command->add_option("--loop", options.loops, "How often the recording is sent")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str();
   command->add_flag("--suppress", options.suppress, "The sender is to recognise and drop its own traffic");
   command->add_flag("--json", arguments->json, "Print one JSON object in place of the table");
   command->footer(theFooter);
   command->callback([arguments, &code] { code = exchange(*arguments); });
}
