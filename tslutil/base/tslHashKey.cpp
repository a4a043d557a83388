// SPDX-License-Identifier: MIT
#include "tslutil/base/tslHashKey.h"

#include "tslutil/base/nodePool.h"

#include <algorithm>
#include <cstring>
#include <typeinfo>

namespace
{

typedef tsl::NodePool<sizeof(DtPtrHashKey)> SmallKeyPool;
typedef tsl::NodePool<sizeof(DtStringHashKey)> TextKeyPool;
static_assert(sizeof(DtIntHashKey) <= sizeof(DtPtrHashKey) &&
              sizeof(DtWStringHashKey) <= sizeof(DtStringHashKey));

/// Gives the units of 16 bits of a wide text, whatever the size of wchar_t.
class Units
{
public:
   Units() = default;
   explicit Units(std::wstring const & text) : place(text.data()), end(place + text.size()) {}

   /// The next unit; false at the end.
   bool next(std::uint16_t & unit)
   {
      if (lowSurrogate == 0 && place == end)
         return false;
      unit = lowSurrogate != 0 ? takeLowSurrogate() : takeCharacter(static_cast<std::uint32_t>(*place++));
      return true;
   }

private:
   std::uint16_t takeLowSurrogate()
   {
      std::uint16_t const unit = lowSurrogate;
      lowSurrogate = 0;
      return unit;
   }

   std::uint16_t takeCharacter(std::uint32_t character)
   {
      if (character <= 0xFFFF)
         return static_cast<std::uint16_t>(character);
      std::uint32_t const rest = character - 0x10000;
      lowSurrogate = static_cast<std::uint16_t>(0xDC00 + (rest & 0x3FF));
      return static_cast<std::uint16_t>(0xD800 + (rest >> 10));
   }

   wchar_t const * place = nullptr;
   wchar_t const * end = nullptr;
   std::uint16_t lowSurrogate = 0;
};

/// The key as one of exactly this class, or null.
template<class Key>
Key const * exactly(DtBaseHashKey const & key)
{
   return typeid(key) == typeid(Key) ? static_cast<Key const *>(&key) : nullptr;
}

/// Gives the bytes of what stringRep tells, and copies no long text where it need not, so that look-ups take
/// no memory.
class TextOf
{
public:
   explicit TextOf(DtBaseHashKey const & key) : place(nullptr)
   {
      if (DtStringHashKey const * const text = exactly<DtStringHashKey>(key))
         place = text->value().c_str();
      else if (DtWStringHashKey const * const wide = exactly<DtWStringHashKey>(key))
         units = Units(wide->value());
      else
      {
         copy = key.stringRep();
         place = copy.c_str();
      }
   }

   /// The next byte, NUL at the end.
   char next()
   {
      if (place != nullptr)
         return *place++;
      std::uint16_t unit = 0;
      return units.next(unit) ? static_cast<char>(unit & 0xFF) : '\0';
   }

private:
   Units units;
   /// Null for a wide text.
   char const * place;
   DtString copy;
};

bool sameTexts(DtBaseHashKey const & left, DtBaseHashKey const & right)
{
   TextOf ours(left);
   TextOf theirs(right);
   char byte = '\0';
   do
   {
      byte = ours.next();
      if (byte != theirs.next())
         return false;
   } while (byte != '\0');
   return true;
}

} // namespace

std::atomic<bool> DtBaseHashKey::aStoredKeyChanged{false};

void DtBaseHashKey::noteStoredChange()
{
   aStoredKeyChanged.store(true, std::memory_order_relaxed);
}

DtBaseHashKey::~DtBaseHashKey() = default;

bool DtBaseHashKey::operator==(DtBaseHashKey const & other) const
{
   return hashValue() == other.hashValue() && sameTexts(*this, other);
}

bool DtBaseHashKey::operator!=(DtBaseHashKey const & other) const
{
   return !(*this == other);
}

DtHashKeyType DtBaseHashKey::hashKeyType() const
{
   return DtBaseHashKeyType;
}

bool DtBaseHashKey::equalTo(DtBaseHashKey const & other) const
{
   return *this == other;
}

void * DtBaseHashKey::operator new(std::size_t size)
{
   if (size <= sizeof(DtPtrHashKey))
      return SmallKeyPool::take();
   return size <= sizeof(DtStringHashKey) ? TextKeyPool::take() : ::operator new(size);
}

void DtBaseHashKey::operator delete(void * memory, std::size_t size) noexcept
{
   if (memory == nullptr || size > sizeof(DtStringHashKey))
      ::operator delete(memory);
   else if (size <= sizeof(DtPtrHashKey))
      SmallKeyPool::giveBack(memory);
   else
      TextKeyPool::giveBack(memory);
}

DtIntHashKey::DtIntHashKey(unsigned long number) : myValue(static_cast<std::uint32_t>(number)) {}

DtIntHashKey::DtIntHashKey(DtIntHashKey const & other) = default;

DtIntHashKey & DtIntHashKey::operator=(DtIntHashKey const & other) = default;

DtIntHashKey::~DtIntHashKey() = default;

DtHashKeyType DtIntHashKey::hashKeyType() const
{
   return DtIntHashKeyType;
}

DtBaseHashKey * DtIntHashKey::clone() const
{
   return new DtIntHashKey(*this);
}

DtString DtIntHashKey::stringRep() const
{
   return DtString(value());
}

bool DtIntHashKey::equalTo(DtBaseHashKey const & other) const
{
   DtIntHashKey const * const number =
      other.hashKeyType() == DtIntHashKeyType ? dynamic_cast<DtIntHashKey const *>(&other) : nullptr;
   return number != nullptr ? value() == number->value() : DtBaseHashKey::equalTo(other);
}

unsigned long DtIntHashKey::computeHashValue() const
{
   return value();
}

DtPtrHashKey::DtPtrHashKey(void * address) : myValue(address) {}

DtPtrHashKey::DtPtrHashKey(DtPtrHashKey const & other) = default;

DtPtrHashKey & DtPtrHashKey::operator=(DtPtrHashKey const & other) = default;

DtPtrHashKey::~DtPtrHashKey() = default;

DtHashKeyType DtPtrHashKey::hashKeyType() const
{
   return DtPtrHashKeyType;
}

DtBaseHashKey * DtPtrHashKey::clone() const
{
   return new DtPtrHashKey(*this);
}

DtString DtPtrHashKey::stringRep() const
{
   return DtString(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(value())));
}

bool DtPtrHashKey::equalTo(DtBaseHashKey const & other) const
{
   if (typeid(*this) == typeid(other))
      return value() == static_cast<DtPtrHashKey const &>(other).value();
   return DtBaseHashKey::equalTo(other);
}

unsigned long DtPtrHashKey::computeHashValue() const
{
   return static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(value()));
}

void * DtPtrHashKey::value() const
{
   return myValue;
}

DtStringHashKey::DtStringHashKey() : textLength(0) {}

DtStringHashKey::DtStringHashKey(DtString const & text) : myValue(text), textLength(0) {}

DtStringHashKey::DtStringHashKey(char const * text) : myValue(text), textLength(0) {}

DtStringHashKey::DtStringHashKey(DtStringHashKey const & other) = default;

DtStringHashKey & DtStringHashKey::operator=(DtStringHashKey const & other) = default;

DtStringHashKey::~DtStringHashKey() = default;

DtHashKeyType DtStringHashKey::hashKeyType() const
{
   return DtStringHashKeyType;
}

DtBaseHashKey * DtStringHashKey::clone() const
{
   return new DtStringHashKey(*this);
}

DtString DtStringHashKey::stringRep() const
{
   return value();
}

unsigned long DtStringHashKey::computeHashValue() const
{
   std::uint32_t sum = 0;
   std::uint32_t place = 0;
   for (char const * byte = value().c_str(); *byte != '\0'; ++byte)
      sum += ++place * static_cast<std::uint32_t>(static_cast<signed char>(*byte));
   return sum;
}

// The hash is kept on purpose.
void DtStringHashKey::setValue(DtString const & text)
{
   noteChange();
   mark = 0;
   myValue = text;
}

/// Makes the mark: 16 bits of the text, never 0. The hash is the same for very many texts that differ in
/// their digits alone.
void DtStringHashKey::noteText() const
{
   char const * const text = myValue.DtString::c_str();
   std::size_t const length = std::strlen(text);
   std::uint64_t sum = length;
   for (std::size_t place = 0; place < length; place += sizeof sum)
   {
      std::uint64_t bytes = 0;
      std::memcpy(&bytes, text + place, std::min(length - place, sizeof bytes));
      sum = (sum ^ bytes) * 0x9E3779B97F4A7C15u;
      sum ^= sum >> 32;
   }
   textLength = static_cast<std::uint32_t>(length);
   mark = static_cast<std::uint16_t>(sum | 1);
}

DtWStringHashKey::DtWStringHashKey() = default;

DtWStringHashKey::DtWStringHashKey(std::wstring const & text) : myValue(text) {}

DtWStringHashKey::DtWStringHashKey(wchar_t const * text) : myValue(text != nullptr ? text : L"") {}

DtWStringHashKey::DtWStringHashKey(DtWStringHashKey const & other) = default;

DtWStringHashKey & DtWStringHashKey::operator=(DtWStringHashKey const & other) = default;

DtWStringHashKey::~DtWStringHashKey() = default;

DtHashKeyType DtWStringHashKey::hashKeyType() const
{
   return DtWStringHashKeyType;
}

DtBaseHashKey * DtWStringHashKey::clone() const
{
   return new DtWStringHashKey(*this);
}

DtString DtWStringHashKey::stringRep() const
{
   std::string narrowed;
   std::uint16_t unit = 0;
   for (Units units(value()); units.next(unit);)
      narrowed += static_cast<char>(unit & 0xFF);
   return DtString(narrowed);
}

unsigned long DtWStringHashKey::computeHashValue() const
{
   std::uint32_t sum = 0;
   std::uint32_t place = 0;
   std::uint16_t unit = 0;
   for (Units units(value()); units.next(unit);)
      sum += ++place * unit;
   return sum;
}

std::wstring const & DtWStringHashKey::value() const
{
   return myValue;
}

// The hash is kept on purpose.
void DtWStringHashKey::setValue(std::wstring const & text)
{
   noteChange();
   myValue = text;
}
