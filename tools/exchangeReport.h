// SPDX-License-Identifier: MIT
#pragma once

#include "tools/exchange.h"

#include <ostream>
#include <string>

/// What is told of an exchange besides its result.
struct ExchangeSubject
{
   std::string file;
   /// What the recording holds: datagrams that are rows of PDUs and others, and packets that are no
   /// datagrams.
   std::size_t rows = 0;
   std::size_t otherDatagrams = 0;
   std::size_t otherPackets = 0;
   std::size_t pdus = 0;
   std::string from;
   std::string to;
   ExchangeOptions options;
};

/// Prints a table for a person.
void printExchange(std::ostream & out, ExchangeSubject const & subject, ExchangeResult result);

/// Prints one JSON object.
void printExchangeJson(std::ostream & out, ExchangeSubject const & subject, ExchangeResult result);
