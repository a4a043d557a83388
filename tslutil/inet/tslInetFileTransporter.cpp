// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetFileTransporter.h"

#include "tslutil/base/tslNotify.h"
#include "tslutil/inet/messageReader.h"
#include "tslutil/inet/tslInetSocketMgr.h"
#include "tslutil/inet/tslInetTcpSocket.h"
#include "tslutil/platform/dataFile.h"
#include "tslutil/platform/socket.h"
#include "tslutil/system/tslDirectory.h"
#include "tslutil/time/tslClock.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <new>

namespace
{

constexpr unsigned long theServerFlags = 0x0C3;
constexpr unsigned long theConnectionFlags = 0xCC3;
constexpr unsigned long theSenderFlags = 0xC83;

/// Part of the protocol: the pause after a message keeps the next one out of the same read.
constexpr double thePause = 0.01;

/// Connections whose transfer is over stay until their peers close them, but no more than these.
constexpr std::size_t theMaxFinished = 64;

constexpr std::size_t thePiece = 131072;

/// How far ahead of what has come there is to be room, and how far for a file that isn't large: most come
/// into memory that is taken once.
constexpr std::size_t theGrowth = 4;
constexpr std::size_t theFirstGrowth = 64;
constexpr std::size_t theFirstRoom = 4194304;

bool deleteSocket(DtInetSocket * socket, void *)
{
   delete socket;
   return true;
}

DtInetEndpoint tcpEndpoint(DtInetAddr const & address, std::int64_t port)
{
   // Port 0 stands for what is none: nobody can be reached there.
   bool const isPort = port >= 0 && port <= USHRT_MAX;
   return {address, static_cast<unsigned short>(isPort ? port : 0), DtInetProtoTcp};
}

bool connectTo(DtInetTcpSocket & socket, DtInetEndpoint const & peer)
{
   if (socket.isOk() && socket.connectToDestination())
      return true;
   DtWarn << "Tessaly(DtInetFileTransporter): Could not create socket send()"
          << " to  " << peer.toDtString() << std::endl;
   if (socket.getLastError() != 0)
      DtWarn << socket.getLastErrorString() << std::endl;
   return false;
}

/// How much room there may be once so many bytes are needed.
std::size_t roomAheadOf(std::size_t needed)
{
   return std::max(theGrowth * needed, std::min(theFirstGrowth * needed, theFirstRoom));
}

/// How much of its content a complete object has.
std::streamsize contentInHand(DtInetFileTransportObject const & object)
{
   return std::min<std::streamsize>(std::max(object.contentSize, 0),
                                    static_cast<std::streamsize>(object.content.size()));
}

} // namespace

/// A file that is being sent.
struct DtInetFileTransporter::Outgoing
{
   int identifier = 0;
   int fileSize = 0;
   int contentSize = 0;
   int reserved = 0;
   std::vector<char> content;
};

DtInetFileTransportObject::DtInetFileTransportObject()
   : fileIdentifier(0), fileSize(0), contentSize(0), bytesReceived(0), reserved(0)
{
}

DtInetFileTransportObject::DtInetFileTransportObject(DtInetFileTransportObject const & other) = default;
DtInetFileTransportObject &
DtInetFileTransportObject::operator=(DtInetFileTransportObject const & other) = default;
DtInetFileTransportObject::~DtInetFileTransportObject() = default;

DtInetFileTransporter::DtInetFileTransporter(int port, bool searchPorts, int portRange,
                                             DtFilename const & directory, int * portFound, bool useIPv6)
   : myTransportPort(port),
     mySilenceLimit(30.0),
     myFamily(useIPv6 ? DtInetUtils::DtInetFamilyIpv6 : DtInetUtils::DtInetFamilyIpv4),
     myIsTicking(false)
{
   setTargetDirectory(directory);
   listen(port, searchPorts ? portRange : 1);
   if (!mySocketMgr)
   {
      DtWarn << "Tessaly(DtInetFileTransporter) Could not find a free port in range " << port << " to "
             << std::int64_t(port) + portRange << std::endl;
      myTransportPort = -1;
   }
   if (portFound != nullptr)
      *portFound = myTransportPort;
}

void DtInetFileTransporter::listen(std::int64_t firstPort, int tries)
{
   std::int64_t const end = std::min<std::int64_t>(firstPort + tries, USHRT_MAX + 1);
   for (std::int64_t port = std::max<std::int64_t>(firstPort, 0); port < end; ++port)
   {
      DtInetEndpoint endpoint = tcpEndpoint(DtInetAddr(myFamily), port);
      auto manager =
         std::make_unique<DtInetSocketMgr>(endpoint, nullptr, theServerFlags, theConnectionFlags, myFamily);
      if (manager->serverSocket()->getLastError() != 0)
         continue;
      manager->addSocketAdditionCallback(makeRoomCb, this, -1);
      manager->addSocketAdditionCallback(receiveFileCb, this, -1);
      manager->addSocketRemovalCallback(deleteSocket, nullptr, -1);
      myTransportPort = manager->serverSocket()->localPort();
      mySocketMgr = std::move(manager);
      return;
   }
}

DtInetFileTransporter::~DtInetFileTransporter()
{
   if (mySocketMgr)
      mySocketMgr->removeSocketAdditionCallback(receiveFileCb, this);
   mySocketMgr.reset();
}

void DtInetFileTransporter::setTargetDirectory(DtFilename const & directory)
{
   myTargetDir = directory;
   DtMakeDirectory(myTargetDir);
}

DtFilename const & DtInetFileTransporter::targetDirectory() const
{
   return myTargetDir;
}

void DtInetFileTransporter::setSilenceLimit(double seconds)
{
   mySilenceLimit = seconds;
}

double DtInetFileTransporter::silenceLimit() const
{
   return mySilenceLimit;
}

void DtInetFileTransporter::tick()
{
   // A callback that ticks stands in the middle of a transfer, whose socket must stay.
   if (!mySocketMgr || myIsTicking)
      return;
   struct Ticking
   {
      explicit Ticking(bool & flag) : isTicking(flag) { isTicking = true; }
      ~Ticking() { isTicking = false; }
      bool & isTicking;
   } const ticking(myIsTicking);
   if (!mySocketMgr->serverSocket()->isOk())
   {
      mySocketMgr->serverSocket()->closeSocket();
      listen(myTransportPort, 1);
   }
   mySocketMgr->processConnections();
   dropFinishedConnections(nullptr);
}

// While senders queue up, one tick takes them all.
bool DtInetFileTransporter::makeRoomCb(DtInetSocket * socket, void * transporter)
{
   static_cast<DtInetFileTransporter *>(transporter)->dropFinishedConnections(socket);
   return true;
}

void DtInetFileTransporter::dropFinishedConnections(DtInetSocket const * newest)
{
   DtInetSocketList const & all = mySocketMgr->socketList();
   std::size_t surplus = all.size() - std::min(all.size(), theMaxFinished);
   std::vector<DtInetSocket *> finished;
   for (auto const & [peer, socket] : all)
   {
      if (socket == newest)
         continue;
      // Nothing more is read from it: what comes now is the peer's end, or without use.
      bool const isOver =
         !socket->isOk() ||
         tsl::platform::isReadable(static_cast<tsl::platform::SocketHandle>(socket->descriptor()), 0);
      if (isOver || surplus > 0)
         finished.push_back(socket);
      surplus -= surplus > 0 ? 1 : 0;
   }
   for (DtInetSocket const * const socket : finished)
      mySocketMgr->removeConnection(socket);
}

unsigned int DtInetFileTransporter::port() const
{
   return static_cast<unsigned int>(myTransportPort);
}

void DtInetFileTransporter::addFileTransferedCallback(FileTransferedCb callback, void * userData)
{
   myFileCallbacks[callback] = userData;
}

void DtInetFileTransporter::removeFileTransferedCallback(FileTransferedCb callback, void *)
{
   myFileCallbacks.erase(callback);
}

bool DtInetFileTransporter::sendFile(DtFilename const & file, DtInetAddr const & host)
{
   return sendFile(file, host, static_cast<int>(port()));
}

bool DtInetFileTransporter::sendFile(DtFilename const & file, DtInetAddr const & host, int port)
{
   unsigned long const fileSize = file.fileLength();
   Outgoing out;
   out.identifier = nextFileIdentifier();
   std::ifstream stream;
   tsl::platform::openPlainFile(stream, file);
   if (!stream.is_open())
   {
      DtWarn << "Tessaly(DtInetFileTransporter): error opening file " << file << std::endl;
      return false;
   }
   out.fileSize = static_cast<int>(std::min<unsigned long>(fileSize, INT_MAX));
   if (out.fileSize == INT_MAX ||
       !readFileToBuffer(stream, out.content, out.fileSize, out.contentSize, out.reserved) ||
       (out.contentSize > 0 && out.content.size() < static_cast<std::size_t>(out.contentSize)))
   {
      DtWarn << "Tessaly(DtInetFileTransporter) error reading file " << file << std::endl;
      return false;
   }
   DtInetEndpoint const peer = tcpEndpoint(host, port);
   DtInetTcpSocket socket(peer, 0, nullptr, theSenderFlags, true);
   if (!connectTo(socket, peer))
      return false;
   sendContent(file, out, socket);
   return true;
}

// A message goes out of the content itself, behind the bytes that are out already: they make room for its
// header. Only the first one is put together elsewhere.
void DtInetFileTransporter::sendContent(DtFilename const & file, Outgoing & out, DtInetTcpSocket & socket)
{
   DtFilename name(file);
   name.stripPath();
   std::size_t const nameSize = std::strlen(name) + 1;
   std::size_t const limit = tsl::messageLimit(tsl::theFirstHeader + nameSize);
   std::size_t const firstHeader = tsl::theFirstHeader - 1 + nameSize;
   std::size_t const all = static_cast<std::size_t>(std::max(out.contentSize, 0));
   std::vector<char> first(std::min(limit, firstHeader + all));
   for (std::size_t sent = 0; sent < all;)
   {
      std::size_t const header = sent == 0 ? firstHeader : tsl::theLaterHeader;
      std::size_t const part = std::min(limit - header, all - sent);
      bool const hasRoom = sent >= header;
      char * const message = hasRoom ? out.content.data() + (sent - header) : first.data();
      if (!hasRoom)
         std::copy_n(out.content.data() + sent, part, message + header);
      int const length = static_cast<int>(header + part);
      char * const place = tsl::writeNumbers(message, {length, out.identifier});
      if (sent == 0)
         std::copy_n(static_cast<char const *>(name), nameSize,
                     tsl::writeNumbers(place, {out.fileSize, out.contentSize, out.reserved}));
      // A failure isn't minded, on purpose: the file is handed on as far as it goes.
      bool const good = socket.send(message, header + part) == length;
      DtDebug << "DtInetFileTransporter: Sent " << length << " bytes in file transporter\n";
      sent += part;
      messageSent(file, static_cast<int>(sent), out.contentSize, good);
      DtSleep(thePause);
   }
}

bool DtInetFileTransporter::receiveFileCb(DtInetSocket * socket, void * transporter)
{
   if (DtInetTcpSocket * const connection = dynamic_cast<DtInetTcpSocket *>(socket))
      static_cast<DtInetFileTransporter *>(transporter)->receiveFile(connection);
   return true;
}

void DtInetFileTransporter::receiveFile(DtInetTcpSocket * socket)
{
   // A peer that dies without a word then shows as well.
   socket->setTcpKeepAliveOption(true);
   tsl::MessageReader reader(*socket, mySilenceLimit);
   std::set<int> begun;
   while (socket->isOk())
   {
      tsl::MessageReader::Outcome const outcome = reader.read();
      if (outcome == tsl::MessageReader::Broken ||
          (outcome == tsl::MessageReader::Whole && !takeMessage(reader, begun)))
         break;
      DtSleep(thePause);
      if (myTransportObjects.empty() && outcome == tsl::MessageReader::Whole)
         return;
   }
   DtWarn << "FileTransporter: Socket error-Exiting transfer" << std::endl;
   for (int const identifier : begun)
      myTransportObjects.erase(identifier);
   socket->closeSocket();
}

bool DtInetFileTransporter::takeMessage(tsl::MessageReader const & message, std::set<int> & begun)
{
   DtDebug("FileTransporter: Received %d bytes in file transporter\n", static_cast<int>(message.size()));
   int const identifier = tsl::readNumber(message.data() + tsl::theNumberSize);
   begun.insert(identifier);
   DtInetFileTransportObject & object = transportObject(identifier);
   std::size_t header = tsl::theLaterHeader;
   if (object.fileSize == 0)
   {
      if (!startObject(object, message))
         return false;
      header = tsl::theFirstHeader + std::strlen(object.fileName);
   }
   if (!takeContent(object, message.data() + header, message.size() - header))
      return false;
   messageReceived(object);
   if (object.bytesReceived >= object.contentSize)
      finishFile(object);
   return true;
}

bool DtInetFileTransporter::startObject(DtInetFileTransportObject & object,
                                        tsl::MessageReader const & message)
{
   char const * const name = message.data() + tsl::theFirstHeader - 1;
   if (message.length() < tsl::theFirstHeader ||
       std::memchr(name, 0, message.length() - (tsl::theFirstHeader - 1)) == nullptr)
      return false;
   object.fileSize = tsl::readNumber(message.data() + 2 * tsl::theNumberSize);
   object.contentSize = tsl::readNumber(message.data() + 3 * tsl::theNumberSize);
   object.reserved = tsl::readNumber(message.data() + 4 * tsl::theNumberSize);
   object.fileName = name;
   return object.contentSize >= 0 && acceptsFile(object);
}

bool DtInetFileTransporter::takeContent(DtInetFileTransportObject & object, char const * content,
                                        std::size_t size)
{
   std::size_t const before = static_cast<std::size_t>(object.bytesReceived);
   std::size_t const all = static_cast<std::size_t>(object.contentSize);
   std::size_t const taken = std::min(size, all - std::min(before, all));
   std::size_t const needed = before + taken + 1;
   try
   {
      if (needed > object.content.capacity())
         object.content.reserve(std::max(needed, std::min(all + 1, roomAheadOf(needed))));
      object.content.resize(before);
      object.content.insert(object.content.end(), content, content + taken);
      object.content.push_back('\0');
   }
   catch (std::bad_alloc const &)
   {
      return false;
   }
   object.bytesReceived += static_cast<int>(taken);
   return true;
}

int DtInetFileTransporter::nextFileIdentifier()
{
   static std::atomic<std::uint32_t> counter{0};
   return static_cast<int>(static_cast<std::uint32_t>(std::time(nullptr)) + counter++);
}

bool DtInetFileTransporter::readFileToBuffer(std::ifstream & file, std::vector<char> & buffer, int size,
                                             int & contentSize, int & reserved)
{
   if (size < 0)
      return false;
   std::size_t const all = static_cast<std::size_t>(size);
   try
   {
      buffer.clear();
      buffer.reserve(all + 1);
   }
   catch (std::bad_alloc const &)
   {
      return false;
   }
   // Piece by piece: zeroes that the processor still has at hand cost little.
   for (std::size_t done = 0; done < all; done = buffer.size())
   {
      buffer.resize(std::min(all, done + thePiece));
      file.read(buffer.data() + done, static_cast<std::streamsize>(buffer.size() - done));
   }
   buffer.push_back('\0');
   contentSize = size;
   reserved = 0;
   return true;
}

void DtInetFileTransporter::finishFile(DtInetFileTransportObject & object)
{
   DtFilename const path = DtFilename::combine(targetDirectory(), object.fileName);
   std::ofstream file;
   tsl::platform::openPlainFile(file, path);
   if (!file.is_open())
      DtWarn << "DtInetFileTransporter: cant create file" << path << std::endl;
   else
   {
      // A full disk shows only when the buffer is out.
      if (file.write(object.content.data(), contentInHand(object)).flush())
         callFileCallbacks(path);
      else
      {
         DtWarn << "DtInetFileTransporter: Error writing file" << path << std::endl;
         tsl::platform::deleteFile(path);
      }
   }
   int const identifier = object.fileIdentifier;
   myTransportObjects.erase(identifier);
}

void DtInetFileTransporter::callFileCallbacks(DtFilename const & path)
{
   // A callback may remove itself or others.
   for (auto place = myFileCallbacks.begin(); place != myFileCallbacks.end();)
   {
      auto const [callback, userData] = *place;
      callback(path, userData);
      place = myFileCallbacks.upper_bound(callback);
   }
}

DtInetFileTransportObject & DtInetFileTransporter::transportObject(int identifier)
{
   auto const [place, isNew] = myTransportObjects.try_emplace(identifier);
   if (isNew)
      place->second.fileIdentifier = identifier;
   return place->second;
}

bool DtInetFileTransporter::acceptsFile(DtInetFileTransportObject const & object)
{
   char const * const name = object.fileName;
   return *name != '\0' && std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0 &&
          std::strpbrk(name, "/\\") == nullptr && !object.fileName.absolute();
}

void DtInetFileTransporter::messageReceived(DtInetFileTransportObject const &) {}

void DtInetFileTransporter::messageSent(DtFilename const &, int, int, bool) {}
