// SPDX-License-Identifier: MIT
#include "tools/transfer.h"

#include "tools/usageError.h"

#include "tslutil/base/tslNotify.h"
#include "tslutil/inet/tslInetTcpSocket.h"

#include <openssl/evp.h>

#include <array>
#include <climits>
#include <filesystem>
#include <ostream>

namespace
{

std::string digestOf(std::vector<char> const & content, int size)
{
   std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
   unsigned int digestSize = 0;
   if (EVP_Digest(content.data(), static_cast<std::size_t>(size), digest.data(), &digestSize, EVP_sha256(),
                  nullptr) != 1)
      throw std::runtime_error("no SHA-256 digest can be had of the system's crypto library");
   std::string text;
   for (unsigned int i = 0; i < digestSize; ++i)
   {
      text += "0123456789abcdef"[digest[i] >> 4];
      text += "0123456789abcdef"[digest[i] & 15];
   }
   return text;
}

std::string baseName(std::string const & path)
{
   DtFilename name(path.c_str());
   name.stripPath();
   return name.string();
}

} // namespace

LibraryWords::LibraryWords() : mySavedLevel(DtNotifyLevel)
{
   DtSetTessalyPrinter(this);
   DtNotifyLevel = 1;
}

LibraryWords::~LibraryWords()
{
   DtSetTessalyPrinter(&DtStandardOutConsole);
   DtNotifyLevel = mySavedLevel;
}

void LibraryWords::write(std::string const & text, int, bool)
{
   myText += text;
}

std::string LibraryWords::takeLastLine()
{
   while (!myText.empty() && myText.back() == '\n')
      myText.pop_back();
   std::string line = myText.substr(myText.rfind('\n') + 1);
   myText.clear();
   return line;
}

// Nobody sends to the sender: it has no port.
FileSender::FileSender(LibraryWords & words, std::ostream & out, TransferProgress & progress)
   : DtInetFileTransporter(0, true, 0), myWords(words), myOut(out), myProgress(progress)
{
   myWords.takeLastLine();
}

void FileSender::check(std::string const & path)
{
   DtFilename const file(path.c_str());
   DtInetFileTransportObject object;
   object.fileName = baseName(path).c_str();
   if (!file.isReadable())
      throw UsageError(path + " can't be read. Name a file that is there and may be read.");
   if (file.fileLength() == 0)
      throw UsageError(path + " is empty, and of an empty file nothing is sent. Leave it out.");
   if (file.fileLength() > INT_MAX - 1)
      throw UsageError(path + " has more than 2147483646 bytes. Split it.");
   if (!acceptsFile(object))
      throw UsageError(path + ": a receiver refuses this name. Send it under another.");
}

void FileSender::send(std::string const & path, DtInetEndpoint const & to)
{
   myBytesSent = 0;
   myIsBroken = false;
   myDigest.clear();
   myProgress.begin();
   bool const isSent = sendFile(path.c_str(), to.address(), to.port());
   myProgress.end();
   std::string const peer = to.toDtString().string();
   if (myDigest.empty())
      throw std::runtime_error(path + " can't be read to its end. Has it changed meanwhile?");
   if (!isSent)
      throw std::runtime_error(path + " can't be sent to " + peer + ": " + myWords.takeLastLine() +
                               ". Is a receiver, such as 'tsl recv', running there?");
   if (myIsBroken)
      throw std::runtime_error("the connection to " + peer + " broke off while " + path +
                               " was sent, after " + std::to_string(myBytesSent) +
                               " bytes. See what the receiver says.");
   myOut << myDigest << "  " << baseName(path) << std::endl;
}

bool FileSender::readFileToBuffer(std::ifstream & file, std::vector<char> & buffer, int size,
                                  int & contentSize, int & reserved)
{
   if (!DtInetFileTransporter::readFileToBuffer(file, buffer, size, contentSize, reserved) || !file)
      return false;
   myDigest = digestOf(buffer, size);
   return true;
}

void FileSender::messageSent(DtFilename const & file, int bytesSent, int contentSize, bool good)
{
   if (!good || myIsBroken)
   {
      myIsBroken = true;
      return;
   }
   myBytesSent = bytesSent;
   myProgress.show(baseName(file.string()), bytesSent, contentSize);
}

FileReceiver::FileReceiver(ReceiveOptions const & options, LibraryWords & words, std::ostream & out,
                           std::ostream & errors, TransferProgress & progress)
   : DtInetFileTransporter(options.port, false, 1, options.into.c_str(), nullptr, options.ipv6),
     myOptions(options),
     myWords(words),
     myOut(out),
     myErrors(errors),
     myProgress(progress)
{
   if (port() > USHRT_MAX)
      throw UsageError("port " + std::to_string(options.port) +
                       " can't be listened on. Is another receiver running? Name another with --port.");
   if (!std::filesystem::is_directory(options.into) || !DtFilename(options.into.c_str()).isWritable())
      throw UsageError("nothing can be written into " + options.into + ". Name another folder with --into.");
   myWords.takeLastLine();
   addFileTransferedCallback(noteWritten, this);
}

void FileReceiver::noteWritten(DtFilename const &, void * receiver)
{
   static_cast<FileReceiver *>(receiver)->myIsWritten = true;
}

void FileReceiver::receiveFile(DtInetTcpSocket * socket)
{
   if (isDone())
   {
      socket->closeSocket();
      return;
   }
   std::string const peer = socket->destination().toDtString().string();
   myName.clear();
   myRefusal.clear();
   myProgress.begin();
   DtInetFileTransporter::receiveFile(socket);
   myProgress.end();
   if (!myRefusal.empty())
      fail("refused " + shownName(myName) + " from " + peer + ": " + myRefusal);
   else if (!socket->isOk() && !myName.empty())
      fail(shownName(myName) + " from " + peer + " broke off after " + std::to_string(myBytes) + " of " +
           std::to_string(mySize) + " bytes. Nothing of it was written; have it sent again.");
}

void FileReceiver::fail(std::string const & text)
{
   ++myBad;
   myErrors << "tsl: " << text << std::endl;
   myWords.takeLastLine();
}

bool FileReceiver::acceptsFile(DtInetFileTransportObject const & object)
{
   myName = object.fileName.string();
   myBytes = 0;
   mySize = object.contentSize;
   myRefusal = whyNot(object);
   return myRefusal.empty();
}

std::string FileReceiver::whyNot(DtInetFileTransportObject const & object)
{
   if (!DtInetFileTransporter::acceptsFile(object) || shownName(myName) != myName)
      return "such a name could lead out of the folder, or upset a terminal. Have it sent under another.";
   if (static_cast<std::uint64_t>(object.contentSize) > myOptions.maxSize)
      return "its " + std::to_string(object.contentSize) + " bytes are more than --max-size allows.";
   if (!myOptions.force && DtFilename::combine(targetDirectory(), object.fileName).exists())
      return "there is such a file. Move it away, or use --force.";
   return "";
}

void FileReceiver::messageReceived(DtInetFileTransportObject const & object)
{
   myBytes = object.bytesReceived;
   myProgress.show(myName, object.bytesReceived, object.contentSize);
}

void FileReceiver::finishFile(DtInetFileTransportObject & object)
{
   myIsWritten = false;
   std::string const line = digestOf(object.content, object.contentSize) + "  " + myName;
   DtInetFileTransporter::finishFile(object);
   myProgress.end();
   if (!myIsWritten)
      return fail(shownName(myName) + " is lost: it can't be written into " + myOptions.into +
                  ". Is there room, and may the folder and a file of this name be written to?");
   ++myGood;
   myOut << line << std::endl;
}
