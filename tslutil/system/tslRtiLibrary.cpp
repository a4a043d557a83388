// SPDX-License-Identifier: MIT
#include "tslutil/system/tslRtiLibrary.h"

#include "tslutil/system/libraryHeader.h"
#include "tslutil/system/tslDirectory.h"
#include "tslutil/system/tslDynamicLibrary.h"

#include <string>

namespace
{

struct Family
{
   char const * first;
   char const * second;
   char const * suffix;
};

Family const & familyOf(DtHLALib library)
{
   static Family const families[] = {{"libRTI-NG", "libfedtime", "_64"},
                                     {"librti1516", "libfedtime1516", "_64"},
                                     {"librti1516e64", "libfedtime1516e64", ""}};
   return families[library == DtHLALib1516 || library == DtHLALib1516e ? library : DtHLALib13];
}

/// The library's file in the directory where it is found; else the bare name of the file.
DtFilename findLibrary(char const * name, char const * suffix)
{
   DtString const file = DtString(name) + suffix + DtDynamicLibrary::standardExtension();
   DtFilename path = DtLibPath(file);
   path.append(DtFilename(file));
   return path;
}

std::string verdictOn(tsl::LibraryHeader const & header)
{
   switch (header.kind)
   {
   case tsl::LibraryHeader::OtherWidth:
      return " found. Error: Library architecture does not match.  Expected 64 bit, found 32 bit.";
   case tsl::LibraryHeader::Compiled:
      return header.fits ? " found!\n"
                         : " Expected " + header.expected + " but found " + header.compiler + "\n";
   default:
      return "";
   }
}

} // namespace

DtFilename DtLibPath(DtString const & name)
{
   return DtSearchPathList(DtFilename(name), DtString());
}

bool checkRtiCompilerVersion(DtHLALib library, DtString & report)
{
   Family const & family = familyOf(library);
   if (*family.first == '\0' || *family.second == '\0')
   {
      // For a family without libraries on this platform; here all have theirs.
      report = "Incorrect HLA version or Architecture";
      return false;
   }
   // The announcement has the suffix "_64" also where the file has none: that is meant.
   report += DtString("Looking for: ") + family.first + "_64" + DtDynamicLibrary::standardExtension() + ". ";
   DtFilename const first = findLibrary(family.first, family.suffix);
   DtFilename const second = findLibrary(family.second, family.suffix);
   return DtCheckRtiLibraryFile(first, report) && DtCheckRtiLibraryFile(second, report);
}

bool DtCheckRtiLibraryFile(DtFilename const & file, DtString & report)
{
   report += "Found library in: ";
   tsl::LibraryFile opened(file);
   if (!opened.isOpen())
      return false;
   tsl::LibraryHeader const header = tsl::readLibraryHeader(opened);
   report += (file.stdString() + "." + verdictOn(header)).c_str();
   return header.fits;
}
