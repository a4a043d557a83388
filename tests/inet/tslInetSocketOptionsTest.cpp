// SPDX-License-Identifier: MIT
// The options of all kinds of sockets.
#include "inet/socketKit.h"
#include "inet/steps.h"

#include <unistd.h>

namespace
{

using namespace socketKit;

typedef unsigned long Size;

/// How an option is set and read.
struct Option
{
   bool (*set)(DtInetSocket &, Size);
   Size (*get)(DtInetSocket &);
};

Size lingerOf(DtInetTcpSocket & socket)
{
   unsigned short seconds = 99;
   return (socket.getTcpLingerOption(seconds) ? 100 : 0) + Size(seconds);
}

// clang-format off
#define OPTION(Class, setter, Type, got) {#setter, { \
   [](DtInetSocket & socket, Size value) { return dynamic_cast<Class &>(socket).setter(static_cast<Type>(value)); }, \
   [](DtInetSocket & socket) { auto & s = dynamic_cast<Class &>(socket); return static_cast<Size>(got); }}}

std::map<std::string, Option> const theOptions = {
   OPTION(DtInetSocket, setNonBlockingOption, bool, s.isNonBlocking()),
   OPTION(DtInetSocket, setReuseAddressOption, bool, s.getReuseAddressOption()),
   OPTION(DtInetSocket, setDoNotRouteOption, bool, s.getDoNotRouteOption()),
   OPTION(DtInetSocket, setSendBufferSize, Size, s.getSendBufferSize()),
   OPTION(DtInetSocket, setReceiveBufferSize, Size, s.getReceiveBufferSize()),
   OPTION(DtInetSocket, setReceiveLowWatermark, Size, s.getReceiveLowWatermark()),
   OPTION(DtInetUdpSocket, setBroadcastOption, bool, s.getBroadcastOption()),
   OPTION(DtInetTcpSocket, setTcpNoDelayOption, bool, s.isNoDelay()),
   OPTION(DtInetTcpSocket, setTcpKeepAliveOption, bool, s.getTcpKeepAliveOption()),
   OPTION(DtInetTcpSocket, setConnAbortedOption, bool, s.getConnAbortedOption()),
   OPTION(DtInetTcpSocket, setTcpLingerOption, unsigned short, lingerOf(s)),
};

/// A socket, whose options stand under the names of their setters.
struct Optional : World
{
   Optional()
   {
      Size const flags = DtInetSockFlagReceive | DtInetSockFlagSend;
      always("udp", [=](auto & row) { it.reset(new DtInetUdpSocket(loopback(), 0, row[1] == "lo" ? &lo : nullptr, flags, false)); });
      always("client", [=](auto &) { it.reset(new DtInetTcpSocket(loopback(9, DtInetProtoTcp), 0, nullptr, flags, false)); });
      always("server", [=](auto &) { it.reset(new DtInetTcpSocket(0, nullptr, DtInetUtils::DtInetFamilyIpv4, flags, false)); });
      verbs["open"] = [=](auto &) { return told(it->openSocket(), *it); };
      verbs["listen"] = [=](auto &) { return told(dynamic_cast<DtInetTcpSocket &>(*it).listenForConnections(), *it); };
      verbs["set"] = [=](auto & row) { return told(theOptions.at(row[1]).set(*it, as<Size>(row[2])), *it); };
      verbs["get"] = [=](auto & row) { return told(static_cast<int>(theOptions.at(row[1]).get(*it)), *it); };
      always("break", [=](auto &) { close(static_cast<int>(it->descriptor())); });
   }

   DtInetDevice lo{DtString("lo")};
   std::unique_ptr<DtInetSocket> it;
};
// clang-format on

TEST(DtInetSocketOptions, AreSetAndReadAndTellWhyNot)
{
   runSteps<Optional>("inet/options.tsv");
}

} // namespace
