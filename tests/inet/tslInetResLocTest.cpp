// SPDX-License-Identifier: MIT
#include "tslutil/inet/tslInetAddr.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <vector>

using namespace DtInetUtils;

namespace
{

/// Undoes the escapes of a table: \\ \t \n \r \xNN.
std::string unescaped(std::string const & text)
{
   std::string plain;
   for (std::size_t i = 0; i < text.size(); ++i)
   {
      char const next = text[i] == '\\' ? text[++i] : '\0';
      if (next == 'x')
      {
         plain += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
         i += 2;
      }
      else
         plain += next == '\0'  ? text[i]
                  : next == 't' ? '\t'
                  : next == 'n' ? '\n'
                  : next == 'r' ? '\r'
                                : next;
   }
   return plain;
}

/// The lines of a table: by text what the parsers and the judges say of it, without the closing note.
std::map<std::string, std::string> table(char const * name)
{
   std::map<std::string, std::string> rows;
   std::ifstream file(std::string(TEST_DATA_DIR "/") + name);
   std::string line;
   std::getline(file, line);
   while (std::getline(file, line))
   {
      std::size_t const end = line.find('\t');
      rows[unescaped(line.substr(0, end))] = unescaped(line.substr(end, line.rfind('\t') - end));
   }
   return rows;
}

/// The locators of public test suites with their answers. Where the system reads a zone behind an address,
/// the answers of a second table hold.
std::map<std::string, std::string> const & locators()
{
   static auto const rows = []
   {
      auto all = table("locators.expected.tsv");
      for (auto const & row : table("locators.zones.tsv"))
         all.at(row.first) = row.second;
      return all;
   }();
   return rows;
}

/// What the parsers and judges say of a text, as a table has it.
std::string answersTo(DtString const & text)
{
   std::ostringstream answers;
   auto const tell = [&](int result, DtString const & address, DtString const & suffix, int kind)
   { answers << '\t' << result << '\t' << address << '\t' << suffix << '\t' << kind; };
   DtString address;
   DtString suffix;
   int kind = -1;
   DtInetAddrFamily const family = parseNetResLoc(text, address, suffix, kind);
   tell(family, address, suffix, kind);
   address = "-";
   bool const isIpv4 = parseIpv4NetResLoc(text, address, suffix, kind);
   tell(isIpv4, address, suffix, kind);
   address = "-";
   bool const isIpv6 = parseIpv6NetResLoc(text, address, suffix, kind);
   tell(isIpv6, address, suffix, kind);
   answers << '\t' << addrStringFamily(text) << '\t' << isMulticastAddrString(text) << '\t'
           << isLoopbackAddrString(text) << '\t' << isBroadcastAddrString(text);
   return answers.str();
}

TEST(DtInetResLoc, EveryTextOfTheTableIsReadAsItSays)
{
   ASSERT_EQ(locators().size(), 1459u);
   for (auto const & row : locators())
      EXPECT_EQ(answersTo(row.first), row.second) << "in \"" << row.first << '"';
}

TEST(DtInetResLoc, ArgumentsMayBeTheLocatorItself)
{
   DtString text("[::1]:3000");
   DtString other;
   int kind = 0;
   EXPECT_EQ(parseNetResLoc(text, text, other, kind), DtInetFamilyIpv6);
   EXPECT_STREQ(text, "::1");
   text = "myhost:5000";
   EXPECT_EQ(parseNetResLoc(text, other, text, kind), DtInetFamilyUnspecified);
   EXPECT_STREQ(other, "myhost");
   EXPECT_STREQ(text, "5000");
}

/// Changes a text a little: bytes that mean something to a locator, others, repeats, cuts, pieces of another.
std::string mutated(std::string text, std::string const & other, std::mt19937 & random)
{
   static std::string const telling = ".:/[]% \t0129afxX-+g\xff\x01";
   for (auto changes = 1 + random() % 4; changes > 0; --changes)
   {
      std::size_t const at = random() % (text.size() + 1);
      switch (random() % 5)
      {
      case 0:
         text.insert(at, 1, telling[random() % telling.size()]);
         break;
      case 1:
         text.erase(at, random() % 4);
         break;
      case 2:
         text.insert(at, text.substr(random() % (text.size() + 1), random() % 80));
         break;
      case 3:
         text = text.substr(0, at) + other.substr(random() % (other.size() + 1));
         break;
      default:
         text.insert(at, 1, static_cast<char>(random()));
      }
   }
   return text.c_str();
}

// What holds of any text: one family at most, the literal of that family behind it, and a round trip.
TEST(DtInetResLoc, MutatedTextNeverBreaksThePromises)
{
   std::vector<std::string> texts;
   for (auto const & row : locators())
      texts.push_back(row.first);
   std::mt19937 random(20240611);
   int literals = 0;
   for (int i = 0; i < 20000; ++i)
   {
      std::string const made =
         mutated(texts[random() % texts.size()], texts[random() % texts.size()], random);
      SCOPED_TRACE(made);
      DtString const text(made);
      DtString address;
      DtString suffix;
      int kind = -1;
      DtInetAddrFamily const family = parseNetResLoc(text, address, suffix, kind);
      ASSERT_TRUE(kind >= 0 && kind <= 3 && !(kind == 2 && family != DtInetFamilyIpv4));
      DtInetAddrFamily const judged = addrStringFamily(text);
      ASSERT_TRUE(judged == family || judged == DtInetFamilyUnspecified);
      ASSERT_LE(convertStringToPrefixLen(text), 32u);
      unsigned long const netmask = convertStringToNetmask(text);
      ASSERT_TRUE(netmask <= 0xFFFFFFFF);
      ASSERT_TRUE(DtHexStringToInetAddr(text) <= 0xFFFFFFFF);
      ASSERT_FALSE(isLocalhostAddrString(text));
      if (family == DtInetFamilyUnspecified)
      {
         ASSERT_FALSE(isMulticastAddrString(text) || isLinkLocalAddrString(text) ||
                      isLoopbackAddrString(text) || isBroadcastAddrString(text));
         continue;
      }
      ++literals;
      DtInetAddr const value(address, suffix);
      ASSERT_EQ(value.family(), family);
      ASSERT_EQ(value.isMulticast(), isMulticastAddrString(text));
      ASSERT_EQ(value.isLoopback(), isLoopbackAddrString(text));
      ASSERT_TRUE(DtInetAddr(value.toDtString().c_str()) == value);
      ASSERT_TRUE(DtInetAddr(value.toU128(), family) == value);
   }
   EXPECT_GT(literals, 2000);
}

} // namespace
