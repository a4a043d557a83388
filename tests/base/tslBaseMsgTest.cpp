// SPDX-License-Identifier: MIT
#include "tslutil/base/tslBaseMsg.h"

#include "support/tsv.h"

#include <cstring>
#include <map>

namespace
{

/// Tells the calls of its slots by their initials, and of sizeChanged the size and the bytes at that moment.
struct Message : DtBaseMsg
{
   explicit Message(std::string const & text = "", DtBufferPlaceHolder * holder = nullptr)
   {
      initMsg(text.data(), static_cast<int>(text.size()), holder);
   }
   Message(Message const & other, DtBufferPlaceHolder * holder) : DtBaseMsg(other, holder) {}
   void sizeChanged(int newSize) override { told += std::to_string(newSize) + ":" + bytes() + " "; }
   void changeSize(int newSize, bool quiet) override { told += "c ", DtBaseMsg::changeSize(newSize, quiet); }
   void insertBytes(int at, int n, bool quiet) override
   {
      told += "i ", DtBaseMsg::insertBytes(at, n, quiet);
   }
   void deleteBytes(int at, int n, bool quiet) override
   {
      told += "d ", DtBaseMsg::deleteBytes(at, n, quiet);
   }
   using DtBaseMsg::deleteBytes, DtBaseMsg::insertBytes;
   std::string bytes() const { return std::string(netRep(), static_cast<std::size_t>(length())); }
   char * at(int offset) { return const_cast<char *>(netRep()) + offset; }
   std::string told;
};

auto const zeros = [](std::size_t count) { return std::string(count, '\0'); };
auto const lent = [](char * bytes) { return reinterpret_cast<DtBufferPlaceHolder *>(bytes); };

TEST(DtBaseMsg, DoesWhatTheTableSaysAtEachStep)
{
   Message m;
   EXPECT_EQ(m.netRep(), nullptr);
   std::map<std::string, std::function<void(std::string const & text, int a, int b, bool quiet)>> const
      steps = {
         {"text", [&](auto & text, int, int, bool) { m.initMsg(text.data(), int(text.size()), nullptr); }},
         {"zeros", [&](auto &, int a, int, bool) { m.initMsg(a, nullptr); }},
         {"own", [&](auto &, int a, int b, bool) { m.initMsg(m.at(a), b, nullptr); }},
         {"fill", [&](auto & text, int, int, bool) { std::memset(m.at(0), text[0], m.bytes().size()); }},
         {"peek", [&](auto &, int a, int, bool) { m.told = {*m.at(a), ' '}; }},
         {"clear", [&](auto &, int, int, bool) { m.clearAll(); }},
         {"buffer",
          [&](auto &, int a, int, bool) { m.told = m.newInternalBuffer(a) == m.netRep() ? "same " : ""; }},
         {"size", [&](auto &, int a, int, bool quiet) { m.changeSize(a, quiet); }},
         {"insert", [&](auto &, int a, int b, bool quiet) { m.insertBytes(a, b, quiet); }},
         {"insert there", [&](auto &, int a, int b, bool quiet) { m.insertBytes(m.at(a), b, quiet); }},
         {"delete", [&](auto &, int a, int b, bool quiet) { m.deleteBytes(a, b, quiet); }},
         {"delete there", [&](auto &, int a, int b, bool quiet) { m.deleteBytes(m.at(a), b, quiet); }}};
   for (Fields const & row : tableOf("base/messages.tsv"))
   {
      char const * const block = m.netRep();
      steps.at(row[0])(row[1], std::atoi(row[1].c_str()), std::atoi(row[2].c_str()), row[3] == "quiet");
      std::string const moved = m.netRep() == block ? "" : " elsewhere";
      EXPECT_EQ(std::exchange(m.told, "") + m.bytes() + moved, row[4]) << row[0] << row[1];
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
