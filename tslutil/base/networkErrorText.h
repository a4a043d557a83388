// SPDX-License-Identifier: MIT
#pragma once

namespace tsl
{

/// The text, in static storage, of a Windows Sockets number; for any other number the text that says so.
char const * networkErrorText(int number);

} // namespace tsl
