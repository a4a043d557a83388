// SPDX-License-Identifier: MIT
#pragma once

/// Internal: the numbers that sockets record for their failures, the same on every platform.
namespace tsl::errorNumbers
{

/// An orderly end of a stream.
inline constexpr int theClosedByPeer = 2;
inline constexpr int theNoDestination = 109;
inline constexpr int theInvalidState = 127;
inline constexpr int theUnfitProtocol = 135;
inline constexpr int theTryAgain = 1237;
inline constexpr int theNoSocket = 10009;
inline constexpr int theBadArgument = 10022;
inline constexpr int theWouldBlock = 10035;
inline constexpr int theInProgress = 10036;
inline constexpr int theTargetInUse = 10037;
inline constexpr int theOtherProtocol = 10044;
inline constexpr int theNotSupported = 10045;
inline constexpr int theNetworkDown = 10050;
inline constexpr int theNetworkUnreachable = 10051;
inline constexpr int theAborted = 10053;
inline constexpr int theReset = 10054;
inline constexpr int theNoBuffers = 10055;
inline constexpr int theDestinationInUse = 10056;
inline constexpr int theNotConnected = 10057;
inline constexpr int theTimedOut = 10060;
inline constexpr int theRefused = 10061;
inline constexpr int theHostDown = 10064;
inline constexpr int theHostUnreachable = 10065;
inline constexpr int theNotBuilt = 11003;

} // namespace tsl::errorNumbers
