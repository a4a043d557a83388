// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

/// A file of the recorded traffic; fails the test if it isn't there.
inline std::ifstream openRecording(std::string const & name)
{
   std::ifstream file(TEST_DATA_DIR "/dis/" + name, std::ios::binary);
   EXPECT_TRUE(file.is_open()) << name;
   return file;
}

/// The objects of a file that holds one a line.
inline std::vector<nlohmann::json> linesOf(std::string const & name)
{
   std::ifstream file = openRecording(name);
   std::vector<nlohmann::json> lines;
   for (std::string line; std::getline(file, line);)
      lines.push_back(nlohmann::json::parse(line));
   return lines;
}

/// The UDP payloads of a classic little-endian capture of Ethernet and IPv4.
inline std::vector<std::string> payloadsOf(std::string const & capture)
{
   std::ifstream file = openRecording(capture + ".pcap");
   std::string const bytes{std::istreambuf_iterator<char>(file), {}};
   std::vector<std::string> payloads;
   for (std::size_t at = 24; at < bytes.size();)
   {
      std::uint32_t stored = 0;
      std::memcpy(&stored, &bytes[at + 8], sizeof stored);
      std::size_t const ip = at + 16 + 14;
      std::size_t const udp = ip + 4 * (static_cast<unsigned char>(bytes[ip]) & 15u);
      std::size_t const length =
         static_cast<unsigned char>(bytes[udp + 4]) * 256u + static_cast<unsigned char>(bytes[udp + 5]);
      payloads.push_back(bytes.substr(udp + 8, length - 8));
      at += 16 + stored;
   }
   return payloads;
}
