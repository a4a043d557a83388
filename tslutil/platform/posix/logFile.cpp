// SPDX-License-Identifier: MIT
#include "tslutil/platform/logFile.h"

#include "tslutil/platform/posix/descriptorStream.h"

namespace tsl::platform
{

void openForOutput(std::ofstream & file, char const * name)
{
   attachDescriptor(file, openDescriptor(name, O_WRONLY | O_CREAT | O_TRUNC), std::ios::out);
}

std::string localTimeText(std::time_t time)
{
   static bool const zoneIsSet = (tzset(), true);
   static_cast<void>(zoneIsSet);
   std::tm parts = {};
   char text[64] = "";
   if (localtime_r(&time, &parts) == nullptr || asctime_r(&parts, text) == nullptr)
      return std::string();
   std::string result(text);
   return result.substr(0, result.find('\n'));
}

} // namespace tsl::platform
