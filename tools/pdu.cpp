// SPDX-License-Identifier: MIT
#include "tools/pdu.h"

namespace
{

constexpr std::size_t theHeaderSize = 12;

constexpr char const * theKindNames[] = {
   "Other",
   "Entity State",
   "Fire",
   "Detonation",
   "Collision",
   "Service Request",
   "Resupply Offer",
   "Resupply Received",
   "Resupply Cancel",
   "Repair Complete",
   "Repair Response",
   "Create Entity",
   "Remove Entity",
   "Start/Resume",
   "Stop/Freeze",
   "Acknowledge",
   "Action Request",
   "Action Response",
   "Data Query",
   "Set Data",
   "Data",
   "Event Report",
   "Comment",
   "Electromagnetic Emission",
   "Designator",
   "Transmitter",
   "Signal",
   "Receiver",
   "IFF",
   "Underwater Acoustic",
   "Supplemental Emission/Entity State",
   "Intercom Signal",
   "Intercom Control",
   "Aggregate State",
   "IsGroupOf",
   "Transfer Ownership",
   "IsPartOf",
   "Minefield State",
   "Minefield Query",
   "Minefield Data",
   "Minefield Response NACK",
   "Environmental Process",
   "Gridded Data",
   "Point Object State",
   "Linear Object State",
   "Areal Object State",
   "TSPI",
   "Appearance",
   "Articulated Parts",
   "LE Fire",
   "LE Detonation",
   "Create Entity-R",
   "Remove Entity-R",
   "Start/Resume-R",
   "Stop/Freeze-R",
   "Acknowledge-R",
   "Action Request-R",
   "Action Response-R",
   "Data Query-R",
   "Set Data-R",
   "Data-R",
   "Event Report-R",
   "Comment-R",
   "Record-R",
   "Set Record-R",
   "Record Query-R",
   "Collision-Elastic",
   "Entity State Update",
   "Directed Energy Fire",
   "Entity Damage Status",
   "Information Operations Action",
   "Information Operations Report",
   "Attribute",
};
static_assert(sizeof theKindNames / sizeof *theKindNames == theAttributeKind + 1);

std::size_t lengthField(std::vector<char> const & datagram, std::size_t pdu)
{
   auto const byte = [&](std::size_t offset)
   { return static_cast<std::size_t>(static_cast<unsigned char>(datagram[pdu + offset])); };
   return byte(8) << 8 | byte(9);
}

} // namespace

bool splitRow(std::vector<char> const & datagram, std::vector<Pdu> & pdus)
{
   std::vector<Pdu> row;
   std::size_t position = 0;
   while (position < datagram.size() && datagram.size() - position >= theHeaderSize)
   {
      std::size_t const size = lengthField(datagram, position);
      if (size < theHeaderSize || size > datagram.size() - position)
         return false;
      auto const begin = datagram.begin() + static_cast<std::ptrdiff_t>(position);
      row.push_back({{begin, begin + static_cast<std::ptrdiff_t>(size)}});
      position += size + row.back().fill();
   }
   pdus.insert(pdus.end(), row.begin(), row.end());
   return !row.empty();
}

std::string pduKindName(int kind)
{
   if (kind >= 0 && kind <= theAttributeKind)
      return theKindNames[kind];
   return "PDU type " + std::to_string(kind);
}
