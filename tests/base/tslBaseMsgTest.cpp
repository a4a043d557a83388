// SPDX-License-Identifier: MIT
#include "tslutil/base/tslBaseMsg.h"

#include <gtest/gtest.h>

#include <cstring>

namespace
{

/// Keeps what it is told of each change, the size and the bytes at that moment, and counts calls of slots.
struct Message : DtBaseMsg
{
   explicit Message(std::string const & text = "", DtBufferPlaceHolder * holder = nullptr)
   {
      initMsg(text.data(), static_cast<int>(text.size()), holder);
   }
   Message(Message const & other, DtBufferPlaceHolder * holder) : DtBaseMsg(other, holder) {}
   void sizeChanged(int newSize) override { told += std::to_string(newSize) + ":" + bytes(); }
   void changeSize(int newSize, bool quiet) override { ++changes, DtBaseMsg::changeSize(newSize, quiet); }
   void insertBytes(int at, int n, bool quiet) override { ++offsets, DtBaseMsg::insertBytes(at, n, quiet); }
   void deleteBytes(int at, int n, bool quiet) override { ++offsets, DtBaseMsg::deleteBytes(at, n, quiet); }
   using DtBaseMsg::deleteBytes, DtBaseMsg::insertBytes, DtBaseMsg::sizeChanged;
   std::string bytes() const { return std::string(netRep(), static_cast<std::size_t>(length())); }
   char * at(int offset) { return const_cast<char *>(netRep()) + offset; }
   std::string told;
   int changes = 0, offsets = 0;
};

auto const zeros = [](std::size_t count) { return std::string(count, '\0'); };
auto const lent = [](char * bytes) { return reinterpret_cast<DtBufferPlaceHolder *>(bytes); };

TEST(DtBaseMsg, GrowsByZerosAndKeepsItsBlockWhenItShrinks)
{
   Message message;
   EXPECT_EQ(message.netRep(), nullptr);
   message.initMsg(16, nullptr);
   EXPECT_EQ(message.bytes(), zeros(16));
   char const * const block = message.netRep();
   std::memset(message.at(0), 'x', 16);
   message.changeSize(8, true);
   EXPECT_EQ(message.bytes() + block[15], "xxxxxxxxx");
   message.changeSize(16, true);
   EXPECT_TRUE(message.bytes() + message.told == "xxxxxxxx" + zeros(8) && message.netRep() == block);
   message.changeSize(40, false);
   EXPECT_EQ(message.told, "40:xxxxxxxx" + zeros(32));
   void * const kept = message.at(0);
   message.deleteBytes(0, 40, false);
   EXPECT_TRUE(message.length() == 0 && message.netRep() == kept && message.newInternalBuffer(40) == kept);
   message.initMsg("abcd", 4, nullptr);
   message.initMsg(message.at(1), 3, nullptr); // its own bytes
   EXPECT_EQ(message.bytes(), "bcd");
   message.clearAll();
   EXPECT_EQ(message.bytes(), zeros(3));
}

TEST(DtBaseMsg, GapsOpenAndCloseAndTheTailComesBackAfterTheNotice)
{
   // clang-format off
   // Whether bytes are inserted into "12345678", where, how many, what is left, and what sizeChanged saw.
   struct { bool inserts; int at, count; std::string bytes, seen; } const rows[] = {
      {true, 4, 2, "1234" + zeros(2) + "5678", "10:12345678" + zeros(2)}, {true, 4, 0, "12345678", ""},
      {true, 0, 3, zeros(3) + "12345678", "11:12345678" + zeros(3)}, {false, 2, 3, "12678", "5:12345"},
      {true, 8, 2, "12345678" + zeros(2), "10:12345678" + zeros(2)}, {false, 5, 3, "12345", "5:12345"},
      {false, 0, 8, "", "0:"}, {false, 4, 0, "12345678", ""}};
   // clang-format on
   for (auto const & [inserts, at, count, bytes, seen] : rows)
      for (int const way : {0, 1, 2, 3})
      {
         Message message("12345678");
         bool const quiet = way % 2 != 0;
         void * const where = message.at(at);
         if (way > 1)
            inserts ? message.insertBytes(where, count, quiet) : message.deleteBytes(where, count, quiet);
         else
            inserts ? message.insertBytes(at, count, quiet) : message.deleteBytes(at, count, quiet);
         EXPECT_EQ(message.bytes() + message.told, bytes + (quiet ? "" : seen));
         EXPECT_TRUE(message.changes == (count > 0) && message.offsets == 1);
      }
}

TEST(DtBaseMsg, SharesLentStorageOnAssignmentAndCopiesElsewhere)
{
   char storage[16] = "...... at hand.";
   Message const source("abcdef");
   {
      Message reader("xyz", lent(storage));
      reader.changeSize(6, true);
      EXPECT_EQ(reader.bytes() + storage[6], "xyz" + zeros(3) + " ");
      reader.initMsg(storage, 16, lent(storage)); // read in place, so nothing is cleared
      EXPECT_EQ(reader.netRep() + reader.bytes().substr(6), std::string(storage) + " at hand." + zeros(1));
      reader = source;
      EXPECT_TRUE(reader.netRep() == source.netRep() && reader.bytes() == "abcdef");
   }
   Message copy("a longer one than that"), grown("ab");
   char const * const block = copy.netRep();
   Message const & itself = copy;
   grown = copy = source;
   copy = itself;
   Message const placed(source, lent(storage)), owned(source, nullptr);
   EXPECT_EQ(copy.bytes() + grown.bytes() + owned.bytes() + placed.bytes(), "abcdefabcdefabcdefabcdef");
   EXPECT_TRUE(copy.netRep() == block && placed.netRep() == storage && storage[6] == ' ' &&
               owned.netRep() != source.netRep() && grown.netRep() != source.netRep());
   Message("abc", lent(storage)).initMsg(2, lent(storage + 1));
   EXPECT_EQ(std::string(storage, 4), "a" + zeros(2) + "d");
}

} // namespace
