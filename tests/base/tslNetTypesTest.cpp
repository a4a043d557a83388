// SPDX-License-Identifier: MIT
#include "tslutil/base/tslNetTypes.h"

#include <gtest/gtest.h>

namespace
{

/// The bytes of a record in hexadecimal.
template<class Value>
std::string bytesOf(Value const & value)
{
   unsigned char bytes[sizeof value];
   std::memcpy(bytes, &value, sizeof value);
   std::string text;
   for (unsigned char byte : bytes)
      text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
   return text;
}

/// The bytes under an ordering; reading them back at an odd place gives the number again.
template<class Wire, class Host>
std::string encoded(Host const & number, int ordering)
{
   DtSetNetworkByteOrdering(DtNetworkByteOrderType(ordering));
   Wire wire;
   EXPECT_EQ(bytesOf(wire), std::string(2 * sizeof(Host), '0'));
   wire = number;
   char shifted[sizeof(Wire) + 1];
   std::memcpy(shifted + 1, &wire, sizeof wire);
   EXPECT_EQ(bytesOf(static_cast<Host>(*reinterpret_cast<Wire const *>(shifted + 1))), bytesOf(number));
   EXPECT_EQ(bytesOf(Wire(number)), bytesOf(wire));
   return bytesOf(wire);
}

/// The forms under both orderings, 1 first, of either family.
template<class Net, class LE, class Host>
void expectForms(Host const & number, std::string const & forms)
{
   static_assert(sizeof(Net) == sizeof(Host) && sizeof(LE) == sizeof(Host) && alignof(Net) == 1 &&
                    std::is_trivially_copyable<Net>::value && std::is_standard_layout<Net>::value,
                 "a wire value is its bytes");
   // Any other number is no network order to the one family, and default to the other.
   for (int other : {0, 2, -1})
      EXPECT_EQ(encoded<Net>(number, 1) + " " + encoded<Net>(number, other) + " " +
                   encoded<LE>(number, other == 0 ? 1 : other) + " " + encoded<LE>(number, 0),
                forms);
   DtSetNetworkByteOrdering(DtNetByteOrder);
}

TEST(DtNetTypes, LieInMemoryAsPeersExpect)
{
   EXPECT_EQ(DtNetworkByteOrdering(), DtNetByteOrder);
   // The form that leaves numbers to the host is told for a little-endian one.
   expectForms<DtNetU16, DtLEU16>(std::uint16_t(0x0102), "0102 0201 0201 0102");
   expectForms<DtNetInt16, DtLEInt16>(std::int16_t(-2), "fffe feff feff fffe");
   expectForms<DtNetU32, DtLEU32>(std::uint32_t(0x01020304), "01020304 04030201 04030201 01020304");
   expectForms<DtNetInt32, DtLEInt32>(std::int32_t(-2), "fffffffe feffffff feffffff fffffffe");
   expectForms<DtNetFloat32, DtLEFloat32>(1.0f, "3f800000 0000803f 0000803f 3f800000");
   expectForms<DtNetU64, DtLEU64>(std::uint64_t(0x0102030405060708),
                                  "0102030405060708 0807060504030201 0403020108070605 0506070801020304");
   expectForms<DtNetInt64, DtLEInt64>(std::int64_t(-2),
                                      "fffffffffffffffe feffffffffffffff fffffffffeffffff fffffffeffffffff");
   expectForms<DtNetFloat64, DtLEFloat64>(
      1.0, "3ff0000000000000 000000000000f03f 0000f03f00000000 000000003ff00000");
   DtU128 number(0x1112131415161718);
   number.high = 0x0102030405060708;
   expectForms<DtNetU128, DtLEU128>(number,
                                    "11121314151617180102030405060708 08070605040302011817161514131211 "
                                    "14131211181716150403020108070605 05060708010203041516171811121314");
   EXPECT_EQ(DtNetU32().netSize() + DtLEU32().netSize(), 8);
   // Stored values read differently after a change.
   DtNetU32 const stored(0x01020304);
   DtSetNetworkByteOrdering(DtHostByteOrder);
   EXPECT_EQ(stored, 0x04030201u);
   DtSetNetworkByteOrdering(DtNetByteOrder);
}

TEST(DtU128, CarriesAndBorrowsBetweenTheWords)
{
   DtU128 number(~std::uint64_t(0));
   std::string const before = bytesOf(number);
   EXPECT_EQ(bytesOf(number++), before);
   EXPECT_TRUE(number.high == 1 && number.low == 0);
   std::string const after = bytesOf(number);
   EXPECT_TRUE(bytesOf(number--) == after && bytesOf(number) == before);
   EXPECT_TRUE(bytesOf(++number) == after && bytesOf(--number) == before);
}

} // namespace
