// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/tslutilExport.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

/// The kinds of keys.
enum DtHashKeyType : int
{
   DtBaseHashKeyType = 0,
   DtIntHashKeyType = 1,
   DtPtrHashKeyType = 2,
   DtStringHashKeyType = 3,
   DtWStringHashKeyType = 4
};

/// What a DtHashlist finds its values by. A key hashes its value once, at the first need, and keeps the
/// result; copies take it over. So a key gets its value before its first use. A key belongs to one thread at
/// a time, also where it is only read.
class TSLUTIL_EXPORT DtBaseHashKey
{
public:
   // Virtual operations, in slot order.

   virtual ~DtBaseHashKey();
   /// Whether hash values and texts are equal, whatever the kinds.
   virtual bool operator==(DtBaseHashKey const & other) const;
   /// The negation of the operator== in force.
   virtual bool operator!=(DtBaseHashKey const & other) const;
   /// The low 32 bits of what computeHashValue gave at the first call.
   virtual unsigned long hashValue() const;
   /// The kind; DtBaseHashKeyType unless overridden.
   virtual DtHashKeyType hashKeyType() const;
   /// A new copy, which the caller deletes.
   virtual DtBaseHashKey * clone() const = 0;
   /// The value as text.
   virtual DtString stringRep() const = 0;
   /// What a table compares keys by: operator== unless a kind knows better.
   virtual bool equalTo(DtBaseHashKey const & other) const;

protected:
   /// The hash of the present value; the caller keeps the low 32 bits.
   virtual unsigned long computeHashValue() const = 0;

public:
   // Keys come and go often: a thread uses the memory of those that it deleted again.
   /// Takes a key that this thread has deleted, or memory.
   static void * operator new(std::size_t size);
   /// Keeps the memory for this thread to use again.
   static void operator delete(void * memory, std::size_t size) noexcept;
   /// In a place that is there.
   static void * operator new(std::size_t, void * place) noexcept { return place; }
   /// Nothing: the place is the caller's.
   static void operator delete(void *, void *) noexcept {}

protected:
   DtBaseHashKey() : isHashed(false), isStored(false), mark(0), hash(0) {}
   /// A copy, with the hash if there is one.
   DtBaseHashKey(DtBaseHashKey const & other)
      : isHashed(other.isHashed), isStored(false), mark(other.mark), hash(other.hash)
   {
   }
   /// The same.
   DtBaseHashKey & operator=(DtBaseHashKey const & other)
   {
      noteChange();
      isHashed = other.isHashed;
      mark = other.mark;
      hash = other.hash;
      return *this;
   }

private:
   friend class DtHashlist;
   friend class DtStringHashKey;
   friend class DtWStringHashKey;

   /// To be called at every change: a table trusts what it noted of its keys as long as none is changed.
   void noteChange()
   {
      if (isStored)
         noteStoredChange();
   }
   static void noteStoredChange();

   [[gnu::visibility("hidden")]] static std::atomic<bool> aStoredKeyChanged;

   mutable bool isHashed;
   bool isStored;              ///< as a table's own copy
   mutable std::uint16_t mark; ///< for tables; 0 until one needs it, and then the hash is there, too
   mutable std::uint32_t hash;
};

// Inline for the table, which asks for nothing more often.
inline unsigned long DtBaseHashKey::hashValue() const
{
   if (!isHashed)
   {
      hash = static_cast<std::uint32_t>(computeHashValue());
      isHashed = true;
   }
   return hash;
}

/// A number of 32 bits, which is its own hash; the text is its decimal digits.
class TSLUTIL_EXPORT DtIntHashKey : public DtBaseHashKey
{
public:
   /// Takes the low 32 bits of the number.
   DtIntHashKey(unsigned long number);
   /// A copy, with the hash if there is one.
   DtIntHashKey(DtIntHashKey const & other);
   /// The same.
   DtIntHashKey & operator=(DtIntHashKey const & other);

   // Virtual operations, in slot order.

   ~DtIntHashKey() override;
   DtHashKeyType hashKeyType() const override;
   DtBaseHashKey * clone() const override;
   DtString stringRep() const override;
   /// Compares the numbers if the other is of this kind.
   bool equalTo(DtBaseHashKey const & other) const override;

protected:
   unsigned long computeHashValue() const override;

public:
   /// The number.
   virtual unsigned long value() const;

private:
   std::uint32_t myValue;
};

inline unsigned long DtIntHashKey::value() const
{
   return myValue;
}

/// An address. Hash and text, decimal digits, are of its low 32 bits, and so is operator==; a table compares
/// the whole address.
class TSLUTIL_EXPORT DtPtrHashKey : public DtBaseHashKey
{
public:
   /// Stands for an address.
   DtPtrHashKey(void * address);
   /// A copy, with the hash if there is one.
   DtPtrHashKey(DtPtrHashKey const & other);
   /// The same.
   DtPtrHashKey & operator=(DtPtrHashKey const & other);

   // Virtual operations, in slot order.

   ~DtPtrHashKey() override;
   DtHashKeyType hashKeyType() const override;
   DtBaseHashKey * clone() const override;
   DtString stringRep() const override;
   /// Compares the addresses if the other is of the very same class.
   bool equalTo(DtBaseHashKey const & other) const override;

protected:
   unsigned long computeHashValue() const override;

public:
   /// The address; what it refers to is never looked at.
   virtual void * value() const;

private:
   void * myValue;
};

/// A text. The hash is the sum of its bytes, signed, each times its place counted from 1.
class TSLUTIL_EXPORT DtStringHashKey : public DtBaseHashKey
{
public:
   DtStringHashKey();
   /// Copies the text.
   DtStringHashKey(DtString const & text);
   /// Null gives empty text.
   DtStringHashKey(char const * text);
   /// A copy, with the hash if there is one.
   DtStringHashKey(DtStringHashKey const & other);
   /// The same.
   DtStringHashKey & operator=(DtStringHashKey const & other);

   // Virtual operations, in slot order.

   ~DtStringHashKey() override;
   DtHashKeyType hashKeyType() const override;
   DtBaseHashKey * clone() const override;
   DtString stringRep() const override;

protected:
   unsigned long computeHashValue() const override;

public:
   /// The text.
   virtual DtString const & value() const;
   /// Replaces the text. A hash that is there stays as it was: a key is given its text before its first use.
   virtual void setValue(DtString const & text);

private:
   friend class DtHashlist;

   void noteText() const;

   DtString myValue;
   mutable std::uint32_t textLength; ///< if there is a mark
};

inline DtString const & DtStringHashKey::value() const
{
   return myValue;
}

/// A wide text in units of 16 bits: a character beyond them counts as its two surrogates. The hash is the sum
/// of the units, each times its place counted from 1; the text has the low byte of each unit, so that wide
/// texts which differ in the high bytes alone may be equal.
class TSLUTIL_EXPORT DtWStringHashKey : public DtBaseHashKey
{
public:
   DtWStringHashKey();
   /// Copies the text.
   DtWStringHashKey(std::wstring const & text);
   /// Null gives empty text.
   DtWStringHashKey(wchar_t const * text);
   /// A copy, with the hash if there is one.
   DtWStringHashKey(DtWStringHashKey const & other);
   /// The same.
   DtWStringHashKey & operator=(DtWStringHashKey const & other);

   // Virtual operations, in slot order.

   ~DtWStringHashKey() override;
   DtHashKeyType hashKeyType() const override;
   DtBaseHashKey * clone() const override;
   DtString stringRep() const override;

protected:
   unsigned long computeHashValue() const override;

public:
   /// The wide text.
   virtual std::wstring const & value() const;
   /// Replaces the text. A hash that is there stays as it was: a key is given its text before its first use.
   virtual void setValue(std::wstring const & text);

private:
   std::wstring myValue;
};
