// SPDX-License-Identifier: MIT
#pragma once

#include "tools/command.h"
#include "tools/transferProgress.h"

#include <functional>

/// Progress on standard error, if that is a terminal.
TransferProgress progressOnTerminal();

/// Runs a command, tells on standard error what it throws, and answers with what to end.
ExitCode runTransfer(std::function<ExitCode()> const & command);
