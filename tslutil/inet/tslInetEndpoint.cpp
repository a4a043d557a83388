// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetEndpoint.h"

#include "tslutil/inet/boostAddress.h"
#include "tslutil/inet/endpointAccess.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/platform/lookup.h"

#include <cstring>
#include <new>
#include <vector>

using namespace DtInetUtils;

namespace
{

using boost::asio::ip::tcp;
using boost::asio::ip::udp;

/// Constructs an endpoint in its place, over any that is there.
template<class Endpoint>
void store(unsigned char (&storage)[32], Endpoint const & endpoint)
{
   static_assert(sizeof(Endpoint) <= sizeof storage && alignof(Endpoint) <= 8);
   static_assert(std::is_trivially_destructible_v<Endpoint>);
   new (storage) Endpoint(endpoint);
}

template<class Endpoint>
Endpoint const & stored(unsigned char const (&storage)[32])
{
   return *std::launder(reinterpret_cast<Endpoint const *>(storage));
}

template<class Protocol>
typename Protocol::endpoint makeEndpoint(DtInetAddr const & address, unsigned short port)
{
   if (address.isAnyAddr())
      return {address.isIPv6() ? Protocol::v6() : Protocol::v4(), port};
   return {tsl::boostAddress(address), port};
}

/// The number behind an address, 0 if there is none: a text that reads as zero counts as unreadable, on
/// purpose.
int numberOf(DtString const & suffix)
{
   bool flag = false;
   int const number = suffix.toInt(&flag);
   return flag ? 0 : number;
}

/// Puts the port behind an address, in whose text only IPv6 needs brackets.
DtString withPort(DtInetAddr const & address, unsigned short port)
{
   DtString text(address.isIPv6() ? "[" : "");
   text += address.toDtString();
   text += address.isIPv6() ? "]:" : ":";
   text += port == 0 ? DtString("any") : DtString(static_cast<int>(port));
   return text;
}

} // namespace

DtInetEndpoint::DtInetEndpoint() = default;

DtInetEndpoint::DtInetEndpoint(DtInetAddr const & address, unsigned short port, DtInetProtocol protocol)
   : myAddress(address), myPort(port), myProtocol(protocol)
{
   initEndpoint();
}

DtInetEndpoint::DtInetEndpoint(DtString & nameOrLocator, unsigned short port, DtInetProtocol protocol,
                               DtInetAddrFamily family)
   : myPort(port), myProtocol(protocol)
{
   DtInetEndpoint::hostLookup(nameOrLocator, port, family);
}

DtInetEndpoint::DtInetEndpoint(DtInetEndpoint const & other)
   : isSender(other.isSender),
     myAddress(other.myAddress),
     myPort(other.myPort),
     myProtocol(other.myProtocol),
     hasFailed(other.hasFailed),
     myLastError(other.myLastError),
     textValid(other.textValid),
     myText(other.myText),
     myTextWithProtocol(other.myTextWithProtocol)
{
   copyEndpoints(other);
}

DtInetEndpoint & DtInetEndpoint::operator=(DtInetEndpoint const & other)
{
   if (this == &other || isSameSender(other))
      return *this;
   copyEndpoints(other);
   isSender = other.isSender && !hasTcpEndpoint;
   myAddress = other.myAddress;
   myPort = other.myPort;
   myProtocol = other.myProtocol;
   textValid = false;
   return *this;
}

DtInetEndpoint::~DtInetEndpoint() = default;

// Bundles tell the same sender time and again.
bool DtInetEndpoint::isSameSender(DtInetEndpoint const & other) const
{
   return tsl::EndpointAccess::haveSameSender(*this, other);
}

// An endpoint that only the target has stays, on purpose.
void DtInetEndpoint::copyEndpoints(DtInetEndpoint const & other)
{
   if (other.hasTcpEndpoint)
      store(myTcpEndpoint, stored<tcp::endpoint>(other.myTcpEndpoint));
   if (other.hasUdpEndpoint)
      store(myUdpEndpoint, stored<udp::endpoint>(other.myUdpEndpoint));
   hasTcpEndpoint = hasTcpEndpoint || other.hasTcpEndpoint;
   hasUdpEndpoint = hasUdpEndpoint || other.hasUdpEndpoint;
}

void DtInetEndpoint::hostLookup(DtString & nameOrLocator, unsigned short port, DtInetAddrFamily family)
{
   if (myPort == 0)
      myPort = port;
   DtString name;
   DtString suffix;
   int suffixKind = 0;
   DtInetAddrFamily const literalFamily = parseNetResLoc(nameOrLocator, name, suffix, suffixKind);
   // 65535 is ignored, on purpose.
   int const textPort = suffixKind == 1 ? numberOf(suffix) : 0;
   if (textPort >= 1 && textPort < 65535)
      myPort = static_cast<unsigned short>(textPort);
   // An address of this machine counts as a device, whose netmask comes with it.
   if (!takeDevice(nameOrLocator, family))
   {
      if (literalFamily == DtInetFamilyUnspecified)
         takeHost(nameOrLocator, name, family);
      else
         takeLiteral(name, suffix, suffixKind);
   }
   if (myProtocol != DtInetProtoNone)
      initEndpoint();
}

bool DtInetEndpoint::takeDevice(DtString const & text, DtInetAddrFamily family)
{
   DtInetDevice const device(text, DtInetFamilyIpv4);
   if (!device.isOk())
      return false;
   if (device.hasIpv6Addr() && (family == DtInetFamilyIpv6 || isIpv6AddrString(text)))
      myAddress = *device.ipv6Addr();
   else if (device.hasIpv4Addr())
      myAddress = *device.ipv4Addr();
   else
   {
      hasFailed = true;
      myLastError += "Local interface device " + text + " is inactive";
   }
   return true;
}

void DtInetEndpoint::takeHost(DtString const & text, DtString const & host, DtInetAddrFamily family)
{
   bool const byTcp = myProtocol == DtInetProtoTcp;
   DtString const service(static_cast<int>(myPort));
   std::vector<tsl::platform::HostAddress> found;
   int const result =
      lookUpHost({host.c_str(), service.c_str(), family,
                  byTcp ? tsl::platform::HostTraffic::stream : tsl::platform::HostTraffic::datagram},
                 found);
   if (result == 0 && !found.empty())
   {
      myAddress = tsl::fromBoost(tsl::boostAddress(found.front()));
      return;
   }
   hasFailed = true;
   DtString const message = "Host lookup failed for " + text;
   // Only a TCP endpoint keeps what failed before.
   if (byTcp)
      myLastError += message;
   else
      myLastError = message;
}

void DtInetEndpoint::takeLiteral(DtString const & literal, DtString const & suffix, int suffixKind)
{
   myAddress = DtInetAddr(literal, suffixKind == 2 ? suffix : DtString());
   int const prefixLen = suffixKind == 3 ? numberOf(suffix) : 0;
   // The prefix of a single host is ignored, on purpose.
   if (prefixLen >= 1 && prefixLen < (myAddress.isIPv6() ? 128 : 32))
      myAddress.setPrefixLen(static_cast<std::uint64_t>(prefixLen));
}

void DtInetEndpoint::initEndpoint()
{
   hasTcpEndpoint = myProtocol == DtInetProtoTcp;
   hasUdpEndpoint = myProtocol == DtInetProtoUdp;
   isSender = false;
   if (hasTcpEndpoint)
      store(myTcpEndpoint, makeEndpoint<tcp>(myAddress, myPort));
   if (hasUdpEndpoint)
      store(myUdpEndpoint, makeEndpoint<udp>(myAddress, myPort));
   textValid = false;
}

void DtInetEndpoint::setAddress(DtInetAddr const & address)
{
   myAddress = address;
   if (myProtocol != DtInetProtoNone)
      initEndpoint();
}

DtInetAddr const & DtInetEndpoint::address() const
{
   return myAddress;
}

void DtInetEndpoint::setPort(unsigned short port)
{
   myPort = port;
   if (myProtocol != DtInetProtoNone)
      initEndpoint();
}

unsigned short DtInetEndpoint::port() const
{
   return myPort;
}

void DtInetEndpoint::setProtocol(DtInetProtocol protocol)
{
   myProtocol = protocol;
   initEndpoint();
}

DtInetProtocol DtInetEndpoint::protocol() const
{
   return myProtocol;
}

DtInetAddrFamily DtInetEndpoint::family() const
{
   return myAddress.family();
}

void DtInetEndpoint::setEndpoint(DtInetProtocol protocol, DtInetAddr const & address, unsigned short port)
{
   myProtocol = protocol;
   myAddress = address;
   myPort = port;
   initEndpoint();
}

bool DtInetEndpoint::isIPv4() const
{
   return myAddress.isIPv4();
}

bool DtInetEndpoint::isIPv6() const
{
   return myAddress.isIPv6();
}

bool DtInetEndpoint::isTcp() const
{
   return myProtocol == DtInetProtoTcp;
}

bool DtInetEndpoint::isUdp() const
{
   return myProtocol == DtInetProtoUdp;
}

int DtInetEndpoint::toSockaddr(sockaddr_in6 * target)
{
   int const result = myAddress.toSockaddr(target);
   if (result == 0)
      target->sin6_port = tsl::networkPort(myPort);
   return result;
}

int DtInetEndpoint::toSockaddr(sockaddr_in * target)
{
   int const result = myAddress.toSockaddr(target);
   if (result == 0)
      target->sin_port = tsl::networkPort(myPort);
   return result;
}

DtString const & DtInetEndpoint::toDtString(bool withProtocol) const
{
   if (!textValid)
   {
      myText = withPort(myAddress, myPort);
      myTextWithProtocol = myText;
      if (myProtocol == DtInetProtoTcp)
         myTextWithProtocol += "(TCP)";
      else if (myProtocol == DtInetProtoUdp)
         myTextWithProtocol += "(UDP)";
      textValid = true;
   }
   return withProtocol ? myTextWithProtocol : myText;
}

bool DtInetEndpoint::isOk()
{
   return !hasFailed;
}

DtString DtInetEndpoint::getLastErrorString()
{
   DtString const message(myLastError);
   hasFailed = false;
   myLastError = "";
   return message;
}

void * DtInetEndpoint::tcpEndpoint()
{
   return hasTcpEndpoint ? myTcpEndpoint : nullptr;
}

void * DtInetEndpoint::udpEndpoint()
{
   // Its bytes may change in the caller's hands.
   isSender = false;
   return hasUdpEndpoint ? myUdpEndpoint : nullptr;
}

bool operator==(DtInetEndpoint const & left, DtInetEndpoint const & right)
{
   return tsl::EndpointAccess::equal(left, right);
}

bool operator!=(DtInetEndpoint const & left, DtInetEndpoint const & right)
{
   return !(left == right);
}

bool operator<(DtInetEndpoint const & left, DtInetEndpoint const & right)
{
   return tsl::EndpointAccess::less(left, right);
}

bool operator>(DtInetEndpoint const & left, DtInetEndpoint const & right)
{
   return !(left < right) && !(left == right);
}
