// SPDX-License-Identifier: MIT
#include "tools/command.h"
#include "tools/crashDump.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <csignal>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

namespace
{

using nlohmann::json;

constexpr char const * theFooter = R"(
Example: where did the simulation crash, and on which way did it get there?
  tsl crash sim.dmp
Functions and lines are those of the programs and libraries as they lie there now; they need addr2line, of the
package binutils, and debugging information. What is unknown is shown as module and offset.

Ends with 0 if the dump was printed, with 2 if it can't be read.)";

struct Arguments
{
   std::string file;
   bool json = false;
};

std::string hexadecimal(std::uint64_t number)
{
   std::ostringstream out;
   out << "0x" << std::hex << number;
   return out.str();
}

std::string signalName(long signal)
{
   char const * const name = signal > 0 && signal < NSIG ? sigabbrev_np(static_cast<int>(signal)) : nullptr;
   return name != nullptr ? "SIG" + std::string(name) : "unknown signal";
}

/// What the code says of the cause; empty if nothing.
std::string causeOf(CrashDump const & dump)
{
   struct
   {
      long signal, code;
      char const * text;
   } constexpr causes[] = {{SIGSEGV, SEGV_MAPERR, "there is no memory at the address"},
                           {SIGSEGV, SEGV_ACCERR, "the memory at the address does not allow it"},
                           {SIGBUS, BUS_ADRALN, "the address is not aligned"},
                           {SIGBUS, BUS_ADRERR, "the address is beyond the end of a mapped file"},
                           {SIGFPE, FPE_INTDIV, "an integer was divided by zero"},
                           {SIGFPE, FPE_INTOVF, "an integer was too large"},
                           {SIGILL, ILL_ILLOPC, "there is no such instruction"},
                           {SIGILL, ILL_ILLOPN, "there is no such instruction"}};
   for (auto const & cause : causes)
   {
      if (cause.signal == dump.signal && cause.code == dump.code)
         return cause.text;
   }
   return dump.code <= 0 ? "raised by a process" : "";
}

/// Whether the code came with the system: what called it is more telling.
bool isOfSystem(CrashFrame const & frame)
{
   return frame.module.rfind("/lib", 0) == 0 || frame.module.rfind("/usr/lib", 0) == 0;
}

/// The place to look at first: the innermost function that did not come with the system; else the innermost
/// of all. Null if none is known.
CrashPlace const * crashPlace(CrashDump const & dump)
{
   CrashPlace const * result = nullptr;
   for (CrashFrame const & frame : dump.frames)
   {
      if (frame.places.empty())
         continue;
      if (!isOfSystem(frame))
         return &frame.places.front();
      result = result != nullptr ? result : &frame.places.front();
   }
   return result;
}

std::string sourceText(CrashPlace const & place)
{
   return place.source.empty() ? "" : ", " + place.source;
}

std::string moduleText(CrashFrame const & frame)
{
   return frame.module.empty() ? "no module" : frame.module + "+" + hexadecimal(frame.offset);
}

void printFrames(std::ostream & out, CrashDump const & dump)
{
   int number = 0;
   for (CrashFrame const & frame : dump.frames)
   {
      out << "  #" << std::left << std::setw(4) << number++ << hexadecimal(frame.address) << "  "
          << moduleText(frame) << "\n";
      for (CrashPlace const & place : frame.places)
         out << "         " << place.function << sourceText(place) << "\n";
   }
}

void print(std::ostream & out, std::string const & file, CrashDump const & dump)
{
   std::string const cause = causeOf(dump);
   out << file << ": process " << dump.process << " crashed in thread " << dump.thread << "\n"
       << signalName(dump.signal) << " (" << dump.signal << "), code " << dump.code << ", address "
       << hexadecimal(dump.address) << (cause.empty() ? "" : ": ") << cause << "\n";
   if (CrashPlace const * const place = crashPlace(dump))
      out << "Crashed in " << place->function << sourceText(*place) << "\n";
   out << "\nReturn addresses, the innermost first\n";
   printFrames(out, dump);
   out << "\nRegisters\n";
   for (auto const & [name, value] : dump.registers)
      out << "  " << std::left << std::setw(4) << name << hexadecimal(value) << "\n";
   out << "\nMemory map\n";
   for (CrashMapping const & one : dump.map)
      out << "  " << hexadecimal(one.begin) << "-" << hexadecimal(one.end) << " " << one.access << " "
          << one.file << "\n";
}

json asJson(CrashPlace const & place)
{
   return {{"function", place.function}, {"source", place.source}};
}

json asJson(CrashFrame const & frame)
{
   json places = json::array();
   for (CrashPlace const & place : frame.places)
      places.push_back(asJson(place));
   return {
      {"address", frame.address}, {"module", frame.module}, {"offset", frame.offset}, {"places", places}};
}

void printJson(std::ostream & out, std::string const & file, CrashDump const & dump)
{
   CrashPlace const * const place = crashPlace(dump);
   json frames = json::array();
   json registers = json::object();
   json map = json::array();
   for (CrashFrame const & frame : dump.frames)
      frames.push_back(asJson(frame));
   for (auto const & [name, value] : dump.registers)
      registers[name] = value;
   for (CrashMapping const & one : dump.map)
      map.push_back({{"begin", one.begin}, {"end", one.end}, {"access", one.access}, {"file", one.file}});
   json const all = {{"file", file},
                     {"signal", dump.signal},
                     {"signalName", signalName(dump.signal)},
                     {"code", dump.code},
                     {"cause", causeOf(dump)},
                     {"address", dump.address},
                     {"process", dump.process},
                     {"thread", dump.thread},
                     {"crashed", place ? asJson(*place) : json()},
                     {"frames", frames},
                     {"registers", registers},
                     {"map", map}};
   out << all.dump(2, ' ', false, json::error_handler_t::replace) << "\n";
}

ExitCode run(Arguments const & arguments)
{
   CrashDump dump = readCrashDump(arguments.file);
   if (!findPlaces(dump))
      std::cerr << "tsl: functions and lines are unknown: install addr2line, of the package binutils.\n";
   (arguments.json ? printJson : print)(std::cout, arguments.file, dump);
   return ExitWell;
}

} // namespace

void addCrashCommand(CLI::App & app, ExitCode & code)
{
   auto const arguments = std::make_shared<Arguments>();
   CLI::App * const command =
      app.add_subcommand("crash", "Prints a crash dump with the functions and lines of its addresses");
   command->add_option("FILE", arguments->file, "The dump that DtMiniDumper wrote: NAME.dmp")->required();
   command->add_flag("--json", arguments->json, "Print one JSON object in place of text");
   command->footer(theFooter);
   command->callback([arguments, &code] { code = run(*arguments); });
}
