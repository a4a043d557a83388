// SPDX-License-Identifier: MIT
#include "tslutil/system/tslDirectory.h"

#include "support/tsv.h"
#include "system/workFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

namespace
{

TEST(Directory, OpensFilesForThisProcessOnly)
{
   TemporaryFolder const folder;
   std::string const path = folder.path("file");
   for (char const * const mode : {"w", "a+", "rb", "r+b"})
   {
      std::FILE * const file = DtFileOpen(path.c_str(), mode);
      ASSERT_NE(file, nullptr) << mode;
      EXPECT_EQ(fcntl(fileno(file), F_GETFD), FD_CLOEXEC);
      EXPECT_EQ(std::fputs("x", file) >= 0, std::string(mode) != "rb") << mode;
      DtFileClose(file);
   }
   EXPECT_EQ(folder.read("file"), "xx");
   for (char const * const mode : {"", "?", static_cast<char const *>(nullptr)})
      EXPECT_EQ(DtFileOpen(path.c_str(), mode), nullptr);
   EXPECT_EQ(DtFileOpen(nullptr, "r"), nullptr);
   DtFileClose(nullptr);
}

TEST(Directory, KnowsTheProcesssDirectoriesWithoutTheEnvironment)
{
   WorkFolder const folder;
   DtFilename const deep((folder.path() + "/" + std::string(200, 'd') + "/" + std::string(200, 'e')).c_str());
   EXPECT_TRUE(DtMakeDirectory(deep));
   ASSERT_EQ(chdir(deep), 0);
   EXPECT_EQ(DtGetCwd(), deep);
   EXPECT_TRUE(DtDeleteDirectory(deep));
   EXPECT_EQ(DtGetCwd(), "");
   std::string const home = getpwuid(getuid())->pw_dir;
   setenv("HOME", "/nowhere", 1), setenv("TMPDIR", "/nowhere", 1);
   EXPECT_EQ(DtGetUserHomeDirectory(), home.c_str());
   EXPECT_EQ(DtGetOrvelUserConfigurationDirectory(), (home + "/.config/ORVEL").c_str());
   EXPECT_EQ(DtGetTempDirectory(), "/tmp/");
   unsetenv("TMPDIR"), setenv("HOME", home.c_str(), 1);
}

TEST(Directory, MakesEveryLevelAndDeletesFilesButNoSubdirectories)
{
   WorkFolder const folder;
   for (char const * const file : {"file", "d/one", "d/.hidden", "d/sub/kept"})
      folder.write(file, "");
   for (Fields const & row : tableOf("system/directories.tsv"))
   {
      DtFilename const name(row[0].c_str());
      EXPECT_TRUE(DtMakeDirectory(name) == (row[1] == "1") && name.exists() == (row[2] == "1")) << name;
   }
   ASSERT_EQ(symlink("sub", "d/link"), 0);
   EXPECT_FALSE(DtDeleteDirectory("d"));
   EXPECT_EQ(DtGetFileListFromDirectory("d", "*"), (std::vector<DtFilename>{".", "..", "sub"}));
   EXPECT_TRUE(DtDeleteDirectory("d/sub") && DtDeleteDirectory("d"));
   EXPECT_FALSE(DtDeleteDirectory("d") || DtDeleteDirectory(DtFilename()));
}

TEST(Directory, ListsWhatMatchesInOrder)
{
   TemporaryFolder const folder;
   for (auto const file : {"b.txt", "a.txt", "B.txt", ".c", "[x]", "noext", "sub/inner.txt", "\xC3.bin"})
      folder.write(file, "");
   for (Fields const & row : tableOf("system/lists.tsv"))
   {
      std::string found;
      for (DtFilename const & name : DtGetFileListFromDirectory(folder.path(), row[0]))
         found += name.stdString() + " ";
      EXPECT_EQ(found, row[1]) << row[0];
   }
}

TEST(Directory, SearchGivesTheFirstDirectoryThatHoldsTheFile)
{
   WorkFolder const folder;
   for (char const * const file : {"1/f", "2/f", "2/g", "3/f/g", "3/sub/h", "3/etc/passwd", "g"})
      folder.write(file, "");
   for (Fields const & row : tableOf("system/searches.tsv"))
   {
      setenv("PATH", row[1].c_str(), 1);
      for (DtString const & list : {DtString(row[1]), DtString("")})
         EXPECT_EQ(DtSearchPathList(row[0].c_str(), list), row[2].c_str()) << row[0] << " " << row[1];
   }
   unsetenv("PATH");
   EXPECT_EQ(DtSearchPathList("f", ""), "");
   EXPECT_DEATH(DtSearchPathList("f", std::string(512, 'x') + ":1"), "more than 511 characters");
}

} // namespace
