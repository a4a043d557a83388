// SPDX-License-Identifier: MIT
#pragma once

#include <cstdarg>
#include <cstdio>

namespace tsl
{

/// The text that a printf format and its arguments make, cut at 2047 bytes. Allocates nothing.
class WorkBuffer
{
public:
   [[gnu::format(printf, 2, 0)]] WorkBuffer(char const * format, va_list arguments)
   {
      if (std::vsnprintf(myText, sizeof myText, format, arguments) < 0)
         myText[0] = '\0';
   }

   char const * c_str() const { return myText; }

private:
   char myText[2048];
};

} // namespace tsl
