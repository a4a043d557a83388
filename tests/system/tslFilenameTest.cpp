// SPDX-License-Identifier: MIT
#include "tslutil/system/tslFilename.h"

#include "support/capturedStream.h"
#include "support/slots.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

TEST(DtFilename, SlotOrder)
{
   std::size_t const slots[] = {
      slotOf(&DtFilename::absolute),
      slotOf(&DtFilename::relative),
      slotOf(&DtFilename::append),
      slotOf(&DtFilename::prepend),
      slotOf(&DtFilename::extension),
      slotOf(&DtFilename::setExtension),
      slotOf<void (DtFilename::*)()>(&DtFilename::stripFilename),
      slotOf<void (DtFilename::*)()>(&DtFilename::stripPath),
      slotOf<void (DtFilename::*)()>(&DtFilename::stripExtension),
      slotOf(&DtFilename::isWritable),
      slotOf(&DtFilename::isReadable),
      slotOf(&DtFilename::fileLength),
      slotOf(&DtFilename::exists),
      slotOf(&DtFilename::searchAlternatePath),
   };
   for (std::size_t i = 0; i < std::size(slots); ++i)
      EXPECT_EQ(slots[i], slotOf(&DtString::section) + 1 + i);
   EXPECT_EQ(slotOf<DtFilename & (DtFilename::*)(DtString const &)>(&DtFilename::operator=), 2u);
   EXPECT_EQ(slotOf<DtFilename & (DtFilename::*)(char const *)>(&DtFilename::operator=), 3u);
}

TEST(DtFilename, HoldsWhatItIsGiven)
{
   DtFilename name("a/b\\c");
   EXPECT_EQ(name, "a/b\\c");
   EXPECT_EQ(DtFilename::separator(), '/');
   DtFilename copy;
   EXPECT_EQ(copy, DtFilename::nullFilename());
   copy = name;
   EXPECT_EQ(copy, "a/b\\c");
   DtString & base = copy;
   base = DtString("d:e");
   EXPECT_EQ(copy, "d:e");
   copy = static_cast<char const *>(nullptr);
   EXPECT_EQ(copy, "");
   EXPECT_FALSE(copy.absolute());
}

TEST(DtFilename, IsSplitInPlaceAndAsACopy)
{
   // "/name" has the accidents: the static stripPath takes it whole, and so stripFilename leaves nothing of
   // it and stripExtension loses its root.
   struct
   {
      char const * name;
      char const *stripPath, *staticPath, *stripFilename, *stripExtension, *extension, *withTxt;
   } const rows[] = {
      {"c.dat", "c.dat", "c.dat", "", "c", "dat", "c.txt"},
      {"c.tar.gz", "c.tar.gz", "c.tar.gz", "", "c.tar", "gz", "c.tar.txt"},
      {"a.b/c", "c", "c", "a.b/", "a.b/c", "", "a.b/c.txt"},
      {"dir/file.x", "file.x", "file.x", "dir/", "dir/file", "x", "dir/file.txt"},
      {"/usr/lib/c.so", "c.so", "c.so", "/usr/lib/", "/usr/lib/c", "so", "/usr/lib/c.txt"},
      {"/x.y", "x.y", "/x.y", "", "x", "y", "x.txt"},
      {"dir/", "", "", "dir/", "dir/", "", "dir/.txt"},
      {"/", "", "/", "", "", "", ".txt"},
      {"", "", "", "", "", "", ".txt"},
      {"a\\b.c", "a\\b.c", "a\\b.c", "", "a\\b", "c", "a\\b.txt"},
      {".rc", ".rc", ".rc", "", "", "rc", ".txt"},
      {"d/x:.y", "x:.y", "x:.y", "d/", "x:", "y", "x:.txt"},
   };
   for (auto const & row : rows)
   {
      DtFilename const name(row.name);
      auto const inPlace = [&name](std::function<void(DtFilename &)> const & change)
      {
         DtFilename changed(name);
         change(changed);
         return changed.stdString();
      };
      EXPECT_EQ(inPlace([](DtFilename & it) { it.stripPath(); }), row.stripPath) << name;
      EXPECT_EQ(DtFilename::stripPath(name), row.staticPath) << name;
      EXPECT_EQ(inPlace([](DtFilename & it) { it.stripFilename(); }), row.stripFilename) << name;
      EXPECT_EQ(DtFilename::stripFilename(name), row.stripFilename) << name;
      EXPECT_EQ(inPlace([](DtFilename & it) { it.stripExtension(); }), row.stripExtension) << name;
      EXPECT_EQ(DtFilename::stripExtension(name), row.stripExtension) << name;
      EXPECT_EQ(name.extension(), row.extension) << name;
      EXPECT_EQ(inPlace([](DtFilename & it) { it.setExtension("txt"); }), row.withTxt) << name;
      EXPECT_EQ(inPlace([](DtFilename & it) { it.setExtension(".txt"); }), row.withTxt) << name;
      EXPECT_EQ(inPlace([](DtFilename & it) { it.setExtension(""); }), row.stripExtension + std::string("."));
   }
}

TEST(DtFilename, IsJoined)
{
   struct
   {
      char const *first, *second, *append, *prepend, *combine;
      bool absolute;
   } const rows[] = {
      {"a", "b", "a/b", "b/a", "a/b", false},
      {"a/", "b", "a/b", "b/a/", "a//b", false},
      {"", "b", "b", "b/", "b", false},
      {"a", "", "a/", "a", "a/", false},
      {"a", "/b", "/b", "/b/a", "/b", false},
      {"/a", "b", "/a/b", "/a", "/a/b", true},
      {"C:x", "b", "C:x/b", "C:x", "C:x/b", true},
      {"a", "C:b", "C:b", "C:b/a", "C:b", false},
      {"a\\", "\\b", "a\\/\\b", "\\b/a\\", "a\\/\\b", false},
      {"x\\y", "b", "x\\y/b", "b/x\\y", "x\\y/b", false},
   };
   for (auto const & row : rows)
   {
      DtFilename const first(row.first);
      DtFilename const second(row.second);
      DtFilename appended(first);
      appended.append(second);
      EXPECT_EQ(appended, row.append);
      DtFilename prepended(first);
      prepended.prepend(second);
      EXPECT_EQ(prepended, row.prepend);
      EXPECT_EQ(DtFilename::combine(first, second), row.combine);
      EXPECT_EQ(first.absolute(), row.absolute) << first;
      EXPECT_NE(first.relative(), row.absolute) << first;
   }
   DtFilename twice("a");
   twice.append(twice);
   EXPECT_EQ(twice, "a/a/");
}

TEST(DtFilename, TestsFiles)
{
   TemporaryFolder const folder;
   std::string const pipe = folder.path("pipe");
   ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
   struct
   {
      std::string name;
      bool exists, readable, writable;
      unsigned long length;
   } const rows[] = {
      {folder.write("file", "12345"), true, true, true, 5},
      {folder.path(), true, false, true, 0},
      {pipe, true, false, true, 0},
      {folder.path("missing"), false, false, false, 0},
      {"", false, false, false, 0},
   };
   CapturedStream const captured;
   for (auto const & row : rows)
   {
      DtFilename const name(row.name.c_str());
      EXPECT_EQ(name.exists(), row.exists) << name;
      EXPECT_EQ(name.isReadable(), row.readable) << name;
      EXPECT_EQ(name.isWritable(), row.writable) << name;
      EXPECT_EQ(name.fileLength(), row.length) << name;
   }
   EXPECT_EQ(captured.text(), "");
}

TEST(DtFilename, AsksItsOwnExistsFirst)
{
   struct Fixed : DtFilename
   {
      Fixed(char const * name, bool is) : DtFilename(name), there(is) {}
      bool exists() const override { return there; }
      bool const there;
   };
   TemporaryFolder const folder;
   Fixed const denied(folder.write("file", "12345").c_str(), false);
   EXPECT_FALSE(denied.isReadable() || denied.isWritable() || denied.fileLength() != 0);
   CapturedStream const captured;
   Fixed const claimed("/no/such/file", true);
   EXPECT_EQ(claimed.fileLength(), 0u);
   EXPECT_EQ(captured.textAt(1), "DtFileName error getting File Length for /no/such/file\n");
}

TEST(DtFilename, FindsItselfBehindAnotherPath)
{
   TemporaryFolder const folder;
   std::string const file = folder.write("sub/file", "");
   DtFilename name("sub/file");
   EXPECT_FALSE(name.searchAlternatePath(nullptr));
   EXPECT_FALSE(name.searchAlternatePath("/no/such/path"));
   EXPECT_EQ(name, "sub/file");
   EXPECT_TRUE(name.searchAlternatePath(folder.path().c_str()));
   EXPECT_EQ(name, file.c_str());
   EXPECT_TRUE(name.searchAlternatePath("/elsewhere"));
   EXPECT_EQ(name, file.c_str());
}

} // namespace
