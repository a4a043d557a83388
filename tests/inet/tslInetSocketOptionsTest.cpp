// SPDX-License-Identifier: MIT
// The options of all kinds of sockets.
#include "inet/socketKit.h"

#include <unistd.h>

namespace
{

using namespace socketKit;

typedef unsigned long Size;

/// Whose it is, its name, setter and getter, a value, and what a failed setter and UDP's failed getter tell
/// of. A getter of TCP tells its own name.
struct Option
{
   std::string owners, setter, getter;
   bool (*set)(DtInetSocket &, Size);
   Size (*get)(DtInetSocket &);
   Size value;
   std::string text, udpGetter;
};

Size lingerOf(DtInetTcpSocket & socket)
{
   unsigned short seconds = 99;
   return (socket.getTcpLingerOption(seconds) ? 100 : 0) + Size(seconds);
}

// Owners: (u)dp, udp with a (d)evice, tcp (c)lient, (s)erver; a capital has no failures.
// clang-format off
#define OPTION(owners, Class, setter, Type, getter) owners, #setter, #getter, \
   [](DtInetSocket & s, Size value) { return dynamic_cast<Class &>(s).setter(Type(value)); }, \
   [](DtInetSocket & s) { return static_cast<Size>(dynamic_cast<Class &>(s).getter()); }

Option const theOptions[] = {
   {OPTION("udcS", DtInetSocket, setNonBlockingOption, bool, isNonBlocking), 1, "enabling non-blocking IO", ""},
   {OPTION("udcS", DtInetSocket, setReuseAddressOption, bool, getReuseAddressOption), 1, "enabling address reuse", "getReuseAddressOption"},
   {OPTION("udcs", DtInetSocket, setDoNotRouteOption, bool, getDoNotRouteOption), 1, "enabling do-not-route", "getDoNotRouteOption"},
   // UDP's getters of the sizes tell the name of another, as they have come to.
   {OPTION("udcs", DtInetSocket, setSendBufferSize, Size, getSendBufferSize), 20000, "setting send buffer size to 20000", "getDoNotRouteOption"},
   {OPTION("udcs", DtInetSocket, setReceiveBufferSize, Size, getReceiveBufferSize), 20000, "setting receive buffer size to 20000", "getDoNotRouteOption"},
   {OPTION("udcs", DtInetSocket, setReceiveLowWatermark, Size, getReceiveLowWatermark), 5, "setting receive low watermark to 5", "getReceiveLowWatermark"},
   {OPTION("ud", DtInetUdpSocket, setBroadcastOption, bool, getBroadcastOption), 0, "disabling broadcast", "getBroadcastOption"},
   {OPTION("cs", DtInetTcpSocket, setTcpNoDelayOption, bool, isNoDelay), 1, "enabling Nagle coalescing (no-delay)", ""},
   {OPTION("cs", DtInetTcpSocket, setTcpKeepAliveOption, bool, getTcpKeepAliveOption), 1, "enabling TCP keep alives", ""},
   {OPTION("CS", DtInetTcpSocket, setConnAbortedOption, bool, getConnAbortedOption), 1, "", ""},
   {"cs", "setTcpLingerOption", "getTcpLingerOption",
      [](DtInetSocket & s, Size value) { return dynamic_cast<DtInetTcpSocket &>(s).setTcpLingerOption(static_cast<unsigned short>(value % 100)); },
      [](DtInetSocket & s) { return lingerOf(dynamic_cast<DtInetTcpSocket &>(s)); }, 103, "enabling linger option", ""},
};
// clang-format on

std::unique_ptr<DtInetSocket> made(char owner)
{
   DtInetDevice lo(DtString("lo"));
   Size const flags = DtInetSockFlagReceive | DtInetSockFlagSend;
   if (owner == 's')
      return std::make_unique<DtInetTcpSocket>(static_cast<unsigned short>(0), nullptr,
                                               DtInetUtils::DtInetFamilyIpv4, flags, false);
   if (owner == 'c')
      return std::make_unique<DtInetTcpSocket>(loopback(9, DtInetProtoTcp), 0, nullptr, flags, false);
   return std::make_unique<DtInetUdpSocket>(loopback(), 0, owner == 'd' ? &lo : nullptr, flags, false);
}

TEST(DtInetSocketOptions, AreSetAndReadAndTellWhyNot)
{
   for (Option const & option : theOptions)
      for (char const owner : option.owners)
      {
         std::unique_ptr<DtInetSocket> const socket = made(static_cast<char>(std::tolower(owner)));
         EXPECT_EQ(told(option.set(*socket, option.value), *socket), "0, 0 created ? ");
         EXPECT_EQ(option.get(*socket), 0u);
         ASSERT_TRUE(std::tolower(owner) == 's'
                        ? dynamic_cast<DtInetTcpSocket &>(*socket).listenForConnections()
                        : socket->openSocket());
         EXPECT_NE(option.get(*socket), option.value) << option.setter;
         EXPECT_TRUE(option.set(*socket, option.value) && option.get(*socket) == option.value)
            << told(*socket);
         close(static_cast<int>(socket->descriptor()));
         if (std::isupper(owner))
            continue;
         EXPECT_EQ(told(option.set(*socket, option.value), *socket),
                   "0, 10009 error " + option.setter + "(): Error " + option.text + "\nBad file descriptor");
         std::string const getter = socket->isTcp() ? option.getter : option.udpGetter;
         EXPECT_TRUE(getter.compare(0, 3, "get") != 0 ||
                     told(int(option.get(*socket)), *socket) ==
                        "0, 10009 error " + getter + "():\nBad file descriptor")
            << told(*socket);
      }
}

} // namespace
