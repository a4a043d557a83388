// SPDX-License-Identifier: MIT
#include "tools/command.h"
#include "tools/transfer.h"

#include "tslutil/time/tslClock.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <iostream>
#include <memory>

namespace
{

constexpr char const * theFooter = R"(
Example: files of up to 100 MB into a folder, until Ctrl-C:
  tsl recv --port 3000 --into inbox --max-size 100MB

Prints a line for each file that is in, its SHA-256 digest and its name, as 'sha256sum' does and as the sender prints
it. A file is in memory until it is whole, then it is written. Ends with 0 if all transfers were good, 1 if not, 2 if
the call can't be carried out.)";

constexpr double theInterval = 0.02;

volatile std::sig_atomic_t isInterrupted = 0;

// The transfer at hand is brought to its end, unless there is a second signal.
void interrupt(int signal)
{
   isInterrupted = 1;
   std::signal(signal, SIG_DFL);
}

ExitCode receive(ReceiveOptions const & options)
{
   LibraryWords words;
   TransferProgress progress = progressOnTerminal();
   FileReceiver receiver(options, words, std::cout, std::cerr, progress);
   std::signal(SIGINT, interrupt);
   std::signal(SIGTERM, interrupt);
   std::cerr << "tsl: listening on port " << receiver.port() << ", files go into " << options.into
             << std::endl;
   while (isInterrupted == 0 && !receiver.isDone())
   {
      receiver.tick();
      DtSleep(theInterval);
   }
   return receiver.bad() == 0 ? ExitWell : ExitFailed;
}

} // namespace

void addRecvCommand(CLI::App & app, ExitCode & code)
{
   auto const options = std::make_shared<ReceiveOptions>();
   CLI::App * const command = app.add_subcommand("recv", "Receives files that are sent to this host");
   command->add_option("--port", options->port, "The port to listen on; 0 lets the system choose")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
   command->add_option("--into", options->into, "The folder for the files; it is made if need be")
      ->capture_default_str();
   command
      ->add_option("--max-size", options->maxSize, "Refuse larger files: bytes, or a number with kB, MB, GB")
      ->transform(CLI::AsSizeValue(true))
      ->capture_default_str();
   command->add_flag("--ipv6", options->ipv6, "Listen on IPv6 addresses");
   command->add_flag("--force", options->force, "Overwrite files that are there");
   command->add_flag("--once", options->once, "End after the first transfer, good or not");
   command->footer(theFooter);
   command->callback([options, &code] { code = receive(*options); });
}
