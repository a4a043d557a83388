// SPDX-License-Identifier: MIT
#include "tslutil/base/tslMiniDumper.h"

#include "tslutil/platform/crash.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace
{

constexpr char theSuffix[] = ".dmp";

// A name has room for the suffix once.
bool theNameHasSuffix = false;

} // namespace

char * DtMiniDumper::m_szAppName = nullptr;

DtMiniDumper::DtMiniDumper(char const * appName)
{
   std::string const name(appName != nullptr ? appName : "Application");
   char * copy = new char[name.size() + sizeof theSuffix];
   std::memcpy(copy, name.c_str(), name.size() + 1);
   std::swap(copy, m_szAppName);
   theNameHasSuffix = false;
   delete[] copy;
   tsl::platform::installCrashFilter(TopLevelFilter);
}

// Nothing needs to be found before the user is asked: what writes the dump is part of this library.
long DtMiniDumper::TopLevelFilter(tsl::platform::CrashInfo * info)
{
   using tsl::platform::DecimalText;
   if (m_szAppName == nullptr)
      return 0;
   if (!std::exchange(theNameHasSuffix, true))
      std::strcat(m_szAppName, theSuffix);
   if (!tsl::platform::askInCrash(m_szAppName,
                                  "A fatal error has occurred.\nWould you like to save a diagnostic file?"))
      return 0;

   int const file = tsl::platform::createDumpFile(m_szAppName);
   if (file < 0)
   {
      DecimalText const error(errno);
      tsl::platform::tellInCrash(
         m_szAppName, {"Failed to create dump file '", m_szAppName, "' (error ", error.c_str(), ")"});
      return 0;
   }
   bool const isSaved = tsl::platform::writeCrashDump(file, info);
   DecimalText const error(errno);
   tsl::platform::closeDumpFile(file);
   if (isSaved)
      tsl::platform::tellInCrash(m_szAppName, {"Saved dump file to '", m_szAppName, "'"});
   else
      tsl::platform::tellInCrash(
         m_szAppName, {"Failed to save dump file to '", m_szAppName, "' (error ", error.c_str(), ")"});
   return isSaved ? 1 : 0;
}
