// SPDX-License-Identifier: MIT
#pragma once

/// Numbers that lie in wire order: the fields of records that are copied to and from network buffers as they
/// stand. Each is a plain value of exactly its wire size, without alignment, that converts from and to its
/// host type whenever it is written or read. A process-wide ordering, read afresh at every conversion,
/// selects the form; a change makes stored values read differently.

#include "tslutil/base/tslU128.h"
#include "tslutil/tslutilExport.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <type_traits>

/// How the value classes encode. Any other number reads as DtHostByteOrder does in the DtNet family and as
/// DtNetByteOrder does in the DtLE family.
enum DtNetworkByteOrderType : int
{
   DtHostByteOrder = 0,
   DtNetByteOrder = 1
};

/// The ordering, here for the inline conversions alone; use the two functions.
extern TSLUTIL_EXPORT std::atomic<int> DtCurrentNetworkByteOrdering;

/// The ordering in force, DtNetByteOrder at the start. Any thread.
inline DtNetworkByteOrderType DtNetworkByteOrdering()
{
   return static_cast<DtNetworkByteOrderType>(DtCurrentNetworkByteOrdering.load(std::memory_order_relaxed));
}

/// Sets the ordering, before any value is encoded. Any thread.
TSLUTIL_EXPORT void DtSetNetworkByteOrdering(DtNetworkByteOrderType ordering);

namespace tsl
{

/// Most significant byte first.
struct BigOrder
{
   static void write(unsigned char * to, std::uint16_t bits)
   {
      to[0] = static_cast<unsigned char>(bits >> 8);
      to[1] = static_cast<unsigned char>(bits);
   }

   static void write(unsigned char * to, std::uint32_t bits)
   {
      to[0] = static_cast<unsigned char>(bits >> 24);
      to[1] = static_cast<unsigned char>(bits >> 16);
      to[2] = static_cast<unsigned char>(bits >> 8);
      to[3] = static_cast<unsigned char>(bits);
   }

   static void read(unsigned char const * from, std::uint16_t & bits)
   {
      bits = static_cast<std::uint16_t>(from[0] << 8 | from[1]);
   }

   static void read(unsigned char const * from, std::uint32_t & bits)
   {
      bits =
         std::uint32_t(from[0]) << 24 | std::uint32_t(from[1]) << 16 | std::uint32_t(from[2]) << 8 | from[3];
   }
};

/// Least significant byte first.
struct LittleOrder
{
   static void write(unsigned char * to, std::uint16_t bits)
   {
      to[0] = static_cast<unsigned char>(bits);
      to[1] = static_cast<unsigned char>(bits >> 8);
   }

   static void write(unsigned char * to, std::uint32_t bits)
   {
      to[0] = static_cast<unsigned char>(bits);
      to[1] = static_cast<unsigned char>(bits >> 8);
      to[2] = static_cast<unsigned char>(bits >> 16);
      to[3] = static_cast<unsigned char>(bits >> 24);
   }

   static void read(unsigned char const * from, std::uint16_t & bits)
   {
      bits = static_cast<std::uint16_t>(from[1] << 8 | from[0]);
   }

   static void read(unsigned char const * from, std::uint32_t & bits)
   {
      bits =
         std::uint32_t(from[3]) << 24 | std::uint32_t(from[2]) << 16 | std::uint32_t(from[1]) << 8 | from[0];
   }
};

/// As the host holds it.
struct HostOrder
{
   template<class Bits>
   static void write(unsigned char * to, Bits bits)
   {
      std::memcpy(to, &bits, sizeof bits);
   }

   template<class Bits>
   static void read(unsigned char const * from, Bits & bits)
   {
      std::memcpy(&bits, from, sizeof bits);
   }
};

/// The forms of the four wire sizes. The two halves of 64 bits and the two words of 128 bits keep the places
/// that records in use have them in, which is not the order of size throughout: at the default ordering the
/// low word stands first, and little-endian halves stand with the high one first.
template<class Order, bool isDefault>
struct WireForm
{
   template<class Bits>
   static void write(unsigned char * to, Bits bits)
   {
      Order::write(to, bits);
   }

   static void write(unsigned char * to, std::uint64_t bits)
   {
      Order::write(to + (isDefault ? 0 : 4), static_cast<std::uint32_t>(bits >> 32));
      Order::write(to + (isDefault ? 4 : 0), static_cast<std::uint32_t>(bits));
   }

   static void write(unsigned char * to, DtU128 const & number)
   {
      write(to + (isDefault ? 8 : 0), number.high);
      write(to + (isDefault ? 0 : 8), number.low);
   }

   template<class Bits>
   static void read(unsigned char const * from, Bits & bits)
   {
      Order::read(from, bits);
   }

   static void read(unsigned char const * from, std::uint64_t & bits)
   {
      std::uint32_t high;
      std::uint32_t low;
      Order::read(from + (isDefault ? 0 : 4), high);
      Order::read(from + (isDefault ? 4 : 0), low);
      bits = std::uint64_t(high) << 32 | low;
   }

   static void read(unsigned char const * from, DtU128 & number)
   {
      read(from + (isDefault ? 8 : 0), number.high);
      read(from + (isDefault ? 0 : 8), number.low);
   }
};

/// The DtNet family: network order, or the host's.
struct NetEncoding
{
   typedef WireForm<BigOrder, true> Default;
   typedef WireForm<HostOrder, false> Other;
   static bool usesDefault(int ordering) { return ordering == 1; }
};

/// The DtLE family, its mirror image: little-endian, or network order.
struct LittleEndianEncoding
{
   typedef WireForm<LittleOrder, true> Default;
   typedef WireForm<BigOrder, false> Other;
   static bool usesDefault(int ordering) { return ordering != 0; }
};

/// The bits of a host type.
template<class Host, std::size_t size = sizeof(Host)>
struct WireBits
{
   typedef Host type;
};

template<class Host>
struct WireBits<Host, 2>
{
   typedef std::uint16_t type;
};

template<class Host>
struct WireBits<Host, 4>
{
   typedef std::uint32_t type;
};

template<class Host>
struct WireBits<Host, 8>
{
   typedef std::uint64_t type;
};

/// A number of type `Host` in wire order. As thread-safe as the plain number.
template<class Encoding, class Host>
class WireValue
{
   typedef typename WireBits<Host>::type Bits;
   typedef
      typename std::conditional<std::is_same<Host, std::uint16_t>::value, Host, Host const &>::type Argument;

public:
   /// Zero.
   WireValue() : bytes() {}
   WireValue(Argument number) { store(number); }

   WireValue & operator=(Host const & number)
   {
      store(number);
      return *this;
   }

   operator Host() const
   {
      // The hint, here and in store, keeps the default ordering the straight way through.
      Bits bits;
      if (__builtin_expect(Encoding::usesDefault(DtNetworkByteOrdering()), true))
         Encoding::Default::read(bytes, bits);
      else
         Encoding::Other::read(bytes, bits);
      Host number;
      std::memcpy(&number, &bits, sizeof number);
      return number;
   }

   /// The wire size in bytes.
   int netSize() const { return sizeof bytes; }

private:
   void store(Host const & number)
   {
      Bits bits;
      std::memcpy(&bits, &number, sizeof bits);
      if (__builtin_expect(Encoding::usesDefault(DtNetworkByteOrdering()), true))
         Encoding::Default::write(bytes, bits);
      else
         Encoding::Other::write(bytes, bits);
   }

   unsigned char bytes[sizeof(Host)];
};

} // namespace tsl

// In network order at the default ordering. Of 128 bits the low word lies first, each word in network order.
typedef tsl::WireValue<tsl::NetEncoding, std::uint16_t> DtNetU16;
typedef tsl::WireValue<tsl::NetEncoding, std::int16_t> DtNetInt16;
typedef tsl::WireValue<tsl::NetEncoding, std::uint32_t> DtNetU32;
typedef tsl::WireValue<tsl::NetEncoding, std::int32_t> DtNetInt32;
typedef tsl::WireValue<tsl::NetEncoding, float> DtNetFloat32;
typedef tsl::WireValue<tsl::NetEncoding, std::uint64_t> DtNetU64;
typedef tsl::WireValue<tsl::NetEncoding, std::int64_t> DtNetInt64;
typedef tsl::WireValue<tsl::NetEncoding, double> DtNetFloat64;
typedef tsl::WireValue<tsl::NetEncoding, DtU128> DtNetU128;

// In little-endian order at the default ordering. Of 64 bits the high half lies first, each half
// little-endian.
typedef tsl::WireValue<tsl::LittleEndianEncoding, std::uint16_t> DtLEU16;
typedef tsl::WireValue<tsl::LittleEndianEncoding, std::int16_t> DtLEInt16;
typedef tsl::WireValue<tsl::LittleEndianEncoding, std::uint32_t> DtLEU32;
typedef tsl::WireValue<tsl::LittleEndianEncoding, std::int32_t> DtLEInt32;
typedef tsl::WireValue<tsl::LittleEndianEncoding, float> DtLEFloat32;
typedef tsl::WireValue<tsl::LittleEndianEncoding, std::uint64_t> DtLEU64;
typedef tsl::WireValue<tsl::LittleEndianEncoding, std::int64_t> DtLEInt64;
typedef tsl::WireValue<tsl::LittleEndianEncoding, double> DtLEFloat64;
typedef tsl::WireValue<tsl::LittleEndianEncoding, DtU128> DtLEU128;
