// SPDX-License-Identifier: MIT
#include "tslutil/system/tslDynamicLibrary.h"

#include "support/tsv.h"
#include "system/workFolder.h"

#include <gtest/gtest.h>

#include <memory>
#include <sys/stat.h>

namespace
{

TEST(DtDynamicLibrary, FindsWhatTheLibraryItselfDefines)
{
   std::unique_ptr<DtDynamicLibrary> const library(DtDynamicLibrary::create("libm.so.6", false));
   ASSERT_TRUE(library->isValid()) << library->error();
   // The second one is there, but in a library that this one needs.
   for (char const * symbol : {"no_such_function", "malloc"})
   {
      EXPECT_EQ(library->procAddress(symbol), nullptr);
      EXPECT_EQ(library->error(), "Could not find symbol " + std::string(symbol) + " in library libm.so.6");
   }
   auto const root = reinterpret_cast<double (*)(double)>(library->procAddress("sqrt"));
   ASSERT_NE(root, nullptr);
   EXPECT_EQ(root(9.0), 3.0);
   EXPECT_EQ(library->error(), nullptr) << "a success clears the older complaint";
}

TEST(DtDynamicLibrary, TellsWhyNothingWasLoaded)
{
   WorkFolder const folder;
   folder.write("text.so", "This is no library, but as long as the header of one would have to be.........");
   folder.write("empty.so", "");
   ASSERT_TRUE(mkdir("folder.so", 0700) == 0 && mkfifo("pipe.so", 0600) == 0);
   for (Fields const & row : tableOf("system/libraries.tsv"))
   {
      std::unique_ptr<DtDynamicLibrary> const library(DtDynamicLibrary::create(row[0], !row[1].empty()));
      EXPECT_EQ(library->libraryName(), DtString(row[0] + row[1]));
      EXPECT_TRUE(!library->isValid() && library->procAddress("malloc") == nullptr);
      EXPECT_EQ(library->error(), "LoadLibrary returned NULL (Error: " + row[2] + ")")
         << "without a library the complaint stays";
   }
}

} // namespace
