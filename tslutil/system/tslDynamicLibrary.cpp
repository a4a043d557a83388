// SPDX-License-Identifier: MIT
#include "tslutil/system/tslDynamicLibrary.h"

#include "tslutil/platform/loader.h"

#include <memory>
#include <string>

DtDynamicLibrary * DtDynamicLibrary::create(DtString const & name, bool addExtension, bool second, bool third)
{
   std::unique_ptr<DtDynamicLibrary> library(new DtDynamicLibrary(name));
   library->open(addExtension, second, third);
   return library.release();
}

DtDynamicLibrary::DtDynamicLibrary(DtString const & name)
   : hmod(nullptr), myLibraryName(name), errorText(nullptr)
{
}

DtDynamicLibrary::~DtDynamicLibrary()
{
   delete[] errorText;
   if (hmod != nullptr)
      tsl::platform::unloadLibrary(hmod);
}

void * DtDynamicLibrary::procAddress(DtString const & symbol)
{
   if (!isValid())
      return nullptr;
   complain(nullptr);
   void * const address = tsl::platform::librarySymbol(hmod, symbol);
   if (address == nullptr)
      complain(("Could not find symbol " + symbol + " in library " + myLibraryName).c_str());
   return address;
}

void DtDynamicLibrary::open(bool addExtension, bool, bool)
{
   if (addExtension)
      myLibraryName += standardExtension();
   tsl::platform::LoadError reason;
   hmod = tsl::platform::loadLibrary(myLibraryName, reason);
   if (!isValid())
      complain(("LoadLibrary returned NULL (Error: " + std::to_string(reason) + ")").c_str());
}

bool DtDynamicLibrary::isValid() const
{
   return hmod != nullptr;
}

char const * DtDynamicLibrary::error() const
{
   return errorText;
}

DtString DtDynamicLibrary::libraryName()
{
   return myLibraryName;
}

DtString DtDynamicLibrary::standardExtension()
{
   return tsl::platform::libraryExtension;
}

void DtDynamicLibrary::complain(char const * text)
{
   delete[] errorText;
   errorText = DtStrdup(text);
}
