// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

#include <cstdint>

/// Stands at the address of bytes that a caller lends to a message. There is nothing in it: the address alone
/// counts.
struct DtBufferPlaceHolder
{
};

/// The base of all that is a block of wire bytes, such as a PDU: the bytes lie in a buffer of its own, or in
/// storage that the caller lends and that outlives the message, so that it is read in place. Derived classes
/// lay their wire fields over netRep() and are told of each change of size. Offsets and counts are not
/// checked: the caller keeps them inside the message, and sizes inside the room of lent storage. A message
/// belongs to one thread at a time.
class TSLUTIL_EXPORT DtBaseMsg
{
public:
   /// No bytes, and no storage yet.
   DtBaseMsg();
   /// Copies the bytes of `other`, into `holder` if that isn't null.
   DtBaseMsg(DtBaseMsg const & other, DtBufferPlaceHolder * holder = nullptr);
   /// Copies the bytes of `other` if this message has a buffer of its own. On lent storage nothing is copied:
   /// this message then lies on the bytes of `other`, which must outlive it. The difference is meant.
   DtBaseMsg & operator=(DtBaseMsg const & other);

   // Virtual operations, in slot order.

   /// Frees the message's own buffer; never lent storage.
   virtual ~DtBaseMsg();
   /// The bytes; null before the first initMsg.
   virtual char const * netRep() const;
   /// The number of bytes.
   virtual int length() const;
   /// Makes the message longer, by zero bytes, or shorter; a buffer of its own grows as needed and never
   /// shrinks. Calls sizeChanged unless `quiet` is true.
   virtual void changeSize(int newSize, bool quiet = false);
   /// Opens a gap of `count` zero bytes at `where`, an address in this message. The bytes behind the gap are
   /// back in place only after changeSize, so sizeChanged doesn't see them.
   virtual void insertBytes(void * where, int count, bool quiet = false);
   /// The same at an offset.
   virtual void insertBytes(int offset, int count, bool quiet = false);
   /// Removes `count` bytes at `where`, an address in this message. sizeChanged comes before the bytes behind
   /// are in place here too.
   virtual void deleteBytes(void * where, int count, bool quiet = false);
   /// The same at an offset.
   virtual void deleteBytes(int offset, int count, bool quiet = false);
   /// Zeroes all bytes.
   virtual void clearAll();
   /// This message's own buffer, with room for `size` bytes at least. One that is made anew replaces the old
   /// one, which is freed with its contents. What netRep and length say stays all the same: a message that
   /// lay in the old one is of use again after initMsg.
   virtual void * newInternalBuffer(int size);

protected:
   /// Is told the new size, so that a derived class can keep a length field in the bytes up to date.
   virtual void sizeChanged(int newSize) = 0;

public:
   /// Makes this a message of `size` zero bytes, in `holder` if that isn't null, else in a buffer of its own.
   void initMsg(int size, DtBufferPlaceHolder * holder = nullptr);
   /// The same with a copy of `size` bytes. They may be those of `holder`, to be read in place.
   void initMsg(void const * bytes, int size, DtBufferPlaceHolder * holder = nullptr);

private:
   bool onOwnBuffer() const;
   void takeStorage(int size, DtBufferPlaceHolder * holder);

   char * myData;
   char * myInternalBuffer;
   std::int32_t myInternalCapacity;
   std::int32_t myLength;
};
