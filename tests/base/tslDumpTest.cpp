// SPDX-License-Identifier: MIT
#include "tslutil/base/tslDump.h"

#include "support/capturedStream.h"
#include "tslutil/base/tslNotify.h"

#include <gtest/gtest.h>

#include <iomanip>

namespace
{

/// A line with a label of four, filled up to its column.
auto const line = [](std::string const & rest) { return "four: " + std::string(16, ' ') + rest + "\n"; };

TEST(DtDump, EachFieldIsOneLineOnInfo)
{
   CapturedStream captured;
   unsigned char const bytes[] = {0x05, 0x0a, 0xff, 0x10, 0, 1, 2, 3, 0x04, 0x5};
   DtDumpBoolean("four", true, 1);
   DtDumpBoolean("four", false, 0);
   DtDumpEnum("four", "Red", -3);
   DtDumpEnum("four", nullptr, 3);
   DtDumpFloat("four", 1.25);
   DtDumpInteger("four", 0x1ffffffffL);
   DtDumpString("four", "text");
   DtDumpString("four", static_cast<char const *>(nullptr));
   DtDumpString("four", DtString("own"));
   DtDumpHexWord("four", 0x1000000beUL);
   DtDumpHexBytes("four", bytes, -1);
   DtDumpString("a label longer than that", "x");
   DtDumpBoolean("an open line", false, 1);
   DtDumpHexBytes("four", bytes, 10);
   EXPECT_EQ(captured.textAt(2), line("TRUE") + line("FALSE") + line("Red   (-3)") + line("   (3)") +
                                    line("1.25") + line("-1") + line("text") + line("") + line("own") +
                                    line("be") + line("") + "a label longer than that: x\n" +
                                    "an open line:         " + line("\n05 a ff 10 0 1 2 3 \n04 5 "));
   EXPECT_EQ(captured.text(), captured.textAt(2));
   EXPECT_EQ(DtInfo.fill(' '), '0');
}

TEST(DtPrintAttribute, WritesToAnyStreamAndPutsItsFlagsBack)
{
   std::ostringstream out;
   out << std::uppercase << std::oct << std::left;
   std::ios::fmtflags const flags = out.flags();
   DtPrintAttribute(out, "four", true);
   DtPrintAttribute(out, "four", "Red", 30);
   DtPrintAttribute(out, "four", static_cast<unsigned char>(200));
   DtPrintAttributeHex(out, "four", 0xabcUL);
   DtPrintAttributeHex(out, "four", "\x0b\x0c", 2);
   EXPECT_EQ(out.str(), line("TRUE") + line("Red   (30)") + line("200") + line("ABC") + line("\n0B C "));
   EXPECT_EQ(out.flags(), flags);
}

TEST(DtDump, HexLinesSetTheWidthOnceAndHexStreamsAtEveryByte)
{
   unsigned char bytes[] = {1, 0xab, 0x20, 0xff, 0};
   std::ostringstream out;
   // The width waits for what comes next, also with no byte to take it.
   DtDumpLineOfHex(out, nullptr, 0);
   out << 7 << "\n";
   for (unsigned int const perLine : {2u, 5u, 0u})
      printHexToStream(out, perLine, bytes, 5);
   printHexToStream(out, 2, bytes, 0);
   EXPECT_EQ(out.str(), "\n07\n 01 ab\n 20 ff\n 00\n 01 ab 20 ff 00\n 01 ab 20 ff 00\n");
}

} // namespace
