// SPDX-License-Identifier: MIT
#include "tools/capture.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace
{

TEST(ReadCapture, FindsTheDatagramBehindEveryHeader)
{
   std::size_t files = 0;
   for (auto const & [folder, wanted] : {std::pair("payload", "payload;"), {"none", ""}})
   {
      std::filesystem::path const captures = TEST_DATA_DIR "/tools/captures";
      for (auto const & file : std::filesystem::directory_iterator(captures / folder))
      {
         Capture const capture = readCapture(file.path());
         std::string found;
         for (std::vector<char> const & payload : capture.datagrams)
            found += std::string(payload.begin(), payload.end()) + ";";
         EXPECT_EQ(found, wanted) << file;
         EXPECT_EQ(capture.datagrams.size() + capture.otherPackets, 1u) << file;
         ++files;
      }
   }
   EXPECT_EQ(files, 20u);
}

} // namespace
