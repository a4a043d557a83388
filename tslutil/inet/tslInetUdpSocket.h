// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetSocket.h"
#include "tslutil/tslutilExport.h"

#include <cstddef>
#include <memory>

/// The socket behind a DtInetUdpSocket.
struct DtInetUdpSocketImpl;

/// A datagram socket with a default peer. The destination's address picks the family; a broadcast or
/// multicast destination gives the socket its port too, and a multicast one is joined when the socket opens.
///
/// With a device, the socket gets what is addressed to the device's address, and the broadcasts and the
/// joined groups that arrive at that interface; what it sends carries the device's address. For that it has
/// two system sockets, one that receives and one that sends: set options by the operations below, which reach
/// both. Without a device it gets what is addressed to any address of the host. In either case it hears the
/// groups that it has joined itself, and no others.
///
/// With flag 0x100 a background thread reads into a queue and receive calls never wait; with 0x200 such a
/// thread sends. Send and receive calls don't look at the state: after a failed option a socket goes on
/// working as far as the system lets it, and isOk() is the caller's test.
class TSLUTIL_EXPORT DtInetUdpSocket : public DtInetSocket
{
public:
   /// A socket with the default flags, to be configured by setSocket().
   DtInetUdpSocket();

   /// `localPort` 0 lets the system choose, unless the destination is a broadcast or multicast address: then
   /// it is the destination's. `device` is copied and may be null. A failure of `openNow` shows in state()
   /// and the last error.
   DtInetUdpSocket(DtInetEndpoint const & destination, unsigned short localPort = 0,
                   DtInetDevice * device = nullptr, unsigned long flags = DtInetSockFlagsDefault,
                   bool openNow = true);

   // Virtual operations, in slot order. First those of the base.

   /// Closes the socket.
   ~DtInetUdpSocket() override;
   /// Refused for an endpoint that is TCP, and while the socket is open with a broadcast or multicast
   /// destination. One without a protocol becomes UDP.
   bool setDestination(DtInetEndpoint const & destination) override;
   /// Effective before the socket is open, and for a device that isn't null. Always true.
   bool bindToDevice(DtInetDevice const * device) override;
   /// Opens, sets options through the virtual setters, binds, joins a multicast destination and starts the
   /// background thread. A failed join doesn't fail the call, but leaves the error state. An open socket is
   /// fine as it is; a closed or failed one is refused.
   bool openSocket() override;
   /// Ends the background thread, which takes at least 0.1 s, and closes.
   bool closeSocket() override;
   /// Opens the socket if need be and connects it: it then hears its destination only. Refused, without any
   /// error code, for a broadcast or multicast destination.
   bool connectToDestination() override;
   int send(char * data, std::size_t size, unsigned long flags = 0) override;
   /// A connected socket sends to its destination instead. An endpoint without a protocol becomes UDP in the
   /// caller's object. A call that would block is a failure.
   int sendTo(char * data, std::size_t size, DtInetEndpoint & to, unsigned long flags = 0) override;
   int sendChain(DtInetSockChain & chain, unsigned long flags = 0) override;
   /// The same with callbacks. If it would block, a non-blocking socket answers 0.
   int sendChainTo(DtInetSockChain & chain, DtInetEndpoint & to, unsigned long flags = 0) override;
   /// Receives one datagram. A larger one than the buffer is an error, 10040, and in part written; from the
   /// queue it is DtInetSockRcvNoRoom.
   DtInetSockRcvStatus recv(char * data, std::size_t size, unsigned long flags = 0) override;
   DtInetSockRcvStatus recvToChain(DtInetSockChain & chain, unsigned long flags = 0) override;
   DtInetSockRcvStatus recvFrom(char * data, std::size_t size, DtInetEndpoint & from,
                                unsigned long flags = 0) override;
   /// Receives one datagram into a chain, with callbacks. On a blocking socket a failed read is a receive of
   /// nothing.
   DtInetSockRcvStatus recvToChainFrom(DtInetSockChain & chain, DtInetEndpoint & from,
                                       unsigned long flags = 0) override;
   /// Whether the socket is open or connected.
   bool isOk() override;
   unsigned int descriptor() const override;
   bool setSocket(DtInetEndpoint const & destination, unsigned short localPort = 0,
                  DtInetDevice * device = nullptr, unsigned long flags = DtInetSockFlagsDefault) override;
   bool setNonBlockingOption(bool on) override;
   bool setReuseAddressOption(bool on) override;
   bool setSendBufferSize(unsigned long bytes) override;
   /// The system is asked for more, since its own overhead counts in its number.
   bool setReceiveBufferSize(unsigned long bytes) override;
   bool setDoNotRouteOption(bool on) override;
   bool setSendLowWatermark(unsigned long bytes) override;
   bool setReceiveLowWatermark(unsigned long bytes) override;
   bool getReuseAddressOption() override;
   bool getDoNotRouteOption() override;
   unsigned long getSendBufferSize() override;
   /// What was set; less if the system's limit cut it.
   unsigned long getReceiveBufferSize() override;
   unsigned long getBytesAvailable() override;
   unsigned long getSendLowWatermark() override;
   unsigned long getReceiveLowWatermark() override;

   // What this class adds.

   /// Ends the connection of a connected socket. The state stays, and send() still goes to the destination.
   virtual bool disconnect();
   /// Whether broadcasts may be sent.
   virtual bool setBroadcastOption(bool on);
   /// The device that multicast leaves by; null, and one that isn't multicast capable, stand for the default
   /// multicast device. False if there is none.
   virtual bool setMcastDevice(DtInetDevice * device);
   /// The same by the device's address. An address that isn't IPv4 answers true and changes nothing.
   virtual bool setMcastDevice(DtInetAddr const & interfaceAddress);
   /// Whether they may.
   virtual bool getBroadcastOption();
   /// Joins a group on `device` if that is multicast capable, else on the first device that is; joining again
   /// answers true and changes nothing. Linux lets a socket join 20 IPv4 groups; the next one fails, 10055.
   virtual bool joinMulticastGroup(DtInetEndpoint const & group, DtInetDevice * device);
   /// The same by the address of the group.
   virtual bool joinMulticastGroup(DtInetAddr const & group, DtInetDevice * device);
   /// Leaves a group. Not the mirror of the join, on purpose: a multicast capable `device` is refused, so
   /// that it is only left on the first such device. False, without an error, if it wasn't joined there.
   virtual bool dropMulticastGroup(DtInetEndpoint const & group, DtInetDevice * device);
   /// The same by the address of the group.
   virtual bool dropMulticastGroup(DtInetAddr const & group, DtInetDevice * device);
   /// How many routers what is sent to a group may cross. Throws std::out_of_range for more than 255.
   virtual bool setMcastTtlOption(unsigned long ttl);
   /// The socket that is sent to, and the one that is received from, as `boost::asio::ip::udp::socket`: the
   /// same object, and the socket's own. It may be closed already.
   virtual void * udpSocket();
   /// The one that is received from.
   virtual void * secondUdpSocket();

protected:
   /// Has the socket receive on a `boost::asio::ip::udp::socket` of its own, which it takes over, until it is
   /// opened again; null for the one that it sends on.
   void setSecondUdpSocket(void * socket);

private:
   friend class DtDisSocket;

   bool takeDeviceAddresses();
   int openAndBind();
   void setOpeningOptions();
   int readLocalPort();
   Failure failOpen(int code, DtString const & text);

   bool maySend(char const * operation, DtInetEndpoint & to);
   DtInetEndpoint & target(DtInetEndpoint & to);
   DtInetSockRcvStatus receivePiece(char * data, std::size_t size, DtInetEndpoint & from);

   // What goes wrong stands apart, to keep the ways of what goes well short.

   [[gnu::cold]] Failure failSend(int code, char const * operation, char const * reason);
   [[gnu::cold]] Failure refuseSend(char const * operation, DtInetEndpoint & to, int error);
   bool isNothingYet(int number) const;
   [[gnu::noinline]] DtInetSockRcvStatus failedReceive(char const * operation, int error);
   DtInetSockRcvStatus failedPieceReceive(int error);
   [[gnu::noinline]] DtInetSockRcvStatus failedChainReceive(char const * operation, int error,
                                                            bool wantsSender);
   [[gnu::cold]] DtInetSockRcvStatus refuseReceive(char const * operation, int error);

   struct ChainSend;
   struct ChainReceive;

   std::unique_ptr<DtInetUdpSocketImpl> const myImpl;
};
