// SPDX-License-Identifier: MIT
// The callbacks around chains.
#include "tslutil/inet/tslInetUdpSocket.h"

#include "inet/socketKit.h"
#include "support/loopbackPeer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

namespace
{

using namespace socketKit;

/// What a callback answers; the text notes what it was given.
struct Script
{
   int result;
   DtInetEndpoint const * endpoint;
   std::string * seen;
};

int follow(DtInetSocket *, int size, DtInetSockChain &, DtInetEndpoint & endpoint, void * data)
{
   Script const & script = *static_cast<Script *>(data);
   EXPECT_EQ(&endpoint, script.endpoint);
   *script.seen += std::to_string(size) + " ";
   return script.result;
}

TEST(DtInetUdpSocketCallbacks, OfSends)
{
   LoopbackPeer peer;
   struct
   {
      std::vector<int> before, after;
      unsigned long flags;
      int result;
      std::string sizes, onWire;
      Count counted;
      std::string text;
   } const rows[] = {
      {{}, {}, 0, 5, "", "hello", {1, 5}, ""},
      {{5}, {7}, 0, 12, "5 5 ", "hello", {1, 5}, ""},
      // Taken whole: later ones are passed over, and nothing is sent.
      {{0, 3}, {}, 0, 5, "5 ", "", {1, 5}, ""},
      {{2, 0, 1}, {1}, 0, 6, "5 2 5 ", "", {1, 5}, ""},
      // Taken in part: what was really sent counts.
      {{2, 1}, {}, 0, 5, "5 2 ", "hello", {1, 5}, ""},
      {{-1, 3}, {}, 0, -1, "5 ", "", {0, 0}, "Pre-send callback failed."},
      {{5}, {1, -2, 3}, 0, -1, "5 5 6 ", "hello", {1, 5}, "Post-send callback failed."},
      {{-1}, {2}, DtInetSockSkipPreCallbacks, 7, "5 ", "hello", {1, 5}, ""},
      {{5}, {-1}, DtInetSockSkipPostCallbacks, 5, "5 ", "hello", {1, 5}, ""},
   };
   for (auto const & row : rows)
   {
      DtInetUdpSocket socket(loopback(peer.port()));
      std::string seen;
      DtInetEndpoint to = loopback(peer.port());
      std::deque<Script> scripts;
      auto const add = [&](DtInetSockProcessingType type, int result) {
         socket.addProcessingCallback(type, follow, &scripts.emplace_back(Script{result, &to, &seen}), -1);
      };
      for (int const result : row.before)
         add(DtInetSockPreSend, result);
      for (int const result : row.after)
         add(DtInetSockPostSend, result);
      Chain chain({"he", "llo"});
      EXPECT_EQ(socket.sendChainTo(chain.chain, to, row.flags), row.result) << &row - rows;
      EXPECT_EQ(seen, row.sizes) << &row - rows;
      EXPECT_EQ(Counters(socket).sent, row.counted) << &row - rows;
      EXPECT_EQ(peer.receive(row.onWire.empty() ? 0.0 : 5.0).value_or(""), row.onWire);
      EXPECT_EQ(told(socket),
                row.text.empty() ? "0 open ? " : "-1 error sendChain()/sendChainTo(): " + row.text);
      // A flat send runs none, and an empty chain only those behind it.
      DtInetSockChain empty;
      EXPECT_EQ(socket.send(chain.pieces[0].data(), 2), 2);
      EXPECT_EQ(socket.sendChain(empty, DtInetSockSkipPostCallbacks), 0);
      EXPECT_EQ(seen, row.sizes);
      EXPECT_EQ(peer.receive(), "he");
   }
}

// Receive callbacks get no data: they find their script by what the test runs at the time.
struct ReceiveScript
{
   int setsStatus, result;
};

std::vector<ReceiveScript> theBefore, theAfter;
std::string theSeen;
int theData = 0;

template<bool isBefore, int place>
int followReceive(DtInetSocket *, int size, DtInetSockChain &, DtInetEndpoint & from, void * arg)
{
   EXPECT_NE(arg, &theData);
   int & status = *static_cast<int *>(arg);
   theSeen += std::to_string(size) + "/" + std::to_string(status) + (from.port() != 0 ? "! " : " ");
   ReceiveScript const & script = (isBefore ? theBefore : theAfter)[place];
   status = script.setsStatus != 0 ? script.setsStatus : status;
   return script.result;
}

TEST(DtInetUdpSocketCallbacks, OfReceives)
{
   LoopbackPeer peer;
   struct
   {
      std::vector<ReceiveScript> before, after;
      unsigned long flags;
      bool isSent;
      int result;
      char const * seen;
      Count counted;
   } const rows[] = {
      {{{0, 9}}, {{0, 5}}, 0, true, 5, "0/0 5/0! ", {1, 5}},
      // Served from elsewhere: the socket isn't read.
      {{{0, 3}, {-5, 7}}, {{0, 4}}, 0, false, 4, "0/0 0/0 7/-5 ", {1, 7}},
      {{{-5, 0}}, {{0, 0}}, 0, false, -5, "0/0 0/-5 ", {0, 0}},
      {{{-4, 7}}, {{0, 1}}, 0, true, 1, "0/0 5/-4! ", {1, 5}},
      // Dropped: the others still run, and share the status.
      {{}, {{-2, 0}, {0, 0}, {-3, 0}}, 0, true, -3, "5/0! -2/-2! -2/-2! ", {1, 5}},
      {{}, {{-2, 0}, {0, 6}}, 0, true, 6, "5/0! -2/-2! ", {1, 5}},
      {{}, {{0, 0}}, 0, false, 0, "0/0 ", {0, 0}},
      {{{-5, 7}}, {{0, 2}}, DtInetSockSkipPreCallbacks, true, 2, "5/0! ", {1, 5}},
      {{{-5, 7}}, {{0, 2}}, DtInetSockSkipPostCallbacks, false, 7, "0/0 ", {1, 7}},
   };
   DtInetSocketProcessingCb const before[] = {followReceive<true, 0>, followReceive<true, 1>};
   DtInetSocketProcessingCb const after[] = {followReceive<false, 0>, followReceive<false, 1>,
                                             followReceive<false, 2>};
   for (bool const withSender : {true, false})
      for (auto const & row : rows)
      {
         DtInetUdpSocket socket(loopback(9), 0, nullptr, theNonBlocking);
         theBefore = row.before;
         theAfter = row.after;
         theSeen.clear();
         for (std::size_t i = 0; i < row.before.size(); ++i)
            socket.addProcessingCallback(DtInetSockPreReceive, before[i], &theData, 1);
         for (std::size_t i = 0; i < row.after.size(); ++i)
            socket.addProcessingCallback(DtInetSockPostReceive, after[i], &theData, 1);
         if (row.isSent)
            peer.send("hello", "127.0.0.1", socket.localPort());
         Chain chain({"---", "---"});
         DtInetEndpoint from;
         EXPECT_EQ(withSender ? socket.recvToChainFrom(chain.chain, from, row.flags)
                              : socket.recvToChain(chain.chain, row.flags),
                   row.result);
         std::string seen = row.seen;
         if (!withSender)
            seen.erase(std::remove(seen.begin(), seen.end(), '!'), seen.end());
         EXPECT_EQ(theSeen, seen) << &row - rows;
         EXPECT_EQ(Counters(socket).received, row.counted) << &row - rows;
         // A flat receive, and one into an empty chain, run none.
         DtInetSockChain empty;
         char byte;
         EXPECT_TRUE(socket.recv(&byte, 1) == 0 && socket.recvFrom(&byte, 1, from) == 0);
         EXPECT_EQ(socket.recvToChain(empty), DtInetSockRcvNoRoom);
         EXPECT_EQ(theSeen, seen);
      }
}

} // namespace
