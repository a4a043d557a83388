// SPDX-License-Identifier: MIT
#include "tslutil/base/tslDump.h"

#include "support/capturedStream.h"
#include "tslutil/base/tslNotify.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

namespace
{

/// A label of four, filled up to its column.
std::string column(std::string const & rest)
{
   return "four: " + std::string(16, ' ') + rest;
}

TEST(DtDump, EachFieldIsOneLineOnInfo)
{
   CapturedStream captured;
   unsigned char bytes[] = {0x05, 0x0a, 0xff, 0x10, 0, 1, 2, 3, 0x04, 0x5};
   std::string const hex = column("\n05 a ff 10 0 1 2 3 \n04 5 \n");
   struct
   {
      void (*dump)(unsigned char *);
      std::string line;
   } const rows[] = {
      {[](unsigned char *) { DtDumpBoolean("four", true, 1); }, column("TRUE\n")},
      {[](unsigned char *) { DtDumpBoolean("four", false, 0); }, column("FALSE\n")},
      {[](unsigned char *) { DtDumpBoolean("four", false, 1); }, column("")},
      {[](unsigned char *) { DtDumpEnum("four", "Red", -3); }, column("Red   (-3)\n")},
      {[](unsigned char *) { DtDumpEnum("four", nullptr, 3); }, column("   (3)\n")},
      {[](unsigned char *) { DtDumpFloat("four", 1.25); }, column("1.25\n")},
      {[](unsigned char *) { DtDumpInteger("four", 0x1ffffffffL); }, column("-1\n")},
      {[](unsigned char *) { DtDumpString("four", "text"); }, column("text\n")},
      {[](unsigned char *) { DtDumpString("four", static_cast<char const *>(nullptr)); }, column("\n")},
      {[](unsigned char *) { DtDumpString("four", DtString("own")); }, column("own\n")},
      {[](unsigned char *) { DtDumpHexWord("four", 0x1000000beUL); }, column("be\n")},
      {[](unsigned char * data) { DtDumpHexBytes("four", data, 10); }, hex},
      {[](unsigned char * data) { DtDumpHexBytes("four", data, -1); }, column("\n")},
      {[](unsigned char *) { DtDumpString("a label longer than that", "x"); },
       "a label longer than that: x\n"},
   };
   for (auto const & row : rows)
   {
      DtInfo.fill(' ');
      row.dump(bytes);
      DtInfo << std::flush;
      EXPECT_EQ(captured.textAt(2), row.line);
      EXPECT_EQ(captured.textAt(2), captured.text());
      captured.clear();
   }
   DtInfo.fill(' ');
   DtNotifyLevel = 1;
   DtDumpString("four", "silent");
   EXPECT_EQ(captured.text(), "");
}

TEST(DtPrintAttribute, WritesToAnyStreamAndPutsItsFlagsBack)
{
   std::ostringstream out;
   out << std::uppercase << std::oct << std::left;
   std::ios::fmtflags const flags = out.flags();
   char const bytes[] = {0x0b, 0x0c};
   DtPrintAttribute(out, "four", true);
   DtPrintAttribute(out, "four", "Red", 30);
   DtPrintAttribute(out, "four", static_cast<unsigned char>(200));
   DtPrintAttributeHex(out, "four", 0xabcUL);
   DtPrintAttributeHex(out, "four", bytes, 2);
   EXPECT_EQ(out.str(), column("TRUE\n") + column("Red   (30)\n") + column("200\n") + column("ABC\n") +
                           column("\n0B C \n"));
   EXPECT_EQ(out.flags(), flags);
   // The fill character is meant to stay.
   EXPECT_EQ(out.fill(), '0');
}

TEST(DtDumpLineOfHex, TheWidthIsSetOnceEvenWithNoByteToTakeIt)
{
   std::ostringstream out;
   DtDumpLineOfHex(out, nullptr, 0);
   out << 7;
   EXPECT_EQ(out.str(), "\n07");
}

TEST(PrintHexToStream, WritesTwoDigitsForEveryByteAndEndsEachLine)
{
   unsigned char bytes[] = {1, 0xab, 0x20, 0xff, 0};
   struct
   {
      unsigned int perLine;
      unsigned int count;
      char const * text;
   } const rows[] = {
      {2, 5, " 01 ab\n 20 ff\n 00\n"}, {2, 4, " 01 ab\n 20 ff\n"}, {9, 2, " 01 ab\n"}, {2, 0, ""},
      {0, 3, " 01 ab 20\n"},
   };
   for (auto const & row : rows)
   {
      std::ostringstream out;
      printHexToStream(out, row.perLine, bytes, row.count);
      EXPECT_EQ(out.str(), row.text);
   }
}

} // namespace
