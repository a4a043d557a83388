// SPDX-License-Identifier: MIT
#pragma once

#include "tools/transferProgress.h"

#include "tslutil/base/tslPrinter.h"
#include "tslutil/inet/tslInetEndpoint.h"
#include "tslutil/inet/tslInetFileTransporter.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

/// Keeps what the library says on its streams, while it lives, for the program to tell in its own words.
class LibraryWords : public DtPrinter
{
public:
   LibraryWords();
   ~LibraryWords() override;
   void write(std::string const & text, int level, bool stamp) override;

   /// The last line that was said, without its end; forgets all.
   std::string takeLastLine();

private:
   std::string myText;
   int mySavedLevel;
};

/// Sends files one by one. Errors are thrown with what to do about them: as UsageError if nothing of the file
/// was sent because it is what it is, else as std::runtime_error.
class FileSender : public DtInetFileTransporter
{
public:
   FileSender(LibraryWords & words, std::ostream & out, TransferProgress & progress);

   /// Whether a file can be sent at all.
   void check(std::string const & path);
   /// Sends it and prints its digest and name.
   void send(std::string const & path, DtInetEndpoint const & to);

protected:
   bool readFileToBuffer(std::ifstream & file, std::vector<char> & buffer, int size, int & contentSize,
                         int & reserved) override;
   void messageSent(DtFilename const & file, int bytesSent, int contentSize, bool good) override;

private:
   LibraryWords & myWords;
   std::ostream & myOut;
   TransferProgress & myProgress;
   std::string myDigest;
   int myBytesSent = 0;
   bool myIsBroken = false;
};

/// Where a receiver listens unless told otherwise.
constexpr unsigned short theTransferPort = 3000;

struct ReceiveOptions
{
   int port = theTransferPort;
   std::string into = ".";
   std::uint64_t maxSize = INT32_MAX;
   bool ipv6 = false;
   bool force = false;
   bool once = false;
};

/// Receives files while it is ticked: prints the digest and name of each, and why one didn't come.
class FileReceiver : public DtInetFileTransporter
{
public:
   /// Throws UsageError if the port or the folder can't be had.
   FileReceiver(ReceiveOptions const & options, LibraryWords & words, std::ostream & out,
                std::ostream & errors, TransferProgress & progress);

   /// Whether no more is to be received.
   bool isDone() const { return myOptions.once && myGood + myBad > 0; }
   /// Transfers so far, those that brought nothing left out.
   int good() const { return myGood; }
   int bad() const { return myBad; }

protected:
   void receiveFile(DtInetTcpSocket * socket) override;
   bool acceptsFile(DtInetFileTransportObject const & object) override;
   void messageReceived(DtInetFileTransportObject const & object) override;
   void finishFile(DtInetFileTransportObject & object) override;

private:
   static void noteWritten(DtFilename const & file, void * receiver);
   std::string whyNot(DtInetFileTransportObject const & object);
   void fail(std::string const & text);

   ReceiveOptions const myOptions;
   LibraryWords & myWords;
   std::ostream & myOut;
   std::ostream & myErrors;
   TransferProgress & myProgress;
   /// Of the transfer at hand: what is being received, "" before its first message, and why it is refused.
   std::string myName;
   std::string myRefusal;
   int myBytes = 0;
   int mySize = 0;
   bool myIsWritten = false;
   int myGood = 0;
   int myBad = 0;
};
