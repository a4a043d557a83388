// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"

/// A string that knows it is a path: every assignment turns "/" into the system's separator, and paths are
/// split, joined and tested. Text added through `operator+=` is taken as it is. Where the separator is "/", a
/// backslash is a character like any other.
class TSLUTIL_EXPORT DtFilename : public DtString
{
public:
   /// An empty name.
   DtFilename();
   /// Copies the name as it stands; null is empty.
   DtFilename(char const * name);
   /// A copy.
   DtFilename(DtFilename const & other);
   /// The same.
   DtFilename & operator=(DtFilename const & other);

   // Virtual operations, in slot order.

   ~DtFilename() override;
   DtFilename & operator=(DtString const & name) override;
   DtFilename & operator=(char const * name) override;
   /// Whether the name begins with the separator, or has a ":" in second place.
   virtual bool absolute() const;
   /// The opposite of absolute.
   virtual bool relative() const;
   /// Puts `other` behind this name, with a separator between them. An absolute `other` replaces it.
   virtual void append(DtFilename const & other);
   /// Puts `other` ahead of this name, with a separator between them. An absolute name stays.
   virtual void prepend(DtFilename const & other);
   /// What follows the last "." of the last part; empty without one.
   virtual DtString extension() const;
   /// Replaces the extension, or adds it. `ext` may begin with its ".".
   virtual void setExtension(DtString const & ext);
   /// Leaves the directory with its trailing separator; nothing of "name" or "/name".
   virtual void stripFilename();
   /// Removes everything through the last separator.
   virtual void stripPath();
   /// Removes the last "." of the last part and what follows it. A part that stands directly in the root
   /// loses its separator.
   virtual void stripExtension();
   /// Whether the file exists and may be written.
   virtual bool isWritable() const;
   /// Whether the file exists and can be opened for reading; a directory or a pipe can't.
   virtual bool isReadable() const;
   /// The size in bytes; 0 if there is no such file, and for a directory. Says so on DtWarn if the system
   /// won't tell.
   virtual unsigned long fileLength() const;
   /// Whether there is something of this name.
   virtual bool exists() const;
   /// If nothing has this name, tries it behind `path`, which may be null, and takes the name that exists.
   /// Returns whether one does.
   virtual bool searchAlternatePath(char const * path);

   /// `first`, a separator and `second`; `second` alone if it is absolute or `first` is empty. A separator
   /// that ends `first` already is not minded.
   static DtFilename combine(DtFilename const & first, DtFilename const & second);

   /// Copies, stripped. Unlike the operation on the object, stripPath returns "/name" unchanged.
   static DtFilename stripExtension(DtFilename const & name);
   /// A copy without its last part.
   static DtFilename stripFilename(DtFilename const & name);
   /// A copy without its directory.
   static DtFilename stripPath(DtFilename const & name);

   /// The character between the parts of a path.
   static char separator();

   /// An empty name that lives until the process ends.
   static DtFilename const & nullFilename();

protected:
   /// What separator() answers.
   static char const theSeparator;

   /// Turns each "/" into the separator.
   void replaceSlashes();
};
