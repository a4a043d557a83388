// SPDX-License-Identifier: MIT
#include "tslutil/base/tslStringBuffer.h"

#include "support/tsv.h"
#include "tslutil/base/tslNetTypes.h"
#include "tslutil/base/tslString.h"

#include <vector>

namespace
{

TEST(DtStringBuffer, WritesAndReadsWhatTheTableSays)
{
   for (Fields const & row : tableOf("base/stringBuffer.tsv"))
   {
      bool const writes = row[0] == "write", wide = row[2] == "wide";
      auto const form = DtStringEncodingType(std::stoi(row[1]));
      int const size = std::stoi(row[4]);
      std::string const untouched(writes ? static_cast<std::size_t>(size) + 1 : 0, '#');
      std::string const & content = writes ? untouched : row[5];
      std::vector<char> bytes(content.begin(), content.end());
      DtString text("before");
      DtSetNetworkByteOrdering(row[3] == "host" ? DtHostByteOrder : DtNetByteOrder);
      int const used = writes ? DtStringToBuffer(form, bytes.data(), size, row[5].c_str(), wide)
                              : DtStringFromBuffer(form, &text, bytes.data(), size, wide);
      EXPECT_EQ(std::to_string(used), row[6]) << row[0] << row[1] << ' ' << row[5];
      EXPECT_EQ(writes ? std::string(bytes.begin(), bytes.end()) : text.stdString(), row[7]) << row[5];
   }
   DtSetNetworkByteOrdering(DtNetByteOrder);
   EXPECT_EQ(DtStringToBuffer(DtStringEncodingType(7), nullptr, -1, "abc"), 0);
}

TEST(DtStringBuffer, PadsByTheFormAndTakesTheLengthOfCountsFromTheReader)
{
   std::string paddings;
   for (int form = -1; form < 8; ++form)
      paddings += std::to_string(DtStringGetNetPadding(DtStringEncodingType(form)));
   EXPECT_EQ(paddings, "040110000");
   DtVariableArraySizeLength = 6;
   DtString text;
   EXPECT_EQ(DtStringFromBuffer(DtStringCounted, &text, "\0\0\0\2##xy", 8, false), 8);
   EXPECT_STREQ(text, "xy");
   EXPECT_EQ(DtStringGetNetPadding(DtStringCounted), 6);
   DtVariableArraySizeLength = 4;
}

} // namespace
