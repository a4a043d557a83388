// SPDX-License-Identifier: MIT
#include "tslutil/system/tslRtiLibrary.h"

#include "support/temporaryFolder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using nlohmann::json;

// This library's compiler, and what that says of itself in what it builds.
#ifdef __clang__
std::string const theMajor = std::to_string(__clang_major__), theCompiler = "clang" + theMajor;
std::string const theComment = "clang version " + theMajor + ".0";
#else
std::string const theMajor = std::to_string(__GNUC__), theCompiler = "GCC" + theMajor;
std::string const theComment = "GCC: (GNU) " + theMajor + ".1";
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
      for (auto const & [offset, bytes] :
           row["bytes"].get<std::map<std::string, std::vector<unsigned char>>>())
         content.replace(std::stoul(offset), bytes.size(), std::string(bytes.begin(), bytes.end()));
   }
   return files;
}

/// The answer and the report.
typedef std::pair<bool, std::string> Verdict;

Verdict check(DtHLALib family)
{
   DtString report("before. ");
   bool const fits = checkRtiCompilerVersion(family, report);
   return {fits, report.stdString().substr(8)};
}

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

/// A 64-bit ELF file with nothing but comments in it.
std::string elf(std::string const & comments, bool big = false)
{
   std::string const names("\0.comment\0.shstrtab\0", 20);
   std::string file = std::string("\x7F\x45LF\2", 5) + (big ? '\2' : '\1');
   file.resize(256);
   // clang-format off
   std::uint64_t const numbers[][3] = {
      {40, 64, 8}, {58, 64, 2}, {60, 3, 2}, {62, 2, 2}, {128, 1, 4}, {152, 276, 8}, {160, comments.size(), 8},
      {192, 10, 4}, {216, 256, 8}, {224, 20, 8}};
   // clang-format on
   for (auto const & [at, value, size] : numbers)
      file.replace(at, size, number(value, size, big));
   return file + names + comments;
}

TEST(CheckRtiCompilerVersion, AnswersAndReportsEveryPairOfHeaders)
{
   std::map<std::string, std::string> const files = headers();
   std::vector<json> const rows = rowsOf("cases.jsonl");
   EXPECT_EQ(rows.size(), 79u);
   for (json const & row : rows)
   {
      SearchFolder const folder;
      for (auto const & [name, header] : row["files"].get<std::map<std::string, std::string>>())
         folder.write(name, files.at(header));
      // The rows are written for a reader that knows no ELF: what is 32 bits wide has no report in them.
      std::string const name = row["case"];
      std::string text =
         row["report"].get<std::string>() + (name.find("elf32") < name.size() ? theWidthText : "");
      for (std::size_t at; (at = text.find("@DIR@")) != std::string::npos;)
         text.replace(at, 5, folder.path());
      Verdict const verdict = check(DtHLALib1516e);
      EXPECT_EQ(verdict, Verdict(row["ok"], text.empty() ? verdict.second : text)) << name;
   }
}

TEST(CheckRtiCompilerVersion, LooksForTheFilesOfTheFamily)
{
   SearchFolder const folder;
   std::string const good = headers().at("pe64-12.0");
   std::vector<std::string> const old = {"libRTI-NG", "libRTI-NG_64", "libfedtime_64"};
   // clang-format off
   std::pair<int, std::vector<std::string>> const rows[] = {
      {0, old}, {-1, old}, {3, old}, {1, {"librti1516", "librti1516_64", "libfedtime1516_64"}},
      {2, {"librti1516e64", "librti1516e64", "libfedtime1516e64"}}};
   // clang-format on
   for (auto const & [family, names] : rows)
   {
      std::string const one = folder.write(names[1] + ".so", good),
                        two = folder.write(names[2] + ".so", good);
      EXPECT_EQ(check(DtHLALib(family)),
                Verdict(true, "Looking for: " + names[0] + "_64.so. Found library in: " + one +
                                 ". found!\nFound library in: " + two + ". found!\n"));
      EXPECT_EQ(DtLibPath(names[2] + ".so"), DtFilename(folder.path().c_str()));
      std::remove(one.c_str()), std::remove(two.c_str());
   }
   // What is on no path is opened by its bare name.
   TemporaryFolder const here;
   here.write("librti1516e64.so", good);
   std::string const before = std::filesystem::current_path();
   std::filesystem::current_path(here.path());
   EXPECT_EQ(check(DtHLALib1516e), Verdict(false, "Looking for: librti1516e64_64.so. Found library in: "
                                                  "librti1516e64.so. found!\nFound library in: "));
   std::filesystem::current_path(before);
}

TEST(CheckRtiLibraryFile, JudgesElfByTheCompilerInItsComments)
{
   std::string const gcc = "GCC: (Debian 98.2.0-14) 98.2.0", clang = "Debian clang version 97.0.6";
   // clang-format off
   std::pair<std::vector<std::string>, std::string> const rows[] = {
      {{theComment}, theCompiler}, {{gcc}, "GCC98"}, {{"Linker: LLD 14", "", gcc, "GCC: (GNU) 96.1"}, "GCC98"},
      {{gcc, clang}, "clang97"}, {{"GCC: (cross (of (x)) 1) 95.1 2023 (Red Hat 13)"}, "GCC95"}, {{"GCC: 94.3"}, "GCC94"},
      {{std::string(4000, '.'), "GCC: 93"}, "GCC93"}, {{std::string(4100, '.'), gcc}, ""}, {{"GCC: (unclosed 12.1"}, ""},
      {{"GCC: (Debian)"}, ""}, {{"GCC: () x"}, ""}, {{"GCC: 99999999999999999999.1"}, ""}, {{"clang version "}, ""},
      {{"no compiler"}, ""}, {{}, ""}};
   // clang-format on
   for (auto const & [named, found] : rows)
      for (bool const big : {false, true})
      {
         std::string comments;
         for (std::string const & comment : named)
            comments += comment + '\0';
         bool const fits = found == theCompiler;
         std::string const told = " Expected " + theCompiler + " but found " + found + "\n";
         EXPECT_EQ(checkContent(elf(comments, big)), Verdict(fits, fits            ? " found!\n"
                                                                   : found.empty() ? ""
                                                                                   : told))
            << comments;
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
            EXPECT_THAT(verdict.second, testing::AnyOf("", other, theWidthText)) << at;
         }
}

} // namespace
