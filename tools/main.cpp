// SPDX-License-Identifier: MIT
// The command-line program `tsl`: shows what the library does, on the user's own data.
#include "tools/command.h"
#include "tools/usageError.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace
{

ExitCode tell(std::exception const & error, ExitCode code)
{
   std::cerr << "tsl: " << error.what() << "\n";
   return code;
}

} // namespace

int main(int argc, char ** argv)
{
   CLI::App app("Shows what tslutil, the utility library for distributed simulation, does with your data.",
                "tsl");
   app.set_version_flag("--version", TSLUTIL_VERSION);
   app.require_subcommand(1);
   ExitCode code = ExitWell;
   addExchangeCommand(app, code);
   addFomCommand(app, code);
   addShmCommand(app, code);
   addCrashCommand(app, code);
   addLibCommand(app, code);
   addSendCommand(app, code);
   addRecvCommand(app, code);
   try
   {
      app.parse(argc, argv);
   }
   catch (CLI::ParseError const & error)
   {
      return app.exit(error) == 0 ? ExitWell : ExitUsage;
   }
   catch (UsageError const & error)
   {
      return tell(error, ExitUsage);
   }
   catch (std::exception const & error)
   {
      return tell(error, ExitFailed);
   }
   return code;
}
