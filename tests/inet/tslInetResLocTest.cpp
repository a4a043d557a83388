// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetAddr.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

using namespace DtInetUtils;

namespace
{

/// Undoes the escapes of a table: \\ \t \n \r \xNN.
std::string unescaped(std::string const & text)
{
   std::string plain;
   for (std::size_t i = 0; i < text.size(); ++i)
   {
      char const escape = text[i] == '\\' ? text[++i] : '\0';
      char const * const known = escape == '\0' ? nullptr : std::strchr("t\tn\nr\r\\\\", escape);
      plain += escape == 'x'      ? static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16))
               : known != nullptr ? known[1]
                                  : text[i];
      i += escape == 'x' ? 2 : 0;
   }
   return plain;
}

/// The locators of public test suites, and what the parsers and judges must say of each, without the closing
/// note. The second table has what differs here, where the system accepts any zone behind an address.
std::map<std::string, std::string> locators()
{
   std::map<std::string, std::string> rows;
   for (char const * name : {"/locators.expected.tsv", "/locators.zones.tsv"})
   {
      std::ifstream file(std::string(TEST_DATA_DIR) + name);
      std::string line;
      for (std::getline(file, line); std::getline(file, line);)
      {
         std::size_t const end = line.find('\t');
         rows[unescaped(line.substr(0, end))] = unescaped(line.substr(end, line.rfind('\t') - end));
      }
   }
   return rows;
}

/// What the parsers and judges say of a text, as a table has it.
std::string answersTo(DtString const & text)
{
   std::ostringstream answers;
   auto const tell = [&](int result, DtString const & address, DtString const & suffix, int kind)
   { answers << '\t' << result << '\t' << address << '\t' << suffix << '\t' << kind; };
   DtString address, suffix;
   int kind = -1;
   int result = parseNetResLoc(text, address, suffix, kind);
   tell(result, address, suffix, kind);
   address = "-";
   result = parseIpv4NetResLoc(text, address, suffix, kind);
   tell(result, address, suffix, kind);
   address = "-";
   result = parseIpv6NetResLoc(text, address, suffix, kind);
   tell(result, address, suffix, kind);
   answers << '\t' << addrStringFamily(text) << '\t' << isMulticastAddrString(text) << '\t'
           << isLoopbackAddrString(text) << '\t' << isBroadcastAddrString(text);
   return answers.str();
}

/// What is said of one text in several ways has to agree, and an address to come back from its text and
/// number.
void expectAgreement(DtString const & text)
{
   DtString address, suffix;
   int kind = -1;
   DtInetAddrFamily const family = parseNetResLoc(text, address, suffix, kind);
   if (family == DtInetFamilyUnspecified)
   {
      EXPECT_FALSE(isLinkLocalAddrString(text));
      return;
   }
   DtInetAddr const value(address, suffix);
   EXPECT_TRUE(value.family() == family && value.isMulticast() == isMulticastAddrString(text) &&
               value.isLoopback() == isLoopbackAddrString(text));
   EXPECT_EQ(DtInetAddr(value.toDtString().c_str()), value);
   EXPECT_EQ(DtInetAddr(value.toU128(), family), value);
}

TEST(DtInetResLoc, EveryTextOfTheTableIsReadAsItSays)
{
   auto const rows = locators();
   ASSERT_EQ(rows.size(), 1459u);
   for (auto const & row : rows)
   {
      SCOPED_TRACE(row.first);
      EXPECT_EQ(answersTo(row.first), row.second);
      expectAgreement(row.first);
   }
}

TEST(DtInetResLoc, ArgumentsMayBeTheLocatorItself)
{
   DtString text("[::1]:3000"), other("myhost:5000"), suffix;
   int kind = 0;
   EXPECT_EQ(parseNetResLoc(text, text, suffix, kind), DtInetFamilyIpv6);
   EXPECT_STREQ(text, "::1");
   EXPECT_EQ(parseNetResLoc(other, text, other, kind), DtInetFamilyUnspecified);
   EXPECT_STREQ(other, "5000");
}

} // namespace
