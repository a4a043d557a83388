// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/tslInetAddr.h"
#include "tslutil/system/tslFilename.h"
#include "tslutil/tslutilExport.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <set>
#include <vector>

/// Sends whole files over TCP from one host to another. Each side is a DtInetFileTransporter: it listens on a
/// port and takes what comes when tick() is called. A file crosses on a connection of its own as a row of
/// messages, each with its length in front and a pause of 0.01 s behind, and lies whole in memory on both
/// sides. Nothing is acknowledged, resumed or tried again. Failures are told by results and on DtWarn.
///
/// Nothing here locks or has a thread: a transporter belongs to one thread at a time, and its callbacks run
/// on that thread. sendFile(), and tick() while a file comes in, hold their caller for the whole transfer.

class DtInetSocket;
class DtInetSocketMgr;
class DtInetTcpSocket;

namespace tsl
{
class MessageReader;
}

/// One file that is being received. A value that is copied whole.
class TSLUTIL_EXPORT DtInetFileTransportObject
{
public:
   /// Zeroes and no text.
   DtInetFileTransportObject();
   /// A copy, content included.
   DtInetFileTransportObject(DtInetFileTransportObject const & other);
   /// The same.
   DtInetFileTransportObject & operator=(DtInetFileTransportObject const & other);
   ~DtInetFileTransportObject();

   /// The sender's number for the transfer.
   int fileIdentifier;
   /// As the sender gave it.
   DtFilename fileName;
   /// The file's size at the sender. 0 until the first message is in: the object isn't started then.
   int fileSize;
   /// How many bytes of content make the transfer complete.
   int contentSize;
   /// How many have come.
   int bytesReceived;
   /// What has come so far: it grows with the bytes received, whatever size the sender claims. Once complete,
   /// it holds one zero byte more.
   std::vector<char> content;
   /// What the sender's readFileToBuffer() chose to send along.
   int reserved;
};

/// Sends files, and writes those that are sent to it into its target directory, under the sender's name for
/// them and over an earlier file of that name.
class TSLUTIL_EXPORT DtInetFileTransporter
{
public:
   /// Called when a file is in, with its path and the callback's data. It is still open, but written whole.
   typedef void (*FileTransferedCb)(DtFilename const & file, void * userData);

   /// Listens on `port`, or with `searchPorts` on the first free one of `portRange` ports from there on; 0
   /// lets the system choose. The port is stored in `portFound`, unless that is null. Makes the target
   /// directory. If no port can be had, says so on DtWarn and stores -1: such an object sends only if it is
   /// given a port.
   explicit DtInetFileTransporter(int port, bool searchPorts = false, int portRange = 1,
                                  DtFilename const & targetDirectory = ".", int * portFound = nullptr,
                                  bool useIPv6 = false);
   DtInetFileTransporter(DtInetFileTransporter const &) = delete;
   DtInetFileTransporter & operator=(DtInetFileTransporter const &) = delete;

   /// Where received files go. Setting it makes the directory.
   void setTargetDirectory(DtFilename const & directory);
   /// The directory that is set.
   DtFilename const & targetDirectory() const;

   /// For how many seconds tick() bears with a peer that sends nothing in the middle of a transfer, or before
   /// it; 30 at first. Then the transfer ends as if the connection were lost.
   void setSilenceLimit(double seconds);
   /// The limit that is set.
   double silenceLimit() const;

   /// Has a transporter receive from a socket; always true. What the socket manager calls.
   static bool receiveFileCb(DtInetSocket * socket, void * transporter);

   // Virtual operations, in slot order.

   /// Closes all connections. What is incomplete is dropped.
   virtual ~DtInetFileTransporter();
   /// Receives what peers have connected to send, each transfer to its end, and drops the connections whose
   /// peers are done. Call it regularly. From inside a callback it does nothing. A listening socket that has
   /// failed, as for want of descriptors, is made anew.
   virtual void tick();
   /// The port that this listens on; all bits set without one.
   virtual unsigned int port() const;
   /// Adds a callback for received files. A function stands there once: adding it anew replaces its data.
   virtual void addFileTransferedCallback(FileTransferedCb callback, void * userData);
   /// Removes a callback, whatever its data.
   virtual void removeFileTransferedCallback(FileTransferedCb callback, void * userData);
   /// Sends a file to the peer on `host` that listens on the same port as this one.
   virtual bool sendFile(DtFilename const & file, DtInetAddr const & host);
   /// Sends a file. Blocks until the socket has it all. False if the file can't be read, or has more than
   /// 2147483646 bytes, or nobody listens there; later failures go unnoticed. Of an empty file nothing is
   /// sent, which counts as done.
   virtual bool sendFile(DtFilename const & file, DtInetAddr const & host, int port);

protected:
   /// Receives from an accepted connection until no file is incomplete. What isn't acceptable ends it as a
   /// lost connection does: a message shorter than its own header or longer than the socket buffer size, a
   /// content size below 0, a file that acceptsFile() refuses, silence. Then every file begun on the
   /// connection is dropped. What comes beyond the content size is left out.
   virtual void receiveFile(DtInetTcpSocket * socket);
   /// A number for the next transfer: the time plus a counter of the process.
   virtual int nextFileIdentifier();
   /// Reads `size` bytes of the file, to be sent as `contentSize` bytes with the number `reserved`. An
   /// override may change all three. A file that got shorter meanwhile is filled up with zeroes. False fails
   /// sendFile().
   virtual bool readFileToBuffer(std::ifstream & file, std::vector<char> & buffer, int size,
                                 int & contentSize, int & reserved);
   /// Writes a complete file, calls the callbacks if that went well, and forgets the object. What isn't a
   /// plain file is not written to, nor are links followed; what can't be written whole is removed again.
   virtual void finishFile(DtInetFileTransportObject & object);
   /// The object with an identifier, a new one if there is none.
   virtual DtInetFileTransportObject & transportObject(int identifier);

   // What watches over a transfer; not part of the protocol.

   /// Whether a file may come in, asked when its first message is there: refuses names that don't stay in the
   /// target directory (empty, ".", "..", with a separator of any system in them).
   virtual bool acceptsFile(DtInetFileTransportObject const & object);
   /// Told after each message that was received, once its content is in.
   virtual void messageReceived(DtInetFileTransportObject const & object);
   /// Told after each message that was sent: so many of `contentSize` bytes are out. `good` is false if the
   /// socket didn't take the message whole; the transfer goes on as if it had.
   virtual void messageSent(DtFilename const & file, int bytesSent, int contentSize, bool good);

private:
   struct Outgoing;

   void listen(std::int64_t firstPort, int tries);
   static bool makeRoomCb(DtInetSocket * socket, void * transporter);
   void dropFinishedConnections(DtInetSocket const * newest);
   void sendContent(DtFilename const & file, Outgoing & out, DtInetTcpSocket & socket);
   bool takeMessage(tsl::MessageReader const & message, std::set<int> & begun);
   bool startObject(DtInetFileTransportObject & object, tsl::MessageReader const & message);
   bool takeContent(DtInetFileTransportObject & object, char const * content, std::size_t size);
   void callFileCallbacks(DtFilename const & path);

   std::map<FileTransferedCb, void *> myFileCallbacks;
   int myTransportPort;
   std::unique_ptr<DtInetSocketMgr> mySocketMgr;
   DtFilename myTargetDir;
   std::map<int, DtInetFileTransportObject> myTransportObjects;
   double mySilenceLimit;
   DtInetUtils::DtInetAddrFamily const myFamily;
   bool myIsTicking;
};
