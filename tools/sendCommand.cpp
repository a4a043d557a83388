// SPDX-License-Identifier: MIT
#include "tools/command.h"
#include "tools/transfer.h"
#include "tools/usageError.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace
{

constexpr char const * theFooter = R"(
Example: two files to another host, where 'tsl recv --into inbox' is running:
  tsl send exercise.pcap model.xml --to 10.1.0.2:3000

Prints a line for each file, its SHA-256 digest and its name, as 'sha256sum' does and as the receiver prints it:
nothing acknowledges a transfer, so compare them. Ends with 0 if all was handed over, 1 if not, 2 if the call can't
be carried out.)";

struct Arguments
{
   std::vector<std::string> files;
   std::string to;
};

ExitCode send(Arguments const & arguments)
{
   DtString locator(arguments.to.c_str());
   DtInetEndpoint to(locator, theTransferPort, DtInetProtoTcp);
   if (!to.isOk())
      throw UsageError("--to " + arguments.to + ": " + to.getLastErrorString().string());
   LibraryWords words;
   TransferProgress progress = progressOnTerminal();
   FileSender sender(words, std::cout, progress);
   for (std::string const & file : arguments.files)
      sender.check(file);
   for (std::string const & file : arguments.files)
      sender.send(file, to);
   return ExitWell;
}

} // namespace

void addSendCommand(CLI::App & app, ExitCode & code)
{
   auto const arguments = std::make_shared<Arguments>();
   CLI::App * const command = app.add_subcommand("send", "Sends files to a receiver on another host");
   command->add_option("FILE", arguments->files, "The files; their folders are not sent along")->required();
   command
      ->add_option("--to", arguments->to, "Where to: an address or host, with a port (3000 if none is given)")
      ->required();
   command->footer(theFooter);
   command->callback([arguments, &code] { code = send(*arguments); });
}
