// SPDX-License-Identifier: MIT
#include "tools/transferCommand.h"

#include "tools/usageError.h"

#include <iostream>
#include <unistd.h>

TransferProgress progressOnTerminal()
{
   return {std::cerr, isatty(STDERR_FILENO) == 1};
}

ExitCode runTransfer(std::function<ExitCode()> const & command)
{
   try
   {
      return command();
   }
   catch (UsageError const & error)
   {
      std::cerr << "tsl: " << error.what() << "\n";
      return ExitUsage;
   }
   catch (std::exception const & error)
   {
      std::cerr << "tsl: " << error.what() << "\n";
      return ExitFailed;
   }
}
