// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/tslDisSocket.h"

#include "support/loopbackPeer.h"
#include "support/pduText.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

constexpr unsigned long theNonBlockingFlags = DtInetSockFlagsDefault | DtInetSockFlagNonBlocking;

inline DtInetEndpoint udpEndpoint(char const * address, unsigned short port)
{
   return DtInetEndpoint(DtInetAddr(address, "255.255.255.0"), port, DtInetProtoUdp);
}

inline int sendFlat(DtInetSocket & socket, std::string bytes, DtInetEndpoint to)
{
   return socket.sendTo(bytes.data(), bytes.size(), to);
}

inline int sendInChain(DtInetSocket & socket, std::string const & text, DtInetEndpoint to)
{
   std::vector<char> bytes(text.begin(), text.end());
   DtInetSockChain chain{&bytes};
   return socket.sendChainTo(chain, to);
}

/// The bytes that a receive call hands over; fails if it touches more of the caller's memory.
struct Received
{
   explicit Received(DtInetSocket & socket, std::size_t room = 65504, unsigned long flags = 0)
      : bytes(room, '\xEE')
   {
      status = socket.recvFrom(bytes.data(), room, from, flags);
      std::size_t const used = std::min(room, static_cast<std::size_t>(std::max(status, 0)));
      EXPECT_EQ(bytes.find_first_not_of('\xEE', used), std::string::npos);
      bytes.resize(used);
   }

   int status;
   std::string bytes;
   DtInetEndpoint from;
};

/// The text of a file of recorded traffic; fails if it isn't there.
inline std::string recorded(std::string const & name)
{
   std::ifstream file(TEST_DATA_DIR "/dis/" + name, std::ios::binary);
   EXPECT_TRUE(file.is_open()) << name;
   return {std::istreambuf_iterator<char>(file), {}};
}

/// The JSON object of each line.
inline std::vector<nlohmann::json> linesOf(std::string const & name)
{
   std::vector<nlohmann::json> lines;
   std::istringstream text(recorded(name));
   for (std::string line; std::getline(text, line);)
      lines.push_back(nlohmann::json::parse(line));
   return lines;
}

/// The UDP payloads of a classic little-endian capture of Ethernet and IPv4.
inline std::vector<std::string> payloadsOf(std::string const & recording)
{
   std::string const bytes = recorded(recording + ".pcap");
   auto const byte = [&](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
   std::vector<std::string> payloads;
   for (std::size_t at = 24; at < bytes.size();)
   {
      std::uint32_t stored = 0;
      std::memcpy(&stored, &bytes[at + 8], sizeof stored);
      std::size_t const udp = at + 30 + 4 * (byte(at + 30) & 15u);
      payloads.push_back(bytes.substr(udp + 8, byte(udp + 4) * 256u + byte(udp + 5) - 8));
      at += 16 + stored;
   }
   return payloads;
}
