// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/socketAccess.h"
#include "tslutil/platform/socket.h"

/// Sending and receiving a chain, with the callbacks around it, once for all kinds of sockets. What differs
/// between them, also where the difference looks accidental, is in the `Ways` that each hands over.
namespace tsl
{

/// The sum of the sizes of a chain's vectors, at most the largest int.
int chainSize(DtInetSockChain const & chain);

/// The first vectors of a chain, as many as the system takes at once.
class ChainSlices
{
public:
   explicit ChainSlices(DtInetSockChain const & chain);

   platform::Slice * data() { return mySlices; }
   std::size_t count() const { return myCount; }

private:
   platform::Slice mySlices[platform::theMaxSlices];
   std::size_t myCount;
};

/// Whether a call runs the callbacks of a type: not with an empty table, nor with `skips` in its flags.
inline bool runsCallbacks(DtInetSocket & socket, DtInetSockProcessingType type, unsigned long flags,
                          DtInetSockCallFlags skips)
{
   return !SocketAccess::callbacks(socket, type).empty() && (flags & static_cast<unsigned long>(skips)) == 0;
}

/// What the pre-send callbacks made of a message.
struct PreSendResult
{
   /// Whether any callback failed the send.
   bool hasFailed;
   /// Whether they have taken the whole message over.
   bool isTaken;
   /// How many bytes they have taken over.
   int taken;
};

// The runs of the four tables.

PreSendResult runPreSend(DtInetSocket & socket, DtInetSockChain & chain, DtInetEndpoint & to);
/// Adds the results to `count`; false if a callback fails the send.
bool runPostSend(DtInetSocket & socket, int & count, DtInetSockChain & chain, DtInetEndpoint & to);
/// Answers the last callback's result.
int runPreReceive(DtInetSocket & socket, DtInetSockChain & chain, DtInetEndpoint & from, int & status);
/// Answers the result of the receive. The callbacks share a copy of `status`.
int runPostReceive(DtInetSocket & socket, int count, DtInetSockChain & chain, DtInetEndpoint & from,
                   int status);

/// Sends a chain; the caller has made sure that its socket may send. The ways are:
///
///    char const * operation       what the texts of failed callbacks begin with
///    Transfer transmit(int taken) hands the chain to the system; `taken` is what callbacks took of it, for a
///                                 socket that counts it
///    bool failed(int error)       records a failed transmission; true to go on with a count of 0
///    void count(int bytes)        counts one packet
///
/// A message that the callbacks have taken whole, and an empty chain, are counted and not transmitted.
template<class Ways>
int sendChain(DtInetSocket & socket, DtInetSockChain & chain, DtInetEndpoint & to, unsigned long flags,
              Ways && ways)
{
   PreSendResult before{false, false, 0};
   if (runsCallbacks(socket, DtInetSockPreSend, flags, DtInetSockSkipPreCallbacks))
      before = runPreSend(socket, chain, to);
   if (before.hasFailed)
      return SocketAccess::fail(socket, -1, DtString(ways.operation) + "Pre-send callback failed.");
   int count = before.isTaken ? before.taken : 0;
   if (!before.isTaken && !chain.empty())
   {
      platform::Transfer const sent = ways.transmit(before.taken);
      if (sent.error == 0)
         count = sent.count;
      else if (!ways.failed(sent.error))
         return -1;
   }
   ways.count(count);
   if (runsCallbacks(socket, DtInetSockPostSend, flags, DtInetSockSkipPostCallbacks) &&
       !runPostSend(socket, count, chain, to))
      return SocketAccess::fail(socket, -1, DtString(ways.operation) + "Post-send callback failed.");
   return count;
}

/// Receives into a chain. The ways are:
///
///    Transfer read()                       reads the socket or the queue into the chain
///    DtInetSockRcvStatus failed(int error) what the receive answers for a failed read, which it may record;
///                                          DtInetSockRcvNothing to go on with a count of 0
///    void tellSender()                     a read that gave other than 0: says in `from` who sent it
template<class Ways>
DtInetSockRcvStatus receiveChain(DtInetSocket & socket, DtInetSockChain & chain, DtInetEndpoint & from,
                                 unsigned long flags, Ways && ways)
{
   if (chain.empty())
      return DtInetSockRcvNoRoom;
   int status = DtInetSockRcvNothing;
   int count = 0;
   if (runsCallbacks(socket, DtInetSockPreReceive, flags, DtInetSockSkipPreCallbacks))
      count = runPreReceive(socket, chain, from, status);
   if (status != DtInetSockRcvFromQueue)
   {
      platform::Transfer const got = ways.read();
      DtInetSockRcvStatus const answer = got.error == 0 ? DtInetSockRcvNothing : ways.failed(got.error);
      if (answer != DtInetSockRcvNothing)
         return answer;
      count = got.error == 0 ? got.count : 0;
      if (count != 0)
         ways.tellSender();
   }
   if (count != 0)
      SocketAccess::countReceived(socket, count);
   if (runsCallbacks(socket, DtInetSockPostReceive, flags, DtInetSockSkipPostCallbacks))
      count = runPostReceive(socket, count, chain, from, status);
   return DtInetSockRcvStatus(count);
}

} // namespace tsl
