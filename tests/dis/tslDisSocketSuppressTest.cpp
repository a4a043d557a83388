// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetDevice.h"

#include "disKit.h"
#include "support/watchdog.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

DtInetDevice theLoopback(DtString("lo"));

/// A suppressing socket on loopback.
struct Suppressor : DtDisSocket
{
   explicit Suppressor(DtInetEndpoint const & to, unsigned long flags, unsigned short port = 0,
                       bool opens = true)
      : DtDisSocket(to, port, &theLoopback, flags, opens, true)
   {
   }
};

constexpr unsigned long theWorkerFlags = DtInetSockFlagAsyncSend | DtInetSockFlagReuseAddress;

TEST(DtDisSocketSuppress, WorkerSendsInOrderAndDropsWhatFails)
{
   Watchdog watchdog;
   LoopbackPeer peer;
   DtInetEndpoint const to = udpEndpoint("127.0.0.1", peer.port()), nobody;
   for (int turn = 0; turn < 20; ++turn)
   {
      Suppressor dis(to, theWorkerFlags, unusedPort());
      ASSERT_EQ(dis.state(), DtInetSockOpen) << dis.getLastErrorString();
      for (int const size : {30, 0})
         dis.setBundling(size, 0, 0, false);
      for (int i = 0; i < 50; ++i)
      {
         std::string const text = std::to_string(i);
         ASSERT_EQ(sendFlat(dis, "lost", nobody), 4);
         ASSERT_EQ(sendFlat(dis, std::string(65520, 'x'), to), 65520) << "too long for any datagram";
         ASSERT_EQ((i % 2 == 0 ? sendFlat(dis, text, to) : sendInChain(dis, text, to)),
                   static_cast<int>(text.size()));
      }
      dis.setBundling(100, 0, 0, false);
      EXPECT_EQ(sendFlat(dis, "last", to), 4);
      EXPECT_EQ(dis.totalPacketsSent(), 151u);
      EXPECT_TRUE(dis.closeSocket());
      for (int i = 0; i < 50; ++i)
         ASSERT_EQ(peer.receive(0), std::to_string(i)) << "all is out when the socket is closed";
      EXPECT_EQ(peer.receive(0), "last") << "what was bundled too";
      dis.setBundling(0, 0, 0, false);
      EXPECT_EQ(sendInChain(dis, "never", to), 5);
      EXPECT_FALSE(peer.receive(0));
   }
   Suppressor unopened(to, theWorkerFlags, unusedPort(), false);
   EXPECT_EQ(sendFlat(unopened, "early", to), 5);
   EXPECT_TRUE(unopened.openSocket());
   EXPECT_EQ(peer.receive(), "early") << "waits for the open";
}

/// One of two processes that send PDUs to a group in rounds, each round when all of the peer's last one has
/// come. Answers how often it got something else than the peer's next PDU or a drop of its own.
int exchange(DtInetEndpoint const & group, char mine, char theirs, int rounds, int ready)
{
   Suppressor dis(group, DtInetSockFlagsDefault);
   char signal = 0;
   if (write(ready, "r", 1) != 1 || read(ready, &signal, 1) != 1)
      return -1;
   int sent = 10000000, got = sent, wrong = 0;
   for (int const end = sent + 50 * rounds; got < end;)
   {
      for (int const stop = sent + 50; sent < stop; ++sent)
      {
         std::string bytes = pdu(48, 7, 1, 0, mine).replace(20, 8, std::to_string(sent));
         wrong += dis.send(bytes.data(), bytes.size()) != 48;
      }
      while (got < sent)
      {
         Received const next(dis, 2000);
         if (next.status != DtInetSockRcvSelf)
            wrong += next.bytes != pdu(48, 7, 1, 0, theirs).replace(20, 8, std::to_string(got++));
      }
   }
   return wrong;
}

TEST(DtDisSocketSuppress, TwoProcessesOnOneGroupHearEachOtherOnly)
{
   Watchdog watchdog(250);
   char const * const wish = std::getenv("DIS_EXCHANGE_PDUS");
   int const rounds = (wish != nullptr ? std::atoi(wish) : 2000) / 50;
   DtInetEndpoint const group = udpEndpoint("239.7.7.7", unusedPort());
   int ends[2];
   ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
   pid_t const child = fork();
   if (child == 0)
      _exit(exchange(group, 'c', 'p', rounds, ends[0]) == 0 ? 0 : 1);
   EXPECT_EQ(exchange(group, 'p', 'c', rounds, ends[1]), 0);
   int status = -1;
   waitpid(child, &status, 0);
   EXPECT_EQ(status, 0);
   close(ends[0]);
   close(ends[1]);
}

} // namespace
