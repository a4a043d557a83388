// SPDX-License-Identifier: MIT
#include "tslutil/platform/text.h"

#include <cctype>
#include <cstring>
#include <langinfo.h>
#include <strings.h>

namespace tsl::platform
{

namespace
{

// A locale gives another case to letters alone, so no test for letters is needed.
template<class Change>
void changeEach(char * text, Change change)
{
   for (; *text != '\0'; ++text)
      *text = static_cast<char>(change(static_cast<unsigned char>(*text)));
}

} // namespace

#ifdef __GLIBC__

// The tables of the locale in force, which toupper and tolower look up anew for each character.

void changeToUpper(char * text)
{
   changeEach(text, [table = *__ctype_toupper_loc()](unsigned char c) { return table[c]; });
}

void changeToLower(char * text)
{
   changeEach(text, [table = *__ctype_tolower_loc()](unsigned char c) { return table[c]; });
}

#else

void changeToUpper(char * text)
{
   changeEach(text, [](unsigned char c) { return std::toupper(c); });
}

void changeToLower(char * text)
{
   changeEach(text, [](unsigned char c) { return std::tolower(c); });
}

#endif

int compareIgnoringCase(char const * left, char const * right)
{
   return strcasecmp(left, right);
}

bool decimalPointIsDot()
{
   return std::strcmp(nl_langinfo(RADIXCHAR), ".") == 0;
}

} // namespace tsl::platform
