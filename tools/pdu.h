// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// The PDU type of an Attribute PDU, the companion of a PDU with the coupled bit.
constexpr int theAttributeKind = 72;

/// One PDU as it was recorded: its bytes, and what its header says of it.
struct Pdu
{
   std::vector<char> bytes;

   int version() const { return header(0); }
   int exercise() const { return header(1); }
   int kind() const { return header(2); }
   /// Whether the header announces an Attribute PDU behind this one.
   bool isCoupled() const { return version() >= 7 && kind() != theAttributeKind && (header(10) & 0x08) != 0; }
   /// The number of zero bytes between this PDU and the next one of its datagram: up to a multiple of 8 from
   /// version 7 on, none below.
   std::size_t fill() const { return version() >= 7 ? (0 - bytes.size()) & 7u : 0; }

private:
   int header(std::size_t offset) const { return static_cast<unsigned char>(bytes[offset]); }
};

/// Appends the PDUs of a datagram. False, and appends nothing, if the datagram is no row of PDUs: if a length
/// field is below 12 or beyond the datagram's end. Less than a header's 12 bytes behind the last PDU are
/// padding, which recorders leave there.
bool splitRow(std::vector<char> const & datagram, std::vector<Pdu> & pdus);

/// The name of a PDU type in IEEE 1278.1, as "Entity State"; "PDU type 200" for a number without a name.
std::string pduKindName(int kind);
