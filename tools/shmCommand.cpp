// SPDX-License-Identifier: MIT
#include "tools/command.h"

#include "tslutil/base/tslException.h"
#include "tslutil/platform/sharedMemory.h"
#include "tslutil/thread/tslSharedMemoryPool.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using nlohmann::json;
using namespace tsl::platform;

constexpr char const * theFooter = R"(
Example: which blocks of shared memory are there, and who holds them?
  tsl shm list
Those that a killed process left behind are taken away, as the next user of the name would:
  tsl shm clean

Ends with 0, with 1 if a block that nobody holds could not be removed, with 2 if the call can't be carried out.)";

struct Holder
{
   int process;
   std::string program;
};

/// A block of shared memory as this user sees it.
struct Block
{
   std::string name;
   std::string file;
   std::uint64_t size;
   std::int64_t age; ///< in seconds
   bool isHeld;
   std::vector<Holder> holders; ///< those of them that this user may see
};

typedef std::pair<dev_t, ino_t> FileId;
typedef std::map<FileId, std::vector<Holder>> Holders;

FileId idOf(struct stat const & status)
{
   return {status.st_dev, status.st_ino};
}

std::string firstLine(std::filesystem::path const & file)
{
   std::string line;
   std::getline(std::ifstream(file), line);
   return line;
}

/// Who has which file of the folder of shared memory open, as far as this user may see it.
Holders findHolders()
{
   Holders holders;
   std::error_code ended; // processes end while they are looked at
   for (auto const & process : std::filesystem::directory_iterator("/proc", ended))
   {
      std::string const number = process.path().filename();
      if (!std::all_of(number.begin(), number.end(), [](unsigned char digit) { return std::isdigit(digit); }))
         continue;
      for (auto const & entry : std::filesystem::directory_iterator(process.path() / "fd", ended))
      {
         std::string const file = std::filesystem::read_symlink(entry.path(), ended);
         struct stat status = {};
         if (file.rfind(sharedMemoryFolder, 0) != 0 || ::stat(entry.path().c_str(), &status) != 0)
            continue;
         std::vector<Holder> & those = holders[idOf(status)];
         if (those.empty() || those.back().process != std::stoi(number))
            those.push_back({std::stoi(number), firstLine(process.path() / "comm")});
      }
   }
   return holders;
}

/// The name that a file stands for; none if the library doesn't name a file so.
std::optional<std::string> nameOf(std::string const & file)
{
   std::string name;
   for (std::size_t i = sizeof sharedMemoryPrefix - 1; i < file.size(); ++i)
   {
      bool const isEscape = file[i] == '%' && i + 2 < file.size();
      name +=
         isEscape ? static_cast<char>(std::strtoul(file.substr(i + 1, 2).c_str(), nullptr, 16)) : file[i];
      i += isEscape ? 2 : 0;
   }
   return sharedMemoryFileName(name) == file ? std::optional(name) : std::nullopt;
}

/// Whether a handle to the block is open somewhere; looks without locking.
bool isInUse(int file)
{
   struct flock range = {};
   range.l_type = F_WRLCK;
   range.l_whence = SEEK_SET;
   range.l_start = sharedMemoryUseByte;
   range.l_len = 1;
   return fcntl(file, F_OFD_GETLK, &range) != 0 || range.l_type != F_UNLCK;
}

/// The block in a file, if it is one, and one of this user.
std::optional<Block> readBlock(std::filesystem::path const & path, Holders const & holders)
{
   std::string const file = path.filename();
   std::optional<std::string> const name =
      file.rfind(sharedMemoryPrefix, 0) == 0 ? nameOf(file) : std::nullopt;
   int const opened = name ? ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC) : -1;
   if (opened < 0)
      return std::nullopt;
   std::optional<Block> block;
   struct stat status = {};
   if (fstat(opened, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid())
   {
      auto const found = holders.find(idOf(status));
      block = {*name,
               path,
               static_cast<std::uint64_t>(status.st_size),
               std::time(nullptr) - status.st_mtime,
               isInUse(opened),
               found != holders.end() ? found->second : std::vector<Holder>()};
   }
   ::close(opened);
   return block;
}

std::vector<Block> findBlocks()
{
   Holders const holders = findHolders();
   std::vector<Block> blocks;
   std::error_code none;
   for (auto const & entry : std::filesystem::directory_iterator(sharedMemoryFolder, none))
   {
      if (std::optional<Block> block = readBlock(entry.path(), holders))
         blocks.push_back(std::move(*block));
   }
   std::sort(blocks.begin(), blocks.end(), [](Block const & a, Block const & b) { return a.name < b.name; });
   return blocks;
}

/// What a name holds of the terminal's controls and the like is shown as its file's name shows it.
std::string shown(std::string const & name)
{
   return sharedMemoryFileName(name).substr(sizeof sharedMemoryPrefix - 1);
}

std::string ageText(std::int64_t seconds)
{
   struct
   {
      std::int64_t seconds;
      char const * name;
   } constexpr units[] = {{86400, " d"}, {3600, " h"}, {60, " min"}};
   for (auto const & unit : units)
   {
      if (seconds >= 2 * unit.seconds)
         return std::to_string(seconds / unit.seconds) + unit.name;
   }
   return std::to_string(seconds) + " s";
}

std::string holdersText(Block const & block)
{
   if (!block.isHeld)
      return "nobody";
   std::string text;
   for (Holder const & holder : block.holders)
      text += (text.empty() ? "" : ", ") + std::to_string(holder.process) + " " + holder.program;
   return text.empty() ? "a process that can't be seen from here" : text;
}

json asJson(Block const & block)
{
   json holders = json::array();
   for (Holder const & holder : block.holders)
      holders.push_back({{"process", holder.process}, {"program", holder.program}});
   return {{"name", block.name}, {"file", block.file},     {"bytes", block.size},
           {"age", block.age},   {"isHeld", block.isHeld}, {"holders", holders}};
}

/// Names are bytes of any kind.
void print(json const & what)
{
   std::cout << what.dump(2, ' ', false, json::error_handler_t::replace) << "\n";
}

ExitCode list(bool asJsonText)
{
   std::vector<Block> const blocks = findBlocks();
   if (asJsonText)
   {
      json all = json::array();
      for (Block const & block : blocks)
         all.push_back(asJson(block));
      print(all);
      return ExitWell;
   }
   std::size_t width = 4;
   for (Block const & block : blocks)
      width = std::max(width, shown(block.name).size());
   auto const row = [&](std::string const & name, std::string const & bytes, std::string const & age)
   {
      std::cout << std::left << std::setw(static_cast<int>(width)) << name << std::right << std::setw(12)
                << bytes << std::setw(9) << age << "  ";
   };
   row("Name", "Bytes", "Age");
   std::cout << "Held by\n";
   for (Block const & block : blocks)
   {
      row(shown(block.name), std::to_string(block.size), ageText(block.age));
      std::cout << holdersText(block) << "\n";
   }
   return ExitWell;
}

/// Who wants to join a block that nobody holds removes it. False if somebody holds it by now.
bool takeAway(Block const & block)
{
   try
   {
      DtSharedMemoryPoolClient const joined{DtString(block.name.c_str())};
      return false;
   }
   catch (DtException const &)
   {
      return true;
   }
}

ExitCode clean(bool asJsonText)
{
   json removed = json::array();
   ExitCode code = ExitWell;
   for (Block const & block : findBlocks())
   {
      if (block.isHeld || !takeAway(block))
         continue;
      if (std::error_code unknown; std::filesystem::exists(block.file, unknown))
      {
         std::cerr << "tsl: " << block.file << " could not be removed.\n";
         code = ExitFailed;
         continue;
      }
      removed.push_back(asJson(block));
      if (!asJsonText)
         std::cout << "removed " << shown(block.name) << ", " << block.size << " bytes\n";
   }
   if (asJsonText)
      print(removed);
   else if (removed.empty() && code == ExitWell)
      std::cout << "nothing to remove\n";
   return code;
}

void addAction(CLI::App & shm, char const * name, char const * what, ExitCode (*action)(bool),
               ExitCode & code)
{
   auto const isJson = std::make_shared<bool>(false);
   CLI::App * const command = shm.add_subcommand(name, what);
   command->add_flag("--json", *isJson, "Print one JSON array in place of lines");
   command->callback([isJson, action, &code] { code = action(*isJson); });
}

} // namespace

void addShmCommand(CLI::App & app, ExitCode & code)
{
   CLI::App * const shm =
      app.add_subcommand("shm", "Shows the blocks of shared memory, and takes away those that nobody holds");
   shm->require_subcommand(1);
   shm->footer(theFooter);
   addAction(*shm, "list", "Lists this user's blocks: size, age and who holds them", list, code);
   addAction(*shm, "clean", "Removes this user's blocks that nobody holds", clean, code);
}
