// SPDX-License-Identifier: MIT
#include "tslutil/platform/files.h"

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tsl::platform
{

namespace
{

struct DirectoryCloser
{
   void operator()(DIR * directory) const { closedir(directory); }
};

typedef std::unique_ptr<DIR, DirectoryCloser> Directory;

int openToRead(char const * name, int flags)
{
   int descriptor;
   do
      descriptor = open(name, O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags);
   while (descriptor < 0 && errno == EINTR);
   return descriptor;
}

Directory openDirectory(char const * name)
{
   int const descriptor = openToRead(name, O_DIRECTORY);
   if (descriptor < 0)
      return nullptr;
   Directory directory(fdopendir(descriptor));
   if (directory == nullptr)
      close(descriptor);
   return directory;
}

std::vector<std::string> entriesOf(DIR * directory)
{
   std::vector<std::string> names;
   while (dirent const * const entry = readdir(directory))
      names.push_back(entry->d_name);
   return names;
}

} // namespace

bool pathExists(char const * name)
{
   return access(name, F_OK) == 0;
}

bool pathWritable(char const * name)
{
   return access(name, W_OK) == 0;
}

bool fileReadable(char const * name)
{
   int const descriptor = openToRead(name, 0);
   if (descriptor < 0)
      return false;
   struct stat status;
   bool const plain = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
   close(descriptor);
   return plain;
}

bool fileSize(char const * name, std::uint64_t & size)
{
   struct stat status;
   if (stat(name, &status) != 0)
      return false;
   size = S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
   return true;
}

std::FILE * openFile(char const * name, char const * mode)
{
   // "e", behind the letter that must stand first, is what keeps the file from children.
   std::string closing(mode);
   if (!closing.empty())
      closing.insert(1, "e");
   std::FILE * file;
   do
      file = std::fopen(name, closing.c_str());
   while (file == nullptr && errno == EINTR);
   return file;
}

bool makeDirectory(char const * name)
{
   return mkdir(name, 0777) == 0;
}

void deleteFilesIn(char const * name)
{
   Directory const directory = openDirectory(name);
   if (directory == nullptr)
      return;
   // All names first: to delete while reading could pass some over.
   for (std::string const & entry : entriesOf(directory.get()))
      unlinkat(dirfd(directory.get()), entry.c_str(), 0);
}

bool deleteDirectory(char const * name)
{
   return rmdir(name) == 0;
}

std::vector<std::string> directoryEntries(char const * name)
{
   Directory const directory = openDirectory(name);
   return directory != nullptr ? entriesOf(directory.get()) : std::vector<std::string>();
}

std::string workingDirectory()
{
   std::unique_ptr<char, void (*)(void *)> const name(getcwd(nullptr, 0), std::free);
   return name != nullptr ? name.get() : "";
}

std::string temporaryDirectory()
{
   return std::string(P_tmpdir) + pathSeparator;
}

std::string homeDirectory()
{
   std::vector<char> texts(1024);
   passwd entry;
   passwd * found = nullptr;
   int error;
   while ((error = getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found)) == ERANGE ||
          error == EINTR)
   {
      if (error == ERANGE)
         texts.resize(2 * texts.size());
   }
   return found != nullptr ? found->pw_dir : "";
}

std::string settingsDirectory()
{
   std::string const home = homeDirectory();
   return home.empty() ? home : home + "/.config";
}

} // namespace tsl::platform
