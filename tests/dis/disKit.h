// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/tslDisSocket.h"

#include "support/loopbackPeer.h"

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

/// A PDU of a size, version, kind and status byte, filled with `mark`.
inline std::string pdu(std::size_t size, int version, int kind = 1, int status = 0, char mark = 'p')
{
   std::string const head{char(version),   1,          char(kind),   1, 0, 0, 0, 0,
                          char(size >> 8), char(size), char(status), 0};
   return (head + std::string(size, mark)).substr(0, size);
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

inline void expectError(DtInetSocket & socket, int code, DtString const & text,
                        DtInetSockState state = DtInetSockError)
{
   EXPECT_EQ(socket.getLastError(), code) << text;
   EXPECT_EQ(socket.getLastErrorString(), text);
   EXPECT_EQ(socket.state(), state) << text;
}

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
