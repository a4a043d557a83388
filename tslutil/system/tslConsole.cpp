// SPDX-License-Identifier: MIT
#include "tslutil/system/tslConsole.h"

#include "tslutil/base/tslNotify.h"
#include "tslutil/platform/console.h"
#include "tslutil/platform/keyboard.h"

#include <cstdio>

namespace
{

constexpr char theEndOfLine = 13;

/// -1 without a keyboard.
int readKeyWithEcho()
{
   int const key = tsl::platform::readKey();
   if (key < 0)
      return key;
   char const character = static_cast<char>(key);
   std::intptr_t const console = tsl::platform::openConsole(false);
   tsl::platform::writeConsole(console, &character, 1);
   tsl::platform::closeConsole(console);
   return key;
}

/// Whether to read: also where the test fails, which is told under `caller`.
bool isKeyExpected(char const * caller)
{
   int const waiting = DtKbHit();
   if (waiting < 0)
      std::perror(caller);
   return waiting != 0;
}

/// Fills `buffer` up to a carriage return, `room` characters or the end of the keyboard.
int readLine(char * buffer, int room)
{
   int count = 0;
   while (count < room && (count == 0 || buffer[count - 1] != theEndOfLine))
   {
      int const key = readKeyWithEcho();
      if (key < 0)
         break;
      buffer[count++] = static_cast<char>(key);
   }
   buffer[count] = '\0';
   return count;
}

} // namespace

int DtKbHit()
{
   return tsl::platform::keyWaiting();
}

void DtRestoreKbHit()
{
   tsl::platform::restoreKeyboard();
}

int DtGetCh()
{
   return tsl::platform::readKey();
}

char DtPollBlockingInputChar()
{
   if (!isKeyExpected("DtPollBlockingInputChar: select"))
      return 0;
   int const key = readKeyWithEcho();
   return key < 0 ? '\0' : static_cast<char>(key);
}

void DtPollBlockingInputLine(char * buffer, int size)
{
   if (size < 1)
      return;
   buffer[0] = '\0';
   if (!isKeyExpected("DtPollBlockingInputLine: select"))
      return;
   int const room = size - 2;
   int const count = readLine(buffer, room);
   if (count < room || (count > 0 && buffer[count - 1] == theEndOfLine))
      return;
   DtWarn("DtPollBlockingInputLine: exceeded buffer size\n");
   // One place ahead of where writing stopped: the last character is lost, and so it is meant.
   if (count > 0)
      buffer[count - 1] = '\0';
}

char * DtPollBlockingInputLine()
{
   static char buffer[512];
   DtPollBlockingInputLine(buffer, sizeof buffer);
   return buffer[0] == '\0' ? nullptr : buffer;
}
