// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

/// A PDU of a size, version, kind and status byte, filled with `mark`.
inline std::string pdu(std::size_t size, int version, int kind = 1, int status = 0, char mark = 'p')
{
   std::string const head{char(version),   1,          char(kind),   1, 0, 0, 0, 0,
                          char(size >> 8), char(size), char(status), 0};
   return (head + std::string(size, mark)).substr(0, size);
}

/// The bytes that words stand for: VERSION.SIZE.KIND.STATUS for a PDU, kind 1 and status 0 if left out, with
/// :N only its first N bytes; any other word for itself.
inline std::vector<std::string> piecesOf(std::string const & text)
{
   std::vector<std::string> pieces;
   std::istringstream words(text);
   for (std::string word; words >> word; pieces.push_back(word))
   {
      int version = 0, kind = 1, status = 0;
      std::size_t size = 0, cut = std::string::npos;
      std::sscanf(word.c_str(), "%*[^:]:%zu", &cut);
      if (std::sscanf(word.c_str(), "%d.%zu.%d.%d", &version, &size, &kind, &status) >= 2)
         word = pdu(size, version, kind, status).substr(0, cut);
   }
   return pieces;
}

/// The datagram that holds all of them.
inline std::string datagramOf(std::string const & text)
{
   std::string datagram;
   for (std::string const & piece : piecesOf(text))
      datagram += piece;
   return datagram;
}
