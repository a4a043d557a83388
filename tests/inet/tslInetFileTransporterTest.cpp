// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetFileTransporter.h"

#include "support/capturedStream.h"
#include "support/loopbackPeer.h"
#include "support/slots.h"
#include "support/systemCalls.h"
#include "support/temporaryFolder.h"
#include "support/watchdog.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/tslInetTcpSocket.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;

std::string const theLost = "FileTransporter: Socket error-Exiting transfer\n";
std::string const theWriter = "DtInetFileTransporter: ", theTessaly = "Tessaly(DtInetFileTransporter)";
DtInetAddr const theHost("127.0.0.1");

long descriptors()
{
   return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

std::string number(int value)
{
   auto const bits = static_cast<unsigned int>(value);
   return {static_cast<char>(bits >> 24), static_cast<char>(bits >> 16), static_cast<char>(bits >> 8),
           static_cast<char>(bits)};
}

/// Sets a limit of this process and answers what it was.
rlim_t limit(__rlimit_resource what, rlim_t now)
{
   rlimit both{};
   getrlimit(what, &both);
   std::swap(both.rlim_cur, now);
   EXPECT_EQ(setrlimit(what, &both), 0);
   return now;
}

/// A first message, by its length, its content size and all behind the reserved number.
std::string first(int length, int contentSize, std::string const & rest, int fileSize = 5)
{
   return number(length) + number(77) + number(fileSize) + number(contentSize) + number(0) + rest;
}

/// One that is as it should be.
std::string good(std::string const & name, std::string const & content)
{
   std::string const rest = name + '\0' + content;
   return first(static_cast<int>(20 + rest.size()), static_cast<int>(content.size()), rest);
}

/// A sender that says what it likes, to a port of this host.
struct Stranger : DtInetTcpSocket
{
   explicit Stranger(unsigned int port, std::string bytes = "")
      : DtInetTcpSocket(DtInetEndpoint(theHost, static_cast<unsigned short>(port), DtInetProtoTcp))
   {
      EXPECT_TRUE(connectToDestination());
      send(bytes.data(), bytes.size());
   }
   void reset()
   {
      linger const none{1, 0};
      setsockopt(static_cast<int>(descriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
      closeSocket();
   }
   bool isCutOff()
   {
      char byte;
      setNonBlockingOption(true);
      return recv(&byte, 1) < 0;
   }
};

struct Places
{
   TemporaryFolder outer;
   int found = 0;
};

/// Listens for a folder of its own, notes what comes, and sends under a known identifier.
struct Transporter : Places, DtInetFileTransporter
{
   explicit Transporter(int port = 0, bool useIPv6 = false)
      : DtInetFileTransporter(port, false, 1, (outer.path() + "/in").c_str(), &found, useIPv6)
   {
      addFileTransferedCallback(note, nullptr);
      addFileTransferedCallback(note, this);
   }
   static void note(DtFilename const & file, void * self)
   {
      Transporter & own = *static_cast<Transporter *>(self);
      own.files.push_back(own.outer.read(fs::path(file.string()).lexically_relative(own.outer.path())));
      own.tick();
   }
   void messageReceived(DtInetFileTransportObject const & object) override
   {
      most = std::max(most, object.content.capacity());
      ++messages;
   }
   /// What a transfer of these bytes says, and the files that it brings.
   std::string receive(CapturedStream & said, std::string const & bytes)
   {
      said.clear(), files.clear();
      Stranger const sender(port(), bytes);
      tick();
      return said.textAt(1);
   }
   /// Whether ticks bring the descriptors of the process to a number: an end may still be on its way.
   bool holds(long count)
   {
      return eventually([&] { return tick(), descriptors() == count; });
   }
   /// What is in the outer folder.
   std::vector<std::string> names() const
   {
      std::vector<std::string> all;
      for (fs::directory_entry const & entry : fs::recursive_directory_iterator(outer.path()))
         all.push_back(entry.path().lexically_relative(outer.path()));
      return all;
   }
   int nextFileIdentifier() override
   {
      identifiers.push_back(DtInetFileTransporter::nextFileIdentifier());
      return 1000;
   }
   bool readFileToBuffer(std::ifstream & file, std::vector<char> & buffer, int size, int & contentSize,
                         int & reserved) override
   {
      bool const isRead = DtInetFileTransporter::readFileToBuffer(file, buffer, size, contentSize, reserved);
      if (mark != '\0')
         buffer[static_cast<std::size_t>(contentSize++)] = mark, reserved = 7;
      return isRead && mark != '?';
   }
   void finishFile(DtInetFileTransportObject & object) override
   {
      EXPECT_EQ(&object, &transportObject(object.fileIdentifier));
      seen = {object.fileIdentifier, object.fileSize, object.contentSize,
              object.bytesReceived,  object.reserved, static_cast<int>(object.content.size())};
      DtInetFileTransporter::finishFile(object);
   }
   using DtInetFileTransporter::receiveFile;
   using DtInetFileTransporter::transportObject;

   int messages = 0;
   std::size_t most = 0;
   std::vector<std::string> files;
   /// What this puts behind the files that it sends; a question mark fails them.
   char mark = '\0';
   std::vector<int> identifiers, seen;
};

TEST(DtInetFileTransporter, LetsADerivedClassChangeWhatIsSent)
{
   typedef DtInetFileTransporter T;
   typedef bool (T::*ToHost)(DtFilename const &, DtInetAddr const &);
   typedef bool (T::*ToPort)(DtFilename const &, DtInetAddr const &, int);
   EXPECT_TRUE(inSlotsFrom(
      2, &T::tick, &T::port, &T::addFileTransferedCallback, &T::removeFileTransferedCallback,
      ToHost(&T::sendFile), ToPort(&T::sendFile), &Transporter::receiveFile, &Transporter::nextFileIdentifier,
      &Transporter::readFileToBuffer, &Transporter::finishFile, &Transporter::transportObject));
   CapturedStream const said;
   Transporter both;
   std::string const file = both.outer.write("x", "abc");
   both.mark = '!';
   EXPECT_TRUE(both.sendFile(file.c_str(), theHost));
   both.tick();
   EXPECT_THAT(both.seen, ElementsAre(1000, 3, 4, 4, 7, 5));
   EXPECT_THAT(both.files, ElementsAre("abc!"));
   both.mark = '?';
   EXPECT_FALSE(both.sendFile(file.c_str(), theHost));
   EXPECT_EQ(said.textAt(1), theTessaly + " error reading file " + file + "\n");
   std::ifstream in(file);
   std::vector<char> buffer;
   int size = 0, reserved = 1;
   both.mark = '\0';
   EXPECT_TRUE(both.readFileToBuffer(in, buffer, 4, size, reserved)) << "got shorter";
   EXPECT_THAT(buffer, ElementsAre('a', 'b', 'c', 0, 0));
   EXPECT_EQ(size - reserved, 4);
   EXPECT_GT(both.identifiers.at(1), both.identifiers.at(0));
}

TEST(DtInetFileTransporter, SpeaksTheFormatOfAPeerWithFilesOfEveryEdgeSize)
{
   if (std::system("python3 -c 0") != 0)
      GTEST_SKIP() << "no python3";
   Watchdog const watchdog(300);
   CapturedStream const said;
   TemporaryFolder const folder;
   auto const peer = [&](std::string const & arguments)
   {
      std::string const command = "python3 " TEST_DATA_DIR "/transfer/peer.py " + arguments;
      EXPECT_EQ(std::system((command + " >" + folder.path("out")).c_str()), 0) << command;
      return folder.read("out");
   };
   Transporter both;
   DtInetTcpSocket recorder(0);
   std::string const to = "send 127.0.0.1 " + std::to_string(both.port()) + " ";
   peer("samples " + folder.path("samples"));
   if (std::getenv("TRANSFER_LARGE")) // 200 MB take more than a minute
      folder.write("samples/large", std::string(200000000, 'x'));
   for (fs::directory_entry const & sample : fs::directory_iterator(folder.path("samples")))
   {
      std::string const name = sample.path().filename(), path = "'" + sample.path().string() + "'";
      std::string const content = folder.read("samples/" + name);
      std::string got(content.size() * 2 + 1000, '\0');
      std::thread sending(
         [&] { EXPECT_TRUE(both.sendFile(sample.path().c_str(), theHost, recorder.localPort())); });
      DtInetTcpSocket connection;
      EXPECT_TRUE(recorder.acceptConnection(&connection));
      std::size_t size = 0;
      for (int more = 1; more > 0; size += static_cast<std::size_t>(std::max(more, 0)))
         more = connection.recv(got.data() + size, got.size() - size);
      sending.join();
      EXPECT_TRUE(got.substr(0, size) == peer("bytes " + path)) << name;
      for (std::string const split : {"", content.size() < 100000 ? " --split 977" : ""})
      {
         both.files.clear();
         std::thread receiving(
            [&] {
               EXPECT_TRUE(content.empty() ||
                           eventually([&] { return both.tick(), !both.files.empty(); }, 100));
            });
         peer(to + path + split);
         receiving.join();
         EXPECT_TRUE(content.empty() || both.files == std::vector<std::string>{content}) << name << split;
      }
      both.tick();
   }
   EXPECT_EQ(said.textAt(1), theLost + theLost) << "of the empty file";
}

TEST(DtInetFileTransporter, TellsWhereItCannotListenAndWhatItCannotSend)
{
   CapturedStream said;
   auto const words = [&]
   {
      std::string const text = said.textAt(1);
      return said.clear(), text;
   };
   std::string const range = theTessaly + " Could not find a free port in range ";
   TemporaryFolder const folder;
   DtFilename const in = folder.path("a/b").c_str();
   Transporter sender;
   int const port = sender.found;
   EXPECT_EQ(static_cast<unsigned int>(port), sender.port());
   Transporter second(port);
   EXPECT_EQ(second.port(), ~0u);
   EXPECT_EQ(second.found, -1);
   second.tick();
   EXPECT_EQ(words(), range + std::to_string(port) + " to " + std::to_string(port + 1) + "\n");
   EXPECT_GT(DtInetFileTransporter(port, true, 50, in).port(), sender.port());
   EXPECT_TRUE(fs::is_directory(folder.path("a/b")));
   EXPECT_EQ(words(), "");
   EXPECT_EQ(DtInetFileTransporter(3000, true, 0, in).port(), ~0u);
   EXPECT_EQ(DtInetFileTransporter(65536, true, 3, in).port(), ~0u);
   EXPECT_EQ(words(), range + "3000 to 3000\n" + range + "65536 to 65539\n");

   std::string const file = folder.write("x", "content");
   mkfifo(folder.path("pipe").c_str(), 0600);
   for (std::string const & name : {folder.path("none"), folder.path("pipe"), folder.path()})
   {
      EXPECT_FALSE(sender.sendFile(name.c_str(), theHost));
      EXPECT_EQ(words(), theTessaly + ": error opening file " + name + "\n");
   }
   fs::resize_file(folder.write("huge", ""), 2147483647);
   EXPECT_FALSE(sender.sendFile(folder.path("huge").c_str(), theHost));
   EXPECT_EQ(words(), theTessaly + " error reading file " + folder.path("huge") + "\n");
   EXPECT_FALSE(sender.sendFile(file.c_str(), theHost, unusedPort()));
   EXPECT_THAT(words(),
               testing::MatchesRegex("Tessaly.DtInetFileTransporter.: Could not create socket send\\(\\)"
                                     " to  127.0.0.1:[0-9]+\nDtInetTcpSocket::connectToDestination\\(\\)"
                                     ": Error connecting Boost socket\nConnection refused\n"));
   EXPECT_FALSE(second.sendFile(file.c_str(), theHost)) << "it has no port that its peer could have";
   words();
   DtNotifyLevel = 4;
   EXPECT_TRUE(sender.sendFile(file.c_str(), theHost)) << "to its own port";
   sender.tick();
   EXPECT_EQ(said.textAt(4), theWriter + "Sent 29 bytes in file transporter\n" +
                                "FileTransporter: Received 29 bytes in file transporter\n");
   EXPECT_THAT(sender.files, ElementsAre("content"));
   Transporter six(0, true);
   EXPECT_TRUE(sender.sendFile(file.c_str(), DtInetAddr("::1"), six.found));
   six.removeFileTransferedCallback(Transporter::note, nullptr);
   six.tick();
   EXPECT_EQ(six.outer.read("in/x") + std::to_string(six.files.size()), "content0");
}

TEST(DtInetFileTransporter, EndsHostileTransfersWithinTheFolderAndGoesOn)
{
   Watchdog const watchdog(120);
   CapturedStream said;
   Transporter receiver;
   receiver.setSilenceLimit(0.05);
   std::string const zero(1, '\0'), rest = "x" + zero + "12345";
   std::vector<std::string> refused = {"",
                                       number(30).substr(0, 3),
                                       good("x", "12345").substr(0, 25),
                                       first(20, 5, rest),
                                       first(24, 5, "abcde12345"),
                                       first(27, 2147483647, rest),
                                       first(27, -1, rest),
                                       first(65505, 65483, rest + std::string(65478, 'x'))};
   for (int const length : {0, 3, 7, -1, 65505, -2147483647 - 1})
      for (std::string const & before : {std::string(), first(65504, 70000, rest + std::string(65477, 'x'))})
         refused.push_back(before +
                           (before.empty() ? first(length, 5, rest) : number(length) + std::string(3, '\0')));
   for (std::string const name : {"", ".", "..", "../x", "/tmp/tslutil-x", "a/b", "a\\b", "C:x"})
      refused.push_back(good(name, "12345"));
   // Surplus is content as far as there is to be any; a read may bring more than the length says.
   std::vector<std::pair<std::string, std::string>> rows = {{good("x", "12345") + "67", "12345"},
                                                            {first(24, 7, rest + "67"), "1234567"},
                                                            {first(22, 0, rest), ""},
                                                            {first(27, 5, rest, 0), "12345"},
                                                            {first(27, 5, rest, -1), "12345"}};
   for (std::string const & bytes : refused)
      rows.emplace_back(bytes, theLost);
   receiver.tick();
   long const before = descriptors();
   for (auto const & [bytes, outcome] : rows)
   {
      std::string const row = bytes.substr(0, 40);
      Stranger stranger(receiver.port(), bytes);
      said.clear(), receiver.files.clear();
      SystemCallCount const calls;
      receiver.tick();
      EXPECT_LT(calls.here(), 60u) << "turns in place: " << row;
      bool const isLost = outcome == theLost;
      EXPECT_EQ(said.textAt(1), isLost ? theLost : "") << row;
      EXPECT_EQ(receiver.files, std::vector<std::string>(isLost ? 0 : 1, outcome)) << row;
      EXPECT_EQ(stranger.isCutOff(), isLost) << row;
      stranger.closeSocket();
      EXPECT_EQ(receiver.receive(said, good("x", "good")), "") << row;
      EXPECT_THAT(receiver.files, ElementsAre("good")) << row;
      EXPECT_TRUE(receiver.holds(before)) << row;
      EXPECT_THAT(receiver.names(), testing::UnorderedElementsAre("in", "in/x")) << row;
   }
   EXPECT_LE(receiver.most, 70001u) << "what is claimed is not allocated";
   EXPECT_FALSE(fs::exists("/tmp/tslutil-x"));
}

TEST(DtInetFileTransporter, DropsAFileWhoseSenderLeavesAtAnyByte)
{
   // All 12,800 bytes of 200 messages take some minutes: set TRANSFER_ALL_OFFSETS for them.
   std::size_t const step = std::getenv("TRANSFER_ALL_OFFSETS") ? 1 : 411, threadCount = 32;
   Watchdog const watchdog(1200);
   CapturedStream said;
   int const limit = DtInetUtils::getMaxPacketBufferSize();
   DtInetUtils::setMaxPacketBufferSize(64);
   std::string bytes = first(64, 42 + 199 * 56, "x" + std::string(1, '\0')) + std::string(42, 'c');
   for (int message = 1; message < 200; ++message)
      bytes += number(64) + number(77) + std::string(56, 'c');
   std::vector<std::thread> threads;
   for (std::size_t thread = 0; thread < threadCount; ++thread)
      threads.emplace_back(
         [&, thread]
         {
            Transporter receiver;
            for (std::size_t cut = 1 + thread * step; cut < bytes.size(); cut += threadCount * step)
               for (bool const byReset : {true, false})
               {
                  receiver.messages = 0;
                  Stranger sender(receiver.port(), bytes.substr(0, cut));
                  byReset ? sender.reset() : static_cast<void>(sender.closeSocket());
                  receiver.tick();
                  EXPECT_EQ(receiver.messages, static_cast<int>(cut) / 64);
                  EXPECT_THAT(receiver.names(), ElementsAre("in")) << cut;
               }
            Stranger const sender(receiver.port(), bytes);
            receiver.tick();
            EXPECT_EQ(receiver.outer.read("in/x"), std::string(42 + 199 * 56, 'c'));
         });
   for (std::thread & thread : threads)
      thread.join();
   DtInetUtils::setMaxPacketBufferSize(limit);
}

TEST(DtInetFileTransporter, LeavesNothingHalfWrittenAndWritesToPlainFilesOnly)
{
   CapturedStream said;
   Transporter receiver;
   std::string const x = receiver.outer.path("in/x"), target = receiver.outer.write("target", "mine");
   EXPECT_EQ(receiver.receive(said, good("x", "a longer one")), "");
   EXPECT_EQ(receiver.receive(said, good("x", "short")), "");
   EXPECT_THAT(receiver.files, ElementsAre("short")) << "over the earlier one";
   auto const handler = std::signal(SIGXFSZ, SIG_IGN);
   rlim_t const before = limit(RLIMIT_FSIZE, 4096);
   EXPECT_EQ(receiver.receive(said, good("x", std::string(5000, 'x'))),
             theWriter + "Error writing file" + x + "\n");
   limit(RLIMIT_FSIZE, before);
   std::signal(SIGXFSZ, handler);
   for (auto const & make : std::vector<std::function<void()>>{[&] { fs::create_symlink(target, x); },
                                                               [&] { mkfifo(x.c_str(), 0600); },
                                                               [&] { fs::create_directory(x); }})
   {
      EXPECT_FALSE(fs::exists(fs::symlink_status(x)));
      make();
      EXPECT_EQ(receiver.receive(said, good("x", "12345")), theWriter + "cant create file" + x + "\n");
      EXPECT_TRUE(receiver.files.empty());
      fs::remove(x);
   }
   EXPECT_EQ(receiver.outer.read("target"), "mine");
}

TEST(DtInetFileTransporter, KeepsNoDescriptorOfManyTransfers)
{
   char const * const count = std::getenv("TRANSFER_COUNT");
   CapturedStream said;
   Transporter receiver;
   receiver.tick();
   long const before = descriptors();
   for (int left = count ? std::atoi(count) : 20; left > 0; --left)
      EXPECT_EQ(receiver.receive(said, left % 3 == 0 ? number(0) : good("x", "1")),
                left % 3 == 0 ? theLost : "");
   EXPECT_TRUE(receiver.holds(before));
   std::vector<std::unique_ptr<Stranger>> idle;
   for (int peer = 0; peer < 70; ++peer)
   {
      idle.push_back(std::make_unique<Stranger>(receiver.port(), good("x", "1")));
      receiver.tick();
   }
   EXPECT_TRUE(receiver.holds(before + 70 + 64)) << "peers that don't leave hold no more than these";
   idle.clear();
   EXPECT_TRUE(receiver.holds(before));
   int const next = dup(0), none = dup(0);
   close(next);
   Stranger const unlucky(receiver.port());
   rlim_t const all = limit(RLIMIT_NOFILE, static_cast<rlim_t>(none));
   receiver.tick();
   limit(RLIMIT_NOFILE, all);
   close(none);
   receiver.tick();
   EXPECT_EQ(receiver.receive(said, good("x", "1")), "") << "listens again";
   EXPECT_THAT(receiver.files, ElementsAre("1"));
}

} // namespace
