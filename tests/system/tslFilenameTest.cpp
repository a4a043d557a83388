// SPDX-License-Identifier: MIT
#include "tslutil/system/tslFilename.h"

#include "support/capturedStream.h"
#include "support/slots.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <sys/stat.h>
#include <tuple>

namespace
{

typedef DtFilename F;
typedef void (F::*InPlace)();

TEST(DtFilename, IsSplitInPlaceAndAsACopy)
{
   EXPECT_TRUE(inSlotsFrom(slotOf(&DtString::section) + 1, &F::absolute, &F::relative, &F::append,
                           &F::prepend, &F::extension, &F::setExtension, InPlace(&F::stripFilename),
                           InPlace(&F::stripPath), InPlace(&F::stripExtension), &F::isWritable,
                           &F::isReadable, &F::fileLength, &F::exists, &F::searchAlternatePath));
   EXPECT_TRUE(inSlotsFrom(2, static_cast<F & (F::*)(DtString const &)>(&F::operator=),
                           static_cast<F & (F::*)(char const *)>(&F::operator=)));
   // Accidents that callers know: the static stripPath takes "/name" whole, so stripFilename leaves nothing
   // of it and stripExtension loses its root; "x:" is absolute, so its directory is not put back. name,
   // stripPath, static stripPath, stripFilename, stripExtension, extension, and setExtension("txt")
   // clang-format off
   char const * const rows[][7] = {
      {"c.dat",         "c.dat",    "c.dat",    "",          "c",          "dat", "c.txt"},
      {"c.tar.gz",      "c.tar.gz", "c.tar.gz", "",          "c.tar",      "gz",  "c.tar.txt"},
      {"a.b/c",         "c",        "c",        "a.b/",      "a.b/c",      "",    "a.b/c.txt"},
      {"/usr/lib/c.so", "c.so",     "c.so",     "/usr/lib/", "/usr/lib/c", "so",  "/usr/lib/c.txt"},
      {"/x.y",          "x.y",      "/x.y",     "",          "x",          "y",   "x.txt"},
      {"dir/",          "",         "",         "dir/",      "dir/",       "",    "dir/.txt"},
      {"/",             "",         "/",        "",          "",           "",    ".txt"},
      {"a\\b.c",        "a\\b.c",   "a\\b.c",   "",          "a\\b",       "c",   "a\\b.txt"},
      {".rc",           ".rc",      ".rc",      "",          "",           "rc",  ".txt"},
      {"d/x:.y",        "x:.y",     "x:.y",     "d/",        "x:",         "y",   "x:.txt"}};
   // clang-format on
   for (auto const & row : rows)
   {
      F const name(row[0]);
      F path(name), file(name), bare(name), txt(name), dotTxt(name);
      path.stripPath(), file.stripFilename(), bare.stripExtension();
      txt.setExtension("txt"), dotTxt.setExtension(".txt");
      char const * const * wanted = row;
      for (DtString const & part : {DtString(path), DtString(F::stripPath(name)), DtString(file),
                                    DtString(bare), name.extension(), DtString(txt)})
         EXPECT_EQ(part, *++wanted) << name;
      EXPECT_TRUE(F::stripFilename(name) == file && F::stripExtension(name) == bare && dotTxt == txt) << name;
   }
   F cleared("c.dat");
   cleared.setExtension("");
   EXPECT_EQ(cleared, "c.");
}

TEST(DtFilename, IsJoined)
{
   // first, second; append, prepend, combine; whether the first is absolute
   // clang-format off
   std::pair<std::array<char const *, 5>, bool> const rows[] = {
      {{"a", "b", "a/b", "b/a", "a/b"}, false}, {{"a/", "b", "a/b", "b/a/", "a//b"}, false},
      {{"", "b", "b", "b/", "b"}, false}, {{"a", "", "a/", "a", "a/"}, false},
      {{"a", "/b", "/b", "/b/a", "/b"}, false}, {{"/a", "b", "/a/b", "/a", "/a/b"}, true},
      {{"C:x", "b", "C:x/b", "C:x", "C:x/b"}, true}, {{"a", "C:b", "C:b", "C:b/a", "C:b"}, false},
      {{"a\\", "\\b", "a\\/\\b", "\\b/a\\", "a\\/\\b"}, false}};
   // clang-format on
   for (auto const & [names, absolute] : rows)
   {
      F const first(names[0]), second(names[1]);
      F appended(first), prepended(first);
      appended.append(second), prepended.prepend(second);
      EXPECT_EQ(std::tuple(appended, prepended, F::combine(first, second)),
                std::tuple(F(names[2]), F(names[3]), F(names[4])));
      EXPECT_TRUE(first.absolute() == absolute && first.relative() != absolute) << first;
   }
   F name("d:e");
   name = static_cast<char const *>(nullptr);
   EXPECT_TRUE(name == F::nullFilename() && !name.absolute());
}

/// Says itself whether it exists.
struct Fixed : DtFilename
{
   Fixed(std::string const & name, bool is) : DtFilename(name.c_str()), there(is) {}
   bool exists() const override { return there; }
   bool const there;
};

TEST(DtFilename, TestsFilesOnceItExistsAndFindsItselfBehindAnotherPath)
{
   TemporaryFolder const folder;
   std::string const file = folder.write("sub/file", "12345"), pipe = folder.path("pipe");
   ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
   auto const facts = [](DtFilename const & name)
   {
      return std::string(name.exists() ? "e" : "") + (name.isReadable() ? "r" : "") +
             (name.isWritable() ? "w" : "") + std::to_string(name.fileLength());
   };
   CapturedStream const captured;
   EXPECT_EQ(facts(file.c_str()), "erw5");
   for (std::string const & name : {folder.path(), pipe})
      EXPECT_EQ(facts(name.c_str()), "ew0");
   EXPECT_EQ(facts("/no/such/file") + facts(Fixed(file, false)) + captured.text(), "00");
   EXPECT_EQ(facts(Fixed("/no/such/file", true)), "e0");
   EXPECT_EQ(captured.textAt(1), "DtFileName error getting File Length for /no/such/file\n");
   DtFilename name("sub/file");
   EXPECT_FALSE(name.searchAlternatePath(nullptr) || name.searchAlternatePath("/no/such/path"));
   EXPECT_EQ(name, "sub/file");
   for (char const * const path : {folder.path().c_str(), "/elsewhere"})
      EXPECT_TRUE(name.searchAlternatePath(path) && name == file.c_str());
}

} // namespace
