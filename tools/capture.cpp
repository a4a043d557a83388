// SPDX-License-Identifier: MIT
#include "tools/capture.h"

#include "tools/usageError.h"

#include <pcap/pcap.h>

#include <memory>
#include <optional>

namespace
{

constexpr unsigned theIpv4Type = 0x0800;
constexpr unsigned theIpv6Type = 0x86DD;
constexpr unsigned theVlanType = 0x8100;
constexpr unsigned theProviderVlanType = 0x88A8;
constexpr unsigned theUdpProtocol = 17;

/// The bytes of a packet that are still to be looked at. Reading past the end gives zero and marks it bad.
class Bytes
{
public:
   Bytes(unsigned char const * begin, std::size_t size) : myBegin(begin), mySize(size) {}

   unsigned at(std::size_t position) const { return position < mySize ? myBegin[position] : 0; }
   unsigned wordAt(std::size_t position) const { return at(position) << 8 | at(position + 1); }
   std::size_t size() const { return mySize; }
   bool skip(std::size_t count)
   {
      if (count > mySize)
         return false;
      myBegin += count;
      mySize -= count;
      return true;
   }
   std::vector<char> first(std::size_t count) const { return {myBegin, myBegin + count}; }

private:
   unsigned char const * myBegin;
   std::size_t mySize;
};

/// Steps over the VLAN tags behind an Ethernet address pair; the type of what follows.
unsigned skipVlanTags(Bytes & packet, unsigned type)
{
   while ((type == theVlanType || type == theProviderVlanType) && packet.size() >= 4)
   {
      type = packet.wordAt(2);
      packet.skip(4);
   }
   return type;
}

/// Steps over the link layer to the IP header; false for other traffic.
bool skipLinkLayer(Bytes & packet, int link)
{
   unsigned type = 0;
   switch (link)
   {
   case DLT_RAW:
      return true;
   case DLT_NULL:
   case DLT_LOOP:
      return packet.skip(4);
   case DLT_EN10MB:
      type = packet.wordAt(12);
      if (!packet.skip(14))
         return false;
      break;
   case DLT_LINUX_SLL:
      type = packet.wordAt(14);
      if (!packet.skip(16))
         return false;
      break;
   case DLT_LINUX_SLL2:
      type = packet.wordAt(0);
      if (!packet.skip(20))
         return false;
      break;
   default:
      return false;
   }
   type = skipVlanTags(packet, type);
   return type == theIpv4Type || type == theIpv6Type;
}

/// Steps over an IP header in front of a whole UDP datagram; false for other protocols and for fragments.
bool skipNetworkLayer(Bytes & packet)
{
   unsigned const version = packet.at(0) >> 4;
   if (version == 4)
   {
      bool const isFragment = (packet.wordAt(6) & 0x3FFF) != 0;
      return !isFragment && packet.at(9) == theUdpProtocol && packet.skip((packet.at(0) & 0x0F) * 4u);
   }
   return version == 6 && packet.at(6) == theUdpProtocol && packet.skip(40);
}

std::optional<std::vector<char>> udpPayload(Bytes packet, int link)
{
   if (!skipLinkLayer(packet, link) || !skipNetworkLayer(packet))
      return std::nullopt;
   unsigned const length = packet.wordAt(4);
   if (length < 8 || length > packet.size())
      return std::nullopt;
   packet.skip(8);
   return packet.first(length - 8);
}

[[noreturn]] void fail(std::string const & path, std::string const & why)
{
   throw UsageError("cannot read " + path + ": " + why +
                    "\nGive a pcap or pcapng file, as tcpdump -w and Wireshark write it.");
}

} // namespace

Capture readCapture(std::string const & path)
{
   char error[PCAP_ERRBUF_SIZE] = "";
   std::unique_ptr<pcap_t, void (*)(pcap_t *)> file(pcap_open_offline(path.c_str(), error), pcap_close);
   if (!file)
      fail(path, error);
   int const link = pcap_datalink(file.get());
   Capture capture;
   pcap_pkthdr * header = nullptr;
   unsigned char const * bytes = nullptr;
   int result = 0;
   while ((result = pcap_next_ex(file.get(), &header, &bytes)) == 1)
   {
      if (auto payload = udpPayload(Bytes(bytes, header->caplen), link))
         capture.datagrams.push_back(std::move(*payload));
      else
         ++capture.otherPackets;
   }
   if (result == PCAP_ERROR)
      fail(path, pcap_geterr(file.get()));
   return capture;
}
