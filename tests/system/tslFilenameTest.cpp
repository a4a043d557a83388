// SPDX-License-Identifier: MIT
#include "tslutil/system/tslFilename.h"

#include "support/capturedStream.h"
#include "support/tsv.h"
#include "system/workFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace
{

typedef DtFilename F;
typedef std::vector<DtString> Texts;

// Accidents that callers know: the copying stripPath takes "/name" whole, so stripFilename leaves nothing of
// it and stripExtension loses its root; "x:" is absolute, so its directory is not put back.
TEST(DtFilename, IsSplitInPlaceAndAsACopy)
{
   for (Fields const & row : tableOf("system/splits.tsv"))
   {
      F const name(row[0].c_str());
      F path(name), file(name), bare(name), txt(name), dotTxt(name), dot(name);
      path.stripPath(), file.stripFilename(), bare.stripExtension();
      txt.setExtension("txt"), dotTxt.setExtension(".txt"), dot.setExtension("");
      EXPECT_EQ(Texts(row.begin(), row.end()),
                (Texts{name, path, F::stripPath(name), file, bare, name.extension(), txt, dot}));
      EXPECT_TRUE(F::stripFilename(name) == file && F::stripExtension(name) == bare && dotTxt == txt) << name;
   }
}

TEST(DtFilename, IsJoined)
{
   for (Fields const & row : tableOf("system/joins.tsv"))
   {
      F const first(row[0].c_str()), second(row[1].c_str());
      F appended(first), prepended(first);
      appended.append(second), prepended.prepend(second);
      EXPECT_EQ(Texts(row.begin(), row.end()),
                (Texts{first, second, appended, prepended, F::combine(first, second),
                       first.absolute() && !first.relative() ? "absolute" : "relative"}));
   }
   F name("d:e");
   name = static_cast<char const *>(nullptr);
   EXPECT_TRUE(name == F::nullFilename() && !name.absolute() && name.relative());
}

/// Says itself whether it exists.
struct Fixed : DtFilename
{
   Fixed(char const * name, bool is) : DtFilename(name), there(is) {}
   bool exists() const override { return there; }
   bool const there;
};

TEST(DtFilename, TestsFilesOnceItExistsAndFindsItselfBehindAnotherPath)
{
   WorkFolder const folder;
   folder.write("sub/file", "12345");
   ASSERT_EQ(mkfifo("pipe", 0600), 0);
   auto const facts = [](DtFilename const & name)
   {
      return std::string(name.exists() ? "e" : "") + (name.isReadable() ? "r" : "") +
             (name.isWritable() ? "w" : "") + std::to_string(name.fileLength());
   };
   CapturedStream const captured;
   EXPECT_EQ(facts("sub/file") + facts("sub") + facts("pipe"), "erw5ew0ew0");
   EXPECT_EQ(facts("/no/such/file") + facts(Fixed("sub/file", false)) + captured.text(), "00");
   EXPECT_EQ(facts(Fixed("/no/such/file", true)), "e0");
   EXPECT_EQ(captured.textAt(1), "DtFileName error getting File Length for /no/such/file\n");
   DtFilename name("file");
   EXPECT_FALSE(name.searchAlternatePath(nullptr) || name.searchAlternatePath("/no/such/path"));
   EXPECT_EQ(name, "file");
   for (char const * const path : {"sub", "/elsewhere"})
      EXPECT_TRUE(name.searchAlternatePath(path) && name == "sub/file");
}

} // namespace
