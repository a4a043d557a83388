// SPDX-License-Identifier: MIT
#include "tools/crashDump.h"

#include "tools/usageError.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

namespace
{

/// No dump is longer.
constexpr std::uintmax_t theLargestDump = 64u << 20;

std::uint64_t hexadecimal(std::string const & text)
{
   return std::strtoull(text.c_str(), nullptr, 16);
}

/// Reads "begin-end access offset device inode file"; false if the line is something else.
bool readMapping(std::string const & line, CrashMapping & mapping)
{
   std::istringstream in(line);
   std::string device, inode;
   char dash = '\0';
   in >> std::hex >> mapping.begin >> dash >> mapping.end >> mapping.access >> mapping.offset >> device >>
      inode;
   std::getline(in >> std::ws, mapping.file);
   return dash == '-' && !inode.empty();
}

/// The head: a line for each number.
void readNumber(std::string const & line, CrashDump & dump)
{
   std::istringstream in(line);
   std::string name, value;
   in >> name >> value;
   std::pair<char const *, long CrashDump::*> const numbers[] = {{"signal", &CrashDump::signal},
                                                                 {"code", &CrashDump::code},
                                                                 {"process", &CrashDump::process},
                                                                 {"thread", &CrashDump::thread}};
   for (auto const & [which, member] : numbers)
   {
      if (name == which)
         dump.*member = std::strtol(value.c_str(), nullptr, 10);
   }
   if (name == "address")
      dump.address = hexadecimal(value);
}

void readLine(std::string const & section, std::string const & line, CrashDump & dump)
{
   std::istringstream in(line);
   std::string name, value;
   CrashMapping mapping;
   if (section.empty())
      readNumber(line, dump);
   else if (section == "registers" && in >> name >> value)
      dump.registers.emplace_back(name, hexadecimal(value));
   else if (section == "map" && readMapping(line, mapping))
      dump.map.push_back(mapping);
   else if (section == "frames" && in >> value)
      dump.frames.push_back({hexadecimal(value), "", 0, {}});
}

/// The dump begins with the frames of its own writing; the crash stands where the processor was.
void dropOwnFrames(CrashDump & dump)
{
   for (auto const & [name, value] : dump.registers)
   {
      auto const isCrash = [at = value](CrashFrame const & frame) { return frame.address == at; };
      auto const crash = std::find_if(dump.frames.begin(), dump.frames.end(), isCrash);
      if ((name == "rip" || name == "pc") && crash != dump.frames.end())
         dump.frames.erase(dump.frames.begin(), crash);
   }
}

/// Whether the addresses in a module are those of memory: it was linked for one place alone.
bool isFixed(std::string const & module)
{
   std::array<char, 18> head = {};
   std::ifstream(module, std::ios::binary).read(head.data(), head.size());
   return head[16] == 2 && head[17] == 0;
}

void findModule(CrashDump const & dump, CrashFrame & frame)
{
   std::uint64_t base = 0;
   std::string file;
   for (CrashMapping const & mapping : dump.map)
   {
      if (mapping.offset == 0)
      {
         base = mapping.begin;
         file = mapping.file;
      }
      if (frame.address < mapping.begin || frame.address >= mapping.end || mapping.file != file)
         continue;
      frame.module = file;
      frame.offset = frame.address - base;
   }
}

bool isReadableModule(std::string const & module)
{
   std::error_code unknown;
   return !module.empty() && module[0] == '/' && std::filesystem::is_regular_file(module, unknown) &&
          std::none_of(module.begin(), module.end(), [](unsigned char c) { return c < ' '; });
}

/// As the shell takes it for one word, whatever stands in it.
std::string quoted(std::string const & word)
{
   std::string result("'");
   for (char const character : word)
      result += character == '\'' ? "'\\''" : std::string(1, character);
   return result + "'";
}

/// The lines that a command prints; none if it fails.
std::vector<std::string> linesOf(std::string const & command)
{
   std::unique_ptr<std::FILE, int (*)(std::FILE *)> const pipe(::popen(command.c_str(), "re"), ::pclose);
   std::string text;
   char block[4096];
   for (std::size_t count; pipe && (count = std::fread(block, 1, sizeof block, pipe.get())) > 0;)
      text.append(block, count);
   std::vector<std::string> lines;
   std::istringstream in(text);
   for (std::string line; std::getline(in, line);)
      lines.push_back(line);
   return lines;
}

CrashPlace placeFrom(std::string const & function, std::string source)
{
   source.resize(std::min(source.find(" (discriminator"), source.size()));
   bool const isKnown = source.rfind("??", 0) != 0 && source.find(":?") == std::string::npos;
   return {function == "??" ? "" : function, isKnown ? source : ""};
}

/// The program's answer: for each address a line of its own, then pairs of lines, function and source.
void takePlaces(std::vector<std::string> const & lines, std::vector<CrashFrame *> const & frames)
{
   std::size_t next = 0;
   CrashFrame * frame = nullptr;
   for (std::size_t i = 0; i < lines.size(); ++i)
   {
      if (lines[i].rfind("0x", 0) == 0 && next < frames.size())
         frame = frames[next++];
      else if (frame != nullptr && i + 1 < lines.size())
      {
         CrashPlace const place = placeFrom(lines[i], lines[i + 1]);
         if (!place.function.empty())
            frame->places.push_back(place);
         ++i;
      }
   }
}

std::string addressesOf(std::vector<CrashFrame *> const & frames, CrashDump const & dump, bool fixed)
{
   std::ostringstream out;
   for (CrashFrame const * frame : frames)
   {
      // A return address lies behind its call, maybe in another line.
      std::uint64_t const back = frame == &dump.frames.front() ? 0 : 1;
      out << " 0x" << std::hex << (fixed ? frame->address : frame->offset) - back;
   }
   return out.str();
}

std::string findProgram()
{
   for (std::string const program : {"addr2line", "llvm-addr2line"})
   {
      if (!linesOf("command -v " + program).empty())
         return program;
   }
   return "";
}

} // namespace

CrashDump readCrashDump(std::string const & path)
{
   std::error_code unknown;
   std::ifstream file;
   // A pipe would be waited for.
   if (std::filesystem::is_regular_file(path, unknown))
      file.open(path);
   if (!file.is_open())
      throw UsageError(path + " can't be read. Is it the name of a crash dump, as \"NAME.dmp\"?");
   CrashDump dump;
   std::string section, line;
   if (std::filesystem::file_size(path, unknown) > theLargestDump || !std::getline(file, line) ||
       line.rfind("signal ", 0) != 0)
      throw UsageError(path + " is no crash dump: those of this library begin with \"signal\".");
   do
   {
      if (line == "registers" || line == "map" || line == "frames")
         section = line;
      else
         readLine(section, line, dump);
   } while (std::getline(file, line));
   dropOwnFrames(dump);
   for (CrashFrame & frame : dump.frames)
      findModule(dump, frame);
   return dump;
}

bool findPlaces(CrashDump & dump)
{
   std::string const program = findProgram();
   if (program.empty())
      return false;
   std::map<std::string, std::vector<CrashFrame *>> frames;
   for (CrashFrame & frame : dump.frames)
   {
      if (isReadableModule(frame.module))
         frames[frame.module].push_back(&frame);
   }
   for (auto const & [module, those] : frames)
      takePlaces(linesOf(program + " -a -f -C -i -e " + quoted(module) +
                         addressesOf(those, dump, isFixed(module)) + " 2>/dev/null"),
                 those);
   return true;
}
