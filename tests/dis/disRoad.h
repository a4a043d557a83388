// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/tslInetDevice.h"

#include "support/loopbackPeer.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

constexpr unsigned long theNonBlockingFlags = DtInetSockFlagsDefault | DtInetSockFlagNonBlocking;

inline DtInetEndpoint udpEndpoint(char const * address, unsigned short port)
{
   return DtInetEndpoint(DtInetAddr(address), port, DtInetProtoUdp);
}

/// A PDU of a size, version, kind and status byte, filled with `mark`.
inline std::string pdu(std::size_t size, int version, int kind = 1, int status = 0, char mark = 'p')
{
   std::string bytes(size, mark);
   char const head[] = {char(version),   1,          char(kind),   1, 0, 0, 0, 0,
                        char(size >> 8), char(size), char(status), 0};
   return bytes.replace(0, std::min(size, sizeof head), head, std::min(size, sizeof head));
}

/// A receive call's result and the bytes that it has handed over, on top of bytes that must not stay.
struct Received
{
   int status;
   std::string bytes;
   DtInetEndpoint from;
};

inline Received receive(DtInetSocket & socket, std::size_t room = 65504, unsigned long flags = 0)
{
   Received got{0, std::string(room, '\xEE'), DtInetEndpoint()};
   got.status = socket.recvFrom(got.bytes.data(), room, got.from, flags);
   if (got.status < static_cast<int>(room))
   {
      std::size_t const used = static_cast<std::size_t>(std::max(got.status, 0));
      EXPECT_EQ(got.bytes.find_first_not_of('\xEE', used), std::string::npos);
      got.bytes.resize(used);
   }
   return got;
}

/// The last error's number, the state (-1 error, 0 closed) and the error's text.
inline std::string told(DtInetSocket & socket)
{
   return std::to_string(socket.getLastError()) + " " + std::to_string(socket.state()) + " " +
          socket.getLastErrorString().c_str();
}

/// The content of a file of the recorded traffic; fails the test if it isn't there.
inline std::string recorded(std::string const & name)
{
   std::ifstream file(TEST_DATA_DIR "/dis/" + name, std::ios::binary);
   EXPECT_TRUE(file.is_open()) << name;
   return {std::istreambuf_iterator<char>(file), {}};
}

/// The objects of a file that holds one a line.
inline std::vector<nlohmann::json> linesOf(std::string const & name)
{
   std::istringstream file(recorded(name));
   std::vector<nlohmann::json> lines;
   for (std::string line; std::getline(file, line);)
      lines.push_back(nlohmann::json::parse(line));
   return lines;
}

/// The UDP payloads of a classic little-endian capture of Ethernet and IPv4.
inline std::vector<std::string> payloadsOf(std::string const & capture)
{
   std::string const bytes = recorded(capture + ".pcap");
   auto const byte = [&](std::size_t at) { return std::size_t(static_cast<unsigned char>(bytes.at(at))); };
   std::vector<std::string> payloads;
   for (std::size_t at = 24; at < bytes.size();
        at += 16 + byte(at + 8) + (byte(at + 9) << 8) + (byte(at + 10) << 16))
   {
      std::size_t const udp = at + 30 + 4 * (byte(at + 30) & 15);
      payloads.push_back(bytes.substr(udp + 8, byte(udp + 4) * 256 + byte(udp + 5) - 8));
   }
   return payloads;
}
