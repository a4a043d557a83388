// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"

/// A shared library, loaded by name for as long as this object lives, and the symbols in it. The text of the
/// last failure is kept for the caller; nothing throws. Loading runs the library's own start-up code.
class TSLUTIL_EXPORT DtDynamicLibrary
{
public:
   /// Loads `name`, with the standard extension behind it, whatever it ends in, if `addExtension` is true.
   /// Without a separator the name is looked for where the system keeps its libraries. The caller owns the
   /// object, which comes also if nothing was loaded: test isValid. The other flags have no meaning here.
   static DtDynamicLibrary * create(DtString const & name, bool addExtension, bool second = false,
                                    bool third = false);
   DtDynamicLibrary(DtDynamicLibrary const &) = delete;
   DtDynamicLibrary & operator=(DtDynamicLibrary const &) = delete;

   // Virtual operations, in slot order.

   /// Unloads the library; addresses of its symbols are void from then on.
   virtual ~DtDynamicLibrary();
   /// The address of a symbol that this library itself defines. Null if there is none, which error() then
   /// tells; a success clears an older complaint. Null, and the complaint as it was, without a library.
   virtual void * procAddress(DtString const & symbol);

protected:
   /// Adds the extension if asked to and loads the library; a failure shows in isValid and error.
   virtual void open(bool addExtension, bool second, bool third);

public:
   /// Whether a library is loaded.
   bool isValid() const;
   /// What the last operation complained of; null if it didn't. Valid until the next one.
   char const * error() const;
   /// The name as it was opened, with its extension if that was added.
   DtString libraryName();

   /// ".so", the extension of shared libraries on this platform.
   static DtString standardExtension();

protected:
   /// Keeps the name and loads nothing.
   explicit DtDynamicLibrary(DtString const & name);

   /// The module; null when nothing is loaded.
   void * hmod;
   /// See libraryName().
   DtString myLibraryName;
   /// From DtStrdup; null when there is no complaint.
   char * errorText;

private:
   void complain(char const * text);
};
