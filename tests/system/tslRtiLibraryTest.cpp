// SPDX-License-Identifier: MIT
#include "tslutil/system/tslRtiLibrary.h"

#include "support/temporaryFolder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using nlohmann::json;

#ifdef __clang__
std::string const theCompiler = "clang" + std::to_string(__clang_major__);
#else
std::string const theCompiler = "GCC" + std::to_string(__GNUC__);
#endif

constexpr char const * theWidthText =
   " found. Error: Library architecture does not match.  Expected 64 bit, found 32 bit.";

/// A folder that is all of PATH as long as it lives.
struct SearchFolder : TemporaryFolder
{
   SearchFolder() { setenv("PATH", path().c_str(), 1); }
   ~SearchFolder() { setenv("PATH", before.c_str(), 1); }
   std::string const before = std::getenv("PATH");
};

std::vector<json> rowsOf(char const * name)
{
   std::ifstream file(std::string(TEST_DATA_DIR "/rti/") + name);
   std::vector<json> rows;
   for (std::string line; std::getline(file, line);)
      rows.push_back(json::parse(line));
   return rows;
}

/// The files with chosen headers, by name.
std::map<std::string, std::string> headers()
{
   std::map<std::string, std::string> files;
   for (json const & row : rowsOf("headers.jsonl"))
   {
      std::string & content = files[row["name"]] = std::string(row["size"].get<std::size_t>(), '\0');
      for (auto const & [offset, hex] : row["bytes"].get<std::map<std::string, std::string>>())
         for (std::size_t each = 0; each < hex.size() / 2; ++each)
            content[std::stoul(offset) + each] =
               static_cast<char>(std::stoi(hex.substr(2 * each, 2), nullptr, 16));
   }
   return files;
}

/// The answer and the report.
typedef std::pair<bool, std::string> Verdict;

Verdict check(DtHLALib family)
{
   DtString report("before. ");
   bool const fits = checkRtiCompilerVersion(family, report);
   EXPECT_EQ(report.stdString().find("before. "), 0u) << "what was there stays";
   return {fits, report.stdString().substr(8)};
}

/// Of one file: the answer and what stands behind its name.
Verdict checkFile(std::string const & path)
{
   DtString report;
   bool const fits = DtCheckRtiLibraryFile(DtFilename(path.c_str()), report);
   std::string const head = "Found library in: " + path + ".";
   std::string const text = report.stdString();
   return {fits, text.compare(0, head.size(), head) == 0 ? text.substr(head.size()) : text};
}

std::string number(std::uint64_t value, int size, bool bigEndian)
{
   std::string bytes;
   for (int each = 0; each < size; ++each)
      bytes.insert(bigEndian ? 0 : bytes.size(), 1, static_cast<char>(value >> 8 * each));
   return bytes;
}

/// A 64-bit ELF file with nothing but comments in it.
std::string elf(std::string const & comments, bool big = false)
{
   std::string const names("\0.comment\0.shstrtab\0", 20);
   auto const put = [big](std::uint64_t value, int size) { return number(value, size, big); };
   auto const section = [&put](int name, std::size_t offset, std::size_t size) {
      return put(std::uint64_t(name), 4) + put(1, 4) + put(0, 16) + put(offset, 8) + put(size, 8) +
             put(0, 24);
   };
   std::string const head = std::string("\x7F"
                                        "ELF\2",
                                        5) +
                            (big ? '\2' : '\1') + put(1, 10);
   return head + put(3, 2) + put(62, 2) + put(1, 20) + put(64, 8) + put(0, 4) + put(64, 2) + put(0, 4) +
          put(64, 2) + put(3, 2) + put(2, 2) + section(0, 0, 0) + section(1, 276, comments.size()) +
          section(10, 256, 20) + names + comments;
}

TEST(CheckRtiCompilerVersion, AnswersAndReportsEveryPairOfHeaders)
{
   std::map<std::string, std::string> const files = headers();
   std::vector<json> const rows = rowsOf("cases.jsonl");
   EXPECT_EQ(rows.size(), 79u);
   for (json const & row : rows)
   {
      std::string const name = row["case"];
      std::size_t const dash = name.find('-');
      std::string const which = name.substr(0, dash), header = name.substr(dash + 1);
      SearchFolder const folder;
      for (bool const first : {true, false})
      {
         bool const chosen = which == "both" || (which == "second") != first;
         if (!chosen || header != "absent")
            folder.write(first ? "librti1516e64.so" : "libfedtime1516e64.so",
                         files.at(chosen ? header : "pe64-12.0"));
      }
      Verdict const verdict = check(DtHLALib1516e);
      EXPECT_EQ(verdict.first, row["ok"]) << name;
      if (row["report"].is_null())
         continue;
      std::string text = row["report"];
      for (std::size_t at; (at = text.find("@DIR@")) != std::string::npos;)
         text.replace(at, 5, folder.path());
      // The rows are written for a reader that knows no ELF: what is 32 bits wide has no report in them.
      if (header.find("elf32") == 0)
         text += theWidthText;
      EXPECT_EQ(verdict.second, text) << name;
   }
}

TEST(CheckRtiCompilerVersion, LooksForTheFilesOfTheFamily)
{
   SearchFolder const folder;
   std::string const good = headers().at("pe64-12.0");
   struct Row
   {
      int family;
      std::string announced, first, second;
   } const rows[] = {{0, "libRTI-NG_64.so", "libRTI-NG_64.so", "libfedtime_64.so"},
                     {1, "librti1516_64.so", "librti1516_64.so", "libfedtime1516_64.so"},
                     {2, "librti1516e64_64.so", "librti1516e64.so", "libfedtime1516e64.so"},
                     {-1, "libRTI-NG_64.so", "libRTI-NG_64.so", "libfedtime_64.so"},
                     {3, "libRTI-NG_64.so", "libRTI-NG_64.so", "libfedtime_64.so"}};
   for (Row const & row : rows)
   {
      std::string const paths[] = {folder.write(row.first, good), folder.write(row.second, good)};
      EXPECT_EQ(check(DtHLALib(row.family)),
                Verdict(true, "Looking for: " + row.announced + ". Found library in: " + paths[0] +
                                 ". found!\nFound library in: " + paths[1] + ". found!\n"));
      EXPECT_EQ(DtLibPath(row.second), DtFilename(folder.path().c_str()));
      std::remove(paths[0].c_str()), std::remove(paths[1].c_str());
   }
   // What is on no path is opened by its bare name.
   TemporaryFolder const here;
   here.write("librti1516e64.so", good);
   std::string const before = std::filesystem::current_path();
   ASSERT_EQ(chdir(here.path().c_str()), 0);
   EXPECT_EQ(check(DtHLALib1516e), Verdict(false, "Looking for: librti1516e64_64.so. Found library in: "
                                                  "librti1516e64.so. found!\nFound library in: "));
   EXPECT_EQ(chdir(before.c_str()), 0);
}

TEST(CheckRtiLibraryFile, JudgesElfByTheCompilerInItsComments)
{
   TemporaryFolder const folder;
   std::string const gcc = "GCC: (Debian 98.2.0-14) 98.2.0", clang = "Debian clang version 97.0.6";
   std::string const own = theCompiler.substr(0, 3) == "GCC"
                              ? "GCC: (GNU) " + theCompiler.substr(3) + ".1"
                              : "clang version " + theCompiler.substr(5) + ".0";
   struct Row
   {
      std::vector<std::string> comments;
      std::string found;
   } const rows[] = {{{own}, theCompiler},
                     {{gcc}, "GCC98"},
                     {{"Linker: LLD 14", "", gcc, "GCC: (GNU) 96.1"}, "GCC98"},
                     {{gcc, clang}, "clang97"},
                     {{"GCC: (cross (of (x)) 1) 95.1 2023 (Red Hat 13)"}, "GCC95"},
                     {{"GCC: 94.3"}, "GCC94"},
                     {{std::string(4000, '.'), "GCC: 93"}, "GCC93"},
                     {{std::string(4100, '.'), gcc}, ""},
                     {{"GCC: (unclosed 12.1"}, ""},
                     {{"GCC: (Debian)"}, ""},
                     {{"GCC: () x"}, ""},
                     {{"GCC: 99999999999999999999.1"}, ""},
                     {{"clang version "}, ""},
                     {{"no compiler"}, ""},
                     {{}, ""}};
   for (Row const & row : rows)
      for (bool const big : {false, true})
      {
         std::string comments;
         for (std::string const & comment : row.comments)
            comments += comment + '\0';
         Verdict wanted(row.found == theCompiler,
                        " Expected " + theCompiler + " but found " + row.found + "\n");
         if (wanted.first || row.found.empty())
            wanted.second = wanted.first ? " found!\n" : "";
         EXPECT_EQ(checkFile(folder.write("a.so", elf(comments, big))), wanted) << comments;
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
   std::string const other = " Expected " + theCompiler + " but found GCC1\n";
   std::string const whole = elf(std::string("GCC: (x) 1.2", 13));
   EXPECT_EQ(checkFile(folder.write("a.so", whole)), Verdict(false, other));
   for (std::size_t size = 0; size < whole.size(); ++size)
      EXPECT_EQ(checkFile(folder.write("a.so", whole.substr(0, size))),
                Verdict(false, size < 5 || whole[4] == 2 ? "" : theWidthText));
   // Each number of the header and of the table of sections, in turn, is what nobody would write.
   for (std::size_t at = 0; at + 8 <= 256; at += 2)
      for (std::uint64_t value :
           {std::uint64_t(0), ~std::uint64_t(0), std::uint64_t(1) << 63, std::uint64_t(INT64_MAX),
            std::uint64_t(0xFFFFFFFF), std::uint64_t(whole.size()), ~std::uint64_t(0) - 40})
         for (int size : {2, 4, 8})
         {
            std::string content = whole;
            content.replace(at, static_cast<std::size_t>(size), number(value, size, false));
            Verdict const verdict = checkFile(folder.write("a.so", content));
            EXPECT_FALSE(verdict.first);
            EXPECT_THAT(verdict.second, testing::AnyOf("", other, theWidthText)) << at;
         }
}

} // namespace
