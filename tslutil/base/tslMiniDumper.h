// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

namespace tsl::platform
{
class CrashInfo;
}

/// Offers the user a diagnostic file when the process dies of a crash. Make one at the start of the program;
/// the object holds no state and need not outlive its constructor. The file is named after the application
/// with ".dmp" added and written to the working directory. Without a terminal in the foreground nobody can be
/// asked, and no file is written. Afterwards the process dies as it would have without this.
class TSLUTIL_EXPORT DtMiniDumper
{
public:
   /// Keeps a copy of `appName`, "Application" if it is null, and installs TopLevelFilter as the process's
   /// crash hook. The calling thread's stack overflows are caught too.
   explicit DtMiniDumper(char const * appName);

protected:
   /// Asks the user, writes the dump of the crashed thread and tells the outcome. 1 if a dump was saved, else
   /// 0. Runs inside the crash: allocates nothing.
   static long TopLevelFilter(tsl::platform::CrashInfo * info);

   /// Application's name; once it has crashed, the name of the dump file.
   static char * m_szAppName;
};
