// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetFileTransporter.h"

#include "support/capturedStream.h"
#include "support/slots.h"
#include "support/systemCalls.h"
#include "support/temporaryFolder.h"
#include "support/watchdog.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/tslInetTcpSocket.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;

std::string const theLost = "FileTransporter: Socket error-Exiting transfer\n",
                  theWriter = "DtInetFileTransporter: ", theTessaly = "Tessaly(DtInetFileTransporter)",
                  theDescriptors = "/proc/self/fd";
DtInetAddr const theHost("127.0.0.1");

/// How many entries there are in a folder and those within.
long entries(std::string const & folder)
{
   return std::distance(fs::recursive_directory_iterator(folder), {});
}

/// What the library has said since it was last asked.
std::string words(CapturedStream & said)
{
   std::string const text = said.textAt(1);
   return said.clear(), text;
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

std::string number(int value)
{
   std::uint32_t const bits = htonl(static_cast<std::uint32_t>(value));
   return {reinterpret_cast<char const *>(&bits), sizeof bits};
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
};

/// Listens for a folder of its own, notes what comes, and sends under a known identifier.
struct Transporter : TemporaryFolder, DtInetFileTransporter
{
   typedef DtInetFileTransporter Base;

   explicit Transporter(int port = 0, int * found = nullptr, bool useIPv6 = false)
      : Base(port, false, 1, path("in").c_str(), found, useIPv6)
   {
      addFileTransferedCallback(note, nullptr);
      addFileTransferedCallback(note, this);
   }
   static void note(DtFilename const & file, void * self)
   {
      Transporter & own = *static_cast<Transporter *>(self);
      own.files.push_back(own.read(fs::path(file.string()).lexically_relative(own.path())));
      own.tick();
   }
   /// Ticks until so many peers have had their turn: a connection may still be on its way.
   bool takes(int peers = 1, double seconds = 20)
   {
      files.clear(), peers += transfers;
      return eventually([&] { return tick(), transfers >= peers; }, seconds);
   }
   /// What a transfer of these bytes says.
   std::string receive(CapturedStream & said, std::string const & bytes)
   {
      Stranger const sender(port(), bytes);
      return takes() ? words(said) : "nobody came";
   }
   /// Whether ticks bring the descriptors of the process to a number: an end may still be on its way.
   bool holds(long count)
   {
      return eventually([&] { return tick(), entries(theDescriptors) == count; });
   }
   void receiveFile(DtInetTcpSocket * socket) override
   {
      SystemCallCount const calls;
      Base::receiveFile(socket);
      systemCalls = calls.here(), ++transfers;
   }
   void messageReceived(DtInetFileTransportObject const & object) override
   {
      most = std::max(most, object.content.capacity()), ++messages;
   }
   int nextFileIdentifier() override { return identifiers.push_back(Base::nextFileIdentifier()), 1000; }
   bool readFileToBuffer(std::ifstream & file, std::vector<char> & buffer, int size, int & contentSize,
                         int & reserved) override
   {
      bool const isRead = Base::readFileToBuffer(file, buffer, size, contentSize, reserved);
      if (mark != '\0')
         buffer[static_cast<std::size_t>(contentSize++)] = mark, reserved = 7;
      return isRead && mark != '?';
   }
   void finishFile(DtInetFileTransportObject & object) override
   {
      EXPECT_EQ(&object, &transportObject(object.fileIdentifier));
      seen = {object.fileIdentifier, object.fileSize, object.contentSize,
              object.bytesReceived,  object.reserved, static_cast<int>(object.content.size())};
      Base::finishFile(object);
   }
   using Base::transportObject;

   int messages = 0, transfers = 0;
   std::size_t most = 0, systemCalls = 0;
   /// What this puts behind the files that it sends; a question mark fails them.
   char mark = '\0';
   std::vector<int> identifiers, seen;
   std::vector<std::string> files;
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
   CapturedStream said;
   Transporter both, six(0, nullptr, true);
   std::string const file = both.write("x", "abc");
   both.mark = '!';
   DtNotifyLevel = 4;
   EXPECT_TRUE(both.sendFile(file.c_str(), theHost) && both.takes()) << "to its own port";
   EXPECT_THAT(both.seen, ElementsAre(1000, 3, 4, 4, 7, 5));
   EXPECT_THAT(both.files, ElementsAre("abc!"));
   EXPECT_EQ(said.textAt(4), theWriter + "Sent 26 bytes in file transporter\n" +
                                "FileTransporter: Received 26 bytes in file transporter\n");
   both.mark = '?';
   EXPECT_FALSE(both.sendFile(file.c_str(), theHost));
   EXPECT_EQ(words(said), theTessaly + " error reading file " + file + "\n");
   both.mark = '\0';
   std::ifstream in(file);
   std::vector<char> buffer;
   int size = 0, reserved = 1;
   EXPECT_TRUE(both.readFileToBuffer(in, buffer, 4, size, reserved)) << "got shorter";
   EXPECT_THAT(buffer, ElementsAre('a', 'b', 'c', 0, 0));
   EXPECT_EQ(size - reserved, 4);
   EXPECT_GT(both.identifiers.at(1), both.identifiers.at(0));
   six.removeFileTransferedCallback(Transporter::note, nullptr);
   EXPECT_TRUE(both.sendFile(file.c_str(), DtInetAddr("::1"), static_cast<int>(six.port())) && six.takes());
   EXPECT_EQ(six.read("in/x") + std::to_string(six.files.size()), "abc0");
}

TEST(DtInetFileTransporter, SpeaksTheFormatOfAPeerWithFilesOfEveryEdgeSize)
{
   if (std::system("python3 -c 0") != 0)
      GTEST_SKIP() << "no python3";
   double const limit = 300;
   Watchdog const watchdog(limit);
   CapturedStream const said;
   TemporaryFolder const folder;
   auto const python = [](std::string const & command)
   { return std::system(("python3 " + command).c_str()) == 0; };
   std::string const peer = TEST_DATA_DIR "/transfer/peer.py";
   EXPECT_TRUE(python(peer + " samples " + folder.path("samples") + " >/dev/null"));
   if (std::getenv("TRANSFER_LARGE")) // 200 MB take more than a minute
      folder.write("samples/large", std::string(200000000, 'x'));
   Transporter both;
   both.setSilenceLimit(limit);
   DtInetTcpSocket recorder(0);
   std::vector<std::string> contents;
   std::string paths, got;
   int count = 0;
   for (fs::directory_entry const & sample : fs::directory_iterator(folder.path("samples")))
   {
      std::string const path = sample.path(),
                        content = folder.read("samples/" + sample.path().filename().string());
      paths += " '" + path + "'", ++count;
      contents.insert(contents.end(), content.empty() ? 0 : 1, content);
      std::thread sending([&] { EXPECT_TRUE(both.sendFile(path.c_str(), theHost, recorder.localPort())); });
      DtInetTcpSocket connection;
      EXPECT_TRUE(recorder.acceptConnection(&connection));
      char part[5000];
      for (int size; (size = connection.recv(part, sizeof part)) > 0;)
         got.append(part, static_cast<std::size_t>(size));
      sending.join();
   }
   EXPECT_TRUE(python("-c 'import runpy, sys\nfor sys.argv[1:] in [[\"bytes\", path] for path in "
                      "sys.argv[1:]]:\n runpy.run_path(\"" +
                      peer + "\")'" + paths + " >" + folder.path("bytes")));
   EXPECT_TRUE(got == folder.read("bytes"));
   for (std::string const options : {"", " --split 20000"})
   {
      std::string const command = peer + " send 127.0.0.1 " + std::to_string(both.port()) + paths + options;
      std::thread sending([&] { EXPECT_TRUE(python(command)); });
      EXPECT_TRUE(both.takes(count, limit));
      sending.join();
      EXPECT_TRUE(both.files == contents) << options;
   }
   EXPECT_EQ(said.textAt(1), theLost + theLost) << "of the empty file";
}

TEST(DtInetFileTransporter, TellsWhereItCannotListenAndWhatItCannotSend)
{
   CapturedStream said;
   std::string const range = theTessaly + " Could not find a free port in range ";
   TemporaryFolder const folder;
   DtFilename const in = folder.path("a/b").c_str();
   int port = 0, none = 0;
   Transporter sender(0, &port), second(port, &none);
   EXPECT_THAT((std::array{sender.port(), second.port()}), ElementsAre(port, ~0u));
   EXPECT_EQ(none, -1);
   second.tick();
   EXPECT_EQ(words(said), range + std::to_string(port) + " to " + std::to_string(port + 1) + "\n");
   EXPECT_GT(DtInetFileTransporter(port, true, 50, in).port(), sender.port());
   EXPECT_TRUE(fs::is_directory(folder.path("a/b")));
   EXPECT_EQ(DtInetFileTransporter(3000, true, 0, in).port(), ~0u);
   EXPECT_EQ(DtInetFileTransporter(65536, true, 3, in).port(), ~0u);
   EXPECT_EQ(words(said), range + "3000 to 3000\n" + range + "65536 to 65539\n");

   std::string const file = folder.write("x", "content"), huge = folder.write("huge", "");
   mkfifo(folder.path("pipe").c_str(), 0600);
   fs::resize_file(huge, 2147483647);
   for (std::string const & name : {folder.path("none"), folder.path("pipe"), folder.path(), huge})
   {
      EXPECT_FALSE(sender.sendFile(name.c_str(), theHost));
      EXPECT_EQ(words(said),
                theTessaly + (name == huge ? " error reading file " : ": error opening file ") + name + "\n");
   }
   DtInetTcpSocket const deaf(DtInetEndpoint(theHost, 9, DtInetProtoTcp));
   EXPECT_FALSE(sender.sendFile(file.c_str(), theHost, deaf.localPort()));
   EXPECT_EQ(words(said), theTessaly + ": Could not create socket send() to  127.0.0.1:" +
                             std::to_string(deaf.localPort()) +
                             "\nDtInetTcpSocket::connectToDestination(): " +
                             "Error connecting Boost socket\nConnection refused\n");
   EXPECT_FALSE(second.sendFile(file.c_str(), theHost)) << "it has no port that its peer could have";
}

TEST(DtInetFileTransporter, EndsHostileTransfersWithinTheFolderAndGoesOn)
{
   Watchdog const watchdog(240);
   CapturedStream said;
   Transporter receiver;
   receiver.setSilenceLimit(0.05);
   std::string const zero(1, '\0'), rest = "x" + zero + "12345",
                                    full = first(65504, 70000, rest + std::string(65477, 'x'));
   // What comes, and the file of it. Surplus is content as far as there is to be any.
   // clang-format off
   std::vector<std::pair<std::string, std::string>> rows = {
      {good("x", "12345") + "67", "12345"}, {first(24, 7, rest + "67"), "1234567"}, {first(22, 0, rest), ""},
      {first(27, 5, rest, 0), "12345"}, {first(27, 5, rest, -1), "12345"}, {"", theLost},
      {number(30).substr(0, 3), theLost}, {good("x", "12345").substr(0, 25), theLost}, {first(20, 5, rest), theLost},
      {first(24, 5, "abcde12345"), theLost}, {first(27, 2147483647, rest), theLost}, {first(27, -1, rest), theLost},
      {first(65505, 65483, rest + std::string(65478, 'x')), theLost}};
   // clang-format on
   for (int const length : {0, 3, 7, -1, 65505, -2147483647 - 1})
      for (std::string const & bytes : {first(length, 5, rest), full + number(length) + zero + zero + zero})
         rows.emplace_back(bytes, theLost);
   for (std::string const name : {"", ".", "..", "../x", "/tmp/tslutil-x", "a/b", "a\\b", "C:x"})
      rows.emplace_back(good(name, "12345"), theLost);
   receiver.tick();
   long const before = entries(theDescriptors);
   for (auto const & [bytes, outcome] : rows)
   {
      std::string const row = bytes.substr(0, 40);
      bool const isLost = outcome == theLost;
      Stranger stranger(receiver.port(), bytes);
      EXPECT_TRUE(receiver.takes()) << row;
      EXPECT_LT(receiver.systemCalls, 60u) << "turns in place: " << row;
      EXPECT_EQ(words(said), isLost ? theLost : "") << row;
      EXPECT_EQ(receiver.files, std::vector<std::string>(isLost ? 0 : 1, outcome)) << row;
      char byte;
      stranger.setNonBlockingOption(true);
      EXPECT_EQ(eventually([&] { return stranger.recv(&byte, 1) < 0; }, isLost ? 20 : 0), isLost) << row;
      stranger.closeSocket();
      EXPECT_EQ(receiver.receive(said, good("x", "good")), "") << row;
      EXPECT_THAT(receiver.files, ElementsAre("good")) << row;
      EXPECT_TRUE(receiver.holds(before)) << row;
      EXPECT_EQ(entries(receiver.path()), 2) << row;
   }
   EXPECT_LE(receiver.most, 70001u) << "what is claimed is not allocated";
   EXPECT_FALSE(fs::exists("/tmp/tslutil-x"));
}

TEST(DtInetFileTransporter, DropsAFileWhoseSenderLeavesAtAnyByte)
{
   // All 12,800 bytes of 200 messages take some minutes: set TRANSFER_ALL_OFFSETS for them.
   std::size_t const step = std::getenv("TRANSFER_ALL_OFFSETS") ? 1 : 411, threadCount = 32;
   Watchdog const watchdog(1200);
   CapturedStream const said;
   int const limit = DtInetUtils::getMaxPacketBufferSize();
   DtInetUtils::setMaxPacketBufferSize(64);
   std::string bytes = first(64, 42 + 199 * 56, "x" + std::string(1, '\0')) + std::string(42, 'c');
   for (int message = 1; message < 200; ++message)
      bytes += number(64) + number(77) + std::string(56, 'c');
   auto const leaveAtEach = [&](std::size_t cut)
   {
      Transporter receiver;
      for (; cut < bytes.size(); cut += threadCount * step)
         for (bool const byReset : {true, false})
         {
            receiver.messages = 0;
            linger const none{byReset ? 1 : 0, 0};
            Stranger sender(receiver.port(), bytes.substr(0, cut));
            setsockopt(static_cast<int>(sender.descriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
            sender.closeSocket();
            EXPECT_TRUE(receiver.takes());
            EXPECT_EQ(receiver.messages, static_cast<int>(cut) / 64);
            EXPECT_EQ(entries(receiver.path()), 1) << cut;
         }
      Stranger const sender(receiver.port(), bytes);
      EXPECT_TRUE(receiver.takes());
      EXPECT_EQ(receiver.read("in/x"), std::string(42 + 199 * 56, 'c'));
   };
   std::vector<std::thread> threads;
   for (std::size_t thread = 0; thread < threadCount; ++thread)
      threads.emplace_back(leaveAtEach, 1 + thread * step);
   for (std::thread & thread : threads)
      thread.join();
   DtInetUtils::setMaxPacketBufferSize(limit);
}

TEST(DtInetFileTransporter, LeavesNothingHalfWrittenAndWritesToPlainFilesOnly)
{
   CapturedStream said;
   Transporter receiver;
   std::string const x = receiver.path("in/x"), target = receiver.write("target", "mine");
   EXPECT_EQ(receiver.receive(said, good("x", "a longer one")), "");
   EXPECT_EQ(receiver.receive(said, good("x", "short")), "");
   EXPECT_THAT(receiver.files, ElementsAre("short")) << "over the earlier one";
   auto const handler = std::signal(SIGXFSZ, SIG_IGN);
   rlim_t const before = limit(RLIMIT_FSIZE, 4096);
   EXPECT_EQ(receiver.receive(said, good("x", std::string(5000, 'x'))),
             theWriter + "Error writing file" + x + "\n");
   limit(RLIMIT_FSIZE, before);
   std::signal(SIGXFSZ, handler);
   for (int const kind : {S_IFLNK, S_IFIFO, S_IFDIR})
   {
      EXPECT_FALSE(fs::exists(fs::symlink_status(x)));
      EXPECT_EQ(kind == S_IFLNK   ? symlink(target.c_str(), x.c_str())
                : kind == S_IFIFO ? mkfifo(x.c_str(), 0600)
                                  : mkdir(x.c_str(), 0700),
                0);
      EXPECT_EQ(receiver.receive(said, good("x", "12345")), theWriter + "cant create file" + x + "\n");
      EXPECT_TRUE(receiver.files.empty());
      fs::remove(x);
   }
   EXPECT_EQ(receiver.read("target"), "mine");
}

TEST(DtInetFileTransporter, KeepsNoDescriptorOfManyTransfers)
{
   char const * const count = std::getenv("TRANSFER_COUNT");
   CapturedStream said;
   Transporter receiver;
   receiver.tick();
   long const before = entries(theDescriptors);
   for (int left = count ? std::atoi(count) : 20; left > 0; --left)
      EXPECT_EQ(receiver.receive(said, left % 3 == 0 ? number(0) : good("x", "1")),
                left % 3 == 0 ? theLost : "");
   EXPECT_TRUE(receiver.holds(before));
   std::vector<std::unique_ptr<Stranger>> idle;
   for (int peer = 0; peer < 70; ++peer)
      idle.push_back(std::make_unique<Stranger>(receiver.port(), good("x", "1")));
   EXPECT_TRUE(receiver.takes(70) && receiver.holds(before + 70 + 64))
      << "peers that don't leave hold no more than these";
   idle.clear();
   EXPECT_TRUE(receiver.holds(before));
   for (int peer = 0; peer < 30; ++peer)
      Stranger(receiver.port(), good("x", "1"));
   rlim_t const all = limit(RLIMIT_NOFILE, static_cast<rlim_t>(before + 8));
   EXPECT_TRUE(receiver.takes(30)) << "peers that stand in a queue";
   limit(RLIMIT_NOFILE, all);
   int const next = dup(0), none = dup(0);
   close(next);
   Stranger const unlucky(receiver.port());
   limit(RLIMIT_NOFILE, static_cast<rlim_t>(none));
   receiver.tick();
   limit(RLIMIT_NOFILE, all);
   close(none);
   receiver.tick();
   EXPECT_EQ(receiver.receive(said, good("x", "1")), "") << "listens again";
   EXPECT_THAT(receiver.files, ElementsAre("1"));
}

} // namespace
