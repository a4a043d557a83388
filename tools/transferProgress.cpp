// SPDX-License-Identifier: MIT
#include "tools/transferProgress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <unistd.h>

std::string progressText(std::string const & name, double done, double total, double seconds)
{
   double const rate = seconds > 0 ? done / seconds : 0;
   int const left = rate > 0 ? static_cast<int>(std::ceil((total - done) / rate)) : 0;
   std::array<char, 128> text;
   std::snprintf(text.data(), text.size(), "  %.0f %%, %.1f of %.1f MB, %.1f MB/s, %d:%02d left",
                 std::floor(100 * done / total), done / 1e6, total / 1e6, rate / 1e6, left / 60, left % 60);
   return shownName(name) + text.data();
}

std::string shownName(std::string const & name)
{
   std::string shown = name;
   std::replace_if(
      shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; },
      '?');
   return shown;
}

void TransferProgress::begin()
{
   myBegin = myLast = Clock::now();
}

void TransferProgress::show(std::string const & name, int done, int total)
{
   Clock::time_point const now = Clock::now();
   if (!myIsTerminal || now - myLast < std::chrono::milliseconds(100))
      return;
   double const seconds = std::chrono::duration<double>(now - myBegin).count();
   myOut << "\r" << progressText(name, done, total, seconds) << "\x1B[K" << std::flush;
   myLast = now;
   myIsShown = true;
}

void TransferProgress::end()
{
   if (myIsShown)
      myOut << "\r\x1B[K" << std::flush;
   myIsShown = false;
}

TransferProgress progressOnTerminal()
{
   return {std::cerr, isatty(STDERR_FILENO) == 1};
}
