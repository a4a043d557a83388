// SPDX-License-Identifier: MIT
#include "tslutil/system/tslFilename.h"

#include "support/capturedStream.h"
#include "support/slots.h"
#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <sys/stat.h>

namespace
{

/// The next field of a table in text, "-" for an empty one.
std::string next(std::istream & table)
{
   std::string field;
   table >> field;
   return field == "-" ? "" : field;
}

TEST(DtFilename, SlotOrder)
{
   typedef DtFilename F;
   typedef void (F::*InPlace)();
   EXPECT_TRUE(inSlotsFrom(slotOf(&DtString::section) + 1, &F::absolute, &F::relative, &F::append,
                           &F::prepend, &F::extension, &F::setExtension, InPlace(&F::stripFilename),
                           InPlace(&F::stripPath), InPlace(&F::stripExtension), &F::isWritable,
                           &F::isReadable, &F::fileLength, &F::exists, &F::searchAlternatePath));
   EXPECT_TRUE(inSlotsFrom(2, static_cast<F & (F::*)(DtString const &)>(&F::operator=),
                           static_cast<F & (F::*)(char const *)>(&F::operator=)));
}

TEST(DtFilename, IsSplitInPlaceAndAsACopy)
{
   // Accidents that callers know: the static stripPath takes "/name" whole, so stripFilename leaves nothing
   // of it and stripExtension loses its root; "x:" is absolute, so its directory is not put back. name,
   // stripPath, static stripPath, stripFilename, stripExtension, extension, and setExtension("txt")
   std::istringstream table(R"(
      c.dat         c.dat     c.dat     -         c           dat  c.txt
      c.tar.gz      c.tar.gz  c.tar.gz  -         c.tar       gz   c.tar.txt
      a.b/c         c         c         a.b/      a.b/c       -    a.b/c.txt
      /usr/lib/c.so c.so      c.so      /usr/lib/ /usr/lib/c  so   /usr/lib/c.txt
      /x.y          x.y       /x.y      -         x           y    x.txt
      dir/          -         -         dir/      dir/        -    dir/.txt
      /             -         /         -         -           -    .txt
      a\b.c         a\b.c     a\b.c     -         a\b         c    a\b.txt
      .rc           .rc       .rc       -         -           rc   .txt
      d/x:.y        x:.y      x:.y      d/        x:          y    x:.txt
   )");
   for (int row = 0; row < 10; ++row)
   {
      DtFilename const name(next(table).c_str());
      DtFilename path(name), file(name), bare(name), txt(name), dotTxt(name);
      path.stripPath();
      file.stripFilename();
      bare.stripExtension();
      txt.setExtension("txt");
      dotTxt.setExtension(".txt");
      for (DtString const & part : {DtString(path), DtString(DtFilename::stripPath(name)), DtString(file),
                                    DtString(bare), DtString(name.extension()), DtString(txt)})
         EXPECT_EQ(part, next(table).c_str()) << name;
      EXPECT_TRUE(DtFilename::stripFilename(name) == file && DtFilename::stripExtension(name) == bare &&
                  dotTxt == txt)
         << name;
   }
   DtFilename cleared("c.dat");
   cleared.setExtension("");
   EXPECT_EQ(cleared, "c.");
}

TEST(DtFilename, IsJoined)
{
   // first, second; append, prepend, combine; whether the first is absolute
   std::istringstream table(R"(
      a    b     a/b    b/a    a/b     0
      a/   b     a/b    b/a/   a//b    0
      -    b     b      b/     b       0
      a    -     a/     a      a/      0
      a    /b    /b     /b/a   /b      0
      /a   b     /a/b   /a     /a/b    1
      C:x  b     C:x/b  C:x    C:x/b   1
      a    C:b   C:b    C:b/a  C:b     0
      a\   \b    a\/\b  \b/a\  a\/\b   0
   )");
   for (int row = 0; row < 9; ++row)
   {
      DtFilename const first(next(table).c_str()), second(next(table).c_str());
      DtFilename appended(first), prepended(first);
      appended.append(second);
      prepended.prepend(second);
      for (DtFilename const & joined : {appended, prepended, DtFilename::combine(first, second)})
         EXPECT_EQ(joined, next(table).c_str()) << first << " " << second;
      bool const absolute = next(table) == "1";
      EXPECT_TRUE(first.absolute() == absolute && first.relative() != absolute) << first;
   }
   DtFilename name("d:e");
   name = static_cast<char const *>(nullptr);
   EXPECT_EQ(name, DtFilename::nullFilename());
   EXPECT_FALSE(name.absolute());
}

/// Says itself whether it exists.
struct Fixed : DtFilename
{
   Fixed(std::string const & name, bool is) : DtFilename(name.c_str()), there(is) {}
   bool exists() const override { return there; }
   bool const there;
};

TEST(DtFilename, TestsFilesOnceItExists)
{
   TemporaryFolder const folder;
   std::string const file = folder.write("file", "12345");
   std::string const pipe = folder.path("pipe");
   ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
   auto const facts = [](DtFilename const & name)
   {
      return std::string(name.exists() ? "exists " : "") + (name.isReadable() ? "readable " : "") +
             (name.isWritable() ? "writable " : "") + std::to_string(name.fileLength());
   };
   CapturedStream const captured;
   EXPECT_EQ(facts(file.c_str()), "exists readable writable 5");
   for (std::string const & name : {folder.path(), pipe})
      EXPECT_EQ(facts(name.c_str()), "exists writable 0");
   EXPECT_EQ(facts("/no/such/file") + facts(Fixed(file, false)), "00");
   EXPECT_EQ(captured.text(), "");
   EXPECT_EQ(facts(Fixed("/no/such/file", true)), "exists 0");
   EXPECT_EQ(captured.textAt(1), "DtFileName error getting File Length for /no/such/file\n");
}

TEST(DtFilename, FindsItselfBehindAnotherPath)
{
   TemporaryFolder const folder;
   std::string const file = folder.write("sub/file", "");
   DtFilename name("sub/file");
   EXPECT_FALSE(name.searchAlternatePath(nullptr) || name.searchAlternatePath("/no/such/path"));
   EXPECT_EQ(name, "sub/file");
   for (char const * const path : {folder.path().c_str(), "/elsewhere"})
      EXPECT_TRUE(name.searchAlternatePath(path) && name == file.c_str());
}

} // namespace
