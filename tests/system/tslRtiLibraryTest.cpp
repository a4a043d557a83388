// SPDX-License-Identifier: MIT
#include "tslutil/system/tslRtiLibrary.h"

#include "support/tsv.h"
#include "system/workFolder.h"

#include <gmock/gmock.h>

#include <map>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// This library's compiler, and what that says of itself in what it builds.
#ifdef __clang__
std::string const theMajor = std::to_string(__clang_major__), theCompiler = "clang" + theMajor;
std::string const theComment = "clang version " + theMajor + ".0";
#else
std::string const theMajor = std::to_string(__GNUC__), theCompiler = "GCC" + theMajor;
std::string const theComment = "GCC: (GNU) " + theMajor + ".1";
#endif

/// The files with chosen headers, by name.
std::map<std::string, std::string> headers()
{
   std::map<std::string, std::string> files;
   for (Fields const & row : tableOf("rti/headers.tsv"))
   {
      std::string & content = files[row[0]] = std::string(std::stoul(row[1]), '\0');
      for (std::size_t i = 3; i < row.size(); i += 2)
         content.replace(std::stoul(row[i - 1]), row[i].size(), row[i]);
   }
   return files;
}

/// The answer and the report.
typedef std::pair<bool, std::string> Verdict;

/// Of one file: the answer and what stands behind its name.
Verdict checkFile(std::string const & path)
{
   DtString report;
   bool const fits = DtCheckRtiLibraryFile(DtFilename(path.c_str()), report);
   std::string const text = report.string(), head = "Found library in: " + path + ".";
   return {fits, text.compare(0, head.size(), head) == 0 ? text.substr(head.size()) : text};
}

Verdict checkContent(std::string const & content)
{
   int const file = memfd_create("library", 0);
   EXPECT_EQ(write(file, content.data(), content.size()), static_cast<ssize_t>(content.size()));
   Verdict const verdict = checkFile("/proc/self/fd/" + std::to_string(file));
   close(file);
   return verdict;
}

std::string number(std::uint64_t value, std::size_t size, bool big = false)
{
   std::string const bytes(reinterpret_cast<char const *>(&value), size);
   return big ? std::string(bytes.rbegin(), bytes.rend()) : bytes;
}

/// A 64-bit ELF file with nothing but comments in it, whose size stands at 160.
std::string elf(std::string const & comments, bool big = false)
{
   std::string header = headers().at(big ? "elf64-comments-be" : "elf64-comments");
   return header.replace(160, 8, number(comments.size(), 8, big)) + comments;
}

TEST(CheckRtiCompilerVersion, AnswersAndReportsEveryFamilyAndPairOfHeaders)
{
   std::map<std::string, std::string> const files = headers();
   for (Fields const & row : tableOf("rti/cases.tsv"))
   {
      // What is on no path is opened by its bare name.
      WorkFolder const folder;
      setenv("PATH", row[2].c_str(), 1);
      for (std::size_t i = 6; i < row.size(); i += 2)
         folder.write(row[i - 1], files.at(row[i]));
      DtString report("before. ");
      bool const fits = checkRtiCompilerVersion(DtHLALib(std::stoi(row[1])), report);
      std::string const added = report.stdString().substr(8);
      EXPECT_EQ(Verdict(fits, added), Verdict(row[3] == "yes", row[4].empty() ? added : row[4])) << row[0];
   }
}

TEST(CheckRtiLibraryFile, JudgesElfByTheCompilerInItsComments)
{
   std::vector<Fields> rows = tableOf("rti/comments.tsv");
   rows.push_back({theCompiler, theComment});
   for (Fields const & row : rows)
      for (bool const big : {false, true})
      {
         std::string comments;
         for (std::size_t i = 1; i < row.size(); ++i)
            comments += row[i] + '\0';
         std::string const other =
            row[0].empty() ? "" : " Expected " + theCompiler + " but found " + row[0] + "\n";
         bool const fits = row[0] == theCompiler;
         EXPECT_EQ(checkContent(elf(comments, big)), Verdict(fits, fits ? " found!\n" : other)) << comments;
      }
   EXPECT_EQ(checkFile("/proc/self/exe"), Verdict(true, " found!\n"))
      << "this program is built as the library is";
}

TEST(CheckRtiLibraryFile, SaysNoToWhatIsHostile)
{
   TemporaryFolder const folder;
   ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
   for (std::string const & name : {folder.path("pipe"), folder.path(), folder.path("absent"), std::string()})
      EXPECT_EQ(checkFile(name), Verdict(false, "Found library in: ")) << name;
   std::string const other = " Expected " + theCompiler + " but found GCC1\n",
                     narrow =
                        " found. Error: Library architecture does not match.  Expected 64 bit, found 32 bit.";
   std::string const whole = elf(std::string("GCC: (x) 1.2", 13));
   EXPECT_EQ(checkContent(whole), Verdict(false, other));
   for (std::size_t size = 0; size < whole.size(); ++size)
      EXPECT_EQ(checkContent(whole.substr(0, size)), Verdict(false, "")) << size;
   // Each number of the header and of the table of sections, in turn, is what nobody would write.
   std::uint64_t const most = ~std::uint64_t(0),
                       values[] = {0, most, most / 2, most / 2 + 1, most - 40, whole.size()};
   for (std::size_t at = 0; at + 8 <= 256; at += 2)
      for (std::uint64_t value : values)
         for (std::size_t const size : {2u, 4u, 8u})
         {
            std::string content = whole;
            content.replace(at, size, number(value, size));
            Verdict const verdict = checkContent(content);
            EXPECT_FALSE(verdict.first);
            EXPECT_THAT(verdict.second, testing::AnyOf("", other, narrow)) << at;
         }
}

} // namespace
