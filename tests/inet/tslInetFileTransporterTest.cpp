// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetFileTransporter.h"

#include "inet/socketKit.h"
#include "inet/steps.h"
#include "support/capturedStream.h"
#include "support/systemCalls.h"
#include "support/temporaryFolder.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;
using namespace socketKit;
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

std::string number(int value)
{
   std::uint32_t const bits = htonl(static_cast<std::uint32_t>(value));
   return {reinterpret_cast<char const *>(&bits), sizeof bits};
}

/// The bytes of "= 77 5 5 0 x 9*o": numbers, texts, and nine times a letter, behind their length.
std::string bytesOf(std::string const & notation)
{
   std::istringstream words(notation);
   std::string bytes;
   for (std::string word; words >> word;)
      if (word.find('*') != std::string::npos)
         bytes.append(std::stoul(word), word.back());
      else
         bytes += word.find_first_not_of("-0123456789") == std::string::npos ? number(std::stoi(word)) : word;
   if (bytes[0] == '=')
      bytes.replace(0, 1, number(static_cast<int>(bytes.size()) + 3));
   return bytes;
}

/// The only message of a file x.
std::string const theGood = bytesOf(std::string("= 77 5 4 0 x\0good", 17));

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

   int messages = 0, transfers = 0;
   std::size_t most = 0, systemCalls = 0;
   /// What this puts behind the files that it sends; a question mark fails them.
   char mark = '\0';
   std::vector<int> identifiers, seen;
   std::vector<std::string> files;
};

TEST(DtInetFileTransporter, LetsADerivedClassChangeWhatIsSent)
{
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
   auto const run = [](std::string const & command) { return std::system(command.c_str()) == 0; };
   SKIP_BECAUSE(run("python3 -c 0") ? "" : "no python3");
   double const limit = 300;
   Watchdog const watchdog(limit);
   CapturedStream const said;
   TemporaryFolder const folder;
   std::string const peer = "python3 " TEST_DATA_DIR "/transfer/peer.py";
   EXPECT_TRUE(run(peer + " samples " + folder.path("samples") + " >/dev/null"));
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
   std::string const each = "for file in" + paths + "; do " + peer + " bytes \"$file\"; done";
   EXPECT_TRUE(run(each + " >" + folder.path("bytes")) && got == folder.read("bytes"));
   for (std::string const options : {"", " --split 20000"})
   {
      std::string const command = peer + " send 127.0.0.1 " + std::to_string(both.port()) + paths + options;
      std::thread sending([&] { EXPECT_TRUE(run(command)); });
      EXPECT_TRUE(both.takes(count, limit));
      sending.join();
      EXPECT_TRUE(both.files == contents) << options;
   }
   EXPECT_EQ(said.textAt(1), theLost + theLost) << "of the empty file";
}

/// A receiver, which also sends, strangers who send to it, another one that hardly finds a port, and what
/// stands in the way of a file x.
struct Transfers : World
{
   Transfers();

   /// What comes of a transfer: what is said, the files, and whether it ends the connection.
   std::string taken(std::string const & bytes)
   {
      Stranger stranger(receiver.port(), bytes);
      if (!receiver.takes())
         return "nobody came";
      std::string text = words(said);
      for (std::string const & file : receiver.files)
         text += "'" + file + "'";
      char byte;
      stranger.setNonBlockingOption(true);
      bool const isLost = eventually([&] { return stranger.recv(&byte, 1) < 0; }, text == theLost ? 20 : 0);
      stranger.closeSocket();
      return text + (isLost ? "closed" : "") + (receiver.systemCalls < 60 ? "" : ", turns in place") +
             (receiver.holds(before) ? "" : ", leaks a descriptor");
   }

   CapturedStream said;
   int port = 0;
   Transporter receiver{0, &port};
   std::unique_ptr<DtInetFileTransporter> other;
   DtInetTcpSocket const deaf{DtInetEndpoint(theHost, 9, DtInetProtoTcp)};
   long const before = (receiver.tick(), entries(theDescriptors));
   rlim_t limitBefore = RLIM_INFINITY;
};

// clang-format off
Transfers::Transfers()
{
   std::string const x = receiver.path("in/x");
   names = {{"home", receiver.path()}, {"port", std::to_string(port)}, {"next", std::to_string(port + 1)}, {"deaf", std::to_string(deaf.localPort())}, {"lost", theLost + "closed"}};
   receiver.setSilenceLimit(0.05);
   verbs["take"] = [this](auto & row) { return taken(bytesOf(row[1])); };
   verbs["survive"] = [this](auto & row) {
      std::string const text = taken(bytesOf(row[1])), after = taken(theGood);
      return text + (after == "'good'" && entries(receiver.path()) == 2 ? "" : ", then " + after);
   };
   verbs["listen"] = [this](auto & row) {
      int found = 0;
      std::string const folder = receiver.path(row[4]);
      other = std::make_unique<DtInetFileTransporter>(as<int>(row[1]), row[2] == "search", as<int>(row[3]), folder.c_str(), &found);
      EXPECT_TRUE(found == static_cast<int>(other->port()) && fs::is_directory(folder));
      return words(said) + (found > port ? "later" : std::to_string(found));
   };
   verbs["send"] = [this](auto & row) {
      bool const isSent = receiver.sendFile(receiver.path(row[1]).c_str(), theHost, as<int>(row[2]));
      return (isSent ? "sent" : "") + words(said);
   };
   verbs["send from other"] = [this](auto & row) {
      bool const isSent = (other->tick(), other->sendFile(receiver.path(row[1]).c_str(), theHost));
      return (isSent ? "sent" : "") + words(said);
   };
   always("write", [this](auto & row) { fs::resize_file(receiver.write(row[1], ""), as<std::uintmax_t>(row[2])); });
   verbs["link"] = [=](auto &) { return symlink(receiver.write("target", "mine").c_str(), x.c_str()) == 0 ? "put" : "not"; };
   verbs["pipe"] = [=](auto &) { return mkfifo(x.c_str(), 0600) == 0 ? "put" : "not"; };
   verbs["folder"] = [=](auto &) { return fs::create_directory(x) ? "put" : "not"; };
   verbs["remove"] = [=](auto &) { return fs::remove(x) ? "done" : "not"; };
   verbs["target"] = [this](auto &) { return receiver.read("target"); };
   verbs["limit"] = [this](auto & row) { return limitBefore = limit(RLIMIT_FSIZE, row[1] == "off" ? limitBefore : as<rlim_t>(row[1])), "done"; };
   verbs["most"] = [this](auto &) { return std::to_string(receiver.most); };
}
// clang-format on

TEST(DtInetFileTransporter, DoesAndTellsWhatItsScenariosSay)
{
   auto const handler = std::signal(SIGXFSZ, SIG_IGN);
   runSteps<Transfers>("inet/transfers.tsv");
   std::signal(SIGXFSZ, handler);
}

TEST(DtInetFileTransporter, DropsAFileWhoseSenderLeavesAtAnyByte)
{
   // The 12,800 bytes of 200 messages take a quarter of an hour: set TRANSFER_MESSAGES for them.
   char const * const asked = std::getenv("TRANSFER_MESSAGES");
   std::size_t const messageCount = asked ? std::stoul(asked) : 2, threadCount = 32;
   Watchdog const watchdog(1800);
   CapturedStream const said;
   int const limit = DtInetUtils::getMaxPacketBufferSize();
   DtInetUtils::setMaxPacketBufferSize(64);
   std::string const content(42 + 56 * (messageCount - 1), 'c');
   std::string bytes = bytesOf("64 77 5 " + std::to_string(content.size()) + " 0 x") + '\0' + bytesOf("42*c");
   while (bytes.size() < 64 * messageCount)
      bytes += bytesOf("64 77 56*c");
   auto const leaveAtEach = [&](std::size_t cut)
   {
      Transporter receiver;
      for (; cut <= bytes.size(); cut += threadCount)
         for (int const byReset : {1, 0})
         {
            bool const isWhole = cut == bytes.size();
            linger const none{byReset, 0};
            Stranger sender(receiver.port(), bytes.substr(0, cut));
            setsockopt(static_cast<int>(sender.descriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
            receiver.messages = 0;
            if (!isWhole)
               sender.closeSocket();
            EXPECT_TRUE(receiver.takes());
            EXPECT_EQ(receiver.messages, static_cast<int>(cut) / 64);
            EXPECT_EQ(receiver.files, std::vector<std::string>(isWhole ? 1 : 0, content)) << cut;
            EXPECT_EQ(entries(receiver.path()), isWhole ? 2 : 1) << cut;
         }
   };
   std::vector<std::thread> threads;
   for (std::size_t thread = 1; thread <= threadCount; ++thread)
      threads.emplace_back(leaveAtEach, thread);
   for (std::thread & thread : threads)
      thread.join();
   DtInetUtils::setMaxPacketBufferSize(limit);
}

TEST(DtInetFileTransporter, KeepsNoDescriptorOfPeersThatLeaveAndFewOfOthers)
{
   CapturedStream said;
   Transporter receiver;
   receiver.tick();
   long const before = entries(theDescriptors);
   char const * const asked = std::getenv("TRANSFER_COUNT"); // many transfers, on demand
   for (int left = asked ? std::atoi(asked) : 6; left > 0; --left)
      EXPECT_TRUE((Stranger(receiver.port(), left % 3 == 0 ? number(0) : theGood), receiver.takes()));
   EXPECT_TRUE(receiver.holds(before) && words(said) != "");
   std::vector<std::unique_ptr<Stranger>> idle;
   for (int peer = 0; peer < 70; ++peer)
      idle.push_back(std::make_unique<Stranger>(receiver.port(), theGood));
   EXPECT_TRUE(receiver.takes(70) && receiver.holds(before + 70 + 64));
   idle.clear();
   EXPECT_TRUE(receiver.holds(before));
   for (int peer = 0; peer < 30; ++peer)
      Stranger(receiver.port(), theGood);
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
   Stranger const lucky(receiver.port(), theGood);
   EXPECT_TRUE(receiver.takes() && words(said).empty()) << "listens again";
   EXPECT_THAT(receiver.files, ElementsAre("good"));
}

} // namespace
