// SPDX-License-Identifier: MIT
#include "tslutil/system/tslDirectory.h"

#include "tslutil/platform/files.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace
{

constexpr std::size_t longestElement = 511;

/// Whether `name` matches a pattern of literal characters, "*" and "?".
bool matches(char const * name, char const * pattern)
{
   char const * star = nullptr;
   char const * resume = nullptr;
   while (*name != '\0')
   {
      if (*pattern == '*')
      {
         star = ++pattern;
         resume = name;
      }
      else if (*pattern == '?' || *pattern == *name)
      {
         ++pattern;
         ++name;
      }
      else if (star != nullptr)
      {
         pattern = star;
         name = ++resume;
      }
      else
         return false;
   }
   while (*pattern == '*')
      ++pattern;
   return *pattern == '\0';
}

} // namespace

std::FILE * DtFileOpen(char const * name, char const * mode)
{
   return name != nullptr && mode != nullptr ? tsl::platform::openFile(name, mode) : nullptr;
}

void DtFileClose(std::FILE * file)
{
   if (file != nullptr)
      std::fclose(file);
}

DtString DtGetCwd()
{
   return tsl::platform::workingDirectory();
}

DtFilename DtGetTempDirectory()
{
   return DtFilename(tsl::platform::temporaryDirectory().c_str());
}

DtFilename DtGetUserHomeDirectory()
{
   return DtFilename(tsl::platform::homeDirectory().c_str());
}

DtFilename DtGetOrvelUserConfigurationDirectory()
{
   std::string const settings = tsl::platform::settingsDirectory();
   return settings.empty() ? DtFilename() : DtFilename((settings + "/ORVEL").c_str());
}

bool DtMakeDirectory(DtFilename const & path)
{
   std::string const all = path.string();
   bool made = false;
   for (std::size_t end = all.find(DtFilename::separator());;
        end = all.find(DtFilename::separator(), end + 1))
   {
      made |= tsl::platform::makeDirectory(all.substr(0, end).c_str());
      if (end == std::string::npos)
         return made;
   }
}

bool DtDeleteDirectory(DtFilename const & path)
{
   tsl::platform::deleteFilesIn(path);
   return tsl::platform::deleteDirectory(path);
}

std::vector<DtFilename> DtGetFileListFromDirectory(DtString directory, DtString pattern)
{
   // One name, since the pattern may lead on into a directory.
   std::string const text =
      DtFilename((directory.stdString() + DtFilename::separator() + pattern.string()).c_str()).string();
   std::size_t const last = text.rfind(DtFilename::separator());
   std::string const wanted = text.substr(last + 1);
   std::vector<std::string> names = tsl::platform::directoryEntries(text.substr(0, last + 1).c_str());
   std::sort(names.begin(), names.end());
   std::vector<DtFilename> found;
   for (std::string const & name : names)
   {
      if (matches(name.c_str(), wanted == "*.*" ? "*" : wanted.c_str()))
         found.push_back(DtFilename(name.c_str()));
   }
   return found;
}

DtFilename DtSearchPathList(DtFilename const & file, DtString const & pathList)
{
   char const root[] = {DtFilename::separator(), '\0'};
   DtFilename name(file);
   name.prepend(DtFilename(root));
   std::string list = pathList.string();
   if (list.empty())
   {
      char const * const path = std::getenv("PATH");
      list = path != nullptr ? path : "";
   }
   for (std::size_t begin = 0, end; begin < list.size(); begin = end + 1)
   {
      end = std::min(list.find(tsl::platform::listSeparator, begin), list.size());
      std::string const element = list.substr(begin, end - begin);
      if (element.size() > longestElement)
      {
         std::fputs("DtSearchPathList: a directory has more than 511 characters\n", stderr);
         std::abort();
      }
      if (!element.empty() && tsl::platform::fileReadable((element + name.string()).c_str()))
         return DtFilename(element.c_str());
   }
   return DtFilename();
}
