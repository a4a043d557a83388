// SPDX-License-Identifier: MIT
#include "tslutil/base/tslBaseMsg.h"

#include <cassert>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace
{

/// As memmove, but the ends may be null if there is nothing to copy.
void copyBytes(char * to, void const * from, int count)
{
   if (count > 0 && to != from)
      std::memmove(to, from, static_cast<std::size_t>(count));
}

void zeroBytes(char * from, int count)
{
   if (count > 0)
      std::memset(from, 0, static_cast<std::size_t>(count));
}

} // namespace

DtBaseMsg::DtBaseMsg() : myData(nullptr), myInternalBuffer(nullptr), myInternalCapacity(0), myLength(0) {}

DtBaseMsg::DtBaseMsg(DtBaseMsg const & other, DtBufferPlaceHolder * holder) : DtBaseMsg()
{
   initMsg(other.netRep(), other.length(), holder);
}

DtBaseMsg & DtBaseMsg::operator=(DtBaseMsg const & other)
{
   if (this == &other)
      return *this;
   char const * const bytes = other.netRep();
   if (onOwnBuffer())
      initMsg(bytes, other.length(), nullptr);
   else
      // Shares the other's bytes: that is meant, since this message reads in place.
      initMsg(bytes, other.length(), reinterpret_cast<DtBufferPlaceHolder *>(const_cast<char *>(bytes)));
   return *this;
}

DtBaseMsg::~DtBaseMsg()
{
   std::free(myInternalBuffer);
}

char const * DtBaseMsg::netRep() const
{
   return myData;
}

int DtBaseMsg::length() const
{
   return myLength;
}

void DtBaseMsg::changeSize(int newSize, bool quiet)
{
   assert(newSize >= 0);
   if (onOwnBuffer() && newSize > myInternalCapacity)
   {
      char * const block = static_cast<char *>(std::malloc(static_cast<std::size_t>(newSize)));
      copyBytes(block, myInternalBuffer, myLength);
      std::free(myInternalBuffer);
      myData = myInternalBuffer = block;
      myInternalCapacity = newSize;
   }
   zeroBytes(myData + myLength, newSize - myLength);
   myLength = newSize;
   if (!quiet)
      sizeChanged(newSize);
}

void DtBaseMsg::insertBytes(void * where, int count, bool quiet)
{
   insertBytes(static_cast<int>(static_cast<char const *>(where) - netRep()), count, quiet);
}

void DtBaseMsg::insertBytes(int offset, int count, bool quiet)
{
   assert(offset >= 0 && offset <= myLength && count >= 0);
   if (count == 0)
      return;
   // An override of sizeChanged sees the bytes as they are before the tail comes back: that is meant.
   std::vector<char> const tail(myData + offset, myData + myLength);
   changeSize(myLength + count, quiet);
   if (tail.empty())
      return;
   zeroBytes(myData + offset, count);
   copyBytes(myData + offset + count, tail.data(), static_cast<int>(tail.size()));
}

void DtBaseMsg::deleteBytes(void * where, int count, bool quiet)
{
   deleteBytes(static_cast<int>(static_cast<char const *>(where) - netRep()), count, quiet);
}

void DtBaseMsg::deleteBytes(int offset, int count, bool quiet)
{
   assert(offset >= 0 && count >= 0 && count <= myLength - offset);
   if (count == 0)
      return;
   std::vector<char> const tail(myData + offset + count, myData + myLength);
   changeSize(myLength - count, quiet);
   copyBytes(myData + offset, tail.data(), static_cast<int>(tail.size()));
}

void DtBaseMsg::clearAll()
{
   zeroBytes(const_cast<char *>(netRep()), length());
}

void * DtBaseMsg::newInternalBuffer(int size)
{
   if (size > myInternalCapacity)
   {
      std::free(myInternalBuffer);
      myInternalBuffer = static_cast<char *>(std::malloc(static_cast<std::size_t>(size)));
      myInternalCapacity = size;
   }
   return myInternalBuffer;
}

void DtBaseMsg::initMsg(int size, DtBufferPlaceHolder * holder)
{
   takeStorage(size, holder);
   myLength = size;
   clearAll();
}

void DtBaseMsg::initMsg(void const * bytes, int size, DtBufferPlaceHolder * holder)
{
   takeStorage(size, holder);
   copyBytes(myData, bytes, size);
   myLength = size;
}

void DtBaseMsg::takeStorage(int size, DtBufferPlaceHolder * holder)
{
   assert(size >= 0);
   myData =
      holder != nullptr ? reinterpret_cast<char *>(holder) : static_cast<char *>(newInternalBuffer(size));
}

bool DtBaseMsg::onOwnBuffer() const
{
   return myData == myInternalBuffer;
}
