// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetSocket.h"

#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/readHandle.h"
#include "tslutil/inet/tslInetDevice.h"

#include <algorithm>
#include <iterator>
#include <limits>

using namespace tsl::errorNumbers;

namespace
{

bool isKnown(DtInetSockProcessingType type)
{
   return type >= DtInetSockPreReceive && type <= DtInetSockPostSend;
}

// The key behind all entries of a table that are still there.
int lastKey(DtInetSockCallbackTable const & table)
{
   auto const last = std::find_if(table.rbegin(), table.rend(),
                                  [](auto const & entry) { return entry.second->callback != nullptr; });
   if (last == table.rend())
      return 0;
   return last->first == std::numeric_limits<int>::max() ? last->first : last->first + 1;
}

} // namespace

DtInetSocket::DtInetSocket()
   : myState(DtInetSockUninitialized),
     myFlags(DtInetSockFlagsDefault),
     myLockNeeded(false),
     myNonBlocking(false),
     myNoDelay(false),
     myOpenNow(false),
     myLastError(0),
     myTerminationCode(0),
     myTotalBytesSent(0),
     myTotalPacketsSent(0),
     myTotalBytesReceived(0),
     myTotalPacketsReceived(0),
     myCallbackRuns(0),
     hasDeadCallbacks(false),
     haveCallbacksChanged(true)
{
}

DtInetSocket::~DtInetSocket()
{
   for (auto const & table : myCallbacks)
      for (auto const & entry : table)
         delete entry.second;
}

void * DtInetSocket::getReadHandle() const
{
   return tsl::readHandle();
}

DtInetEndpoint const & DtInetSocket::destination() const
{
   return myDestination;
}

DtInetEndpoint const & DtInetSocket::localEndpoint() const
{
   return myLocalEndpoint;
}

bool DtInetSocket::setLocalPort(unsigned short port)
{
   myLocalEndpoint.setPort(port);
   return true;
}

unsigned short DtInetSocket::localPort() const
{
   return myLocalEndpoint.port();
}

DtInetDevice * DtInetSocket::hostIf() const
{
   return myHostInterface.get();
}

DtInetSockState DtInetSocket::state()
{
   return myState;
}

bool DtInetSocket::isOk()
{
   return myState > DtInetSockUninitialized;
}

DtInetProtocol DtInetSocket::protocol() const
{
   return myLocalEndpoint.protocol();
}

DtInetUtils::DtInetAddrFamily DtInetSocket::family() const
{
   return myLocalEndpoint.family();
}

unsigned long DtInetSocket::flags()
{
   return myFlags;
}

bool DtInetSocket::isNonBlocking() const
{
   return myNonBlocking;
}

bool DtInetSocket::isNoDelay() const
{
   return myNoDelay;
}

bool DtInetSocket::isIPv4() const
{
   return myLocalEndpoint.isIPv4();
}

bool DtInetSocket::isIPv6() const
{
   return myLocalEndpoint.isIPv6();
}

bool DtInetSocket::isTcp() const
{
   return myLocalEndpoint.isTcp();
}

bool DtInetSocket::isUdp() const
{
   return myLocalEndpoint.isUdp();
}

int DtInetSocket::getLastError()
{
   return myLastError;
}

DtString DtInetSocket::getLastErrorString()
{
   return myLastErrorText;
}

bool DtInetSocket::isErrorWouldBlockOrTryAgain()
{
   return myLastError == theWouldBlock || myLastError == theTryAgain;
}

void DtInetSocket::clearError()
{
   myLastError = 0;
   myLastErrorText = "";
}

int DtInetSocket::getTerminationCode()
{
   return myTerminationCode;
}

DtString DtInetSocket::getTerminationString()
{
   return myTerminationText;
}

std::uint64_t DtInetSocket::totalBytesSent() const
{
   return myTotalBytesSent;
}

std::uint64_t DtInetSocket::totalPacketsSent() const
{
   return myTotalPacketsSent;
}

std::uint64_t DtInetSocket::totalBytesReceived() const
{
   return myTotalBytesReceived;
}

std::uint64_t DtInetSocket::totalPacketsReceived() const
{
   return myTotalPacketsReceived;
}

void DtInetSocket::clearStats()
{
   myTotalBytesSent = 0;
   myTotalPacketsSent = 0;
   myTotalBytesReceived = 0;
   myTotalPacketsReceived = 0;
}

bool DtInetSocket::addProcessingCallback(DtInetSockProcessingType type, DtInetSocketProcessingCb callback,
                                         void * userData, int priority)
{
   if (!isKnown(type))
      return false;
   DtInetSockCallbackTable & table = myCallbacks[type];
   int const key = priority < 0 ? lastKey(table) : priority;
   auto entry = std::make_unique<DtInetSocketProcessingCbInfo>();
   *entry = {callback, userData, key};
   table.emplace(key, entry.get());
   entry.release();
   haveCallbacksChanged = true;
   return true;
}

bool DtInetSocket::removeProcessingCallback(DtInetSockProcessingType type, DtInetSocketProcessingCb callback)
{
   return isKnown(type) && findAndRemoveCallback(myCallbacks[type], callback);
}

bool DtInetSocket::findAndRemoveCallback(DtInetSockCallbackTable & table, DtInetSocketProcessingCb callback)
{
   auto const found =
      std::find_if(table.begin(), table.end(),
                   [callback](auto const & entry) { return entry.second->callback == callback; });
   if (found == table.end() || callback == nullptr)
      return false;
   haveCallbacksChanged = true;
   if (myCallbackRuns > 0)
   {
      found->second->callback = nullptr;
      hasDeadCallbacks = true;
      return true;
   }
   delete found->second;
   table.erase(found);
   return true;
}

DtInetSocket::Failure DtInetSocket::fail(int code, DtString const & text)
{
   myState = DtInetSockError;
   return refuse(code, text);
}

DtInetSocket::Failure DtInetSocket::refuse(int code, DtString const & text)
{
   myLastError = code;
   myLastErrorText = text;
   return Failure();
}

void DtInetSocket::sweepCallbacks()
{
   for (auto & table : myCallbacks)
      for (auto entry = table.begin(); entry != table.end();)
         if (entry->second->callback != nullptr)
            ++entry;
         else
         {
            delete entry->second;
            entry = table.erase(entry);
         }
   hasDeadCallbacks = false;
   haveCallbacksChanged = true;
}
