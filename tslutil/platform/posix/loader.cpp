// SPDX-License-Identifier: MIT
#include "tslutil/platform/loader.h"

#include "tslutil/platform/files.h"

#include <clocale>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <locale.h>
#include <string>

namespace tsl::platform
{

namespace
{

/// What the loader says of its last failure, in the words of no language but its own: they tell the reason.
std::string loaderWords()
{
   locale_t const plain = newlocale(LC_ALL_MASK, "C", nullptr);
   locale_t const before = uselocale(plain);
   char const * const words = dlerror();
   std::string const text = words != nullptr ? words : "";
   uselocale(before);
   freelocale(plain);
   return text;
}

LoadError reasonIn(std::string const & words)
{
   if (words.find("cannot open shared object file") != std::string::npos)
      return LoadNotFound;
   if (words.find("undefined symbol") != std::string::npos)
      return LoadNoSymbol;
   return LoadWrongFormat;
}

} // namespace

void * loadLibrary(char const * name, LoadError & error)
{
   error = LoadNotFound;
   // The loader takes an empty name for the program itself, and waits for the far end of a pipe.
   bool const isPath = std::strchr(name, pathSeparator) != nullptr;
   if (*name == '\0' || (isPath && !fileReadable(name)))
      return nullptr;
   void * const library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
   if (library == nullptr)
      error = reasonIn(loaderWords());
   return library;
}

void * librarySymbol(void * library, char const * symbol)
{
   void * const address = dlsym(library, symbol);
   link_map * module = nullptr;
   link_map * owner = nullptr;
   Dl_info info;
   bool const isOwn = address != nullptr && dlinfo(library, RTLD_DI_LINKMAP, &module) == 0 &&
                      dladdr1(address, &info, reinterpret_cast<void **>(&owner), RTLD_DL_LINKMAP) != 0 &&
                      owner == module;
   return isOwn ? address : nullptr;
}

void unloadLibrary(void * library)
{
   dlclose(library);
}

} // namespace tsl::platform
