// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Other processes, as the system starts them. Any thread.
namespace tsl::platform
{

/// The system that the library is built for.
#ifdef _WIN32
constexpr char operatingSystemName[] = "Microsoft Windows";
#else
constexpr char operatingSystemName[] = "Linux";
#endif

/// Starts the program that a command line names, with its words as arguments: blanks and tabs part them,
/// double quotes hold them together, a backslash before a quote takes its meaning. The program is the
/// shortest part of the line up to a blank that can be executed, looked for along PATH if it has no
/// directory. It runs in `directory`, unless that is empty; its own path is meant as seen from here. It gets
/// no descriptor but 0 to 2, the default signals and the environment; with `shown` it shares the terminal,
/// else it has none, and descriptors 0 to 2 lead nowhere. Returns the process's id, or 0 with `error` set to
/// the system's number.
int startProcess(std::string const & commandLine, bool shown, std::string const & directory,
                 unsigned int & error);

/// Has the end of a started process be taken note of by a later reapProcesses, or when this process ends.
void forgetProcess(int process);

/// Takes note of the forgotten processes that have ended. Those of the application are left to it.
void reapProcesses();

int processId();
int parentProcessId();

} // namespace tsl::platform
