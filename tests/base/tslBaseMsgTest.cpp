// SPDX-License-Identifier: MIT
#include "tslutil/base/tslBaseMsg.h"

#include "support/slots.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace
{

/// Keeps what it is told of each change: the size, and the bytes at that moment.
struct Message : DtBaseMsg
{
   explicit Message(std::string const & bytes = "", DtBufferPlaceHolder * holder = nullptr)
   {
      initMsg(bytes.data(), static_cast<int>(bytes.size()), holder);
   }
   Message(Message const & other, DtBufferPlaceHolder * holder) : DtBaseMsg(other, holder) {}
   Message & operator=(Message const & other) = default;
   Message(Message const & other) = default;
   void sizeChanged(int newSize) override { told.push_back(std::to_string(newSize) + ":" + bytes()); }
   void changeSize(int newSize, bool quiet) override { ++changes, DtBaseMsg::changeSize(newSize, quiet); }
   void insertBytes(int at, int count, bool quiet) override
   {
      DtBaseMsg::insertBytes(at, count + extra, quiet);
   }
   void deleteBytes(int at, int count, bool quiet) override
   {
      DtBaseMsg::deleteBytes(at, count + extra, quiet);
   }
   using DtBaseMsg::deleteBytes, DtBaseMsg::insertBytes, DtBaseMsg::sizeChanged;
   std::string bytes() const { return std::string(netRep(), static_cast<std::size_t>(length())); }
   std::vector<std::string> told;
   int changes = 0, extra = 0;
};

std::string zeros(std::size_t count)
{
   return std::string(count, '\0');
}

DtBufferPlaceHolder * lent(char * bytes)
{
   return reinterpret_cast<DtBufferPlaceHolder *>(bytes);
}

TEST(DtBaseMsg, KeepsTheOrderOfItsSlots)
{
   typedef void (DtBaseMsg::*AtAddress)(void *, int, bool);
   typedef void (DtBaseMsg::*AtOffset)(int, int, bool);
   EXPECT_TRUE(inSlotsFrom(2, &DtBaseMsg::netRep, &DtBaseMsg::length, &DtBaseMsg::changeSize,
                           AtAddress(&DtBaseMsg::insertBytes), AtOffset(&DtBaseMsg::insertBytes),
                           AtAddress(&DtBaseMsg::deleteBytes), AtOffset(&DtBaseMsg::deleteBytes),
                           &DtBaseMsg::clearAll, &DtBaseMsg::newInternalBuffer, &Message::sizeChanged));
}

TEST(DtBaseMsg, GrowsByZerosAndKeepsItsBlockWhenItShrinks)
{
   Message message;
   EXPECT_EQ(message.netRep(), nullptr);
   message.initMsg(16, nullptr);
   EXPECT_EQ(message.bytes(), zeros(16));
   std::memset(const_cast<char *>(message.netRep()), 'x', 16);
   char const * const block = message.netRep();
   message.changeSize(8, true);
   EXPECT_EQ(message.bytes(), "xxxxxxxx");
   EXPECT_EQ(block[15], 'x');
   message.changeSize(16, true);
   EXPECT_EQ(message.bytes(), "xxxxxxxx" + zeros(8));
   EXPECT_TRUE(message.told.empty() && message.netRep() == block);
   message.changeSize(40, false);
   EXPECT_EQ(message.bytes(), "xxxxxxxx" + zeros(32));
   EXPECT_EQ(message.told, std::vector<std::string>{"40:" + message.bytes()});
   void * const kept = const_cast<char *>(message.netRep());
   EXPECT_EQ(message.newInternalBuffer(40), kept);
   message.deleteBytes(0, 40, false);
   EXPECT_TRUE(message.length() == 0 && message.netRep() == kept);
   // The same bytes, on the message's own block.
   message.initMsg("abcd", 4, nullptr);
   message.initMsg(message.netRep() + 1, 3, nullptr);
   EXPECT_EQ(message.bytes(), "bcd");
   message.clearAll();
   EXPECT_EQ(message.bytes(), zeros(3));
}

TEST(DtBaseMsg, GapsOpenAndCloseAndTheTailComesBackAfterTheNotice)
{
   // What is done to "12345678", what is left, and what sizeChanged saw.
   struct Row
   {
      bool inserts;
      int at, count;
      std::string bytes, seen;
   } const rows[] = {{true, 4, 2, "1234" + zeros(2) + "5678", "10:12345678" + zeros(2)},
                     {true, 0, 3, zeros(3) + "12345678", "11:12345678" + zeros(3)},
                     {true, 8, 2, "12345678" + zeros(2), "10:12345678" + zeros(2)},
                     {false, 2, 3, "12678", "5:12345"},
                     {false, 5, 3, "12345", "5:12345"},
                     {false, 0, 8, "", "0:"},
                     {true, 4, 0, "12345678", ""},
                     {false, 4, 0, "12345678", ""}};
   for (Row const & row : rows)
      for (bool const quiet : {false, true})
         for (bool const byAddress : {false, true})
         {
            Message message("12345678");
            // The form that takes an address goes through the slot of the other one.
            message.extra = byAddress && row.count > 0 ? 1 : 0;
            int const count = row.count - message.extra;
            if (byAddress)
            {
               void * const where = const_cast<char *>(message.netRep()) + row.at;
               row.inserts ? message.insertBytes(where, count, quiet)
                           : message.deleteBytes(where, count, quiet);
            }
            else
               row.inserts ? message.insertBytes(row.at, count, quiet)
                           : message.deleteBytes(row.at, count, quiet);
            EXPECT_EQ(message.bytes(), row.bytes);
            EXPECT_EQ(message.told, quiet || row.count == 0 ? std::vector<std::string>{}
                                                            : std::vector<std::string>{row.seen});
            EXPECT_EQ(message.changes, row.count > 0);
         }
}

TEST(DtBaseMsg, SharesLentStorageOnAssignmentAndCopiesElsewhere)
{
   char storage[16] = "...... at hand.";
   Message const source("abcdef");
   {
      Message reader("xyz", lent(storage));
      EXPECT_EQ(static_cast<void const *>(reader.netRep()), storage);
      reader.changeSize(6, true);
      EXPECT_EQ(reader.bytes() + storage[6], "xyz" + zeros(3) + " ");
      reader.initMsg(storage, 16, lent(storage));
      EXPECT_EQ(reader.bytes().substr(6), " at hand." + zeros(1)) << "read in place, nothing cleared";
      reader = source;
      EXPECT_TRUE(reader.netRep() == source.netRep() && reader.bytes() == "abcdef");
   }
   EXPECT_EQ(source.bytes(), "abcdef");
   Message copy("a longer one than that");
   char const * const block = copy.netRep();
   copy = source;
   EXPECT_TRUE(copy.netRep() == block && copy.bytes() == "abcdef");
   Message const & itself = copy;
   copy = itself;
   EXPECT_EQ(copy.bytes(), "abcdef");
   Message grown("ab");
   grown = source;
   EXPECT_TRUE(grown.netRep() != source.netRep() && grown.bytes() == "abcdef");
   Message const placed(source, lent(storage)), owned(source, nullptr);
   EXPECT_EQ(std::string(storage, 7), "abcdef ");
   EXPECT_TRUE(placed.bytes() == "abcdef" && owned.bytes() == "abcdef" && owned.netRep() != source.netRep());
   Message cleared("abc", lent(storage));
   cleared.initMsg(2, lent(storage + 1));
   EXPECT_EQ(std::string(storage, 4), "a" + zeros(2) + "d");
}

} // namespace
