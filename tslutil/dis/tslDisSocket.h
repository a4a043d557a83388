// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslNetTypes.h"
#include "tslutil/dis/tslPduFilterTest.h"
#include "tslutil/inet/tslInetUdpSocket.h"
#include "tslutil/time/tslNetTimeStamp.h"
#include "tslutil/tslutilExport.h"

#include <cstddef>
#include <memory>

struct DtDisSocketImpl;

namespace tsl
{
struct Bundle;
struct FlatChain;
} // namespace tsl

/// The socket on which DIS PDUs travel. To a UDP socket it adds several destinations per send, bundles (many
/// PDUs in one datagram), a send socket of its own by which it recognises its own traffic and drops it on
/// receipt (self-reflection suppression), and the splitting and filtering of what arrives.
///
/// A program calls send() for each PDU and flush() once per frame; and recvFrom() or recvToChainFrom() in a
/// loop until one returns 0. A receive call delivers one PDU, or one PDU with its coupled Attribute PDU; a
/// negative result says why there is none: DtInetSockRcvFiltered and DtInetSockRcvSelf are drops, not errors,
/// and the caller just calls again. A socket is used by one thread at a time. It locks its own data only with
/// one of the asynchronous flags 0x100 and 0x200.
///
/// All of this hangs on the processing callbacks of DtInetSocket, which run the virtual operations below. The
/// flat recv() runs none and delivers a raw datagram. Failures are recorded as by any socket.
class TSLUTIL_EXPORT DtDisSocket : public DtInetUdpSocket
{
public:
   /// The first 12 bytes of a PDU, as they lie on the wire.
   struct DtDisSocketPduHeader
   {
      /// The version of the protocol: 5 IEEE 1278.1-1995, 6 1278.1A-1998, 7 1278.1-2012.
      unsigned char protocolVersion;
      /// The exercise that the PDU belongs to.
      unsigned char exerciseId;
      /// The kind of PDU.
      unsigned char pduType;
      /// The family of kinds.
      unsigned char protocolFamily;
      /// When the data held.
      DtNetTimeStamp timestamp;
      /// The size of the PDU in bytes, this header included.
      DtNetU16 length;
      /// From version 7 on: bit 0x08 tells that an Attribute PDU follows, coupled to this one.
      unsigned char pduStatus;
      /// Not read.
      unsigned char padding;
   };

   /// `localPort` is the port to receive on, 0 that of the destination. With self-reflection suppression it
   /// is also the wish for the send socket's port: where it is the destination's port, or 0, the system
   /// chooses. `device` is copied and may be null; a suppressing socket to a unicast destination can't be
   /// opened without one. `flags` are those of DtInetSocket. A failure of `openNow` shows in state() and the
   /// last error.
   DtDisSocket(DtInetEndpoint const & destination, unsigned short localPort = 0,
               DtInetDevice * device = nullptr, unsigned long flags = DtInetSockFlagsDefault,
               bool openNow = true, bool suppressSelfReflection = false);
   DtDisSocket(DtDisSocket const &) = delete;
   DtDisSocket & operator=(DtDisSocket const &) = delete;

   // Virtual operations, in slot order. First those of the UDP socket that mean more here.

   /// Closes the socket; bundles that still can't be sent are lost.
   ~DtDisSocket() override;

   /// Opens the receive socket and, for suppression, the send socket on the address of the host interface.
   bool openSocket() override;
   /// Sends what is bundled, waits until the send worker is done, and closes both sockets.
   bool closeSocket() override;
   /// Sends to the destination and to all additional destinations; the result is that of the last one tried.
   /// An invalid destination is -1 and stops the call, an invalid additional one is -1 and passed over.
   int send(char * data, std::size_t size, unsigned long flags = 0) override;
   /// Sends to one endpoint, through the bundle while bundling is on. -1 on failure, also if it would block.
   int sendTo(char * data, std::size_t size, DtInetEndpoint & to, unsigned long flags = 0) override;
   int sendChain(DtInetSockChain & chain, unsigned long flags = 0) override;
   /// Sends a chain to one endpoint as one datagram. On a non-blocking socket that would block the result is
   /// 0, unlike that of sendTo(), and the error text is set all the same.
   int sendChainTo(DtInetSockChain & chain, DtInetEndpoint & to, unsigned long flags = 0) override;
   /// Receives one PDU. Never writes beyond `size` bytes of `data`, but the result may be larger: it is what
   /// the PDU's length field claims.
   DtInetSockRcvStatus recvFrom(char * data, std::size_t size, DtInetEndpoint & from,
                                unsigned long flags = 0) override;

   // The options go to the receive socket first, then to the send socket if there is one. With suppression
   // and a send socket that is not open they answer false.

   /// Answers the socket's non-blocking flag, whatever the change on the receive socket gave.
   bool setNonBlockingOption(bool on) override;
   bool setReuseAddressOption(bool on) override;
   bool setSendBufferSize(unsigned long bytes) override;
   bool setReceiveBufferSize(unsigned long bytes) override;
   bool setDoNotRouteOption(bool on) override;
   bool setSendLowWatermark(unsigned long bytes) override;
   bool setReceiveLowWatermark(unsigned long bytes) override;
   bool setBroadcastOption(bool on) override;
   using DtInetUdpSocket::setMcastDevice;
   /// An address other than IPv4 goes to the receive socket only.
   bool setMcastDevice(DtInetAddr const & interfaceAddress) override;
   /// Throws std::out_of_range for more than 255.
   bool setMcastTtlOption(unsigned long ttl) override;

   // What this class adds.

   /// False, and nothing is added, if the family differs from that of the destination. Adding one twice adds
   /// it once.
   virtual bool addDestination(DtInetEndpoint const & destination);
   /// Takes an additional destination off; one that was not added is passed over.
   virtual void removeDestination(DtInetEndpoint const & destination);
   /// Joins the send socket to a group, on `device` if it is multicast capable, else on the default device.
   /// The receive socket is not touched: joinMulticastGroup() does that.
   virtual bool sendSockJoinMulticastGroup(DtInetEndpoint const & group, DtInetDevice * device);
   /// The same by the address of the group.
   virtual bool sendSockJoinMulticastGroup(DtInetAddr const & group, DtInetDevice * device);
   /// Takes the send socket out of a group, by the same rules.
   virtual bool sendSockDropMulticastGroup(DtInetEndpoint const & group, DtInetDevice * device);
   /// The same by the address of the group.
   virtual bool sendSockDropMulticastGroup(DtInetAddr const & group, DtInetDevice * device);
   /// Bundles PDUs into datagrams of up to `maxSize` bytes; 0 turns bundling off and leaves bundles to be
   /// flushed. The other arguments have no effect: a bundle has no time limit.
   virtual void setBundling(int maxSize, int unused1, int unused2, bool unused3);
   /// Stores the size, without turning bundling on or off. Always true.
   virtual bool setMaxBundleSize(int maxSize);
   /// The largest size of a bundle in bytes; 0 or less while bundling is off.
   virtual int getMaxBundleSize();
   /// Whether the largest size is greater than 0.
   virtual bool isBundling();
   /// The smallest size in bytes of a datagram that is not dropped, and of a PDU in a bundle; 12 at first.
   virtual void setMinPacketSize(int bytes);
   /// The smallest size, as set.
   virtual int minPacketSize();
   /// Each PDU that is bundled begins at a multiple of this, a power of two; 8 at first. 0 or 1 for none.
   virtual void setBundleByteAlignment(unsigned long alignment);
   /// The alignment of PDUs in bundles that are sent.
   virtual unsigned long sendBundleByteAlignment();
   /// The alignment of PDUs in received bundles: 0 below version 7, 8 from there on.
   virtual unsigned long receiveBundleByteAlignment(int version);
   /// The tests that a PDU must pass to be delivered, in the order version, exercise, kind, address. They
   /// belong to the socket. That of the address reads nothing: its operator alone passes or refuses all.
   virtual DtPduFilterTest * exerciseId();
   /// The test of the version.
   virtual DtPduFilterTest * protocolVersion();
   /// The test of the kind.
   virtual DtPduFilterTest * pduKind();
   /// The test of the address.
   virtual DtPduFilterTest * ipAddr();
   /// The address and port that the send socket is bound to.
   virtual DtInetEndpoint & localSenderEndpoint();
   /// Sends all bundles, in the order of their endpoints. The first that does not go out whole stops it, and
   /// stays with those behind it.
   virtual DtInetSockFlushStatus flush();
   /// The pre-send callback that bundles: copies the chain into the bundle for `to` and returns 0, what is
   /// left to send; -1 if a full bundle, or a PDU too large for any, could not be sent.
   virtual int addToBundle(int count, DtInetSockChain & chain, DtInetEndpoint & to, void * data);
   /// A post-receive callback: keeps the first PDU of a datagram in the chain and queues the others.
   virtual int unbundle(int count, DtInetSockChain & chain, DtInetEndpoint & from, int * status);
   /// The pre-receive callback: serves a queued PDU, if there is one, in place of reading the socket.
   virtual int getNextBundle(int count, DtInetSockChain & chain, DtInetEndpoint & from, int * status);
   /// Sends the bundle for one endpoint.
   virtual DtInetSockFlushStatus flushBundle(DtInetEndpoint & to);
   /// A post-receive callback: drops what the socket has sent itself.
   virtual int suppressSelfReflect(int count, DtInetSockChain & chain, DtInetEndpoint & from, int * status);
   /// The last post-receive callback: drops what the filter tests refuse and cuts the count to one PDU.
   virtual int filterExercisePdus(int count, DtInetSockChain & chain, DtInetEndpoint & from, int * status);
   /// The first post-receive callback: drops what is too short.
   virtual int minSizeFilter(int count, DtInetSockChain & chain, DtInetEndpoint & from, int * status);

protected:
   /// The send socket, a `boost::asio::ip::udp::socket`; null without suppression.
   virtual void * disSendSocket();
   /// The length field of the PDU at `header`, which stands `offset` bytes into the buffer at `current`, and
   /// whether an Attribute PDU is coupled to it. 0 if the header straddles buffers, with status -4 if the
   /// chain ends in it. Status -1 if an Attribute PDU is expected and this is none; the length is answered
   /// all the same.
   virtual unsigned short getPduSize(DtDisSocketPduHeader * header, int offset,
                                     DtInetSockChain::iterator current, DtInetSockChain::iterator end,
                                     int * status, bool & coupled, bool expectAttribute);
   /// The length of the Attribute PDU that stands `advance` bytes behind a PDU; 0 with status -4 if the chain
   /// ends before.
   virtual unsigned short getCoupledAttributePduSize(DtDisSocketPduHeader * header, int offset,
                                                     DtInetSockChain::iterator current,
                                                     DtInetSockChain::iterator end, int * status,
                                                     int advance);
   /// Walks `offset` bytes on from the start of the buffer at `current`; leaves in `offset` what is left of
   /// it in the buffer that it answers.
   virtual DtInetSockChain::iterator
   advanceToOffset(unsigned short & offset, DtInetSockChain::iterator current, DtInetSockChain::iterator end);

   // The callbacks themselves. Each runs the virtual operation of its name on `socket`.

   /// Bundles what is to be sent.
   static int addToBundle(DtInetSocket * socket, int count, DtInetSockChain & chain, DtInetEndpoint & to,
                          void * data);
   /// For an application to install: flushes the bundle for `to`. -1 if that failed; else a count below 1
   /// stays as it is, and a larger one becomes the size of the chain.
   static int flushBundle(DtInetSocket * socket, int count, DtInetSockChain & chain, DtInetEndpoint & to,
                          void * data);
   /// Takes bundles apart.
   static int unbundle(DtInetSocket * socket, int count, DtInetSockChain & chain, DtInetEndpoint & from,
                       void * status);
   /// Serves queued PDUs.
   static int getNextBundle(DtInetSocket * socket, int count, DtInetSockChain & chain, DtInetEndpoint & from,
                            void * status);
   /// Drops own datagrams.
   static int suppressSelfReflect(DtInetSocket * socket, int count, DtInetSockChain & chain,
                                  DtInetEndpoint & from, void * status);
   /// Filters PDUs.
   static int filterExercisePdus(DtInetSocket * socket, int count, DtInetSockChain & chain,
                                 DtInetEndpoint & from, void * status);
   /// Drops what is too short.
   static int minSizeFilter(DtInetSocket * socket, int count, DtInetSockChain & chain, DtInetEndpoint & from,
                            void * status);

private:
   class TSLUTIL_NO_EXPORT Unbundling;
   struct TSLUTIL_NO_EXPORT ChainWays;

   bool chooseSender();
   void openSendSocket();
   bool changeSendSockGroup(DtInetAddr const & group, DtInetDevice * device, bool joins);
   template<class SendOne>
   int sendToAll(char const * operation, SendOne const & sendOne);
   [[gnu::cold]] int failDestination(char const * operation, char const * text, DtInetEndpoint const & to);
   bool maySend(char const * operation);
   DtInetEndpoint & targetOf(DtInetEndpoint & to);
   [[gnu::cold]] int refuseSend(char const * operation, DtInetEndpoint const & to, int error);
   DtInetSockFlushStatus sendBundle(tsl::Bundle & bundle);
   bool joinsBundle(char const * data, std::size_t size, DtInetEndpoint & to, unsigned long flags);
   bool hasOwnReceiveOnly();
   bool isOwnReceive();
   DtInetSockRcvStatus judge(int count, int status, DtInetSockChain & chain, DtInetEndpoint & from);
   DtInetSockRcvStatus judgeSingle(char * pdu, int size, DtInetEndpoint & from);
   DtInetSockRcvStatus serveSingle(char * data, DtInetEndpoint & from);
   DtInetSockRcvStatus serveCoupled(char * data, std::size_t size, DtInetEndpoint & from);
   DtInetSockRcvStatus receiveDirectly(char * data, std::size_t size, DtInetEndpoint & from);
   DtInetSockRcvStatus receivedNothing(tsl::FlatChain & flat, int count);
   DtInetSockRcvStatus splitReceived(tsl::FlatChain & flat, char * data, int count, DtInetEndpoint & from);
   DtInetSockRcvStatus receiveByChain(char * data, std::size_t size, DtInetEndpoint & from,
                                      unsigned long flags);

   std::unique_ptr<DtDisSocketImpl> const myImpl;
};
