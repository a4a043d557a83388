// SPDX-License-Identifier: MIT
#include "tools/transferProgress.h"

#include <gmock/gmock.h>

#include <sstream>
#include <thread>

namespace
{

TEST(TransferProgress, ShowsHowFarItIsOnATerminalOnly)
{
   EXPECT_EQ(progressText("a\x1B[2J", 1234567, 2700000, 0.5),
             "a?[2J  45 %, 1.2 of 2.7 MB, 2.5 MB/s, 0:01 left");
   EXPECT_EQ(progressText("a", 0, 5, 0), "a  0 %, 0.0 of 0.0 MB, 0.0 MB/s, 0:00 left");
   std::ostringstream shown;
   TransferProgress pipe(shown, false), terminal(shown, true);
   pipe.begin(), terminal.begin();
   std::this_thread::sleep_for(std::chrono::milliseconds(110));
   pipe.show("x", 1, 2), pipe.end();
   EXPECT_EQ(shown.str(), "");
   terminal.show("x", 1, 2), terminal.end();
   EXPECT_THAT(shown.str(), testing::AllOf(testing::HasSubstr("\rx  50 %"), testing::EndsWith("\r\x1B[K")));
}

} // namespace
