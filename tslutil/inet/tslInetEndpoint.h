// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/inet/tslInetAddr.h"
#include "tslutil/tslutilExport.h"

namespace tsl
{
struct EndpointAccess;
}

/// The transport protocol of an endpoint.
enum DtInetProtocol : int
{
   DtInetProtoUdp = 0,
   DtInetProtoTcp = 1,
   /// None chosen yet.
   DtInetProtoNone = 99
};

/// One end of a conversation: an address, a port and a protocol. While the protocol is UDP or TCP, it holds
/// the Boost endpoint that the sockets hand to the system. Nothing locks, and toDtString() writes a cache: an
/// endpoint that threads share needs one call of it beforehand, or a lock.
class TSLUTIL_EXPORT DtInetEndpoint
{
public:
   /// The IPv4 any-address, port 0, no protocol. Such an endpoint is equal to none, itself included.
   DtInetEndpoint();

   /// The endpoint of an address and a port in host order, 0 for any.
   DtInetEndpoint(DtInetAddr const & address, unsigned short port, DtInetProtocol protocol = DtInetProtoNone);

   /// The endpoint that a text names; see hostLookup(). Blocks for the look-up. If that fails, isOk() is
   /// false and the address is the IPv4 any-address: test it, nothing else does.
   DtInetEndpoint(DtString & nameOrLocator, unsigned short port, DtInetProtocol protocol = DtInetProtoNone,
                  DtInetUtils::DtInetAddrFamily family = DtInetUtils::DtInetFamilyUnspecified);

   /// Copies all, errors included. Takes no memory while the texts are short.
   DtInetEndpoint(DtInetEndpoint const & other);

   /// Copies address, port, protocol and the Boost endpoint, not the error. A Boost endpoint of the other
   /// protocol that the target has stays. Takes no memory.
   DtInetEndpoint & operator=(DtInetEndpoint const & other);

   // Virtual operations, in slot order.

   virtual ~DtInetEndpoint();
   /// Takes the address of a local device by its name or address, of a literal, or of a host by a look-up,
   /// which blocks. `port` counts only while the endpoint has none; a port of 1 to 65534 in the text wins.
   /// `family` is a wish: IPv4, IPv6, or any. On failure the address stays, and isOk() is false.
   virtual void hostLookup(DtString & nameOrLocator, unsigned short port,
                           DtInetUtils::DtInetAddrFamily family);
   /// Without a protocol a text that was asked for once stays as it is, on purpose; the same with setPort().
   virtual void setAddress(DtInetAddr const & address);
   /// The address.
   virtual DtInetAddr const & address() const;
   /// Sets the port.
   virtual void setPort(unsigned short port);
   /// The port in host order; 0 stands for any.
   virtual unsigned short port() const;
   /// Sets the protocol and makes the Boost endpoint that goes with it.
   virtual void setProtocol(DtInetProtocol protocol);
   /// The protocol.
   virtual DtInetProtocol protocol() const;
   /// The family of the address.
   virtual DtInetUtils::DtInetAddrFamily family() const;
   /// Sets all three at once.
   virtual void setEndpoint(DtInetProtocol protocol, DtInetAddr const & address, unsigned short port);
   /// What the address and the protocol are.
   virtual bool isIPv4() const;
   /// Whether the address is IPv6.
   virtual bool isIPv6() const;
   /// Whether the protocol is TCP.
   virtual bool isTcp() const;
   /// Whether the protocol is UDP.
   virtual bool isUdp() const;
   /// Fills family, address, scope and port from an IPv6 endpoint and answers 0; -1, and writes nothing, for
   /// any other.
   virtual int toSockaddr(sockaddr_in6 * target);
   /// Fills family, address and port from an IPv4 endpoint and answers 0; -1, and writes nothing, for any
   /// other.
   virtual int toSockaddr(sockaddr_in * target);
   /// "10.0.0.1:3000", "[fe80::1%3]:any", with "(UDP)" or "(TCP)" behind it if that is wanted. Valid until
   /// the endpoint changes.
   virtual DtString const & toDtString(bool withProtocol = false) const;
   /// Whether no look-up has failed since the last error was read.
   virtual bool isOk();
   /// What failed. Reading consumes it: isOk() is true afterwards.
   virtual DtString getLastErrorString();
   /// The `boost::asio::ip::tcp::endpoint`; null unless the protocol is TCP. Valid until the endpoint
   /// changes, and must not be written. The same with udpEndpoint().
   virtual void * tcpEndpoint();
   /// The same for UDP.
   virtual void * udpEndpoint();

protected:
   /// Makes the Boost endpoint of the protocol anew from address and port.
   void initEndpoint();

private:
   friend struct tsl::EndpointAccess;

   bool isSameSender(DtInetEndpoint const & other) const;
   void copyEndpoints(DtInetEndpoint const & other);
   bool takeDevice(DtString const & text, DtInetUtils::DtInetAddrFamily family);
   void takeHost(DtString const & text, DtString const & host, DtInetUtils::DtInetAddrFamily family);
   void takeLiteral(DtString const & literal, DtString const & suffix, int suffixKind);

   // The Boost endpoints, constructed in place so that neither a copy nor a received datagram takes memory.
   alignas(8) unsigned char myTcpEndpoint[32];
   alignas(8) unsigned char myUdpEndpoint[32];
   bool hasTcpEndpoint = false;
   bool hasUdpEndpoint = false;
   // Address and port are those of the UDP endpoint, set by tsl::EndpointAccess::setSender() and not since.
   bool isSender = false;
   DtInetAddr myAddress;
   unsigned short myPort = 0;
   DtInetProtocol myProtocol = DtInetProtoNone;
   bool hasFailed = false;
   DtString myLastError;
   mutable bool textValid = false;
   mutable DtString myText;
   mutable DtString myTextWithProtocol;
};

/// The left side's protocol selects the Boost endpoints to compare, by family, address with its exact scope,
/// and port. Without a protocol, or if either side lacks that endpoint, nothing is equal or less, and all is
/// greater.
TSLUTIL_EXPORT bool operator==(DtInetEndpoint const & left, DtInetEndpoint const & right);
TSLUTIL_EXPORT bool operator!=(DtInetEndpoint const & left, DtInetEndpoint const & right);
TSLUTIL_EXPORT bool operator<(DtInetEndpoint const & left, DtInetEndpoint const & right);
TSLUTIL_EXPORT bool operator>(DtInetEndpoint const & left, DtInetEndpoint const & right);
