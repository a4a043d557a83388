// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Recorded network traffic, as far as a DIS program is concerned: the payloads of UDP datagrams.
struct Capture
{
   /// The payloads in the order of the recording.
   std::vector<std::vector<char>> datagrams;
   /// Packets without one: other protocols, fragments, packets that were cut while recording.
   std::size_t otherPackets = 0;
};

/// Reads a pcap or pcapng file of Ethernet, Linux cooked, loopback or raw IP packets. Throws
/// UsageError if the file can't be read to its end.
Capture readCapture(std::string const & path);
