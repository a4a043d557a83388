// SPDX-License-Identifier: MIT
#include "tslutil/system/tslDirectory.h"

#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <string>
#include <tuple>
#include <unistd.h>

namespace
{

DtFilename nameOf(std::string const & text)
{
   return DtFilename(text.c_str());
}

TEST(Directory, OpensFilesForThisProcessOnly)
{
   TemporaryFolder const folder;
   std::string const path = folder.path("file");
   for (char const * const mode : {"w", "a+", "rb", "r+b"})
   {
      std::FILE * const file = DtFileOpen(path.c_str(), mode);
      ASSERT_NE(file, nullptr) << mode;
      EXPECT_TRUE(fcntl(fileno(file), F_GETFD) == FD_CLOEXEC &&
                  (std::fputs("x", file) >= 0) == (std::string(mode) != "rb"))
         << mode;
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
   TemporaryFolder const folder;
   DtString const before = DtGetCwd();
   std::string const deep = folder.path() + "/" + std::string(200, 'd') + "/" + std::string(200, 'e');
   EXPECT_TRUE(DtMakeDirectory(nameOf(deep)));
   ASSERT_EQ(chdir(deep.c_str()), 0);
   EXPECT_EQ(DtGetCwd(), deep.c_str());
   EXPECT_TRUE(DtDeleteDirectory(nameOf(deep)));
   EXPECT_EQ(DtGetCwd(), "");
   ASSERT_EQ(chdir(before), 0);
   std::string const home = getpwuid(getuid())->pw_dir;
   setenv("HOME", "/nowhere", 1), setenv("TMPDIR", "/nowhere", 1);
   EXPECT_EQ(DtGetUserHomeDirectory(), home.c_str());
   EXPECT_EQ(DtGetOrvelUserConfigurationDirectory(), (home + "/.config/ORVEL").c_str());
   EXPECT_EQ(DtGetTempDirectory(), "/tmp/");
   unsetenv("TMPDIR"), setenv("HOME", home.c_str(), 1);
}

TEST(Directory, MakesEveryLevelAndDeletesFilesButNoSubdirectories)
{
   TemporaryFolder const folder;
   folder.write("file", "");
   std::tuple<char const *, bool, bool> const rows[] = {
      {"a/b//c/", true, true}, {"a/b/c", false, true},         {"a/d", true, true},
      {"x\\y", true, true},    {"new/../file/z", true, false}, {"file/z", false, false}};
   for (auto const & [path, made, there] : rows)
   {
      DtFilename const name = nameOf(folder.path(path));
      EXPECT_TRUE(DtMakeDirectory(name) == made && name.exists() == there) << path;
   }
   EXPECT_FALSE(DtMakeDirectory(DtFilename()));
   DtFilename const directory = nameOf(folder.path("d"));
   for (char const * const file : {"d/one", "d/.hidden", "d/sub/kept"})
      folder.write(file, "");
   ASSERT_EQ(symlink("sub", folder.path("d/link").c_str()), 0);
   EXPECT_FALSE(DtDeleteDirectory(directory));
   EXPECT_EQ(DtGetFileListFromDirectory(directory, "*"), (std::vector<DtFilename>{".", "..", "sub"}));
   EXPECT_TRUE(DtDeleteDirectory(nameOf(folder.path("d/sub"))) && DtDeleteDirectory(directory));
   EXPECT_FALSE(DtDeleteDirectory(directory) || DtDeleteDirectory(DtFilename()));
}

TEST(Directory, ListsWhatMatchesInOrder)
{
   TemporaryFolder const folder;
   for (auto const file : {"b.txt", "a.txt", "B.txt", ".c", "[x]", "noext", "sub/inner.txt", "\xC3.bin"})
      folder.write(file, "");
   char const * const all = ". .. .c B.txt [x] a.txt b.txt noext sub \xC3.bin ";
   // clang-format off
   std::pair<char const *, char const *> const rows[] = {
      {"*", all}, {"*.*", all}, {"*.txt", "B.txt a.txt b.txt "}, {"?.t*t", "B.txt a.txt b.txt "}, {"[x]", "[x] "},
      {"*b*", "b.txt sub \xC3.bin "}, {"n*o*t", "noext "}, {"sub/*.txt", "inner.txt "}, {"a.tx", ""}, {"", ""}, {"none/*", ""}};
   // clang-format on
   for (auto const & [pattern, names] : rows)
   {
      std::string found;
      for (DtFilename const & name : DtGetFileListFromDirectory(folder.path(), pattern))
         found += name.stdString() + " ";
      EXPECT_EQ(found, names) << pattern;
   }
}

TEST(Directory, SearchGivesTheFirstDirectoryThatHoldsTheFile)
{
   TemporaryFolder const folder;
   for (char const * const file : {"1/f", "2/f", "2/g", "3/f/g", "3/sub/h", "3/etc/passwd"})
      folder.write(file, "");
   std::string const one = folder.path("1"), two = folder.path("2"), three = folder.path("3");
   // clang-format off
   std::array<std::string, 3> const rows[] = {
      {"f", one + ":" + two, one}, {"g", "::" + one + "::/no:" + two + ":", two}, {"f", three + ":" + two, two},
      {"sub/h", three, three}, {"etc/passwd", ":" + three, three}, {"/g", two, two}, {"f", one + ";" + two, ""},
      {"f", one + ":" + std::string(600, 'x'), one}, {"f", std::string(511, 'x') + ":" + one, one}};
   // clang-format on
   std::string const before = std::getenv("PATH");
   for (auto const & [file, list, found] : rows)
   {
      DtFilename const listed = DtSearchPathList(nameOf(file), list);
      setenv("PATH", list.c_str(), 1);
      EXPECT_TRUE(listed == found.c_str() && DtSearchPathList(nameOf(file), "") == listed)
         << file << " " << list;
   }
   setenv("PATH", "", 1);
   EXPECT_EQ(DtSearchPathList("f", ""), "");
   unsetenv("PATH");
   EXPECT_EQ(DtSearchPathList("f", ""), "");
   setenv("PATH", before.c_str(), 1);
   EXPECT_DEATH(DtSearchPathList("f", std::string(512, 'x') + ":" + one), "more than 511 characters");
}

} // namespace
