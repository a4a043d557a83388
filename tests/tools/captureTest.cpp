// SPDX-License-Identifier: MIT
#include "tools/capture.h"

#include "support/temporaryFolder.h"
#include "tools/usageError.h"

#include <gmock/gmock.h>

namespace
{

using Text = std::string;

Text big16(std::size_t value)
{
   return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

Text little32(std::size_t value)
{
   return {char(value), char(value >> 8), char(value >> 16), char(value >> 24)};
}

Text udp(Text const & payload, std::size_t surplus = 0)
{
   return Text(4, 0) + big16(8 + payload.size() + surplus) + Text(2, 0) + payload;
}

Text ipv4(Text const & inner, int protocol = 17, std::size_t fragment = 0, int words = 5)
{
   return Text(1, char(0x40 | words)) + Text(5, 0) + big16(fragment) + Text(1, 0) + char(protocol) +
          Text(static_cast<std::size_t>(words) * 4 - 10, 0) + inner;
}

Text ipv6(Text const & inner)
{
   return '\x60' + Text(5, 0) + '\x11' + Text(33, 0) + inner;
}

Text ethernet(std::size_t type, Text const & inner)
{
   return Text(12, 0) + big16(type) + inner;
}

Text file(std::size_t link, Text const & packet, std::size_t cut = 0)
{
   return little32(0xA1B2C3D4) + little32(0x00040002) + Text(8, 0) + little32(65535) + little32(link) +
          Text(8, 0) + little32(packet.size() - cut) + little32(packet.size()) +
          packet.substr(0, packet.size() - cut);
}

TEST(ReadCapture, FindsTheDatagramBehindEveryHeader)
{
   constexpr int raw = 101, cooked = 113, cooked2 = 276, loopback = 0;
   Text const datagram = udp("payload"), vlan = big16(7) + big16(0x0800);
   TemporaryFolder const folder;
   // clang-format off
   std::tuple<char const *, Text, bool> const cases[] = {
      {"Ethernet, IPv4", file(1, ethernet(0x0800, ipv4(datagram))), true},
      {"Ethernet padding", file(1, ethernet(0x0800, ipv4(datagram) + Text(18, 0))), true},
      {"Ethernet, VLAN", file(1, ethernet(0x8100, vlan + ipv4(datagram))), true},
      {"Ethernet, two VLANs", file(1, ethernet(0x88A8, big16(1) + big16(0x8100) + vlan + ipv4(datagram))), true},
      {"Ethernet, IPv6", file(1, ethernet(0x86DD, ipv6(datagram))), true},
      {"Ethernet, ARP", file(1, ethernet(0x0806, ipv4(datagram))), false},
      {"IPv4 options", file(1, ethernet(0x0800, ipv4(datagram, 17, 0, 7))), true},
      {"do not fragment", file(1, ethernet(0x0800, ipv4(datagram, 17, 0x4000))), true},
      {"first fragment", file(1, ethernet(0x0800, ipv4(datagram, 17, 0x2000))), false},
      {"later fragment", file(1, ethernet(0x0800, ipv4(datagram, 17, 0x0010))), false},
      {"TCP", file(1, ethernet(0x0800, ipv4(datagram, 6))), false},
      {"cut while recording", file(1, ethernet(0x0800, ipv4(datagram)), 1), false},
      {"UDP length beyond the packet", file(1, ethernet(0x0800, ipv4(udp("payload", 1)))), false},
      {"raw IPv4", file(raw, ipv4(datagram)), true},
      {"raw IPv6", file(raw, ipv6(datagram)), true},
      {"loopback", file(loopback, Text(4, 0) + ipv4(datagram)), true},
      {"cooked", file(cooked, Text(14, 0) + big16(0x0800) + ipv4(datagram)), true},
      {"cooked, second form", file(cooked2, big16(0x86DD) + Text(18, 0) + ipv6(datagram)), true},
      {"unknown link", file(147, ipv4(datagram)), false},
      {"nothing behind the link", file(1, Text(13, 0)), false}};
   // clang-format on
   for (auto const & [what, content, isFound] : cases)
   {
      Capture const capture = readCapture(folder.write("recording.pcap", content));
      Text found;
      for (std::vector<char> const & payload : capture.datagrams)
         found += Text(payload.begin(), payload.end()) + ";";
      EXPECT_EQ(found, isFound ? "payload;" : "") << what;
      EXPECT_EQ(capture.otherPackets, isFound ? 0u : 1u) << what;
   }
   Text const whole = std::get<Text>(cases[0]);
   for (Text const & content : {Text(), Text("no capture, but text"), whole.substr(0, whole.size() - 3)})
      EXPECT_THAT([&] { readCapture(folder.write("recording.pcap", content)); },
                  testing::ThrowsMessage<UsageError>(testing::HasSubstr(folder.path())));
   EXPECT_THROW(readCapture(folder.path("none.pcap")), UsageError);
}

} // namespace
