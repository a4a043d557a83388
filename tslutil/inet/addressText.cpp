// SPDX-License-Identifier: MIT
#include "tslutil/inet/addressText.h"

#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/address_v6.hpp>

#include <algorithm>
#include <cstring>

namespace tsl
{

bool ipv4FromText(DtString const & text, std::uint32_t & address)
{
   boost::system::error_code error;
   auto const read = boost::asio::ip::make_address_v4(text.c_str(), error);
   if (error)
      return false;
   address = static_cast<std::uint32_t>(read.to_uint());
   return true;
}

bool ipv6FromText(DtString const & text, unsigned char (&bytes)[16])
{
   boost::system::error_code error;
   auto const read = boost::asio::ip::make_address_v6(text.c_str(), error);
   if (error)
      return false;
   auto const value = read.to_bytes();
   std::memcpy(bytes, value.data(), sizeof bytes);
   return true;
}

std::uint32_t classNetmask(std::uint32_t address)
{
   if (address >> 31 == 0)
      return 0xFF000000;
   if (address >> 30 == 2)
      return 0xFFFF0000;
   if (address >> 29 == 6)
      return 0xFFFFFF00;
   return 0xFFFFFFFF;
}

bool isBroadcastUnder(std::uint32_t address, std::uint32_t netmask, std::uint64_t prefixLen)
{
   return prefixLen < 31 && (address | ~netmask) == address;
}

bool isAllNodesOfSomeScope(unsigned char const * bytes)
{
   return bytes[0] == 0xFF && bytes[15] == 1 &&
          std::all_of(bytes + 2, bytes + 15, [](unsigned char byte) { return byte == 0; });
}

} // namespace tsl
